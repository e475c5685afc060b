// The stand-in website as the demo uses it: started in this process
// (testbed::Website), or a quelby-website already running elsewhere and
// steered over its control requests (testbed::RemoteWebsite). Everything the
// demo does with the site goes through here, so that both fly alike.
//
// Threads: the demo's main thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "testbed/Website.h"

namespace quelby_demo {

class DemoSite {
public:
    virtual ~DemoSite() = default;

    // Starts the site, or asks the running one whether it answers. False
    // with why when neither.
    virtual bool open(std::string& why) = 0;
    // "HOST:PORT", for the client's settings.
    virtual std::string url() const = 0;

    virtual void seedDemo() = 0;
    virtual void cancelBookings(const std::string& user) = 0;
    virtual void addNews(const std::string& header, const std::string& text) = 0;
    // The booking's id; 0 when the site did not take it.
    virtual int bookDemoFlight() = 0;
    virtual void injectFailure(const std::string& function, const testbed::Failure& failure,
                               int times) = 0;
    virtual std::vector<testbed::Record> reports() const = 0;
    virtual std::vector<testbed::Record> positionLogs() const = 0;
    virtual std::vector<testbed::Record> eventLogs() const = 0;
};

// The website in this process, on a port of the system's choice; nullptr
// when the build has none.
std::unique_ptr<DemoSite> makeLocalSite();
// A quelby-website --demo running at hostPort ("HOST:PORT"). Its calls throw
// testbed::WebsiteControlError when the site does not do them.
std::unique_ptr<DemoSite> makeRemoteSite(const std::string& hostPort);

}  // namespace quelby_demo
