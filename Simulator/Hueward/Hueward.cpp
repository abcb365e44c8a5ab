// Hueward.exe: stands for the colour-profile updater. It writes the command line that it got to the file named by the
// environment variable HUEWARD_RECORD, or else to Hueward.log in its working directory.
#include "Record.h"
#include "VendorNames.h"

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR, int)
{
    using namespace simulator;
    const std::wstring named = Variable(L"HUEWARD_RECORD");
    Record record(named.empty() ? std::wstring(VENDOR_UPDATER L".log") : named);
    record.Line(Utf8(::GetCommandLineW()));
    return record.IsOpen() ? 0 : 1;
}
