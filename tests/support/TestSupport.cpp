#include "TestSupport.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>

#include "CClientConfig.h"
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

std::string pluginPath() { return QUELBY_PLUGIN_PATH; }

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
