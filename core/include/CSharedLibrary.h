// A shared library opened while the plug-in runs, for what a pilot's machine
// may lack (the sound library): its absence is a log line, not a plug-in that
// X-Plane refuses to load.
//
// Threads: any, one owner; the library stays open while the object lives.
#pragma once

#include <initializer_list>
#include <string>

class CSharedLibrary {
public:
    // Opens the first of the names that the system finds; why the first one
    // did not open is kept for the log.
    explicit CSharedLibrary(std::initializer_list<const char*> names);
    ~CSharedLibrary();
    CSharedLibrary(const CSharedLibrary&) = delete;
    CSharedLibrary& operator=(const CSharedLibrary&) = delete;

    bool isOpen() const { return m_handle != nullptr; }
    const std::string& failure() const { return m_failure; }
    // The address of a function, or null.
    void* symbol(const char* name) const;

private:
    void* m_handle = nullptr;
    std::string m_failure;
};
