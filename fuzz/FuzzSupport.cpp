// The fuzzers' scratch folder and the client's paths inside it.
#include "FuzzSupport.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "CClientConfig.h"
#include "CLogger.h"

namespace quelby_fuzz {

namespace {

[[noreturn]] void die(const std::string& what) {
    std::fprintf(stderr, "fuzz set-up: %s: %s\n", what.c_str(), std::strerror(errno));
    std::abort();
}

std::string makeFolder() {
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern =
        std::string(tmp != nullptr && tmp[0] != '\0' ? tmp : "/tmp") + "/quelby-fuzz-XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    if (::mkdtemp(name.data()) == nullptr) {
        die("cannot make a folder from " + pattern);
    }
    return std::string(name.data()) + "/";
}

void removeFolder() {
    const std::string& folder = prepareProcess();
    for (const char* name : {"quelby.ini", "quelby_report.ini", "blackbox.xml"}) {
        ::unlink((folder + name).c_str());
    }
    ::rmdir(folder.c_str());
}

}  // namespace

const std::string& prepareProcess() {
    static const std::string folder = [] {
        const std::string made = makeFolder();
        CClientConfig* config = CClientConfig::instance();
        config->setIniPath(made);
        config->setDataPath(made);
        const char* log = std::getenv("QUELBY_FUZZ_LOG");
        if (log != nullptr && log[0] != '\0') {
            config->setLogPath(log);
        } else {
            // Every input would add lines; dropping them before they are
            // built also spares a failed open per line.
            CLogger::setFileEnabled(false);
        }
        return made;
    }();
    static const bool cleanupRegistered = std::atexit(removeFolder) == 0;
    (void)cleanupRegistered;
    return folder;
}

void CAnswerReplay::replay(std::string_view answer) {
    m_answer.assign(answer);  // keeps its room for the next input
    m_requests = 0;
    forgetAnswers();
}

}  // namespace quelby_fuzz
