// The emulated X-Plane's exports on Windows: the export table of this DLL,
// XPLM_64.dll.
#include <windows.h>

#include "../SdkSymbols.h"

namespace testbed::detail {

void* testbedExport(const char* name) {
    HMODULE self = nullptr;
    if (!GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCWSTR>(&testbedExport), &self)) {
        return nullptr;
    }
    return reinterpret_cast<void*>(GetProcAddress(self, name));
}

}  // namespace testbed::detail
