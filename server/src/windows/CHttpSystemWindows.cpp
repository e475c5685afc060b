// Windows: the proxy set in Windows' own settings unless the environment
// names one, and certificate revocation checked only as far as the
// revocation servers can be reached.
// First: libcurl's header brings winsock2.h, which must precede windows.h.
#include "../CHttpSystem.h"
// clang-format off
#include <windows.h>
// After windows.h, which it needs.
#include <winhttp.h>
// clang-format on

#include <string>

#include "CSystemProxy.h"

namespace {

std::string narrow(const wchar_t* text) {
    if (text == nullptr || *text == L'\0') {
        return std::string();
    }
    const int length = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (length <= 1) {
        return std::string();
    }
    std::string out(static_cast<std::size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, &out[0], length, nullptr, nullptr);
    out.resize(static_cast<std::size_t>(length - 1));
    return out;
}

// The variables libcurl takes a proxy from, read the way libcurl reads them.
// (It takes "http_proxy" in lower case only.)
bool environmentNamesProxy() {
    for (const char* name :
         {"http_proxy", "HTTPS_PROXY", "https_proxy", "ALL_PROXY", "all_proxy"}) {
        char value[8] = {0};
        if (GetEnvironmentVariableA(name, value, sizeof(value)) > 0) {
            return true;
        }
    }
    return false;
}

// The proxy that Windows' settings give for url ("Use a proxy server" with
// its exceptions), or "" for none. Read afresh for each request: the pilot
// may change the setting while X-Plane runs.
std::string settingsProxyFor(const std::string& url) {
    WINHTTP_CURRENT_USER_IE_PROXY_CONFIG config;
    ZeroMemory(&config, sizeof(config));
    if (!WinHttpGetIEProxyConfigForCurrentUser(&config)) {
        return std::string();
    }
    const std::string proxyList = narrow(config.lpszProxy);
    const std::string bypassList = narrow(config.lpszProxyBypass);
    for (LPWSTR text : {config.lpszProxy, config.lpszProxyBypass, config.lpszAutoConfigUrl}) {
        if (text != nullptr) {
            GlobalFree(text);
        }
    }
    return CSystemProxy::choose(proxyList, bypassList, url);
}

}  // namespace

namespace CHttpSystem {

void prepare(CURL* curl, const std::string& url) {
    if (url.compare(0, 8, "https://") == 0) {
        // Schannel refuses a certificate whose revocation list it cannot
        // fetch; a network that blocks the list's server must not block the
        // website. A certificate the list names as revoked is still refused.
        curl_easy_setopt(curl, CURLOPT_SSL_OPTIONS,
                         static_cast<long>(CURLSSLOPT_REVOKE_BEST_EFFORT));
    }
    if (!environmentNamesProxy()) {
        const std::string proxy = settingsProxyFor(url);
        if (!proxy.empty()) {
            curl_easy_setopt(curl, CURLOPT_PROXY, proxy.c_str());
        }
    }
}

curl_socket_t openSocket(int family, int type, int protocol) {
    // libcurl started Winsock (curl_global_init) before any transfer.
    return ::socket(family, type, protocol);  // INVALID_SOCKET is CURL_SOCKET_BAD
}

int closeSocket(curl_socket_t socket) { return ::closesocket(socket); }

void shutDownSocket(curl_socket_t socket) { ::shutdown(socket, SD_BOTH); }

}  // namespace CHttpSystem
