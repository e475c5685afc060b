// No file of this process may grow while one of these lives, as on a full
// disk; as root, permissions would not stop this process. POSIX only.
#pragma once

#include <signal.h>
#include <sys/resource.h>

namespace quelby_test {

class FilesRefused {
public:
    FilesRefused() {
        signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_old);
        rlimit none = m_old;
        none.rlim_cur = 0;
        setrlimit(RLIMIT_FSIZE, &none);
    }
    ~FilesRefused() { setrlimit(RLIMIT_FSIZE, &m_old); }
    FilesRefused(const FilesRefused&) = delete;
    FilesRefused& operator=(const FilesRefused&) = delete;

private:
    rlimit m_old{};
};

}  // namespace quelby_test
