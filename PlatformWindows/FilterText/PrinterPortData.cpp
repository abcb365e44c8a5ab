#include "PrinterPortData.h"

#include "Loggers.h"
#include "MultiSelectRecord.h"
#include "StoredValues.h"
#include "XmlDocument.h"

namespace scankelv
{
namespace
{

constexpr RecordMessages messages = {"\ntry to open %ws", "MultiSelectStorageOpenRead failed"};

} // namespace

bool XmlGeneratePrinterPortData(_bstr_t& portData, const wchar_t* recordPath)
{
    XmlDocument document;
    if (!XmlOpenDocument(document))
        return false;
    const XmlElement ports = XmlCreateElement(document, L"ports");
    unsigned short found = 0;
    for (; found < recordLimit; ++found)
    {
        CrossProductStorage record;
        if (!OpenRecord(record, recordPath, found, messages))
            break;
        std::wstring address;
        ReadStoredText(record, L"Address", shortCapacity, address);
        AgentLogger().WriteLine("addressString: %ws", address);
        XmlAddTextElement(document, ports, L"port", _bstr_t(address));
    }
    if (found == 0)
    {
        AgentLogger().WriteLine("no multi-select records found, ports list generation canceled!");
        return false;
    }
    XmlAppend(document.Get(), ports.Get());
    portData = XmlSerialise(document);
    return true;
}

} // namespace scankelv
