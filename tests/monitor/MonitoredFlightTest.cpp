// A whole booked flight in the test-bed simulator with the monitoring on:
// the shipped rule file's events and a drawn engine failure reach the event
// log, survive a failed report upload in the backup and reach the stand-in
// website with the report; fuel added in cruise is taken back ten times and
// the eleventh asks the user interface to abort.
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <string>
#include <vector>

#include "CBlackbox.h"
#include "CCheatDetector.h"
#include "CClientConfig.h"
#include "CClientInterface.h"
#include "CFailureManager.h"
#include "CFlightSimulatorInterfaceUsingXpsdk.h"
#include "CIniParser.h"
#include "CReport.h"
#include "CSingleton.h"
#include "CUserInterface.h"
#include "CruiseRefueller.h"
#include "DemoLogin.h"
#include "FlownFlight.h"
#include "SimulatorClient.h"
#include "TestSupport.h"
#include "XPLMDisplay.h"
#include "testbed/FlightModel.h"
#include "testbed/Simulator.h"
#include "testbed/Website.h"

namespace {

// The tests' own user interface: gives the booked flight's records and
// remembers why flights were aborted.
class AbortRecorder : public CUserInterface {
public:
    void abortFlight(std::string& reason) override { reasons.push_back(reason); }
    std::vector<std::string> reasons;
};

// The draws that arm engine 1 (condition 99 against a mean of 99.25) at a
// fifth of the booked 45 minutes, 540 s into the flight, and then stop.
std::vector<int> g_draws;
std::size_t g_nextDraw = 0;
int scriptedRand() { return g_nextDraw < g_draws.size() ? g_draws[g_nextDraw++] : 0; }

class MonitoredFlightTest : public ::testing::Test {
protected:
    void SetUp() override {
        CSingleton<CIniParser>::destroyInstance();
        CClientConfig::instance()->setDataPath(std::string(QUELBY_SOURCE_DIR) + "/data");
        sim().reset();
        sim().setFrameRate(200);
        ASSERT_TRUE(site.start());
        site.seedDemo();
        g_draws = {9990, 20, 100};
        g_nextDraw = 0;
    }
    void TearDown() override {
        client.stop();
        CSingleton<CIniParser>::destroyInstance();
    }
    static testbed::Simulator& sim() { return testbed::Simulator::instance(); }

    quelby_test::ScratchFolder folder{"quelby-monitored"};
    quelby_test::LogInto logInto{folder.path()};
    testbed::Website site;
    quelby_test::SimulatorClient client;
    CFlightSimulatorInterfaceUsingXpsdk adapter{&client.sync};
    quelby_test::SilentSound sound;
};

TEST_F(MonitoredFlightTest, EventsFailureAndRefuels_areRecordedKeptAndUploaded) {
    std::vector<std::string> logged;
    long failureAtS = -1;
    long failureTriggerS = -1;
    {
        CClientInterface web;
        quelby_test::logInAsDemoPilot(web, site);
        AbortRecorder userInterface;
        userInterface.setClientInterface(&web);
        Blackbox::CBlackbox blackbox(&sound, &adapter.m_aircraftData, &web);
        CReport report(&adapter, &web, &blackbox);
        CCheatDetector detector(&adapter, &userInterface);
        Failures::CFailureManager failures;
        failures.setRandomForTests(scriptedRand);
        site.injectFailure("writereport", testbed::Failure::httpError(503), 1);

        // The cheat detector's position rule needs the demo's pace, not the
        // fastest the model allows.
        testbed::FlightModel model(quelby_test::bookedHop(30.0));
        model.attach();
        quelby_test::CruiseRefueller refueller;
        refueller.model = &model;
        XPLMRegisterDrawCallback(quelby_test::CruiseRefueller::onFrame, xplm_Phase_Window, 1,
                                 &refueller);
        double startS = 0.0;
        quelby_test::FlightHooks hooks;
        hooks.atStart = [&] {
            failures.init(&web, &adapter, &blackbox);
            failureTriggerS = failures.getFailures().at(0)->getTriggerTime();
            blackbox.init();
            detector.startFlight();
            startS = adapter.m_aircraftData.dFlightTimeS;
        };
        int passes = 0;
        hooks.everyPass = [&] {
            // Checked every few passes, as the client loop does near the
            // ground; an aborted flight leaves the in-flight loop.
            if (++passes % 5 == 0 && userInterface.reasons.empty()) detector.doChecks();
            const long flightS = static_cast<long>(adapter.m_aircraftData.dFlightTimeS - startS);
            failures.check(flightS);
            if (failureAtS < 0 && failures.getFailures().at(0)->isActive()) failureAtS = flightS;
            blackbox.check();
        };
        const int uploaded =
            quelby_test::flyBookedFlight(model, web, report, adapter, client, sound, hooks);
        XPLMUnregisterDrawCallback(quelby_test::CruiseRefueller::onFrame, xplm_Phase_Window, 1,
                                   &refueller);
        ASSERT_EQ(uploaded, 0) << "the first upload should have failed";

        // Ten refuellings taken back, the eleventh asked for the abort.
        EXPECT_EQ(refueller.added.load(), 11);
        EXPECT_EQ(adapter.m_nRefuelCount, 10);
        ASSERT_EQ(userInterface.reasons.size(), 1u);
        EXPECT_EQ(userInterface.reasons[0], "Inflight refueling recognized, flight aborted!");

        for (const Blackbox::tDataRecord& record : blackbox.getFlightData()) {
            logged.push_back(record.text);
        }
        CSingleton<CIniParser>::destroyInstance();
    }
    // The engine caught fire in the simulator at its drawn time.
    EXPECT_EQ(failureTriggerS, 540);
    EXPECT_GE(failureAtS, failureTriggerS + 1);
    EXPECT_LE(failureAtS, failureTriggerS + 10) << "the failure fired late";
    EXPECT_EQ(sim().getInt("sim/operation/failures/rel_engfir0"), 1);
    EXPECT_EQ(sim().getInt("sim/operation/failures/rel_engfir1"), 0);
    const std::set<std::string> loggedSet(logged.begin(), logged.end());
    EXPECT_EQ(loggedSet.count("Failure: Engine Failure!"), 1u);
    // The shipped rule file's greeting and touchdown; a flight by the book
    // breaks none of its other rules.
    EXPECT_EQ(loggedSet.count("Flight recorder on - have a good flight"), 1u);
    EXPECT_EQ(loggedSet.count("Touchdown"), 1u);
    EXPECT_EQ(logged.size(), 3u) << ::testing::PrintToString(logged);

    // The next run loads the backup and uploads the report, then the events.
    CClientInterface web;
    quelby_test::logInAsDemoPilot(web, site);
    CFlightSimulatorInterfaceUsingXpsdk simulator{nullptr};
    Blackbox::CBlackbox blackbox(&sound, &simulator.m_aircraftData, &web);
    CReport report(&simulator, &web, &blackbox);
    ASSERT_TRUE(report.isBackupReport());
    ASSERT_EQ(report.loadBackup(), 1);
    ASSERT_EQ(blackbox.getFlightData().size(), logged.size());
    ASSERT_EQ(report.writeReport(true), 1);
    std::vector<std::string> uploadedTexts;
    for (const testbed::Record& event : site.eventLogs()) {
        const auto text = event.find("text");
        uploadedTexts.push_back(text == event.end() ? "<missing>" : text->second);
    }
    EXPECT_EQ(uploadedTexts, logged);
    EXPECT_TRUE(blackbox.getFlightData().empty()) << "the log is emptied once uploaded";
}

}  // namespace
