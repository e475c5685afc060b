// The fuzzers' scratch folder and the client's paths inside it.
#include "FuzzSupport.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "CClientConfig.h"

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
        // No file can be made inside /dev/null, so every log line is dropped.
        config->setLogPath(log != nullptr && log[0] != '\0' ? log : "/dev/null");
        return made;
    }();
    static const bool cleanupRegistered = std::atexit(removeFolder) == 0;
    (void)cleanupRegistered;
    return folder;
}

void writeFileOrDie(const std::string& path, const char* data, std::size_t size) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        die("cannot create " + path);
    }
    while (size > 0) {
        const ssize_t written = ::write(fd, data, size);
        if (written < 0) {
            if (errno == EINTR) continue;
            die("cannot write " + path);
        }
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    if (::close(fd) != 0) {
        die("cannot close " + path);
    }
}

}  // namespace quelby_fuzz
