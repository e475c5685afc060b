// The flight recorder's log goes with the report: uploaded right after it, or
// kept in its sealed backup and loaded back with it by the next run.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>
#include <vector>

#include "CBlackbox.h"
#include "CFlightState.h"
#include "DemoLogin.h"
#include "FinishedFlightTest.h"
#include "testbed/Website.h"

using namespace std::chrono_literals;

namespace {

using Blackbox::tDataRecord;

// Two events of a flight: the record's time, speed and phase at each.
void recordTwoEvents(Blackbox::CBlackbox& blackbox, tagAircraftData& aircraft) {
    aircraft.nFlightState = CFlightState::stringToState("descent");
    aircraft.dFlightTimeS = 5000.0;
    aircraft.nIndicatedAirspeedKts = 160;
    blackbox.executeEvent("Gear up below 1000 ft AGL in the descent", "");
    aircraft.nFlightState = CFlightState::stringToState("landed");
    aircraft.dFlightTimeS = 5100.0;
    aircraft.nIndicatedAirspeedKts = 130;
    blackbox.executeEvent("Touchdown", "");
}

class ReportBlackboxTest : public quelby_test::FinishedFlightTest {
protected:
    void SetUp() override {
        FinishedFlightTest::SetUp();
        // No rule file there: the recorder starts without rules.
        CClientConfig::instance()->setDataPath(m_folder.path());
    }
};

TEST_F(ReportBlackboxTest, FailedUpload_keepsTheEventsInTheBackup_andTheNextRunLoadsThem) {
    Blackbox::CBlackbox blackbox(nullptr, &simulator.m_aircraftData, &client);
    recordTwoEvents(blackbox, simulator.m_aircraftData);
    const std::vector<tDataRecord> flown = blackbox.getFlightData();
    report.setBlackbox(&blackbox);
    create();
    ASSERT_EQ(report.writeReport(false), 0);
    EXPECT_EQ(blackbox.getFlightData().size(), 2u) << "nothing went out, nothing is dropped";

    CSingleton<CIniParser>::destroyInstance();
    CClientInterface nextClient;
    nextClient.setHost("127.0.0.1:1");
    CFlightSimulatorInterfaceUsingXpsdk nextSimulator{nullptr};
    Blackbox::CBlackbox nextBlackbox(nullptr, &nextSimulator.m_aircraftData, &nextClient);
    CReport next(&nextSimulator, &nextClient, &nextBlackbox);
    ASSERT_TRUE(next.isBackupReport());
    ASSERT_EQ(next.loadBackup(), 1) << "the events are inside the sealed file";

    const std::vector<tDataRecord>& loaded = nextBlackbox.getFlightData();
    ASSERT_EQ(loaded.size(), flown.size());
    for (std::size_t i = 0; i < loaded.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(std::memcmp(&loaded[i], &flown[i], sizeof(tDataRecord)), 0);
    }
    EXPECT_STREQ(loaded[1].text, "Touchdown");
    EXPECT_STREQ(loaded[1].flightState, "Landed");
}

TEST_F(ReportBlackboxTest, Upload_sendsTheEventsAfterTheReport_thenTheLogIsEmpty) {
    testbed::Website site;
    ASSERT_TRUE(site.start());
    site.seedDemo();
    quelby_test::logInAsDemoPilot(client, site);
    setRecordText(client.m_report.Number, recordText(client.m_route.Number).c_str());
    setRecordText(client.m_report.Dep, "EDDF");
    setRecordText(client.m_report.Arr, "EDDS");
    setRecordText(client.m_report.Multiplier, "1");

    Blackbox::CBlackbox blackbox(nullptr, &simulator.m_aircraftData, &client);
    recordTwoEvents(blackbox, simulator.m_aircraftData);
    CReport uploading(&simulator, &client);
    uploading.setBlackbox(&blackbox);
    ASSERT_EQ(uploading.writeReport(false), 1) << client.getLastMessage();
    ASSERT_TRUE(uploading.waitForPendingUploads(30s));

    EXPECT_TRUE(blackbox.getFlightData().empty());
    const std::vector<testbed::Record> events = site.eventLogs();
    ASSERT_EQ(events.size(), 2u) << "the site takes events only under a report it issued";
    EXPECT_EQ(events[0].at("reportid"), recordText(client.m_report.ReportId));
    EXPECT_EQ(events[0].at("text"), "Gear up below 1000 ft AGL in the descent");
    EXPECT_EQ(events[0].at("flightstate"), "Descent");
    EXPECT_EQ(events[1].at("timestamp"), "5100");
    EXPECT_EQ(events[1].at("speed"), "130");

    blackbox.backup();
    char count[8] = {0};
    CIniParser::instance()->getStringFromReport("report", "numeventlogs", count, sizeof(count));
    EXPECT_STREQ(count, "0") << "an uploaded log is not kept";
}

}  // namespace
