// A stand-in website running in another process (quelby-website), steered
// through its control requests: what a test program needs to set the site up,
// make it fail and read back what it stored, as testbed::Website offers it in
// one process.
//
// Threads: each call is one blocking HTTP request on a connection of its own;
// any thread may call, several at once.
#pragma once

#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

#include "testbed/Website.h"

namespace testbed {

// The site could not be reached, or refused the request; what() says which
// site, which command and why.
class WebsiteControlError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class RemoteWebsite {
public:
    // hostPort: "HOST:PORT", as the client's settings take it. Nothing is
    // sent until the first call.
    explicit RemoteWebsite(std::string hostPort,
                           std::chrono::milliseconds timeout = std::chrono::seconds(30));

    // "HOST:PORT" as given.
    const std::string& url() const { return m_hostPort; }
    // The site's own url(): asks the site, so it also shows that it answers.
    std::string siteUrl() const;

    // As testbed::Website's methods of the same names; each throws
    // WebsiteControlError when it does not take effect.
    void seedDemo();
    void cancelBookings(const std::string& user);
    int addNews(const std::string& header, const std::string& text, int id = 0);
    int bookDemoFlight(int routeId = 1, int aircraftId = 1, int bookingId = 0);
    void injectFailure(const std::string& function, const Failure& failure, int times = 0);
    std::vector<Record> reports() const;
    std::vector<Record> positionLogs() const;
    std::vector<Record> eventLogs() const;

    // One control request as it is sent ("command" first) and the answer's
    // lines; throws WebsiteControlError.
    std::vector<FormFields> call(const FormFields& request) const;

private:
    int callForId(const FormFields& request) const;
    std::vector<Record> callForRecords(const std::string& command) const;
    [[noreturn]] void fail(const FormFields& request, const std::string& why) const;

    std::string m_hostPort;
    std::chrono::milliseconds m_timeout;
};

}  // namespace testbed
