// Writing the debug log: the header, the line prefixes, the time stamps and
// the open-append-close of every line under one lock; a fresh log for each
// run of the plug-in, and the support lines for X-Plane's Log.txt.
#include "CLogger.h"

#include <atomic>
#include <boost/algorithm/string/replace.hpp>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <new>
#include <set>
#include <vector>

#include "CClientConfig.h"
#include "CFileAccess.h"
#include "QuelbyVersion.h"

bool CLogger::bInitialized = false;

namespace {

// Constant-initialised, so it is usable by loggers made during static
// initialisation and by those destroyed at exit.
std::mutex g_logMutex;

const char* const kLogFileName = "quelby_debug.txt";
const char* const kPreviousLogFileName = "quelby_debug.old.txt";

// Lines logged between beginNewLog() and startNewLog(), whole and stamped;
// guarded by the log lock. A start that never reaches startNewLog holds no
// more than this many.
// Made on first use and never destroyed, like the lock: loggers live in
// static objects too. The object sits in the library's own storage, not on
// the heap, so unloading the plug-in leaves nothing behind; what it holds is
// given back when the log starts and when the plug-in stops.
template <typename T>
T& neverDestroyed() {
    alignas(T) static unsigned char storage[sizeof(T)];
    static T* const object = new (storage) T();
    return *object;
}

bool g_newLogPending = false;
std::vector<std::string>& heldLines() { return neverDestroyed<std::vector<std::string>>(); }
constexpr std::size_t kMaxHeldLines = 200;

std::mutex g_supportMutex;
struct tSupportState {
    CLogger::SupportSink sink;
    std::set<std::string> causesSaid;
};
tSupportState& supportState() { return neverDestroyed<tSupportState>(); }

// The log's folder, or nothing: a line written while the plug-in is unloaded
// (a verbose logger's "Delete:") comes after stop ended the settings, and
// X-Plane's folder is unknown then; the working folder is not X-Plane's.
bool logFolder(std::string& folder) {
    const CClientConfig* config = CClientConfig::existingInstance();
    if (config == nullptr) {
        return false;
    }
    folder = config->getLogPath();
    return true;
}

std::atomic<bool> g_fileEnabled{true};

std::string& serverUrl() {
    static std::string url = std::string("http://") + kPrimaryServerHost + kRequestPath;
    return url;
}

bool fileEnabled() { return g_fileEnabled.load(std::memory_order_relaxed); }

std::vector<std::string> headerLines() {
    return {
        "----------------------------------",        "---------Quelby Log-----------",
        std::string("- Version: ") + kClientVersion, "- Server: " + serverUrl(),
        "- Max Data: " + std::to_string(kMaxData),
    };
}

}  // namespace

CLogger::CLogger(const std::string& name) : CLogger(name, true) {}

CLogger::CLogger(const std::string& name, bool verbose) : m_name(name), m_bVerbose(verbose) {
    initialize();
}

CLogger::~CLogger() {
    if (m_bVerbose && fileEnabled()) {
        try {
            writeToFile("Delete: " + m_name);
        } catch (...) {
            // A line that cannot even be built is simply lost.
        }
    }
}

void CLogger::initialize() noexcept {
    if (!fileEnabled()) return;
    try {
        {
            std::lock_guard<std::mutex> lock(g_logMutex);
            // A new log writes its header itself, before the held lines.
            if (!bInitialized && !g_newLogPending) {
                // One lock for the whole block keeps other threads' lines out of it.
                bool written = true;
                for (const std::string& line : headerLines()) {
                    written = appendLocked(line) && written;
                }
                // A log that could not be written yet gets its header with
                // its first line that can.
                bInitialized = written;
            }
        }
        if (m_bVerbose) {
            writeToFile("Init: " + m_name);
        }
    } catch (...) {
        // Logging never fails its caller.
    }
}

void CLogger::debug(const std::string& message) const noexcept {
    if (!fileEnabled()) return;
    try {
        writeToFile("Debug: [" + m_name + "] " + message);
    } catch (...) {
    }
}

void CLogger::warn(const std::string& message) const noexcept {
    if (!fileEnabled()) return;
    try {
        writeToFile("Warn: [" + m_name + "] " + message);
    } catch (...) {
    }
}

void CLogger::error(const std::string& message) const noexcept {
    if (!fileEnabled()) return;
    try {
        writeToFile("Error: [" + m_name + "] " + message);
    } catch (...) {
    }
}

std::string CLogger::getTime() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    if (localtime_r(&now, &local) == nullptr) {
        return std::string();
    }
    // Only numeric fields: the text is the same in every locale.
    char text[256];
    const std::size_t length = std::strftime(text, sizeof(text), "%d.%m.%y - %H:%M:%S", &local);
    return std::string(text, length);
}

void CLogger::writeToFile(const std::string& text) const noexcept {
    if (!fileEnabled()) return;
    try {
        std::lock_guard<std::mutex> lock(g_logMutex);
        appendLocked(text);
    } catch (...) {
    }
}

bool CLogger::appendLocked(const std::string& text) const {
    std::string folder;
    if (!logFolder(folder)) {
        return false;
    }
    if (g_newLogPending && heldLines().size() >= kMaxHeldLines) {
        return false;
    }
    std::FILE* file = nullptr;
    if (!g_newLogPending) {
        file = CFileAccess::open(folder + kLogFileName, "a");
        if (file == nullptr) {
            return false;  // a line that cannot be written costs no formatting
        }
    }
    const std::string stamp = getTime();
    std::string line = stamp + " " + text + "\n";
    if (text.find('\n') != std::string::npos) {
        line.pop_back();
        boost::algorithm::replace_all(line, "\n", "\n" + stamp + " " + m_name + " --> ");
        line += "\n";
    }
    if (file == nullptr) {
        heldLines().push_back(std::move(line));
        return true;
    }
    const bool written = std::fputs(line.c_str(), file) >= 0;
    return std::fclose(file) == 0 && written;
}

std::string CLogger::logFileName() {
    std::string folder;
    logFolder(folder);
    return folder + kLogFileName;
}

std::string CLogger::previousLogFileName() {
    std::string folder;
    logFolder(folder);
    return folder + kPreviousLogFileName;
}

void CLogger::beginNewLog() {
    std::lock_guard<std::mutex> lock(g_logMutex);
    g_newLogPending = true;
    std::vector<std::string>().swap(heldLines());
    bInitialized = false;
}

std::string CLogger::startNewLog() {
    std::lock_guard<std::mutex> lock(g_logMutex);
    std::vector<std::string> held;
    held.swap(heldLines());
    g_newLogPending = false;
    bInitialized = false;
    std::string folder;
    if (!logFolder(folder)) {
        return "no folder for the log";
    }
    const std::string current = folder + kLogFileName;
    // Only a log that is there is kept. One that cannot be moved aside is
    // continued rather than lost.
    std::string failure;
    if (std::FILE* existing = CFileAccess::open(current, "rb")) {
        std::fclose(existing);
        failure = CFileAccess::rename(current, folder + kPreviousLogFileName);
    }
    std::FILE* file = CFileAccess::open(current, failure.empty() ? "w" : "a");
    if (file == nullptr) {
        return "cannot create " + current + (failure.empty() ? "" : " (" + failure + ")");
    }
    bool written = true;
    for (const std::string& line : headerLines()) {
        written = std::fprintf(file, "%s %s\n", getTime().c_str(), line.c_str()) >= 0 && written;
    }
    for (const std::string& line : held) {
        written = std::fputs(line.c_str(), file) >= 0 && written;
    }
    written = std::fclose(file) == 0 && written;
    if (!written) {
        return "cannot write " + current;
    }
    bInitialized = true;
    if (!failure.empty()) {
        return "cannot keep the previous log as " + folder + kPreviousLogFileName + ": " + failure;
    }
    return std::string();
}

void CLogger::setSupportSink(SupportSink sink) {
    std::lock_guard<std::mutex> lock(g_supportMutex);
    supportState().sink = std::move(sink);
    std::set<std::string>().swap(supportState().causesSaid);
}

bool CLogger::support(const std::string& cause, const std::string& text) noexcept {
    try {
        std::lock_guard<std::mutex> lock(g_supportMutex);
        tSupportState& support = supportState();
        if (!support.sink || !support.causesSaid.insert(cause).second) {
            return false;
        }
        support.sink("Quelby: " + text + "\n");
        return true;
    } catch (...) {
        return false;
    }
}

void CLogger::setServerUrl(const std::string& url) {
    std::lock_guard<std::mutex> lock(g_logMutex);
    serverUrl() = url;
}

void CLogger::setFileEnabled(bool enabled) {
    g_fileEnabled.store(enabled, std::memory_order_relaxed);
}

bool CLogger::isFileEnabled() { return fileEnabled(); }

void CLogger::resetForTests() {
    std::lock_guard<std::mutex> lock(g_logMutex);
    bInitialized = false;
    g_newLogPending = false;
    std::vector<std::string>().swap(heldLines());
}
