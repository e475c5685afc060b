// What Windows adds to a request to the website. Windows' own proxy setting,
// as the pilot sets it in Windows' settings: requests go through it unless
// the environment names a proxy, and hosts it lists as exceptions are
// reached direct. The proxy is a one-request stand-in on 127.0.0.1 in this
// process; nothing listens where the website's host points, so only a proxy
// can answer for it. And the connect time-out holds here too.
#include <winsock2.h>
#include <ws2tcpip.h>
// After winsock2.h, which must come first.
#include <gtest/gtest.h>
#include <windows.h>

#include <chrono>
#include <cstdint>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "CClientInterface.h"
#include "TestSupport.h"

using namespace std::chrono_literals;

namespace {

const wchar_t kConnections[] =
    L"Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings\\Connections";
const wchar_t kSettingsValue[] = L"DefaultConnectionSettings";

void appendDword(std::vector<unsigned char>& out, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<unsigned char>(value >> (8 * i)));
}

void appendText(std::vector<unsigned char>& out, const std::string& text) {
    appendDword(out, static_cast<std::uint32_t>(text.size()));
    out.insert(out.end(), text.begin(), text.end());
}

// "Use a proxy server" in Windows' settings for the test's lifetime, with
// the exceptions given; the setting before is put back after. Windows keeps
// it as one binary value: a version, a counter, the kinds of connection in
// use (1 direct, 2 proxy), then the proxy list and the exceptions, each with
// its length first.
class ProxySetting {
public:
    ProxySetting(const std::string& proxies, const std::string& exceptions) {
        RegCreateKeyExW(HKEY_CURRENT_USER, kConnections, 0, nullptr, 0, KEY_READ | KEY_WRITE,
                        nullptr, &m_key, nullptr);
        DWORD size = 0;
        if (RegQueryValueExW(m_key, kSettingsValue, nullptr, nullptr, nullptr, &size) ==
            ERROR_SUCCESS) {
            m_before.resize(size);
            RegQueryValueExW(m_key, kSettingsValue, nullptr, nullptr, m_before.data(), &size);
            m_hadBefore = true;
        }
        std::vector<unsigned char> value;
        appendDword(value, 0x46);
        appendDword(value, 1);
        appendDword(value, 1 | 2);
        appendText(value, proxies);
        appendText(value, exceptions);
        appendText(value, "");  // no automatic configuration script
        value.resize(value.size() + 32, 0);
        RegSetValueExW(m_key, kSettingsValue, 0, REG_BINARY, value.data(),
                       static_cast<DWORD>(value.size()));
    }
    ~ProxySetting() {
        if (m_hadBefore) {
            RegSetValueExW(m_key, kSettingsValue, 0, REG_BINARY, m_before.data(),
                           static_cast<DWORD>(m_before.size()));
        } else {
            RegDeleteValueW(m_key, kSettingsValue);
        }
        RegCloseKey(m_key);
    }

private:
    HKEY m_key = nullptr;
    std::vector<unsigned char> m_before;
    bool m_hadBefore = false;
};

// No proxy in the environment while it lives, whatever the machine sets.
class NoEnvironmentProxy {
public:
    NoEnvironmentProxy() {
        for (const char* name : kNames) {
            char value[1024] = {0};
            const DWORD length = GetEnvironmentVariableA(name, value, sizeof(value));
            m_before.push_back(length > 0 ? std::string(value, length) : std::string());
            SetEnvironmentVariableA(name, nullptr);
        }
    }
    ~NoEnvironmentProxy() {
        for (std::size_t i = 0; i < std::size(kNames); ++i) {
            SetEnvironmentVariableA(kNames[i], m_before[i].empty() ? nullptr : m_before[i].c_str());
        }
    }

private:
    static constexpr const char* kNames[] = {"http_proxy", "HTTPS_PROXY", "https_proxy",
                                             "ALL_PROXY",  "all_proxy",   "NO_PROXY",
                                             "no_proxy"};
    std::vector<std::string> m_before;
};

// A proxy that takes one request, keeps its first line and answers it with
// a framed answer naming itself.
class OneRequestProxy {
public:
    explicit OneRequestProxy(std::string name) : m_name(std::move(name)) {
        WSADATA data;
        WSAStartup(MAKEWORD(2, 2), &data);
        m_listener = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        int length = sizeof(address);
        bind(m_listener, reinterpret_cast<sockaddr*>(&address), length);
        listen(m_listener, 1);
        getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length);
        m_port = ntohs(address.sin_port);
        m_served = std::async(std::launch::async, [this] { return serve(); });
    }
    ~OneRequestProxy() {
        closesocket(m_listener);
        if (m_served.valid()) m_served.wait();
        WSACleanup();
    }
    std::string address() const { return "127.0.0.1:" + std::to_string(m_port); }
    // The request line it was sent, or "" when none came within the limit.
    std::string requestLine(std::chrono::milliseconds limit = 10s) {
        return m_served.wait_for(limit) == std::future_status::ready ? m_served.get() : "";
    }

private:
    std::string serve() {
        const SOCKET client = accept(m_listener, nullptr, nullptr);
        if (client == INVALID_SOCKET) return "";
        std::string request;
        char block[4096];
        std::size_t bodyStart = std::string::npos;
        std::size_t bodyLength = 0;
        while (bodyStart == std::string::npos || request.size() < bodyStart + bodyLength) {
            const int got = recv(client, block, sizeof(block), 0);
            if (got <= 0) break;
            request.append(block, static_cast<std::size_t>(got));
            if (bodyStart == std::string::npos && request.find("\r\n\r\n") != std::string::npos) {
                bodyStart = request.find("\r\n\r\n") + 4;
                const std::size_t field = request.find("Content-Length: ");
                if (field != std::string::npos && field < bodyStart) {
                    bodyLength = std::stoul(request.substr(field + 16));
                }
            }
        }
        const std::string body = "DATASTART\nSUCCESS\nVersion\n" + m_name + "\nDATAEND\n";
        const std::string answer =
            "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: " +
            std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
        send(client, answer.data(), static_cast<int>(answer.size()), 0);
        shutdown(client, SD_SEND);
        closesocket(client);
        return request.substr(0, request.find("\r\n"));
    }

    std::string m_name;
    SOCKET m_listener = INVALID_SOCKET;
    int m_port = 0;
    std::future<std::string> m_served;
};

class HttpSystemWindowsTest : public ::testing::Test {
protected:
    void TearDown() override {
        CClientInterface::setStallLimitsForTests(CClientInterface::kConnectTimeoutSeconds * 1000,
                                                 CClientInterface::kLowSpeedSeconds);
    }
    std::string log() const { return quelby_test::readFile(folder.file("quelby_debug.txt")); }

    quelby_test::ScratchFolder folder{"quelby-http"};
    quelby_test::LogInto logInto{folder.path()};
    NoEnvironmentProxy noEnvironmentProxy;
};

// Nothing listens on port 1: only a proxy can answer for it.
const char kSiteHost[] = "127.0.0.1:1";

TEST_F(HttpSystemWindowsTest, ProxyOfWindowsSettings_carriesTheRequest) {
    OneRequestProxy proxy("settings");
    const ProxySetting setting(proxy.address(), "<local>");
    CClientInterface client;
    client.setHost(kSiteHost);
    EXPECT_EQ(client.readClient(), CClientInterface::kSuccess) << client.getLastMessage();
    EXPECT_STREQ(client.m_versions[0], "settings");
    EXPECT_EQ(proxy.requestLine(),
              std::string("POST http://") + kSiteHost + "/client_interface2.php5 HTTP/1.1");
}

TEST_F(HttpSystemWindowsTest, ProxyInTheEnvironment_winsOverWindowsSettings) {
    OneRequestProxy settingsProxy("settings");
    OneRequestProxy environmentProxy("environment");
    const ProxySetting setting(settingsProxy.address(), "");
    SetEnvironmentVariableA("http_proxy", ("http://" + environmentProxy.address()).c_str());
    CClientInterface client;
    client.setHost(kSiteHost);
    EXPECT_EQ(client.readClient(), CClientInterface::kSuccess) << client.getLastMessage();
    EXPECT_STREQ(client.m_versions[0], "environment");
}

TEST_F(HttpSystemWindowsTest, HostAmongTheExceptions_isReachedDirect) {
    OneRequestProxy proxy("settings");
    const ProxySetting setting(proxy.address(), "localhost;127.0.0.1");
    CClientInterface client;
    client.setHost(kSiteHost);
    EXPECT_EQ(client.readClient(), CClientInterface::kCouldNotOpenUrl)
        << "direct, nothing listens there";
    // The request is over: a request through the proxy would have come.
    EXPECT_EQ(proxy.requestLine(0ms), "");
}

// A listening socket whose queue of connections is full: the system neither
// takes nor refuses a further one, as a website behind a dead route.
class FullListener {
public:
    FullListener() {
        WSADATA data;
        WSAStartup(MAKEWORD(2, 2), &data);
        m_listener = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        int length = sizeof(address);
        if (bind(m_listener, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
            listen(m_listener, 0) != 0 ||
            getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
            return;
        }
        m_port = ntohs(address.sin_port);
        for (int i = 0; i < 16 && !m_full; ++i) {
            const SOCKET filler = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
            m_fillers.push_back(filler);
            u_long nonBlocking = 1;
            ioctlsocket(filler, FIONBIO, &nonBlocking);
            connect(filler, reinterpret_cast<sockaddr*>(&address), sizeof(address));
            fd_set writable;
            FD_ZERO(&writable);
            FD_SET(filler, &writable);
            timeval wait{0, 300000};
            m_full = select(0, nullptr, &writable, nullptr, &wait) == 0;
        }
    }
    ~FullListener() {
        for (const SOCKET filler : m_fillers) closesocket(filler);
        closesocket(m_listener);
        WSACleanup();
    }
    bool full() const { return m_full; }
    std::string host() const { return "127.0.0.1:" + std::to_string(m_port); }

private:
    SOCKET m_listener = INVALID_SOCKET;
    int m_port = 0;
    bool m_full = false;
    std::vector<SOCKET> m_fillers;
};

TEST_F(HttpSystemWindowsTest, SiteThatTakesNoConnection_failsAtTheConnectTimeOut) {
    FullListener listener;
    ASSERT_TRUE(listener.full()) << "the system kept taking connections";
    CClientInterface::setStallLimitsForTests(300, CClientInterface::kLowSpeedSeconds);
    CClientInterface client;
    client.setHost(listener.host());
    // A stop would end the transfer long before the request's whole time-out.
    std::promise<void> done;
    std::thread stop([ended = done.get_future()] {
        if (ended.wait_for(20s) == std::future_status::timeout) {
            CClientInterface::abortTransfers(true);
        }
    });
    const int result = client.readClient();
    done.set_value();
    stop.join();
    CClientInterface::abortTransfers(false);
    EXPECT_EQ(result, CClientInterface::kCouldNotOpenUrl);
    EXPECT_NE(log().find("imeout"), std::string::npos) << log();
    EXPECT_EQ(log().find("Callback aborted"), std::string::npos) << "ended by the stop: " << log();
}

}  // namespace
