// The emulated X-Plane's exports on Linux: dlsym on this very library.
#include <dlfcn.h>

#include <cstring>

#include "../SdkSymbols.h"

namespace testbed::detail {

void* testbedExport(const char* name) {
    Dl_info self{};
    if (dladdr(reinterpret_cast<const void*>(&testbedExport), &self) == 0 ||
        self.dli_fname == nullptr) {
        return nullptr;
    }
    void* library = dlopen(self.dli_fname, RTLD_LAZY | RTLD_NOLOAD);
    if (library == nullptr) {
        return nullptr;
    }
    void* symbol = dlsym(library, name);
    dlclose(library);
    // dlsym searches the libraries this one uses as well.
    Dl_info owner{};
    if (symbol == nullptr || dladdr(symbol, &owner) == 0 || owner.dli_fname == nullptr ||
        std::strcmp(owner.dli_fname, self.dli_fname) != 0) {
        return nullptr;
    }
    return symbol;
}

}  // namespace testbed::detail
