// The demo's two websites: one in this process where the build has it, one
// in another process through its control requests.
#include "DemoSite.h"

#include <utility>

#include "testbed/RemoteWebsite.h"

namespace quelby_demo {

namespace {

// Either website, reached through the same calls: only opening differs.
template <typename Site>
class SiteOf : public DemoSite {
public:
    template <typename... Arguments>
    explicit SiteOf(Arguments&&... arguments) : m_site(std::forward<Arguments>(arguments)...) {}

    bool open(std::string& why) override;
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
    Site m_site;
};

#ifdef QUELBY_DEMO_LOCAL_SITE
using LocalSite = SiteOf<testbed::Website>;
template <>
bool LocalSite::open(std::string& why) {
    if (m_site.start()) return true;
    why = "the website cannot listen on 127.0.0.1";
    return false;
}
#endif

using RemoteSite = SiteOf<testbed::RemoteWebsite>;
template <>
bool RemoteSite::open(std::string& why) {
    try {
        m_site.siteUrl();
        return true;
    } catch (const testbed::WebsiteControlError& error) {
        why = error.what();
        return false;
    }
}

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
