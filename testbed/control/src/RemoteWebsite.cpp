// The control requests sent with libcurl, one connection each (the website
// serves one request per connection).
#include "testbed/RemoteWebsite.h"

#include <curl/curl.h>

#include <memory>
#include <utility>

#include "CurlSetUp.h"
#include "testbed/ControlForm.h"

namespace testbed {

namespace {

std::size_t collect(char* data, std::size_t size, std::size_t count, void* answer) {
    static_cast<std::string*>(answer)->append(data, size * count);
    return size * count;
}

}  // namespace

RemoteWebsite::RemoteWebsite(std::string hostPort, std::chrono::milliseconds timeout)
    : m_hostPort(std::move(hostPort)), m_timeout(timeout) {}

void RemoteWebsite::fail(const FormFields& request, const std::string& why) const {
    const std::string command = request.empty() ? std::string() : request.front().second;
    throw WebsiteControlError("the website at " + m_hostPort + " did not do \"" + command +
                              "\": " + why);
}

std::vector<FormFields> RemoteWebsite::call(const FormFields& request) const {
    setUpCurl();
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(), &curl_easy_cleanup);
    if (!curl) {
        fail(request, "libcurl cannot make a handle");
    }
    const std::string url = "http://" + m_hostPort + kWebsiteControlPath;
    const std::string body = encodeFormLine(request);
    std::string answer;
    char error[CURL_ERROR_SIZE] = "";
    // Without a type header curl would still send the form's, but say it.
    std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(
        curl_slist_append(nullptr, "Content-Type: application/x-www-form-urlencoded"),
        &curl_slist_free_all);
    // A long body must not wait for a "100 Continue" the site does not send.
    headers.reset(curl_slist_append(headers.release(), "Expect:"));
    CURL* handle = curl.get();
    curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle, CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &collect);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &answer);
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, error);
    curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, static_cast<long>(m_timeout.count()));
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    // The site is on this machine or the next; a proxy from the environment
    // would not reach it.
    curl_easy_setopt(handle, CURLOPT_PROXY, "");
    const CURLcode result = curl_easy_perform(handle);
    if (result != CURLE_OK) {
        fail(request, error[0] != '\0' ? error : curl_easy_strerror(result));
    }
    long status = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    std::vector<FormFields> lines = decodeFormLines(answer);
    if (status != 200) {
        const std::string* why =
            lines.size() == 1 ? findFormValue(lines.front(), "error") : nullptr;
        fail(request, why != nullptr ? *why : "HTTP status " + std::to_string(status));
    }
    return lines;
}

int RemoteWebsite::callForId(const FormFields& request) const {
    const std::vector<FormFields> lines = call(request);
    const std::string* id = lines.size() == 1 ? findFormValue(lines.front(), "id") : nullptr;
    if (id == nullptr) {
        fail(request, "the answer holds no id");
    }
    try {
        return formNumber(*id, "id");
    } catch (const std::invalid_argument& error) {
        fail(request, error.what());
    }
}

std::vector<Record> RemoteWebsite::callForRecords(const std::string& command) const {
    std::vector<Record> records;
    for (const FormFields& line : call({{"command", command}})) {
        records.emplace_back(line.begin(), line.end());
    }
    return records;
}

std::string RemoteWebsite::siteUrl() const {
    const FormFields request = {{"command", "url"}};
    const std::vector<FormFields> lines = call(request);
    const std::string* url = lines.size() == 1 ? findFormValue(lines.front(), "url") : nullptr;
    if (url == nullptr) {
        fail(request, "the answer holds no url");
    }
    return *url;
}

void RemoteWebsite::seedDemo() { call({{"command", "seedDemo"}}); }

void RemoteWebsite::cancelBookings(const std::string& user) {
    call({{"command", "cancelBookings"}, {"user", user}});
}

int RemoteWebsite::addNews(const std::string& header, const std::string& text, int id) {
    return callForId(
        {{"command", "addNews"}, {"header", header}, {"text", text}, {"id", std::to_string(id)}});
}

int RemoteWebsite::bookDemoFlight(int routeId, int aircraftId, int bookingId) {
    return callForId({{"command", "bookDemoFlight"},
                      {"routeId", std::to_string(routeId)},
                      {"aircraftId", std::to_string(aircraftId)},
                      {"bookingId", std::to_string(bookingId)}});
}

void RemoteWebsite::injectFailure(const std::string& function, const Failure& failure, int times) {
    FormFields request = {{"command", "injectFailure"}, {"function", function}};
    for (auto& field : failureFields(failure)) {
        request.push_back(std::move(field));
    }
    request.emplace_back("times", std::to_string(times));
    call(request);
}

std::vector<Record> RemoteWebsite::reports() const { return callForRecords("reports"); }

std::vector<Record> RemoteWebsite::positionLogs() const { return callForRecords("positionLogs"); }

std::vector<Record> RemoteWebsite::eventLogs() const { return callForRecords("eventLogs"); }

}  // namespace testbed
