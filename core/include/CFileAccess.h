// Files by their UTF-8 names on every system, and the save that leaves either
// the old file or the new one whatever happens mid-way. One implementation
// per operating system; the save's tries are shared.
//
// Threads: any that may wait, never the simulator's: a save waits up to about
// a second for a file that another program holds. The caller serialises
// access to one file.
#pragma once

#include <cstdio>
#include <functional>
#include <string>

class CFileAccess {
public:
    // How long a save goes on trying: the first pause, each one twice the
    // one before, and all pauses together (the last one cut to fit).
    static constexpr int kFirstRetryPauseMs = 10;
    static constexpr int kRetryBudgetMs = 1000;

    // std::fopen for a UTF-8 name (a pilot's folder may hold any character).
    static std::FILE* open(const std::string& fileName, const char* mode);
    // Creates an empty file unless something is already there; an empty text
    // on success, else why it failed. A file it makes is its owner's alone.
    static std::string createEmpty(const std::string& fileName);
    // Writes data to fileName + ".tmp", flushes it to the disk and renames it
    // over fileName, so that a crash or a power cut leaves the old file or
    // the new one. The new file is its owner's alone from its first byte
    // (the settings hold the password): mode 0600 on Linux and macOS; on
    // Windows it takes the rights of its folder.
    //
    // A failure that may pass is tried again, with growing pauses, for
    // kRetryBudgetMs in all: a virus scanner, the search indexer or a synced
    // folder holding the file for a moment, a full disk, a folder that
    // refuses files. An empty text on success, else why it failed; the
    // temporary file is gone either way.
    static std::string replace(const std::string& fileName, const std::string& data);
    // Moves a file to a new name, replacing a file there. An empty text on
    // success, else why it failed.
    static std::string rename(const std::string& from, const std::string& to);

    // What replace does between two tries instead of sleeping, given the
    // pause in milliseconds; an empty function sleeps again. Tests count the
    // pauses there and free a held file.
    using Pause = std::function<void(int pauseMs)>;
    static void setPauseForTests(Pause pause);

private:
    // One try of replace. mayPass tells a failure that a later try may not
    // meet from one that stays (a missing folder).
    static std::string replaceOnce(const std::string& fileName, const std::string& data,
                                   bool& mayPass);
};
