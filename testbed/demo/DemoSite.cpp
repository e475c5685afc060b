// The demo's two websites: one in this process where the build has it, one
// in another process through its control requests.
#include "DemoSite.h"

#include "testbed/RemoteWebsite.h"

namespace quelby_demo {

namespace {

#ifdef QUELBY_DEMO_LOCAL_SITE
class LocalSite : public DemoSite {
public:
    bool open(std::string& why) override {
        if (m_site.start()) return true;
        why = "the website cannot listen on 127.0.0.1";
        return false;
    }
    std::string url() const override { return m_site.url(); }
    void seedDemo() override { m_site.seedDemo(); }
    void cancelBookings(const std::string& user) override { m_site.cancelBookings(user); }
    void addNews(const std::string& header, const std::string& text) override {
        m_site.addNews(header, text);
    }
    int bookDemoFlight() override { return m_site.bookDemoFlight(); }
    void injectFailure(const std::string& function, const testbed::Failure& failure,
                       int times) override {
        m_site.injectFailure(function, failure, times);
    }
    std::vector<testbed::Record> reports() const override { return m_site.reports(); }
    std::vector<testbed::Record> positionLogs() const override { return m_site.positionLogs(); }
    std::vector<testbed::Record> eventLogs() const override { return m_site.eventLogs(); }

private:
    testbed::Website m_site;
};
#endif

class RemoteSite : public DemoSite {
public:
    explicit RemoteSite(const std::string& hostPort) : m_site(hostPort) {}

    bool open(std::string& why) override {
        try {
            m_site.siteUrl();
            return true;
        } catch (const testbed::WebsiteControlError& error) {
            why = error.what();
            return false;
        }
    }
    std::string url() const override { return m_site.url(); }
    void seedDemo() override { m_site.seedDemo(); }
    void cancelBookings(const std::string& user) override { m_site.cancelBookings(user); }
    void addNews(const std::string& header, const std::string& text) override {
        m_site.addNews(header, text);
    }
    int bookDemoFlight() override { return m_site.bookDemoFlight(); }
    void injectFailure(const std::string& function, const testbed::Failure& failure,
                       int times) override {
        m_site.injectFailure(function, failure, times);
    }
    std::vector<testbed::Record> reports() const override { return m_site.reports(); }
    std::vector<testbed::Record> positionLogs() const override { return m_site.positionLogs(); }
    std::vector<testbed::Record> eventLogs() const override { return m_site.eventLogs(); }

private:
    testbed::RemoteWebsite m_site;
};

}  // namespace

std::unique_ptr<DemoSite> makeLocalSite() {
#ifdef QUELBY_DEMO_LOCAL_SITE
    return std::make_unique<LocalSite>();
#else
    return nullptr;
#endif
}

std::unique_ptr<DemoSite> makeRemoteSite(const std::string& hostPort) {
    return std::make_unique<RemoteSite>(hostPort);
}

}  // namespace quelby_demo
