#include "TestSupport.h"

#ifdef _WIN32
#include <windows.h>
// After windows.h, which it needs.
#include <tlhelp32.h>
#else
#include <signal.h>
#include <sys/resource.h>
#endif

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <random>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "CClientConfig.h"
#include "CFileAccess.h"
#include "CIniParser.h"
#include "CLogger.h"
#include "CReport.h"

namespace fs = std::filesystem;

namespace quelby_test {

// Paths are UTF-8 strings here, as in the plug-in, on every system.
ScratchFolder::ScratchFolder(const std::string& tag) {
    std::random_device seed;
    std::mt19937_64 random(seed());
    for (int attempt = 0; attempt < 100; ++attempt) {
        const fs::path candidate =
            fs::temp_directory_path() / fs::u8path(tag + "-" + std::to_string(random() % 1000000000));
        std::error_code error;
        if (fs::create_directory(candidate, error)) {
            m_path = candidate.u8string();
            return;
        }
    }
    throw std::runtime_error("cannot create a scratch folder for " + tag);
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(fs::u8path(m_path), ignored);
}

std::string tampered(const std::string& sealed) {
    const std::size_t value = sealed.find("Tarvex_Reports = ") + 17;
    for (std::size_t at = value; at < value + 64 && at < sealed.size(); ++at) {
        std::string candidate = sealed;
        candidate[at] = candidate[at] == '0' ? '1' : '0';
        if (CReport::backupCodeOf(candidate) != CReport::backupCodeOf(sealed)) {
            return candidate;
        }
    }
    ADD_FAILURE() << "no one-digit change alters the code";
    return sealed;
}

std::string ScratchFolder::file(const std::string& name) const { return m_path + "/" + name; }

WorkingFolder::WorkingFolder(const std::string& path) : m_previous(fs::current_path().u8string()) {
    fs::current_path(fs::u8path(path));
}

WorkingFolder::~WorkingFolder() {
    std::error_code ignored;
    fs::current_path(fs::u8path(m_previous), ignored);
}

LogInto::LogInto(const std::string& folder) {
    CClientConfig::instance()->setLogPath(folder);
    CClientConfig::instance()->setIniPath(folder);
}

LogInto::~LogInto() { CClientConfig::instance()->restoreDefaults(); }

std::string readFile(const std::string& path) {
    std::ifstream in(fs::u8path(path), std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

void writeFile(const std::string& path, const std::string& contents) {
    std::ofstream out(fs::u8path(path), std::ios::binary | std::ios::trunc);
    out << contents;
}

bool fileExists(const std::string& path) { return fs::exists(fs::u8path(path)); }

#ifdef _WIN32
FileHeld::FileHeld(const std::string& path) {
    const int length = MultiByteToWideChar(CP_UTF8, 0, path.c_str(), -1, nullptr, 0);
    std::wstring widePath(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, path.c_str(), -1, &widePath[0], length);
    // No sharing at all: neither reading, writing nor deleting or renaming.
    const HANDLE handle = CreateFileW(widePath.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        ADD_FAILURE() << "cannot hold " << path << ": error " << GetLastError();
        return;
    }
    m_handle = handle;
    m_held = true;
}

void FileHeld::release() {
    if (m_held) CloseHandle(static_cast<HANDLE>(m_handle));
    m_held = false;
}
#else
FileHeld::FileHeld(const std::string& path) {
    (void)path;
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    m_sizeLimit = limit.rlim_cur;
    limit.rlim_cur = 0;
    m_held = setrlimit(RLIMIT_FSIZE, &limit) == 0;
    if (!m_held) ADD_FAILURE() << "cannot refuse file growth";
}

void FileHeld::release() {
    if (!m_held) return;
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = static_cast<rlim_t>(m_sizeLimit);
    setrlimit(RLIMIT_FSIZE, &limit);
    m_held = false;
}
#endif

FileHeld::~FileHeld() { release(); }

SavePausesCounted::SavePausesCounted(std::function<void(std::size_t pause)> meanwhile) {
    CFileAccess::setPauseForTests([this, meanwhile](int pauseMs) {
        m_pausesMs.push_back(pauseMs);
        if (meanwhile) meanwhile(m_pausesMs.size());
    });
}

SavePausesCounted::~SavePausesCounted() { CFileAccess::setPauseForTests(nullptr); }

int SavePausesCounted::totalMs() const {
    return std::accumulate(m_pausesMs.begin(), m_pausesMs.end(), 0);
}

std::string pluginPath() { return QUELBY_PLUGIN_PATH; }

#ifdef _WIN32
namespace {
// Each thread of this process with the module its code started in.
std::vector<std::string> threadsOfThisProcess() {
    using QueryThread = LONG(WINAPI*)(HANDLE, int, PVOID, ULONG, PULONG);
    const auto query = reinterpret_cast<QueryThread>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ntdll.dll"), "NtQueryInformationThread")));
    std::vector<std::string> threads;
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        if (entry.th32OwnerProcessID != GetCurrentProcessId()) continue;
        void* start = nullptr;
        const HANDLE thread = OpenThread(THREAD_QUERY_INFORMATION, FALSE, entry.th32ThreadID);
        if (thread != nullptr && query != nullptr) {
            // 9: the thread's Win32 start address.
            query(thread, 9, &start, sizeof(start), nullptr);
        }
        if (thread != nullptr) CloseHandle(thread);
        HMODULE module = nullptr;
        char name[MAX_PATH] = "unknown module";
        if (GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                   GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                               static_cast<LPCSTR>(start), &module)) {
            GetModuleFileNameA(module, name, MAX_PATH);
        }
        threads.push_back("thread " + std::to_string(entry.th32ThreadID) + " started in " + name);
    }
    CloseHandle(snapshot);
    return threads;
}
}  // namespace
#else
namespace {
std::vector<std::string> threadsOfThisProcess() {
    std::vector<std::string> threads;
    for (const auto& task : fs::directory_iterator("/proc/self/task")) {
        std::string name = readFile((task.path() / "comm").string());
        while (!name.empty() && name.back() == '\n') name.pop_back();
        threads.push_back("thread " + task.path().filename().string() + " " + name);
    }
    return threads;
}
}  // namespace
#endif

std::size_t programThreadCount() {
    std::size_t count = 0;
    for (const std::string& thread : threadsOfThisProcess()) {
#ifdef _WIN32
        // The C runtime starts every std::thread; code that is gone is a
        // thread that outlived its DLL.
        if (thread.find("msvcrt.dll") == std::string::npos &&
            thread.find("unknown module") == std::string::npos) {
            continue;
        }
#endif
        (void)thread;
        ++count;
    }
    return count;
}

std::string threadList() {
    std::string list;
    for (const std::string& thread : threadsOfThisProcess()) list += "\n  " + thread;
    return list;
}

void FolderTest::SetUp() {
    CClientConfig::instance()->setIniPath(m_folder.path());
    CClientConfig::instance()->setLogPath(m_folder.path());
    CLogger::resetForTests();
}

void FolderTest::TearDown() {
    CIniParser::destroyInstance();
    CClientConfig::instance()->restoreDefaults();
    CLogger::resetForTests();
}

std::string FolderTest::log() const { return readFile(m_folder.file("quelby_debug.txt")); }

}  // namespace quelby_test
