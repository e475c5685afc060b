// Writing the debug log: the once-per-process header, the line prefixes, the
// time stamps and the open-append-close of every line under one lock.
#include "CLogger.h"

#include <boost/algorithm/string/replace.hpp>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <mutex>

#include "CClientConfig.h"
#include "CFileAccess.h"
#include "QuelbyVersion.h"

bool CLogger::bInitialized = false;

namespace {

// Constant-initialised, so it is usable by loggers made during static
// initialisation and by those destroyed at exit.
std::mutex g_logMutex;

const char* const kLogFileName = "quelby_debug.txt";

std::atomic<bool> g_fileEnabled{true};

bool fileEnabled() { return g_fileEnabled.load(std::memory_order_relaxed); }

std::string& serverUrl() {
    static std::string url = std::string("http://") + kPrimaryServerHost + kRequestPath;
    return url;
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
            if (!bInitialized) {
                // One lock for the whole block keeps other threads' lines out of it.
                const std::string header[] = {
                    "----------------------------------",        "---------Quelby Log-----------",
                    std::string("- Version: ") + kClientVersion, "- Server: " + serverUrl(),
                    "- Max Data: " + std::to_string(kMaxData),
                };
                for (const std::string& line : header) {
                    appendLocked(line);
                }
                bInitialized = true;
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

void CLogger::appendLocked(const std::string& text) const {
    // A line written while the plug-in is unloaded (a verbose logger's
    // "Delete:") comes after stop ended the settings: it goes to the default
    // folder rather than make settings that nothing would delete.
    const CClientConfig* config = CClientConfig::existingInstance();
    const std::string fileName =
        (config != nullptr ? config->getLogPath() : CClientConfig::defaultLogPath()) +
        kLogFileName;
    std::FILE* file = CFileAccess::open(fileName, "a");
    if (file == nullptr) {
        return;  // a line that cannot be written costs no formatting
    }
    std::string line = text;
    if (line.find('\n') != std::string::npos) {
        boost::algorithm::replace_all(line, "\n", "\n" + getTime() + " " + m_name + " --> ");
    }
    std::fprintf(file, "%s %s\n", getTime().c_str(), line.c_str());
    std::fclose(file);
}

void CLogger::setServerUrl(const std::string& url) {
    std::lock_guard<std::mutex> lock(g_logMutex);
    serverUrl() = url;
}

void CLogger::setFileEnabled(bool enabled) { g_fileEnabled.store(enabled, std::memory_order_relaxed); }

bool CLogger::isFileEnabled() { return fileEnabled(); }

void CLogger::resetForTests() {
    std::lock_guard<std::mutex> lock(g_logMutex);
    bInitialized = false;
}
