// Helpers shared by the test programs: scratch folders and file contents.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace quelby_test {

// The sealed report file with one hexadecimal digit of the report record
// changed, chosen so that the change alters the file's code: the code takes
// one of only 32 values, so about one change in 30 keeps it.
std::string tampered(const std::string& sealed);

// A fresh, empty folder under the system's temporary folder, removed when the
// object goes out of scope.
class ScratchFolder {
public:
    explicit ScratchFolder(const std::string& tag = "quelby");
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    const std::string& path() const { return m_path; }
    // path() + "/" + name
    std::string file(const std::string& name) const;

private:
    std::string m_path;
};

// Changes the working folder for the object's lifetime.
class WorkingFolder {
public:
    explicit WorkingFolder(const std::string& path);
    ~WorkingFolder();

private:
    std::string m_previous;
};

// Points the debug log (and the INI files) at a folder for the object's
// lifetime. Declare it before the objects whose loggers should write there.
class LogInto {
public:
    explicit LogInto(const std::string& folder);
    ~LogInto();
    LogInto(const LogInto&) = delete;
    LogInto& operator=(const LogInto&) = delete;
};

std::string readFile(const std::string& path);

// A test whose log and INI files live in a scratch folder of its own, with a
// fresh log header and a fresh INI parser for every test.
class FolderTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    // The debug log's contents so far.
    std::string log() const;

    ScratchFolder m_folder{"quelby-test"};
};
// Keeps a file from being saved over, as pilots' machines do now and then,
// until release() or the end of the object: on Windows a second handle holds
// the file without sharing it, as a virus scanner, the search indexer or a
// synced folder does; elsewhere, where an open file never stops a rename, no
// file of this process may grow, as on a full disk.
class FileHeld {
public:
    explicit FileHeld(const std::string& path);
    ~FileHeld();
    FileHeld(const FileHeld&) = delete;
    FileHeld& operator=(const FileHeld&) = delete;
    void release();
    bool isHeld() const { return m_held; }

private:
    bool m_held = false;
    void* m_handle = nullptr;
    unsigned long long m_sizeLimit = 0;
};

// The pauses of the client's saves between their tries, taken instead of
// sleeping while the object lives; each pause may first do what the test
// wants to happen meanwhile (given the pause's number, from 1).
class SavePausesCounted {
public:
    explicit SavePausesCounted(std::function<void(std::size_t pause)> meanwhile = {});
    ~SavePausesCounted();
    SavePausesCounted(const SavePausesCounted&) = delete;
    SavePausesCounted& operator=(const SavePausesCounted&) = delete;
    const std::vector<int>& pausesMs() const { return m_pausesMs; }
    int totalMs() const;

private:
    std::vector<int> m_pausesMs;
};

void writeFile(const std::string& path, const std::string& contents);
bool fileExists(const std::string& path);

// The threads of this process that program code started (on Windows every
// std::thread of any module, but not the main thread nor the system's own
// workers, which Windows' loader and thread pool start when a DLL loads); and a line on every thread,
// its name or where it started, for a failure message.
std::size_t programThreadCount();
std::string threadList();

// The plug-in binary built with the tests.
std::string pluginPath();

}  // namespace quelby_test
