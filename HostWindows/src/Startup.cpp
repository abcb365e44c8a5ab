// The start of a windowless program, which defines wWinMain instead of main.

#include <windows.h>

int main()
{
    return ::wWinMain(::GetModuleHandleW(nullptr), nullptr, nullptr, 0);
}
