// Linux and macOS: the system's certificate authorities for an HTTPS website.
// A proxy comes from the environment, which libcurl reads itself.
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "../CHttpSystem.h"

namespace {

// The release carries its own libcurl and OpenSSL, whose built-in guess is
// the folder of the Debian they were built on; each Linux family keeps the
// bundle elsewhere. Empty when none is found: libcurl's own guess stands.
const std::string& systemCaBundle() {
    static const std::string bundle = [] {
        for (const char* candidate :
             {"/etc/ssl/certs/ca-certificates.crt",                 // Debian, Ubuntu, Arch
              "/etc/pki/tls/certs/ca-bundle.crt",                   // Fedora, RHEL
              "/etc/pki/ca-trust/extracted/pem/tls-ca-bundle.pem",  // newer Fedora
              "/etc/ssl/ca-bundle.pem",                             // openSUSE
              "/etc/ssl/cert.pem"}) {                               // Alpine, Void, macOS
            std::error_code ec;
            if (std::filesystem::is_regular_file(candidate, ec)) {
                return std::string(candidate);
            }
        }
        return std::string();
    }();
    return bundle;
}

}  // namespace

namespace CHttpSystem {

void prepare(CURL* curl, const std::string& url) {
    if (url.compare(0, 8, "https://") == 0 && !systemCaBundle().empty()) {
        curl_easy_setopt(curl, CURLOPT_CAINFO, systemCaBundle().c_str());
    }
}

curl_socket_t openSocket(int family, int type, int protocol) {
    const int socketFd = ::socket(family, type, protocol);
    return socketFd < 0 ? CURL_SOCKET_BAD : socketFd;
}

int closeSocket(curl_socket_t socket) { return ::close(socket); }

void shutDownSocket(curl_socket_t socket) { ::shutdown(socket, SHUT_RDWR); }

}  // namespace CHttpSystem
