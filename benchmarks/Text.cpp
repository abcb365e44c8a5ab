// Texts: the filter, the answer's list, the match of one device, its identifier. The floors use libxml2 alone.
#include "DeviceIdentifier.h"
#include "DeviceListParsing.h"
#include "DeviceMatch.h"
#include "FilterText.h"
#include "Works.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <memory>
#include <objbase.h>

namespace benchmarks
{
namespace
{

using namespace scankelv;
using Document = std::unique_ptr<::xmlDoc, decltype(&::xmlFreeDoc)>;
using Wide = std::basic_string<WCHAR>;

constexpr WideView identifier =
    OLESTR("mfg:quellon;cmd:pjl,pcl5e,pclxl,postscript,pdf,urf;mdl:Weir C40 Series;cls:printer;mode:prn,scn,fax;");
constexpr WideView legacyIdentifier = OLESTR("mfg:quellon;cmd:pjl,pcl5e,pclxl;mdl:Weir;cls:printer;mode:prn,fax;");

const char* const fieldNames[] = {"iotype", "comment",  "devicepath",  "scannerport",  "deviceid",   "devicename",
                                  "ext",    "hostname", "location",    "vendor",       "macaddress", "modelname",
                                  "pid",    "port",     "productname", "serialnumber", "vid"};

Wide Widened(std::string_view text)
{
    return {text.begin(), text.end()};
}

Wide DeviceList(int devices, WideView deviceId)
{
    Wide text = OLESTR("<?xml version=\"1.0\" encoding=\"UTF-16\"?><devicelist version=\"1.0.1\">");
    for (int i = 0; i < devices; ++i)
    {
        text += OLESTR("<device>");
        for (const char* name : fieldNames)
        {
            const bool isId = std::strcmp(name, "deviceid") == 0;
            const bool isType = std::strcmp(name, "iotype") == 0;
            const Wide content = isId ? Wide(deviceId) : isType ? Wide(OLESTR("Network")) : Widened("Weir C40 Series");
            text += OLESTR("<") + Widened(name) + OLESTR(">") + content + OLESTR("</") + Widened(name) + OLESTR(">");
        }
        text += OLESTR("</device>");
    }
    return text += OLESTR("</devicelist>");
}

const AgentOptions& Options()
{
    static const AgentOptions options = [] {
        std::filesystem::create_directories(WorkFolder() + "/machine/drive_c");
        std::ofstream(WorkFolder() + "/machine/drive_c/ScanKELV.ini")
            << "[Settings]\nMode=1\nProductName=Quellon Generic Scan Driver\nProductId=0\nCurrentDeviceFeature=0\n";
        return *AgentOptions::Build(OLESTR("C:\\ScanKELV.ini"), OLESTR("ScanKELV"));
    }();
    return options;
}

Document Parse(const Wide& text)
{
    return {
        ::xmlReadMemory(
            reinterpret_cast<const char*>(text.data()), static_cast<int>(text.size() * sizeof(WCHAR)), nullptr,
            "UTF-16LE", XML_PARSE_HUGE | XML_PARSE_NONET),
        &::xmlFreeDoc};
}

/// The first element of a name, in document order.
const ::xmlNode* FirstOf(const ::xmlNode* below, const char* name)
{
    for (const ::xmlNode* node = below->children; node != nullptr; node = node->next)
    {
        if (node->type == XML_ELEMENT_NODE && std::strcmp(reinterpret_cast<const char*>(node->name), name) == 0)
            return node;
        if (const ::xmlNode* found = FirstOf(node, name); found != nullptr)
            return found;
    }
    return nullptr;
}

/// What the agent needs of an element: its text in UTF-16.
Wide TextOf(const ::xmlNode* node)
{
    const std::unique_ptr<::xmlChar, void (*)(::xmlChar*)> content(
        ::xmlNodeGetContent(node), [](::xmlChar* text) { ::xmlFree(text); });
    Wide wide(std::strlen(reinterpret_cast<const char*>(content.get())), 0);
    wide.resize(static_cast<std::size_t>(::MultiByteToWideChar(
        CP_UTF8, 0, reinterpret_cast<const char*>(content.get()), static_cast<int>(wide.size()), wide.data(),
        static_cast<int>(wide.size()))));
    return wide;
}

Side Lookups(const Wide& text, std::vector<const char*> names)
{
    return [text, names = std::move(names)](benchmark::State& state) {
        for (auto _ : state)
        {
            const Document document = Parse(text);
            for (const char* name : names)
                if (const ::xmlNode* node = FirstOf(reinterpret_cast<const ::xmlNode*>(document.get()), name))
                    benchmark::DoNotOptimize(TextOf(node));
        }
    };
}

Side ParseAnswer(const Wide& text)
{
    return [text](benchmark::State& state) {
        XmlParsedDeviceList device;
        for (auto _ : state)
            if (!ParseDeviceList(text.c_str(), device))
                state.SkipWithError("the list was not parsed");
    };
}

Side Match(const Wide& text)
{
    return [text](benchmark::State& state) {
        for (auto _ : state)
            benchmark::DoNotOptimize(XmlDeviceMatch(Options(), text.c_str()));
    };
}

void FilterTextOfTheAgent(benchmark::State& state)
{
    for (auto _ : state)
    {
        _bstr_t text;
        parsedMultiDeviceInfo record;
        bool parsed = false;
        if (!XmlGenerateFilterText(Options(), DialogMode5, text, record, parsed))
            state.SkipWithError("no filter text");
        benchmark::DoNotOptimize(text.Get());
    }
}

void FilterTextOfLibxml(benchmark::State& state)
{
    const auto x = [](const char* text) { return reinterpret_cast<const ::xmlChar*>(text); };
    for (auto _ : state)
    {
        const Document document(::xmlNewDoc(x("1.0")), &::xmlFreeDoc);
        ::xmlNode* option = ::xmlNewDocNode(document.get(), nullptr, x("option"), nullptr);
        ::xmlDocSetRootElement(document.get(), option);
        for (const char* name :
             {"xmldevicepath", "iprangepath", "dialogmode", "snmp_community_key", "vendor", "appname", "iotype",
              "iodetail", "updateonselect", "searchusbscanner", "dialogcaption", "codejock", "properties"})
            ::xmlNewTextChild(option, nullptr, x(name), x("Quellon Generic Scan Driver"));
        ::xmlChar* text = nullptr;
        int size = 0;
        ::xmlDocDumpMemoryEnc(document.get(), &text, &size, "UTF-16LE");
        benchmark::DoNotOptimize(text);
        ::xmlFree(text);
    }
}

void ReadIdentifier(benchmark::State& state)
{
    WideView model;
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(DeviceIdManufacturerIs(identifier, OLESTR("Quellon")));
        benchmark::DoNotOptimize(DeviceIdModel(identifier, model));
        benchmark::DoNotOptimize(DeviceIdHasScanMode(identifier));
    }
}

/// One pass over the identifier for each field that the three readers look at.
void PassOverIdentifier(benchmark::State& state)
{
    constexpr int fields = 9; // looked at: 1 for the manufacturer, 3 for the model, 5 for the mode
    const std::size_t bytes = identifier.size() * sizeof(WCHAR);
    for (auto _ : state)
        for (int field = 0; field < fields; ++field)
        {
            const void* text = identifier.data();
            benchmark::DoNotOptimize(text);
            benchmark::DoNotOptimize(std::memchr(text, 0x7F, bytes));
        }
}

} // namespace

void AddTextWorks()
{
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    std::vector<const char*> all(std::begin(fieldNames), std::end(fieldNames));
    all.insert(all.end(), {"systemdevicename", "userlocation"}); // looked for, and not there
    for (const auto& [name, text] : {std::pair{"match", identifier}, std::pair{"match-table", legacyIdentifier}})
        Add(name, Match(DeviceList(1, text)), Lookups(DeviceList(1, text), {"deviceid", "iotype"}));
    for (const int devices : {1, 10, 1000})
        Add("list-" + std::to_string(devices), ParseAnswer(DeviceList(devices, identifier)),
            Lookups(DeviceList(devices, identifier), all));
    Add("filter-text", FilterTextOfTheAgent, FilterTextOfLibxml);
    Add("identifier", ReadIdentifier, PassOverIdentifier);
}

} // namespace benchmarks
