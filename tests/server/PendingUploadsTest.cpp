// What follows an uploaded report against a website that stalls or refuses:
// the series stops at the first failure, the rest waits on disk, and the next
// contact sends each entry once.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "CBlackbox.h"
#include "CClientConfig.h"
#include "CClientInterface.h"
#include "CIniParser.h"
#include "CReport.h"
#include "CSingleton.h"
#include "DemoLogin.h"
#include "FakeSimulator.h"
#include "TestSupport.h"
#include "testbed/Website.h"

using namespace std::chrono_literals;

namespace {

class PendingUploadsTest : public quelby_test::FolderTest {
protected:
    void SetUp() override {
        FolderTest::SetUp();
        // No rule file there: the recorder starts without rules.
        CClientConfig::instance()->setDataPath(m_folder.path());
        // A silent website fails a request after a second, not fifteen.
        CClientInterface::setStallLimitsForTests(2000, 1);
        ASSERT_TRUE(site.start());
        site.seedDemo();
        site.setNoAnswerLimit(20s);
    }
    void TearDown() override {
        CClientInterface::setStallLimitsForTests(CClientInterface::kConnectTimeoutSeconds * 1000,
                                                 CClientInterface::kLowSpeedSeconds);
        FolderTest::TearDown();
    }

    // A flight at its end, logged in as the demo pilot: three position entries
    // kept near the ground and three events, waiting for the report.
    void finishFlight(CClientInterface& client, CReport& report, Blackbox::CBlackbox& blackbox) {
        quelby_test::logInAsDemoPilot(client, site);
        setRecordText(client.m_report.Number, recordText(client.m_route.Number));
        setRecordText(client.m_report.Dep, "EDDF");
        setRecordText(client.m_report.Arr, "EDDS");
        setRecordText(client.m_report.Multiplier, "1");
        report.resetPositionLog();
        simulator.m_aircraftData.bOnGround = true;
        for (int entry = 0; entry < 3; ++entry) {
            report.uploadPositionLog();
        }
        ASSERT_EQ(report.getFailedPositionLogs().size(), 3u);
        for (const char* text : {"Engines started", "Gear up", "Touchdown"}) {
            blackbox.executeEvent(text, "");
        }
    }
    std::string pendingFile() const { return m_folder.file("quelby_pending.ini"); }

    testbed::Website site;
    quelby_test::FakeSimulator simulator;
};

TEST_F(PendingUploadsTest,
       SilentWebsiteAfterTheReport_stopsAtTheFirstEntry_andTheNextLoginSendsEachOnce) {
    {
        CClientInterface client;
        CReport report(&simulator, &client);
        Blackbox::CBlackbox blackbox(nullptr, &simulator.m_aircraftData, &client);
        report.setBlackbox(&blackbox);
        finishFlight(client, report, blackbox);
        site.injectFailure("writepositionlog", testbed::Failure::noAnswer());

        ASSERT_EQ(report.writeReport(false), 1) << client.getLastMessage();
        ASSERT_EQ(site.reports().size(), 1u);
        ASSERT_TRUE(report.waitForPendingUploads(30s));
        EXPECT_EQ(site.requests("writepositionlog").size(), 1u)
            << "the first failure stops the series";
        EXPECT_TRUE(site.requests("writeeventlog").empty());
        EXPECT_EQ(report.countPendingUploads(), 6u);
        EXPECT_TRUE(blackbox.getFlightData().empty()) << "the events went with the series";
        const std::string kept = quelby_test::readFile(pendingFile());
        for (const char* key : {"positiondata2", "eventdata2", "Tarvex_Reports"}) {
            EXPECT_NE(kept.find(key), std::string::npos) << key << " is not kept:\n" << kept;
        }
        EXPECT_NE(log().find("the website failed at the next one, 6 wait for the next contact"),
                  std::string::npos)
            << log();
    }

    // The next run logs in: everything goes up once, under the report's id.
    site.clearFailures();
    CSingleton<CIniParser>::destroyInstance();
    CClientInterface client;
    client.setHost(site.url());
    CReport report(&simulator, &client);
    report.resumePendingUploads();
    ASSERT_TRUE(report.waitForPendingUploads(30s));
    report.resumePendingUploads();
    ASSERT_TRUE(report.waitForPendingUploads(30s));

    EXPECT_EQ(site.requests("writepositionlog").size(), 1u + 3u);
    EXPECT_EQ(site.requests("writeeventlog").size(), 3u);
    const std::string reportId = site.reports().at(0).at("ReportId");
    const auto positions = site.positionLogs();
    ASSERT_EQ(positions.size(), 3u);
    for (int id = 0; id < 3; ++id) {
        EXPECT_EQ(positions[static_cast<std::size_t>(id)].at("PositionId"), std::to_string(id));
        EXPECT_EQ(positions[static_cast<std::size_t>(id)].at("ReportId"), reportId);
    }
    const auto events = site.eventLogs();
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(events[2].at("text"), "Touchdown");
    EXPECT_EQ(events[2].at("reportid"), reportId);
    EXPECT_EQ(report.countPendingUploads(), 0u);
    EXPECT_FALSE(quelby_test::fileExists(pendingFile())) << "nothing waits, no file";
}

TEST_F(PendingUploadsTest, EntryTheWebsiteRefuses_isLoggedAndNotSentAgain_theSeriesGoesOn) {
    CClientInterface client;
    CReport report(&simulator, &client);
    Blackbox::CBlackbox blackbox(nullptr, &simulator.m_aircraftData, &client);
    report.setBlackbox(&blackbox);
    finishFlight(client, report, blackbox);
    site.injectFailure("writeeventlog", testbed::Failure::answerWord("INVALID"), 1);

    ASSERT_EQ(report.writeReport(false), 1) << client.getLastMessage();
    ASSERT_TRUE(report.waitForPendingUploads(30s));
    EXPECT_EQ(site.positionLogs().size(), 3u);
    EXPECT_EQ(site.eventLogs().size(), 2u);
    EXPECT_NE(log().find("The website refused event \"Engines started\" with INVALID; it is not "
                         "sent again"),
              std::string::npos)
        << log();
    EXPECT_EQ(report.countPendingUploads(), 0u);
    report.resumePendingUploads();
    ASSERT_TRUE(report.waitForPendingUploads(30s));
    EXPECT_EQ(site.requests("writeeventlog").size(), 3u);
}

}  // namespace
