// Sending requests to the website with libcurl and reading the framed answer
// into lines and fields; the request code.
#include "CClientInterface.h"

#include <curl/curl.h>

#include <algorithm>
#include <atomic>
#include <boost/algorithm/hex.hpp>
#include <boost/algorithm/string/replace.hpp>
#include <cctype>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <mutex>
#include <vector>

#include "CDigest.h"
#include "CHttpSystem.h"
#include "CIniParser.h"
#include "CJoinableThread.h"
#include "CLogger.h"
#include "CNumberText.h"
#include "CServerSettings.h"
#include "QuelbyVersion.h"

const char* const CClientInterface::clientMessages[11] = {"SUCCESS",
                                                          "NO USER",
                                                          "NOT FOUND",
                                                          "INVALID",
                                                          "Bad data from website",
                                                          "Could not open URL",
                                                          "INIT FAILED",
                                                          "WRONG CODE",
                                                          "ALREADY UPLOADED",
                                                          "NO LOG",
                                                          "BAD LOGINDATA"};

namespace {

std::atomic<bool> g_abortTransfers{false};

// The "writelog" threads not yet joined. They run the plug-in's code, so the
// plug-in's stop must see them end before the simulator unloads it.
std::mutex g_sendersMutex;
std::vector<CJoinableThread> g_senders;

// libcurl is set up once per process and never torn down: a "writelog"
// thread may still be sending when the interface goes.
void initialiseCurlOnce() {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

// The answer as it arrives: a network hands it over in as many blocks as it
// likes (one per TCP segment, often), each appended after the last.
struct ResponseTarget {
    char* buffer;
    size_t used;
};

size_t writeResponse(char* data, size_t size, size_t count, void* target) {
    const size_t bytes = size * count;
    auto* response = static_cast<ResponseTarget*>(target);
    // An answer is at most 4096 bytes in all; a block that would go beyond
    // fails the transfer, whatever came before it.
    const size_t limit = static_cast<size_t>(CClientInterface::kResponseBytes);
    if (bytes > limit - response->used) {
        return 0;
    }
    std::memcpy(response->buffer + response->used, data, bytes);
    response->used += bytes;
    response->buffer[response->used] = '\0';
    return bytes;
}

size_t discardResponse(char*, size_t size, size_t count, void*) { return size * count; }

int abortCheck(void*, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    return g_abortTransfers.load() ? 1 : 0;
}

// The sockets of every transfer under way. libcurl looks at the abort flag
// only about once a second while it waits for the website; a stop ends
// these sockets instead, which ends the wait at once.
std::mutex g_socketsMutex;
std::vector<curl_socket_t> g_openSockets;

curl_socket_t openSocket(void*, curlsocktype, curl_sockaddr* address) {
    std::lock_guard<std::mutex> lock(g_socketsMutex);
    // A transfer that gets this far after the stop began ends here.
    if (g_abortTransfers.load()) {
        return CURL_SOCKET_BAD;
    }
    const curl_socket_t socket =
        CHttpSystem::openSocket(address->family, address->socktype, address->protocol);
    if (socket != CURL_SOCKET_BAD) {
        g_openSockets.push_back(socket);
    }
    return socket;
}

int closeSocket(void*, curl_socket_t socket) {
    // Forgotten before it is closed, under the same lock as a stop's
    // shutdown: the stop never meets a number the system has given again.
    std::lock_guard<std::mutex> lock(g_socketsMutex);
    g_openSockets.erase(std::remove(g_openSockets.begin(), g_openSockets.end(), socket),
                        g_openSockets.end());
    return CHttpSystem::closeSocket(socket);
}

// How long a request may wait for the website before it fails: a connection
// not accepted within the connect time-out, or an exchange that stalls (less
// than a byte a second for the low-speed time) give up long before the
// request's whole time-out. Tests shorten both.
std::atomic<long> g_connectTimeoutMs{CClientInterface::kConnectTimeoutSeconds * 1000};
std::atomic<long> g_lowSpeedSeconds{CClientInterface::kLowSpeedSeconds};
constexpr long kLowSpeedBytesPerSecond = 1;

// The website is spoken to over HTTP or HTTPS and nothing else, whatever a
// host setting names: libcurl would also read a local file or talk FTP.
// libcurl 7.85 and later take the protocols by name. An older one knows only
// the mask: the libcurl of the release's older build system, and macOS's,
// which is older than the headers the plug-in is compiled with and refuses
// the names when the request is made.
void allowOnlyHttp(CURL* curl) {
#if LIBCURL_VERSION_NUM >= 0x075500
    if (curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https") == CURLE_OK &&
        curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "http,https") == CURLE_OK) {
        return;
    }
// Headers that know the names mark the mask as deprecated.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#endif
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS, static_cast<long>(CURLPROTO_HTTP | CURLPROTO_HTTPS));
    curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS,
                     static_cast<long>(CURLPROTO_HTTP | CURLPROTO_HTTPS));
#if LIBCURL_VERSION_NUM >= 0x075500
#pragma GCC diagnostic pop
#endif
}

// One POST of body to url; the handle options every request shares.
CURLcode post(CURL* curl, const std::string& url, const char* body, curl_slist* headers) {
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    allowOnlyHttp(curl);
    CHttpSystem::prepare(curl, url);
    curl_easy_setopt(curl, CURLOPT_POST, 1L);
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, CClientInterface::kTimeoutSeconds);
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, g_connectTimeoutMs.load());
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, kLowSpeedBytesPerSecond);
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, g_lowSpeedSeconds.load());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body);
    // Signals are the simulator's; a time-out must not raise one.
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, abortCheck);
    curl_easy_setopt(curl, CURLOPT_OPENSOCKETFUNCTION, openSocket);
    curl_easy_setopt(curl, CURLOPT_CLOSESOCKETFUNCTION, closeSocket);
    return curl_easy_perform(curl);
}

// A scheme as URLs spell it: a letter, then letters, digits, "+", "-", ".".
bool isScheme(const std::string& text) {
    if (text.empty() || !std::isalpha(static_cast<unsigned char>(text[0]))) {
        return false;
    }
    for (const char c : text) {
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '+' && c != '-' && c != '.') {
            return false;
        }
    }
    return true;
}

// Trailing white space of a line, as the C locale knows it.
void trimRight(char* text) {
    size_t length = std::strlen(text);
    while (length > 0 && std::isspace(static_cast<unsigned char>(text[length - 1]))) {
        text[--length] = '\0';
    }
}

const char kSystemTokenAnchor[] = "Quelby system token";

}  // namespace

void ClientDataLine::parse(const char* line, std::string& text, std::vector<std::size_t>& fieldStarts) {
    const std::size_t begin = text.size();
    text.append(line, ::strnlen(line, kTextBytes));
    text.push_back('\0');
    firstField = fieldStarts.size();
    fieldCount = 1;
    fieldStarts.push_back(begin);
    for (std::size_t at = begin; text[at] != '\0'; ++at) {
        if (text[at] == '|' && fieldCount < kMaxFields) {
            text[at] = '\0';
            fieldStarts.push_back(at + 1);
            ++fieldCount;
        }
    }
}

CClientInterface::CClientInterface()
    : m_pLogger(std::make_unique<CLogger>("CClientInterface")),
      m_host(CServerSettings::load().hostInUse()),
      m_internTs(std::rand()),
      m_homepage(std::string("http://") + kHomepageHost + "/"),
      m_request(kRequestBytes, '\0') {
    initialiseCurlOnce();
    forgetAnswers();
    std::memset(m_loginUser, 0, sizeof(m_loginUser));
    std::memset(m_loginPassword, 0, sizeof(m_loginPassword));
    std::memset(m_response, 0, sizeof(m_response));
    std::memset(m_transferError, 0, sizeof(m_transferError));
    std::strcpy(m_lastMessage, clientMessages[kSuccess]);
    // An opaque number per process: where a constant text of ours lies.
    char token[16];
    std::snprintf(token, sizeof(token), "%08X",
                  static_cast<unsigned int>(reinterpret_cast<uintptr_t>(kSystemTokenAnchor)));
    m_systemToken = token;
}

CClientInterface::~CClientInterface() { clearData(); }

void CClientInterface::setHost(const std::string& host) {
    m_host = host;
    while (!m_host.empty() && m_host.back() == '/') {
        m_host.pop_back();
    }
}

std::string CClientInterface::getUrl() const {
    // A scheme is case-blind ("HTTPS://" is HTTPS); written in lower case, the
    // URL tells every check of ours and libcurl's alike which one it is.
    const std::size_t schemeEnd = m_host.find("://");
    if (schemeEnd == std::string::npos || !isScheme(m_host.substr(0, schemeEnd))) {
        return "http://" + m_host + kRequestPath;
    }
    std::string url = m_host + kRequestPath;
    for (std::size_t at = 0; at < schemeEnd; ++at) {
        url[at] = static_cast<char>(std::tolower(static_cast<unsigned char>(url[at])));
    }
    return url;
}

void CClientInterface::setLoginData(const char* user, const char* pass) {
    std::snprintf(m_loginUser, sizeof(m_loginUser), "%s", user != nullptr ? user : "");
    std::snprintf(m_loginPassword, sizeof(m_loginPassword), "%s", pass != nullptr ? pass : "");
}

void CClientInterface::shareIdentity(const CClientInterface& other) {
    m_host = other.m_host;
    m_internTs = other.m_internTs;
    m_systemToken = other.m_systemToken;
}

int CClientInterface::getSystemInfo(char* buffer, std::size_t size) const {
    if (buffer != nullptr && size > 0) {
        std::snprintf(buffer, size, "%s", m_systemToken.c_str());
    }
    return 0;
}

void CClientInterface::abortTransfers(bool abort) {
    std::lock_guard<std::mutex> lock(g_socketsMutex);
    g_abortTransfers = abort;
    if (abort) {
        for (const curl_socket_t socket : g_openSockets) {
            CHttpSystem::shutDownSocket(socket);
        }
    }
}

void CClientInterface::setStallLimitsForTests(long connectTimeoutMs, long lowSpeedSeconds) {
    g_connectTimeoutMs = connectTimeoutMs;
    g_lowSpeedSeconds = lowSpeedSeconds;
}

void CClientInterface::startSender(const std::string& url, const std::string& body) {
    std::lock_guard<std::mutex> lock(g_sendersMutex);
    // The ended ones go first: a long flight sends one update a minute.
    for (auto it = g_senders.begin(); it != g_senders.end();) {
        it = it->tryJoinFor(std::chrono::milliseconds(0)) ? g_senders.erase(it) : it + 1;
    }
    g_senders.emplace_back([url, body] { callURLAsync(url, body); });
}

void CClientInterface::joinSenders() {
    std::vector<CJoinableThread> senders;
    {
        std::lock_guard<std::mutex> lock(g_sendersMutex);
        senders.swap(g_senders);
    }
    for (CJoinableThread& sender : senders) {
        sender.join();
    }
}

std::string CClientInterface::md5Hex(const char* text, std::size_t length) {
    const CDigest::Md5 digest = CDigest::md5(text, length);
    std::string hex;
    hex.reserve(2 * digest.size());
    boost::algorithm::hex_lower(digest.begin(), digest.end(), std::back_inserter(hex));
    return hex;
}

std::string CClientInterface::calcCode(const char* request) {
    const std::string hex = md5Hex(request, std::strlen(request));
    return std::string{hex[10], hex[5], hex[2]};
}

bool CClientInterface::format(const char* fmt, ...) {
    const CNumberText::CClassicFormatting classic;
    va_list args;
    va_start(args, fmt);
    const int length = std::vsnprintf(m_request.data(), m_request.size(), fmt, args);
    va_end(args);
    if (length < 0 || static_cast<size_t>(length) >= m_request.size()) {
        m_pLogger->error("Request does not fit its buffer (" + std::to_string(length) +
                         " bytes), not sent");
        m_request[0] = '\0';
        return false;
    }
    return true;
}

bool CClientInterface::appendCode() {
    const std::string code = calcCode(m_request.data());
    m_pLogger->debug("Calculated code: " + code);
    const size_t length = std::strlen(m_request.data());
    const int added = std::snprintf(m_request.data() + length, m_request.size() - length,
                                    "&code=%s", code.c_str());
    if (added < 0 || length + static_cast<size_t>(added) >= m_request.size()) {
        m_pLogger->error("Request code does not fit the request buffer, not sent");
        return false;
    }
    return true;
}

int CClientInterface::readURL(const char* request) {
    m_response[0] = '\0';
    const int transferred = transfer(request);
    if (transferred == kInitFailed) {
        return setError(kInitFailed);
    }
    if (transferred != kSuccess) {
        m_lastResult = kCouldNotOpenUrl;
        std::snprintf(m_lastMessage, sizeof(m_lastMessage), "%s", clientMessages[kCouldNotOpenUrl]);
        return kCouldNotOpenUrl;
    }
    const int answer = parseAnswer();
    m_lastResult = answer;
    std::snprintf(m_lastMessage, sizeof(m_lastMessage), "%s", clientMessages[answer]);
    return answer;
}

int CClientInterface::transfer(const char* request) {
    CURL* curl = curl_easy_init();
    if (curl == nullptr) {
        m_pLogger->error("Failed to initialize curl");
        return kInitFailed;
    }
    curl_slist* headers = curl_slist_append(nullptr, "User-Agent: Quelby");
    ResponseTarget target{m_response, 0};
    m_transferError[0] = '\0';
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, writeResponse);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &target);
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, m_transferError);
    const CURLcode result = post(curl, getUrl(), request, headers);
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    curl_slist_free_all(headers);
    curl_easy_cleanup(curl);
    if (result != CURLE_OK) {
        m_pLogger->error(m_transferError[0] != '\0' ? m_transferError : curl_easy_strerror(result));
        return kCouldNotOpenUrl;
    }
    // Only an answer the website gave as such counts: an error page, a
    // redirect or a proxy's own answer may carry any text, even a frame.
    if (status != 200) {
        m_pLogger->error("HTTP status " + std::to_string(status) + " from " + getUrl() +
                         ": the request failed");
        m_response[0] = '\0';
        return kCouldNotOpenUrl;
    }
    return kSuccess;
}

int CClientInterface::takeResponse(const char* bytes, std::size_t count) {
    m_response[0] = '\0';
    if (bytes == nullptr && count > 0) {
        m_pLogger->error("Answer without its bytes");
        return kCouldNotOpenUrl;
    }
    if (count > static_cast<std::size_t>(kResponseBytes)) {
        m_pLogger->error("Answer of " + std::to_string(count) + " bytes exceeds the " +
                         std::to_string(kResponseBytes) + "-byte limit");
        return kCouldNotOpenUrl;
    }
    if (count > 0) {
        std::memcpy(m_response, bytes, count);
    }
    m_response[count] = '\0';
    return kSuccess;
}

void CClientInterface::callURLAsync(const std::string& url, const std::string& body) {
    CURL* curl = curl_easy_init();
    if (curl == nullptr) {
        return;
    }
    curl_slist* headers = curl_slist_append(nullptr, "User-Agent: Quelby");
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, discardResponse);
    post(curl, url, body.c_str(), headers);
    curl_slist_free_all(headers);
    curl_easy_cleanup(curl);
}

bool CClientInterface::appendLine(const char* line, bool header) {
    if (header) {
        clearData();
    }
    ClientDataLine record;
    record.parse(line, m_lineText, m_fieldStarts);
    m_lines.push_back(record);
    return true;
}

std::string CClientInterface::loggableAnswer() const {
    std::string answer = m_response;
    for (const std::string& secret : {std::string(m_loginPassword), recordText(m_pilot.Password)}) {
        if (!secret.empty()) {
            boost::algorithm::replace_all(answer, secret, "(password)");
        }
    }
    return answer;
}

int CClientInterface::parseAnswer() {
    enum State { Seeking, ResultWord, Header, Rows } state = Seeking;
    // New rows replace the earlier answer only once a header arrives; a
    // failed answer leaves the earlier rows readable.
    const char* cursor = m_response;
    char line[kResponseBytes + 1];
    while (*cursor != '\0') {
        const char* end = std::strchr(cursor, '\n');
        const size_t length =
            end != nullptr ? static_cast<size_t>(end - cursor) : std::strlen(cursor);
        const size_t kept = length < kResponseBytes ? length : kResponseBytes;
        std::memcpy(line, cursor, kept);
        line[kept] = '\0';
        trimRight(line);
        cursor += length;
        if (*cursor == '\n') {
            ++cursor;
        }
        switch (state) {
            case Seeking:
                if (std::strcmp(line, "DATASTART") == 0) state = ResultWord;
                break;
            case ResultWord:
                if (std::strcmp(line, "SUCCESS") == 0) {
                    state = Header;
                    break;
                }
                for (int code = 0; code < 11; ++code) {
                    if (std::strcmp(line, clientMessages[code]) == 0) return code;
                }
                return kBadData;
            case Header:
                if (std::strcmp(line, "DATAEND") == 0) return kSuccess;
                appendLine(line, true);
                state = Rows;
                break;
            case Rows:
                if (std::strcmp(line, "DATAEND") == 0) return kSuccess;
                appendLine(line, false);
                break;
        }
    }
    m_pLogger->error("Bad answer from website:\n" + loggableAnswer());
    return kBadData;
}

const char* CClientInterface::fieldText(const ClientDataLine& line, int column) const {
    return m_lineText.c_str() + m_fieldStarts[line.firstField + static_cast<std::size_t>(column)];
}

const char* CClientInterface::findField(const char* key, int row) const {
    const size_t lineIndex = static_cast<size_t>(row) + 1;
    // Without that row no column can give it (nor without a header).
    if (key == nullptr || row < 0 || lineIndex >= m_lines.size()) {
        return nullptr;
    }
    const ClientDataLine& header = m_lines.front();
    for (int column = 0; column < header.fieldCount; ++column) {
        // Most names differ in their first letter: a whole comparison only
        // for those that do not (a row loop asks for five names per row).
        const char* name = fieldText(header, column);
        if (name[0] != key[0] || std::strcmp(name, key) != 0) {
            continue;
        }
        // The same name further right may still give the row a value.
        if (column < m_lines[lineIndex].fieldCount) {
            return fieldText(m_lines[lineIndex], column);
        }
    }
    return nullptr;
}

int CClientInterface::getData(const char* key, int row, char* out, int max) {
    const char* value = out != nullptr ? findField(key, row) : nullptr;
    if (value == nullptr) {
        return -1;
    }
    if (max > 0) {
        std::strncpy(out, value, static_cast<size_t>(max));
    }
    return 0;
}

int CClientInterface::getData(const char* key, int row, int& out) {
    const char* value = findField(key, row);
    if (value == nullptr) return -1;
    int number = 0;
    if (!CNumberText::toIntInRange(value, number)) {
        m_pLogger->warn(std::string("Website figure ") + key + "=" + value +
                        " is beyond an integer's range; taken as 0");
    }
    out = number;
    return 0;
}

int CClientInterface::getData(const char* key, int row, float& out) {
    const char* value = findField(key, row);
    if (value == nullptr) return -1;
    out = static_cast<float>(CNumberText::toDouble(value));
    return 0;
}

int CClientInterface::getData(const char* key, int row, double& out) {
    const char* value = findField(key, row);
    if (value == nullptr) return -1;
    out = CNumberText::toDouble(value);
    return 0;
}

void CClientInterface::forgetAnswers() {
    clearData();
    m_pilot.reset();
    m_route.reset();
    m_log.reset();
    m_aircraft.reset();
    m_virtualAirline.reset();
    m_aircraftType = tAircraftTypeData();
    m_news.reset();
    m_report.reset();
    m_airports.clear();
    std::memset(m_versions, 0, sizeof(m_versions));
    std::memset(m_closestAirport, 0, sizeof(m_closestAirport));
    m_fuelPrice = 0.0;
    m_position = tquelby_position_logs{};
}

void CClientInterface::clearData() {
    // Cleared, not freed: the next answer reuses the room.
    m_lines.clear();
    m_lineText.clear();
    m_fieldStarts.clear();
}

int CClientInterface::setError(int code) {
    if (code < 0 || code > 10) {
        code = kBadData;
    }
    m_lastResult = code;
    std::snprintf(m_lastMessage, sizeof(m_lastMessage), "%s", clientMessages[code]);
    std::snprintf(m_request.data(), m_request.size(), "%s(%d)", clientMessages[code], code);
    return code;
}

int CClientInterface::isUploaded(int) const { return 0; }

bool CClientInterface::isConnected() { return readClient() == kSuccess; }
