#include "Chooser.h"

#include <algorithm>
#include <bit>
#include <commctrl.h>
#include <stdexcept>
#include <tuple>

namespace simulator
{
namespace
{

// The controls' numbers, as in Dialogs.rc.
constexpr int introductionText = 100, presentText = 101, statusText = 105, languageText = 106, firstProperty = 200;
constexpr int deviceList = 102, progressBar = 103, searchButton = 104, addButton = 107, propertiesButton = 108;

/// A dialog from this library's resources, shown until the user closes it.
class Dialog
{
public:
    virtual ~Dialog() = default;

    /// @return whether the user closed it by OK
    bool Show(Record& record, const wchar_t* resource, HWND parent)
    {
        USEROBJECTFLAGS station{};
        ::GetUserObjectInformationW(::GetProcessWindowStation(), UOI_FLAGS, &station, sizeof(station), nullptr);
        const INITCOMMONCONTROLSEX classes{sizeof(classes), ICC_LISTVIEW_CLASSES | ICC_PROGRESS_CLASS};
        ::InitCommonControlsEx(&classes);
        // In full resolution, not stretched by the system. Systems older than Windows 10 do not have the function.
        const auto setContext = std::bit_cast<DPI_AWARENESS_CONTEXT(WINAPI*)(DPI_AWARENESS_CONTEXT)>(
            ::GetProcAddress(::GetModuleHandleW(L"user32.dll"), "SetThreadDpiAwarenessContext"));
        const auto before = setContext == nullptr ? nullptr : setContext(DPI_AWARENESS_CONTEXT_SYSTEM_AWARE);
        INT_PTR closedBy = -1;
        if ((station.dwFlags & WSF_VISIBLE) != 0) // otherwise nobody could close it
            closedBy = ::DialogBoxParamW(ThisLibrary(), resource, parent, &Procedure, std::bit_cast<LPARAM>(this));
        if (closedBy <= 0 && m_error.empty())
            m_error = "system error " + std::to_string(::GetLastError());
        if (closedBy <= 0)
            record.Line("  error: the dialog cannot be shown: " + m_error);
        if (setContext != nullptr)
            setContext(before);
        return closedBy == IDOK;
    }

protected:
    virtual void OnOpened() = 0;
    virtual void OnButton(int control) = 0;
    virtual LRESULT OnNotify(const NMHDR&) { return 0; }
    virtual void OnTimer() {}

    HWND Control(int number) const { return ::GetDlgItem(m_window, number); }
    void SetText(int number, const std::wstring& text) const { ::SetDlgItemTextW(m_window, number, text.c_str()); }

    HWND m_window = nullptr;

private:
    static INT_PTR CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
    {
        if (message == WM_INITDIALOG)
            ::SetWindowLongPtrW(window, DWLP_USER, lParam);
        auto* const dialog = std::bit_cast<Dialog*>(::GetWindowLongPtrW(window, DWLP_USER));
        if (dialog == nullptr) // messages before WM_INITDIALOG
            return FALSE;
        dialog->m_window = window;
        try
        {
            if (message == WM_INITDIALOG)
                dialog->OnOpened();
            else if (message == WM_COMMAND && HIWORD(wParam) == BN_CLICKED)
                dialog->OnButton(LOWORD(wParam));
            else if (message == WM_TIMER)
                dialog->OnTimer();
            else if (message == WM_NOTIFY)
                ::SetWindowLongPtrW(window, DWLP_MSGRESULT, dialog->OnNotify(*std::bit_cast<const NMHDR*>(lParam)));
            else
                return FALSE;
        }
        catch (const std::exception& error) // which must not pass through the system's functions
        {
            dialog->m_error = error.what();
            ::EndDialog(window, -1);
        }
        return TRUE;
    }

    std::string m_error;
};

/// The elements on the properties page, by the numbers of its controls. The user may change the first two.
constexpr const char* fields[] = {"userlocation", "comment", "modelname", "devicepath", "serialnumber"};

struct PropertiesPage : Dialog
{
    explicit PropertiesPage(IXMLDOMNode& device) : m_device(device) {}

    void OnOpened() override
    {
        ::SetWindowTextW(m_window, (L"Properties of " + ChildText(m_device, "devicename")).c_str());
        for (int field = firstProperty; const char* const element : fields)
            SetText(field++, ChildText(m_device, element));
    }

    void OnButton(int control) override
    {
        for (int i = 0; control == IDOK && i < 2; ++i)
        {
            wchar_t text[4096] = L"";
            ::GetDlgItemTextW(m_window, firstProperty + i, text, static_cast<int>(std::size(text)));
            if (text != ChildText(m_device, fields[i])) // an unchanged text makes no element
                SetChildText(m_device, fields[i], text);
        }
        if (control == IDOK || control == IDCANCEL)
            ::EndDialog(m_window, control);
    }

    IXMLDOMNode& m_device;
};

struct Found
{
    Device* device;
    Node element;
    bool present = false;  ///< the application uses it already
    bool accepted = false; ///< by the application

    std::wstring Text(const char* name) const { return ChildText(*element, name); }
};

/// Title, the device's element (empty for the status), percentage of the list's width.
constexpr std::tuple<const wchar_t*, const char*, int> columns[] = {
    {L"Name", "devicename", 21},
    {L"Model", "modelname", 18},
    {L"Address", "devicepath", 21},
    {L"Location", "location", 23},
    {L"Status", "", 17}};

struct Chooser : Dialog
{
    Chooser(Record& record, std::vector<Device>& devices, const Search& search)
        : m_record(record),
          m_search(search),
          m_filter(LoadXmlText(search.filterText)),
          m_stored(Select(*m_filter, "/option/devicelist/device"))
    {
        for (Device& device : devices)
        {
            Found found{&device, SelectFirst(*LoadXmlText(device.list.c_str()), "/devicelist/device")};
            const bool local = found.Text("iotype") == L"Local";
            if (Option("iotype") == (local ? L"Network" : L"Local") || (local && Option("searchusbscanner") == L"0"))
                continue;
            const char* const identity = found.Text("macaddress").empty() ? "devicepath" : "macaddress";
            found.present = std::ranges::any_of(
                m_stored, [&](const Node& stored) { return ChildText(*stored, identity) == found.Text(identity); });
            m_sought.push_back(std::move(found));
        }
    }

    const Found& Selected() const { return m_sought[static_cast<std::size_t>(m_selected)]; }

    std::wstring Option(const std::string& name) const { return ChildText(*m_filter, "/option/" + name); }

    void OnOpened() override
    {
        ::SetWindowTextW(m_window, Option("dialogcaption").c_str());
        SetText(introductionText, L"Choose the scanner for " + Option("appname") + L".");
        SetText(presentText, L"Present device: " + (m_stored.empty() ? L"none" : DeviceOf(*m_stored[0]).name));
        SetText(languageText, L"Language code: " + Utf16(m_search.languageCode) + L" (shown in English only)");
        ::ShowWindow(Control(propertiesButton), Option("properties") == L"1" ? SW_SHOW : SW_HIDE);
        ListView_SetExtendedListViewStyle(Control(deviceList), LVS_EX_FULLROWSELECT);
        RECT area{};
        ::GetClientRect(Control(deviceList), &area);
        for (int i = 0; const auto& [title, element, percent] : columns)
        {
            std::wstring text = title;
            LVCOLUMNW shown{};
            shown.mask = LVCF_TEXT | LVCF_WIDTH;
            shown.pszText = text.data();
            shown.cx = (static_cast<int>(area.right) - ::GetSystemMetrics(SM_CXVSCROLL)) * percent / 100;
            ListView_InsertColumn(Control(deviceList), i++, &shown);
        }
        Start();
    }

    void OnButton(int control) override
    {
        if (control == IDCANCEL || (control == IDOK && CanBeTaken()))
            ::EndDialog(m_window, control);
        else if (control == searchButton && m_searching)
            Stop(L"Search stopped.");
        else if (control == searchButton)
            Start();
        else if (control == addButton)
            ::MessageBoxW(m_window, (L"Not simulated. Answer: " + Utf16(m_search.add())).c_str(), L"Add", MB_OK);
        else if (
            control == propertiesButton && m_selected >= 0 &&
            PropertiesPage(*Selected().element).Show(m_record, L"PROPERTIES", m_window))
            *Selected().device = DeviceOf(*Selected().element);
    }

    LRESULT OnNotify(const NMHDR& header) override
    {
        if (header.code == LVN_ITEMCHANGED)
            OnSelection();
        else if (header.code == LVN_ITEMACTIVATE)
            OnButton(IDOK);
        if (header.code != NM_CUSTOMDRAW || header.idFrom != deviceList)
            return CDRF_DODEFAULT;
        auto& draw = *std::bit_cast<NMLVCUSTOMDRAW*>(&header);
        if (draw.nmcd.dwDrawStage == CDDS_PREPAINT)
            return CDRF_NOTIFYITEMDRAW;
        if (draw.nmcd.dwDrawStage == CDDS_ITEMPREPAINT && !m_sought[draw.nmcd.dwItemSpec].accepted)
            draw.clrText = ::GetSysColor(COLOR_GRAYTEXT);
        return CDRF_DODEFAULT;
    }

    void OnTimer() override
    {
        const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - m_begun;
        const double share = passed < m_search.duration ? passed / m_search.duration : 1;
        ::SendMessageW(Control(progressBar), PBM_SETPOS, static_cast<WPARAM>(share * 100), 0);
        while (m_listed < static_cast<int>(share * static_cast<double>(m_sought.size())))
            ListNext();
        if (share == 1)
            Stop(L"Search finished.");
    }

    void Start()
    {
        ListView_DeleteAllItems(Control(deviceList));
        m_listed = 0;
        m_searching = true;
        m_begun = std::chrono::steady_clock::now();
        OnSelection();
        SetText(searchButton, L"&Stop search");
        SetText(statusText, L"Searching...");
        ::SetTimer(m_window, 1, 50, nullptr);
    }

    void Stop(const wchar_t* how)
    {
        ::KillTimer(m_window, 1);
        m_searching = false;
        SetText(statusText, how + (L" Devices found: " + std::to_wstring(m_listed) + L"."));
        SetText(searchButton, L"&Search again");
    }

    void ListNext()
    {
        const HWND list = Control(deviceList);
        LVITEMW cell{};
        cell.iItem = m_listed++;
        Found& found = m_sought[static_cast<std::size_t>(cell.iItem)];
        found.accepted = m_search.accepts(*found.device);
        const wchar_t* const acceptable = found.present ? L"Present device" : L"Available";
        cell.mask = LVIF_TEXT;
        for (const auto& [title, element, percent] : columns)
        {
            std::wstring text = found.accepted ? acceptable : L"Not for this driver";
            if (*element != 0)
                text = found.Text(element);
            cell.pszText = text.data();
            cell.iSubItem == 0 ? ListView_InsertItem(list, &cell) : ListView_SetItem(list, &cell);
            ++cell.iSubItem;
        }
        if (found.present && found.accepted && m_selected < 0)
            ListView_SetItemState(list, cell.iItem, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
    }

    void OnSelection()
    {
        m_selected = ListView_GetNextItem(Control(deviceList), -1, LVNI_SELECTED);
        ::EnableWindow(Control(IDOK), CanBeTaken() ? TRUE : FALSE);
        ::EnableWindow(Control(propertiesButton), m_selected >= 0 ? TRUE : FALSE);
    }
    bool CanBeTaken() const { return m_selected >= 0 && Selected().accepted; }

    Record& m_record;
    const Search& m_search;
    const Node m_filter;
    const std::vector<Node> m_stored; ///< the devices that the application uses already
    std::vector<Found> m_sought;
    int m_listed = 0;    ///< how many of m_sought the list shows
    int m_selected = -1; ///< the row, or -1
    bool m_searching = false;
    std::chrono::steady_clock::time_point m_begun;
};

} // namespace

const Device* ChooseInDialog(Record& record, std::vector<Device>& devices, const Search& search)
{
    Chooser chooser(record, devices, search);
    return chooser.Show(record, L"CHOOSER", nullptr) ? chooser.Selected().device : nullptr;
}

GivenText EditProperties(Record& record, const wchar_t* filterText)
{
    const Node filter = LoadXmlText(filterText);
    const Node device = SelectFirst(*filter, "/option/devicelist/device");
    if (!device)
        throw std::runtime_error("the filter text has no device");
    PropertiesPage page(*device);
    return page.Show(record, L"PROPERTIES", nullptr) ? GivenText(DeviceOf(*device).list) : std::nullopt;
}

} // namespace simulator
