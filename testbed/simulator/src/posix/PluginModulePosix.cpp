// The plug-in's binary on Linux: dlopen, local, every symbol bound at load as
// X-Plane binds them.
#include <dlfcn.h>
#include <link.h>

#include <cstring>

#include "../PluginModule.h"

namespace testbed::detail {

void* openPluginModule(const std::string& path, std::string& why) {
    dlerror();
    void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        const char* error = dlerror();
        why = error != nullptr ? error : path;
    }
    return module;
}

void closePluginModule(void* module) { dlclose(module); }

void* pluginSymbol(void* module, const char* name) { return dlsym(module, name); }

bool isInModule(const void* function, void* module) {
    Dl_info info{};
    link_map* map = nullptr;
    if (function == nullptr || dladdr(function, &info) == 0 || info.dli_fname == nullptr ||
        dlinfo(module, RTLD_DI_LINKMAP, &map) != 0 || map == nullptr || map->l_name == nullptr) {
        return false;
    }
    return std::strcmp(info.dli_fname, map->l_name) == 0;
}

}  // namespace testbed::detail
