// Files by their UTF-8 names on every system, and the save that leaves either
// the old file or the new one whatever happens mid-way. One implementation
// per operating system.
//
// Threads: any; the caller serialises access to one file.
#pragma once

#include <cstdio>
#include <string>

class CFileAccess {
public:
    // std::fopen for a UTF-8 name (a pilot's folder may hold any character).
    static std::FILE* open(const std::string& fileName, const char* mode);
    // Creates an empty file unless something is already there; an empty text
    // on success, else why it failed.
    static std::string createEmpty(const std::string& fileName);
    // Writes data to fileName + ".tmp", flushes it to the disk and renames it
    // over fileName, so that a crash or a power cut leaves the old file or
    // the new one. An empty text on success, else why it failed; the
    // temporary file is gone either way.
    static std::string replace(const std::string& fileName, const std::string& data);
    // Moves a file to a new name, replacing a file there. An empty text on
    // success, else why it failed.
    static std::string rename(const std::string& from, const std::string& to);
};
