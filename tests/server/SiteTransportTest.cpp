// The transport against the stand-in website over loopback, through the
// system's own network stack and the TLS library the plug-in ships with.
// Runs on every system: where the website cannot run in the test's own
// process (Windows under Wine), QUELBY_TEST_WEBSITE names a running
// "quelby-website --demo" as HOST:PORT.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "CClientInterface.h"
#include "CIniParser.h"
#include "CSingleton.h"
#include "TestSupport.h"
#ifdef QUELBY_TEST_IN_PROCESS_WEBSITE
#include "testbed/Website.h"
#endif

namespace {

class SiteTransportTest : public ::testing::Test {
protected:
    void SetUp() override {
        CSingleton<CIniParser>::destroyInstance();
        const char* given = std::getenv("QUELBY_TEST_WEBSITE");
        if (given != nullptr && *given != '\0') {
            m_url = given;
        } else {
#ifdef QUELBY_TEST_IN_PROCESS_WEBSITE
            m_site = std::make_unique<testbed::Website>();
            ASSERT_TRUE(m_site->start());
            m_site->seedDemo();
            m_url = m_site->url();
#else
            FAIL() << "QUELBY_TEST_WEBSITE must name a running quelby-website --demo";
#endif
        }
        client.setHost(m_url);
    }
    void TearDown() override { CSingleton<CIniParser>::destroyInstance(); }

    quelby_test::ScratchFolder folder{"quelby-transport"};
    quelby_test::LogInto logInto{folder.path()};
#ifdef QUELBY_TEST_IN_PROCESS_WEBSITE
    std::unique_ptr<testbed::Website> m_site;
#endif
    std::string m_url;
    CClientInterface client;
};

TEST_F(SiteTransportTest, DemoPilot_logsInAndReadsTheBookingAndNews) {
    client.setLoginData("demo", CClientInterface::md5Hex("demo", 4).c_str());
    ASSERT_EQ(client.readPilot(), CClientInterface::kSuccess) << client.getLastMessage();
    char name[64] = {0};
    EXPECT_EQ(client.getData("Name", 0, name, sizeof(name) - 1), 0);
    EXPECT_STREQ(name, "Demo");
    EXPECT_EQ(client.readRoute(), CClientInterface::kSuccess) << client.getLastMessage();
    EXPECT_EQ(client.readNews(), CClientInterface::kSuccess) << client.getLastMessage();
}

TEST_F(SiteTransportTest, WrongPassword_isTheSitesRefusal_notATransportFailure) {
    client.setLoginData("demo", CClientInterface::md5Hex("dmeo", 4).c_str());
    const int result = client.readPilot();
    EXPECT_NE(result, CClientInterface::kSuccess);
    EXPECT_NE(result, CClientInterface::kCouldNotOpenUrl);
    EXPECT_NE(result, CClientInterface::kBadData);
}

TEST_F(SiteTransportTest, NoSiteListening_isCouldNotOpenUrl_soon) {
    // Port 9 (discard) on loopback: nothing listens there on a test machine.
    client.setHost("127.0.0.1:9");
    client.setLoginData("demo", CClientInterface::md5Hex("demo", 4).c_str());
    EXPECT_EQ(client.readPilot(), CClientInterface::kCouldNotOpenUrl);
}

}  // namespace
