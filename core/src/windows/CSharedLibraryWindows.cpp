// Shared libraries on Windows: LoadLibrary.
#include "CSharedLibrary.h"
#include "WindowsText.h"

CSharedLibrary::CSharedLibrary(std::initializer_list<const char*> names) {
    for (const char* name : names) {
        m_handle = reinterpret_cast<void*>(LoadLibraryW(windows::wide(name).c_str()));
        if (m_handle != nullptr) {
            m_failure.clear();
            return;
        }
        if (m_failure.empty()) {
            m_failure = std::string(name) + ": " + windows::lastErrorText();
        }
    }
}

CSharedLibrary::~CSharedLibrary() {
    if (m_handle != nullptr) {
        FreeLibrary(static_cast<HMODULE>(m_handle));
    }
}

void* CSharedLibrary::symbol(const char* name) const {
    return m_handle != nullptr
               ? reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(m_handle), name))
               : nullptr;
}
