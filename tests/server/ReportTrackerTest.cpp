// The position tracker against the stand-in website: the live map's steps,
// which position entries go at once and which wait for the report, their
// numbers, and the report upload that sends the kept ones.
#include <gtest/gtest.h>

#include <chrono>
#include <clocale>
#include <cstring>
#include <string>
#include <thread>

#include "CClientInterface.h"
#include "CFlightSimulatorInterface.h"
#include "CIniParser.h"
#include "CReport.h"
#include "CSingleton.h"
#include "DemoLogin.h"
#include "FakeSimulator.h"
#include "TestSupport.h"
#include "testbed/Website.h"

using namespace std::chrono_literals;

namespace {

std::string field(const testbed::Record& record, const char* key) {
    const auto it = record.find(key);
    return it == record.end() ? "<missing>" : it->second;
}

class ReportTrackerTest : public ::testing::Test {
protected:
    void SetUp() override {
        CSingleton<CIniParser>::destroyInstance();
        ASSERT_TRUE(site.start());
        site.seedDemo();
        quelby_test::logInAsDemoPilot(client, site);
        tagAircraftData& data = simulator.m_aircraftData;
        data.reset();
        data.dLatitude = 50.033333;
        data.dLongitude = 8.570556;
        data.fHeading = 249.7f;
        data.nGroundElevationFt = 364;
        data.nSimulationRate = 1;
        simulator.m_tankQuantityKg.tank[0] = 2500.3f;
        simulator.m_tankQuantityKg.tank[1] = 2500.3f;
    }
    void TearDown() override { CSingleton<CIniParser>::destroyInstance(); }

    void at(int phase, int heightAglFt, bool onGround, int groundSpeedKts) {
        tagAircraftData& data = simulator.m_aircraftData;
        data.nFlightState = phase;
        data.nHeightAglFt = heightAglFt;
        data.bOnGround = onGround;
        data.nGroundSpeedKts = groundSpeedKts;
    }
    std::string log() const { return quelby_test::readFile(folder.file("quelby_debug.txt")); }

    quelby_test::ScratchFolder folder{"quelby-tracker"};
    quelby_test::LogInto logInto{folder.path()};
    testbed::Website site;
    CClientInterface client;
    quelby_test::FakeSimulator simulator;
    CReport report{&simulator, &client};
};

TEST_F(ReportTrackerTest, TrackerStep_sendsPositionAndPhaseButNotOnBlock) {
    at(6, 35000, false, 450);
    ASSERT_EQ(report.uploadTrackerData(), 1);
    ASSERT_TRUE(site.waitForRequests("writelog", 1, 5s));
    const auto updates = site.trackerUpdates();
    ASSERT_EQ(updates.size(), 1u);
    EXPECT_EQ(field(updates[0], "Lat"), "50.033333");
    EXPECT_EQ(field(updates[0], "Lon"), "8.570556");
    EXPECT_EQ(field(updates[0], "FlightState"), "Cruise");
    EXPECT_NE(log().find("Upload Tracker Data! (Cruise)"), std::string::npos);

    // On block the record still follows the aircraft, but the map is left alone.
    simulator.m_aircraftData.dLatitude = 48.69;
    at(4, 0, true, 0);
    ASSERT_EQ(report.uploadTrackerData(), 1);
    EXPECT_EQ(recordText(client.m_log.FlightState), "On Block");
    EXPECT_EQ(recordText(client.m_log.Lat), "48.690000");
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(site.requests("writelog").size(), 1u);
    EXPECT_EQ(simulator.reads, 2) << "each step reads the simulator first";
}

TEST_F(ReportTrackerTest, TrackerStep_writesDecimalPointsWhateverTheLocale) {
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) {
        GTEST_SKIP() << "the de_DE.UTF-8 locale is not installed";
    }
    at(5, 3000, false, 250);
    report.uploadTrackerData();
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(recordText(client.m_log.Lat), "50.033333");
    ASSERT_TRUE(site.waitForRequests("writelog", 1, 5s));
    EXPECT_EQ(field(site.trackerUpdates().at(0), "Lon"), "8.570556");
}

TEST_F(ReportTrackerTest, PositionEntries_nearTheGround_followTheUploadedReportWithTheirNumbers) {
    report.resetPositionLog();
    struct {
        int phase, heightAglFt;
        bool onGround;
        int groundSpeedKts;
        bool sentAtOnce;
    } const steps[] = {
        {0, 0, true, 0, false},        // 0: at the gate
        {1, 0, true, 15, false},       // 1: taxiing
        {2, 0, true, 140, true},       // 2: the take-off run
        {5, 800, false, 170, true},    // 3: climbing out, airborne
        {6, 35000, false, 450, true},  // 4: cruise
        {3, 0, true, 60, false},       // 5: rolled out
    };
    for (const auto& step : steps) {
        at(step.phase, step.heightAglFt, step.onGround, step.groundSpeedKts);
        EXPECT_EQ(report.uploadPositionLog(), step.sentAtOnce ? 1 : 0) << "phase " << step.phase;
    }
    const auto& kept = report.getFailedPositionLogs();
    ASSERT_EQ(kept.size(), 3u);
    EXPECT_EQ(kept[0].PositionId, 0);
    EXPECT_EQ(kept[1].PositionId, 1);
    EXPECT_EQ(kept[2].PositionId, 5);
    EXPECT_EQ(kept[1].GroundSpeed, 15);
    EXPECT_EQ(kept[0].Fuel, 5001) << "2 x 2500.3 kg rounded";
    EXPECT_EQ(kept[0].Heading, 249);
    EXPECT_EQ(kept[0].Altitude, 364);

    // The kept entries follow the uploaded report, in the order they were
    // numbered, on a thread of their own.
    ASSERT_EQ(report.writeReport(false), 1);
    EXPECT_NE(log().find("Report uploaded successfully."), std::string::npos);
    ASSERT_TRUE(report.waitForPendingUploads(30s));
    std::string order;
    for (const testbed::ReceivedRequest& request : site.requests()) {
        if (request.function == "writereport") order += "report ";
        if (request.function != "writepositionlog") continue;
        for (const auto& pair : request.fields) {
            if (pair.first == "PositionId") order += pair.second + " ";
        }
    }
    EXPECT_EQ(order, "2 3 4 report 0 1 5 ");
    EXPECT_EQ(site.positionLogs().size(), 6u);
}

TEST_F(ReportTrackerTest, TrackerOff_stillNumbersAndKeepsEveryEntry) {
    report.setTracker(false);
    at(6, 35000, false, 450);
    EXPECT_EQ(report.uploadPositionLog(), 0);
    EXPECT_EQ(report.uploadPositionLog(), 0);
    EXPECT_EQ(report.uploadTrackerData(), 1);
    ASSERT_EQ(report.getFailedPositionLogs().size(), 2u);
    EXPECT_EQ(report.getFailedPositionLogs()[1].PositionId, 1);
    EXPECT_TRUE(site.requests("writepositionlog").empty());
    EXPECT_TRUE(site.requests("writelog").empty());
}

TEST_F(ReportTrackerTest, ResetPositionLog_startsAgainAtZeroAndClearsTheSite) {
    at(6, 35000, false, 450);
    report.uploadPositionLog();
    site.injectFailure("writepositionlog", testbed::Failure::answerWord("NO LOG"), 1);
    EXPECT_EQ(report.uploadPositionLog(), 0) << "a refused entry is kept";
    EXPECT_NE(log().find("Failed to upload position data"), std::string::npos);
    ASSERT_EQ(report.getFailedPositionLogs().size(), 1u);

    report.resetPositionLog();
    EXPECT_TRUE(report.getFailedPositionLogs().empty());
    EXPECT_TRUE(site.positionLogs().empty()) << "the site dropped the flight's entries";
    ASSERT_EQ(report.uploadPositionLog(), 1);
    EXPECT_EQ(client.m_position.PositionId, 0);
}

}  // namespace
