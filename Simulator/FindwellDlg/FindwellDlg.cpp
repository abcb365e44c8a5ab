// FindwellDlg.dll: stands for the device search library. What it finds and how its user behaves is in FindwellDlg.xml;
// what it was asked, and what the application answered, it writes to FindwellDlg.log.
#include "FindwellDlg.h"

#include "Chooser.h"
#include "Export.h"
#include "VendorNames.h"

#include <algorithm>
#include <memory>
#include <objbase.h>
#include <thread>

FINDWELL_EXPORT GetDeviceList_LCodeFunction GetDeviceList_LCode;
FINDWELL_EXPORT GetDeviceInformationFunction GetDeviceInformation;
FINDWELL_EXPORT ShowPropertiesUIFunction ShowPropertiesUI;
FINDWELL_EXPORT MergeDevicelistXMLFunction MergeDevicelistXML;
FINDWELL_EXPORT QueryDeviceAddressFunction QueryDeviceAddress;
FINDWELL_EXPORT FreeDeviceListFunction FreeDeviceList;
// The agent only looks these up; as C functions they may be called with any arguments.
FINDWELL_EXPORT std::uint32_t GetDeviceList();
FINDWELL_EXPORT std::uint32_t GetPrinterList();
FINDWELL_EXPORT std::uint32_t GetSelectedDevice();
FINDWELL_EXPORT std::uint32_t GetMultiDeviceInformation();

namespace
{

using namespace simulator;

constexpr std::uint32_t success = 0;
constexpr std::uint32_t failure = 1;

/// The document model needs COM, whatever the application has done about it.
class Com
{
public:
    Com() : m_result(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)) {}
    ~Com()
    {
        if (m_result >= 0)
            ::CoUninitialize();
    }
    Com(const Com&) = delete;
    Com& operator=(const Com&) = delete;

private:
    HRESULT m_result;
};

/// The texts that the application has not released. When the library is unloaded, its record says how many there are.
struct TextsOut : std::vector<std::unique_ptr<wchar_t[]>>
{
    ~TextsOut()
    {
        if (!empty())
            Record(RecordPath()).Line("  error: texts not released: " + std::to_string(size()));
    }
} textsOut;

void HandOut(Record& record, const GivenText& text, wchar_t** out)
{
    record.Line("  listText = " + (text ? std::to_string(text->size()) + " characters" : "(null)"));
    if (!text)
        return;
    auto copy = std::make_unique<wchar_t[]>(text->size() + 1);
    std::ranges::copy(*text, copy.get());
    *out = textsOut.emplace_back(std::move(copy)).get();
}

/// Makes the call's entry in the record; no exception leaves the library.
template <class Call>
std::uint32_t Recorded(const char* name, std::uint32_t onError, Call call) noexcept
{
    try
    {
        Record record(RecordPath());
        record.Line(name);
        std::uint32_t result = onError;
        try
        {
            const Com com;
            result = call(record);
        }
        catch (const std::exception& error)
        {
            record.Line(std::string("  error: ") + error.what());
        }
        record.Line("  returns " + std::to_string(result));
        return result;
    }
    catch (const std::exception&)
    {
        return onError; // no memory for the record
    }
}

/// Tells the application an event of the dialog. @return its answer
std::string TellEvent(Record& record, IAppHandler& handler, const std::wstring& event)
{
    std::uint32_t out = 0;
    const std::uint32_t result = handler.HandleEvent(event.c_str(), 0, 0, &out);
    std::string answer = std::to_string(result) + ", out " + std::to_string(out);
    record.Line("  HandleEvent(" + Utf8(event) + ") -> " + answer);
    return answer;
}

/// What a dialog tells and asks the application at its start.
void RunEvents(Record& record, const std::vector<std::wstring>& events, IAppHandler& handler)
{
    constexpr std::uint32_t opened = 1;
    handler.Notify(opened);
    record.Line("  Notify(1)");
    record.Line("  Query(0) -> " + std::to_string(handler.Query(0)));
    for (const std::wstring& event : events)
        TellEvent(record, handler, event);
}

const Device* Chosen(Record& record, const Device* device)
{
    record.Line("  chosen = " + (device == nullptr ? "(none)" : Utf8(device->name)));
    return device;
}

GivenText ListOf(const Device* device)
{
    return device == nullptr ? GivenText() : device->list;
}

/// Outlives the call that it answers.
struct QueryReport
{
    std::uint32_t status;
    std::uint32_t change;
    GivenText address;
    GivenText macAddress;
    QueryDeviceAddressCallbackFunction* callback;
    std::chrono::milliseconds delay;
    GivenText awaited; ///< a file's name
    bool again;        ///< followed by another answer, which says the contrary
    bool nullPointers; ///< instead of pointers to the values

    void Deliver() const
    {
        std::this_thread::sleep_for(delay);
        while (awaited && ::GetFileAttributesW(BesideLibrary(*awaited).c_str()) == INVALID_FILE_ATTRIBUTES)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        const wchar_t* const addressText = address ? address->c_str() : nullptr;
        const wchar_t* const macAddressText = macAddress ? macAddress->c_str() : nullptr;
        if (nullPointers)
            callback(nullptr, nullptr, nullptr, nullptr);
        else
            callback(&status, &change, &addressText, &macAddressText);
        if (!again)
            return;
        const std::uint32_t otherStatus = status == 0 ? 1 : 0;
        const std::uint32_t otherChange = change < 2 ? 2 : 1;
        const wchar_t* const otherText = L"again";
        callback(&otherStatus, &otherChange, &otherText, &otherText);
    }
};

std::uint32_t NotSimulated(const char* name)
{
    return Recorded(name, failure, [](Record&) { return failure; });
}

} // namespace

std::uint32_t GetDeviceList_LCode(
    std::uint32_t zero, const char* languageCode, const wchar_t* filterText, std::uint32_t* resultCode,
    wchar_t** listText, IAppHandler* handler)
{
    const char* const name = "GetDeviceList_LCode";
    return Recorded(name, failure, [&](Record& record) {
        const Behaviour behaviour;
        record.Line("  zero = " + std::to_string(zero));
        record.Line(std::string("  languageCode = ") + (languageCode == nullptr ? "(null)" : languageCode));
        record.Argument("filterText", filterText);
        const bool onScreen = behaviour.Number(name, "dialog", 0) != 0;
        RunEvents(record, onScreen ? std::vector<std::wstring>{L"dialog.onload"} : behaviour.Events(), *handler);
        std::vector<Device> devices = behaviour.Devices();
        const auto accepts = [&](const Device& asked) {
            const std::uint32_t answer = handler->CheckDevice(asked.list.c_str(), nullptr);
            record.Line("  CheckDevice(" + Utf8(asked.name) + ") -> " + std::to_string(answer));
            return answer == 1;
        };
        const Search search{
            filterText, languageCode == nullptr ? "none" : languageCode,
            std::chrono::milliseconds(behaviour.Number(name, "searchtime", 3000)), accepts,
            [&] { return TellEvent(record, *handler, L"addbtn.onclick"); }};
        const Device* const device =
            Chosen(record, onScreen ? ChooseInDialog(record, devices, search) : behaviour.Choose(devices, accepts));
        *resultCode = behaviour.Number(name, "resultcode", device == nullptr ? 0 : 1);
        record.Line("  resultCode = " + std::to_string(*resultCode));
        HandOut(record, behaviour.Text(name, "answer", ListOf(device)), listText);
        return behaviour.Number(name, "return", success);
    });
}

std::uint32_t GetDeviceInformation(const wchar_t* hiddenUiArgument, wchar_t** listText, const wchar_t* community)
{
    const char* const name = "GetDeviceInformation";
    return Recorded(name, failure, [&](Record& record) {
        const Behaviour behaviour;
        record.Argument("hiddenUiArgument", hiddenUiArgument);
        record.Argument("community", community);
        const std::vector<Device> devices = behaviour.Devices();
        const Device* const device = Chosen(record, behaviour.Choose(devices, [](const Device&) { return true; }));
        HandOut(record, behaviour.Text(name, "answer", ListOf(device)), listText);
        return behaviour.Number(name, "return", success);
    });
}

std::uint32_t ShowPropertiesUI(const wchar_t* filterText, wchar_t** listText, std::uint32_t zero)
{
    const char* const name = "ShowPropertiesUI";
    return Recorded(name, failure, [&](Record& record) {
        const Behaviour behaviour;
        record.Argument("filterText", filterText);
        record.Line("  zero = " + std::to_string(zero));
        const bool onScreen = behaviour.Number(name, "dialog", 0) != 0;
        HandOut(
            record, onScreen ? EditProperties(record, filterText) : behaviour.Text(name, "answer", GivenText()),
            listText);
        return behaviour.Number(name, "return", success);
    });
}

std::uint32_t MergeDevicelistXML(const wchar_t* filterText)
{
    const char* const name = "MergeDevicelistXML";
    return Recorded(name, 0, [&](Record& record) {
        const Behaviour behaviour;
        record.Argument("filterText", filterText);
        return behaviour.Number(name, "return", 1);
    });
}

std::uint32_t QueryDeviceAddress(
    const wchar_t* address, const wchar_t* macAddress, QueryDeviceAddressCallbackFunction* callback,
    const wchar_t* productName, const wchar_t* vendorName)
{
    const char* const name = "QueryDeviceAddress";
    return Recorded(name, failure, [&](Record& record) {
        const Behaviour behaviour;
        record.Argument("address", address);
        record.Argument("macAddress", macAddress);
        record.Argument("productName", productName);
        record.Argument("vendorName", vendorName);
        const std::uint32_t result = behaviour.Number(name, "return", success);
        if (result != success)
            return result;
        QueryReport report{
            behaviour.Number(name, "status", 0),
            behaviour.Number(name, "change", 0),
            behaviour.Text(name, "address", std::wstring(address)),
            behaviour.Text(name, "macaddress", std::wstring(macAddress)),
            callback,
            std::chrono::milliseconds(behaviour.Number(name, "delay", 0)),
            behaviour.Text(name, "until", GivenText()),
            behaviour.Number(name, "again", 0) != 0,
            behaviour.Number(name, "nullpointers", 0) != 0};
        if (behaviour.Text(name, "thread", GivenText()) == std::wstring(L"own"))
        {
            // The application may free the library while the thread is on its way back: this keeps it for good.
            ::LoadLibraryW(BesideLibrary(VENDOR_LIBRARY L".dll").c_str());
            std::thread([report = std::move(report)] { report.Deliver(); }).detach();
        }
        else
            report.Deliver();
        return result;
    });
}

std::uint32_t FreeDeviceList(wchar_t** listText)
{
    return Recorded("FreeDeviceList", failure, [&](Record& record) {
        const auto found = std::ranges::find(textsOut, *listText, &std::unique_ptr<wchar_t[]>::get);
        const bool known = found != textsOut.end();
        record.Line(known ? "  released" : "  error: not a text of this library");
        if (!known)
            return failure;
        textsOut.erase(found);
        *listText = nullptr;
        return success;
    });
}

std::uint32_t GetDeviceList()
{
    return NotSimulated("GetDeviceList");
}

std::uint32_t GetPrinterList()
{
    return NotSimulated("GetPrinterList");
}

std::uint32_t GetSelectedDevice()
{
    return NotSimulated("GetSelectedDevice");
}

std::uint32_t GetMultiDeviceInformation()
{
    return NotSimulated("GetMultiDeviceInformation");
}
