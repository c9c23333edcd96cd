// Wine's ntdll exports wine_get_version; Windows' does not.
#include "platform/wine.h"

#include <korvan/platform.h>

bool korvan::RunningUnderWine() {
    const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
    return ntdll && GetProcAddress(ntdll, "wine_get_version") != nullptr;
}
