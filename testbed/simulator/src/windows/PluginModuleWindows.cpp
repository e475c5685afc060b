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

// X-Plane loads its SDK DLLs before any plug-in, so that a plug-in's imports
// find them already in memory wherever the plug-in lies; the emulated ones
// sit beside this DLL, XPLM_64.dll.
void loadSdkWidgets() {
    static const bool loaded = [] {
        HMODULE self = nullptr;
        wchar_t path[MAX_PATH] = {0};
        if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                    GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                reinterpret_cast<LPCWSTR>(&loadSdkWidgets), &self) ||
            GetModuleFileNameW(self, path, MAX_PATH) == 0) {
            return false;
        }
        std::wstring widgets = path;
        widgets = widgets.substr(0, widgets.find_last_of(L"\\/") + 1) + L"XPWidgets_64.dll";
        return LoadLibraryW(widgets.c_str()) != nullptr;
    }();
    (void)loaded;
}

}  // namespace

void* openPluginModule(const std::string& path, std::string& why) {
    loadSdkWidgets();
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
