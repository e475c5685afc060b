// Choosing a proxy for a request from a proxy list and a bypass list as
// Windows keeps them.
#include "CSystemProxy.h"

#include <cctype>
#include <string>
#include <vector>

namespace {

std::vector<std::string> entries(const std::string& list) {
    std::vector<std::string> out;
    std::string entry;
    for (const char c : list + ";") {
        if (c == ';' || std::isspace(static_cast<unsigned char>(c))) {
            if (!entry.empty()) out.push_back(entry);
            entry.clear();
        } else {
            entry += c;
        }
    }
    return out;
}

std::string lowerCase(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

// "*" matches any run of characters, everything else itself (case-blind:
// both sides come in lower case).
bool matches(const char* pattern, const char* text) {
    if (*pattern == '\0') return *text == '\0';
    if (*pattern == '*') {
        for (const char* rest = text;; ++rest) {
            if (matches(pattern + 1, rest)) return true;
            if (*rest == '\0') return false;
        }
    }
    return *pattern == *text && matches(pattern + 1, text + 1);
}

struct tTarget {
    std::string scheme;
    std::string host;      // without the port; an IPv6 address without brackets
    std::string hostPort;  // as the URL writes it
};

tTarget targetOf(const std::string& url) {
    tTarget target;
    std::size_t start = 0;
    const std::size_t schemeEnd = url.find("://");
    if (schemeEnd != std::string::npos) {
        target.scheme = lowerCase(url.substr(0, schemeEnd));
        start = schemeEnd + 3;
    }
    std::string authority = url.substr(start, url.find_first_of("/?#", start) - start);
    const std::size_t at = authority.rfind('@');
    if (at != std::string::npos) authority.erase(0, at + 1);
    target.hostPort = lowerCase(authority);
    if (!authority.empty() && authority[0] == '[') {
        target.host = lowerCase(authority.substr(1, authority.find(']') - 1));
    } else {
        target.host = lowerCase(authority.substr(0, authority.find(':')));
    }
    return target;
}

bool bypassed(const std::string& bypassList, const tTarget& target) {
    for (const std::string& raw : entries(bypassList)) {
        const std::string pattern = lowerCase(raw);
        if (pattern == "<local>") {
            if (target.host.find('.') == std::string::npos &&
                target.host.find(':') == std::string::npos) {
                return true;
            }
            continue;
        }
        if (matches(pattern.c_str(), target.host.c_str()) ||
            matches(pattern.c_str(), target.hostPort.c_str()) ||
            matches(pattern.c_str(), (target.scheme + "://" + target.hostPort).c_str())) {
            return true;
        }
    }
    return false;
}

}  // namespace

namespace CSystemProxy {

std::string choose(const std::string& proxyList, const std::string& bypassList,
                   const std::string& url) {
    const tTarget target = targetOf(url);
    if (target.host.empty() || bypassed(bypassList, target)) {
        return std::string();
    }
    std::string forScheme;
    std::string forAll;
    std::string socks;
    for (const std::string& entry : entries(proxyList)) {
        const std::size_t equals = entry.find('=');
        if (equals == std::string::npos) {
            if (forAll.empty()) forAll = entry;
            continue;
        }
        const std::string scheme = lowerCase(entry.substr(0, equals));
        const std::string proxy = entry.substr(equals + 1);
        if (scheme == target.scheme && forScheme.empty()) forScheme = proxy;
        if (scheme == "socks" && socks.empty()) socks = proxy;
    }
    if (!forScheme.empty()) return forScheme;
    if (!forAll.empty()) return forAll;
    if (!socks.empty()) {
        return socks.find("://") == std::string::npos ? "socks4://" + socks : socks;
    }
    return std::string();
}

}  // namespace CSystemProxy
