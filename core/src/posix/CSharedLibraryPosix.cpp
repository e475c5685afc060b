// Shared libraries on Linux and macOS: dlopen.
#include <dlfcn.h>

#include "CSharedLibrary.h"

CSharedLibrary::CSharedLibrary(std::initializer_list<const char*> names) {
    for (const char* name : names) {
        // Local: the library's names never meet the simulator's own.
        m_handle = dlopen(name, RTLD_NOW | RTLD_LOCAL);
        if (m_handle != nullptr) {
            m_failure.clear();
            return;
        }
        // The first name is the system's own; why it failed says enough.
        const char* why = dlerror();
        if (m_failure.empty()) {
            m_failure = why != nullptr ? why : name;
        }
    }
}

CSharedLibrary::~CSharedLibrary() {
    if (m_handle != nullptr) {
        dlclose(m_handle);
    }
}

void* CSharedLibrary::symbol(const char* name) const {
    return m_handle != nullptr ? dlsym(m_handle, name) : nullptr;
}
