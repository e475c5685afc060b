#include "TestSupport.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "CClientConfig.h"
#include "CIniParser.h"
#include "CLogger.h"
#include "CReport.h"

namespace fs = std::filesystem;

namespace quelby_test {

ScratchFolder::ScratchFolder(const std::string& tag) {
    std::string pattern = (fs::temp_directory_path() / (tag + "-XXXXXX")).string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot create a scratch folder from " + pattern);
    }
    m_path = pattern;
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
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

WorkingFolder::WorkingFolder(const std::string& path) : m_previous(fs::current_path().string()) {
    fs::current_path(path);
}

WorkingFolder::~WorkingFolder() {
    std::error_code ignored;
    fs::current_path(m_previous, ignored);
}

LogInto::LogInto(const std::string& folder) {
    CClientConfig::instance()->setLogPath(folder);
    CClientConfig::instance()->setIniPath(folder);
}

LogInto::~LogInto() { CClientConfig::instance()->restoreDefaults(); }

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

void writeFile(const std::string& path, const std::string& contents) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << contents;
}

bool fileExists(const std::string& path) { return fs::exists(path); }

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
