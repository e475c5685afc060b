// The plug-in's binary on Windows: LoadLibrary, with the DLL's own folder
// searched for what it needs, as X-Plane loads it.
#include <windows.h>

#include <string>

#include "../PluginModule.h"

namespace testbed::detail {

namespace {

std::wstring wide(const std::string& utf8) {
    const int size = static_cast<int>(utf8.size());
    const int length = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0);
    std::wstring out(static_cast<std::size_t>(length > 0 ? length : 0), L'\0');
    if (length > 0) MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, &out[0], length);
    return out;
}

}  // namespace

void* openPluginModule(const std::string& path, std::string& why) {
    HMODULE module = LoadLibraryExW(wide(path).c_str(), nullptr,
                                    LOAD_WITH_ALTERED_SEARCH_PATH);
    if (module == nullptr) {
        why = "LoadLibrary failed with error " + std::to_string(GetLastError()) + " for " + path;
    }
    return reinterpret_cast<void*>(module);
}

void closePluginModule(void* module) { FreeLibrary(static_cast<HMODULE>(module)); }

void* pluginSymbol(void* module, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), name));
}

bool isInModule(const void* function, void* module) {
    HMODULE owner = nullptr;
    if (function == nullptr ||
        !GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            static_cast<LPCWSTR>(function), &owner)) {
        return false;
    }
    return owner == static_cast<HMODULE>(module);
}

}  // namespace testbed::detail
