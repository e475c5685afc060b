// A whole flight in the test-bed simulator, read through the X-Plane adapter
// on a client thread, whose report upload fails: the sealed backup it leaves
// is refused once tampered with, and otherwise loaded by a later run and
// uploaded to the stand-in website as the same report.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "CClientInterface.h"
#include "CFlightSimulatorInterfaceUsingXpsdk.h"
#include "CIniParser.h"
#include "CReport.h"
#include "CSingleton.h"
#include "DemoLogin.h"
#include "FinishedFlightTest.h"
#include "FlownFlight.h"
#include "TestSupport.h"
#include "testbed/Simulator.h"
#include "testbed/Website.h"

namespace {

std::map<std::string, std::string> fieldsOf(const testbed::ReceivedRequest& request) {
    return {request.fields.begin(), request.fields.end()};
}

class FlownReportBackupTest : public ::testing::Test {
protected:
    void SetUp() override {
        CSingleton<CIniParser>::destroyInstance();
        sim().reset();
        sim().setFrameRate(200);
        ASSERT_TRUE(site.start());
        site.seedDemo();
    }
    void TearDown() override {
        client.stop();
        CSingleton<CIniParser>::destroyInstance();
    }
    static testbed::Simulator& sim() { return testbed::Simulator::instance(); }

    quelby_test::ScratchFolder folder{"quelby-flown"};
    quelby_test::LogInto logInto{folder.path()};
    testbed::Website site;
    quelby_test::SimulatorClient client;
    CFlightSimulatorInterfaceUsingXpsdk adapter{&client.sync};
    quelby_test::SilentSound sound;
};

TEST_F(FlownReportBackupTest, FailedUpload_isKeptRefusedWhenTamperedAndUploadedByTheNextRun) {
    std::string sealed;
    std::vector<int> keptIds;
    {
        CClientInterface web;
        quelby_test::logInAsDemoPilot(web, site);
        CReport report(&adapter, &web);
        site.injectFailure("writereport", testbed::Failure::httpError(503), 1);
        testbed::FlightModel model(quelby_test::bookedHop());
        model.attach();
        ASSERT_EQ(quelby_test::flyBookedFlight(model, web, report, adapter, client, sound), 0)
            << "the upload should have failed";
        ASSERT_TRUE(report.isBackupReport());
        EXPECT_TRUE(site.reports().empty());
        for (const tquelby_position_logs& entry : report.getFailedPositionLogs()) {
            keptIds.push_back(entry.PositionId);
        }
        EXPECT_GE(keptIds.size(), 2u) << "the gate and the taxi wait for the report";
        EXPECT_EQ(keptIds.front(), 0);
        EXPECT_EQ(recordText(web.m_report.Arr), "EDDS");
        EXPECT_GT(web.m_report.Fuel_TakeOff, web.m_report.Fuel_Land);
        EXPECT_LT(web.m_report.VS, 0);
        EXPECT_EQ(recordText(web.m_report.Rating), "100") << recordText(web.m_report.Ratingreasons);
        // The plug-in stops: its settings and the report file are saved.
        CSingleton<CIniParser>::destroyInstance();
        sealed = quelby_test::readFile(folder.file("quelby_report.ini"));
    }
    ASSERT_EQ(site.requests("writereport").size(), 1u);
    const auto firstRequest = fieldsOf(site.requests("writereport")[0]);

    // One changed digit in the saved report: the next run refuses it.
    {
        quelby_test::writeFile(folder.file("quelby_report.ini"), quelby_test::tampered(sealed));
        CClientInterface web;
        quelby_test::logInAsDemoPilot(web, site);
        CFlightSimulatorInterfaceUsingXpsdk simulator{nullptr};
        CReport report(&simulator, &web);
        ASSERT_TRUE(report.isBackupReport());
        EXPECT_EQ(report.loadBackup(), 0);
        EXPECT_TRUE(site.reports().empty()) << "a tampered report was stored";
        CSingleton<CIniParser>::destroyInstance();
        quelby_test::writeFile(folder.file("quelby_report.ini"), sealed);
    }

    // The next run: login, the backup found, verified, made again and uploaded.
    CClientInterface web;
    quelby_test::logInAsDemoPilot(web, site);
    CFlightSimulatorInterfaceUsingXpsdk simulator{nullptr};
    CReport report(&simulator, &web);
    ASSERT_TRUE(report.isBackupReport());
    ASSERT_EQ(report.loadBackup(), 1);
    ASSERT_EQ(report.writeReport(true), 1)
        << "the site answered: " << site.requests().back().answer;
    report.deleteBackup();
    EXPECT_FALSE(report.isBackupReport());

    ASSERT_EQ(site.reports().size(), 1u);
    const auto uploaded = fieldsOf(site.requests("writereport").back());
    // Only the request's own framing may differ: the code, the upload kind.
    const std::set<std::string> framing = {"code", "ManualUpload", "intern_ts"};
    for (const auto& [key, value] : firstRequest) {
        if (framing.count(key) != 0) continue;
        EXPECT_EQ(uploaded.count(key) ? uploaded.at(key) : "<missing>", value) << key;
    }
    EXPECT_EQ(uploaded.at("ManualUpload"), "1");
    // The entries that waited follow the report, with the numbers they were given.
    std::vector<int> sentAfterReport;
    bool afterReport = false;
    for (const testbed::ReceivedRequest& request : site.requests()) {
        if (request.function == "writereport")
            afterReport = request.injected == testbed::Failure::Kind::None;
        if (afterReport && request.function == "writepositionlog") {
            sentAfterReport.push_back(std::stoi(fieldsOf(request).at("PositionId")));
        }
    }
    EXPECT_EQ(sentAfterReport, keptIds);
}

}  // namespace
