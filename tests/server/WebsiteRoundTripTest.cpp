// Every website function against the stand-in airline website over loopback:
// the site checks each request against its own copy of the request formats
// and codes, and every way the site can fail gives its result code.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <string>

#include "CBlackbox.h"
#include "CClientInterface.h"
#include "CFlightSimulatorInterfaceUsingXpsdk.h"
#include "CIniParser.h"
#include "CSingleton.h"
#include "TestSupport.h"
#include "testbed/Website.h"

using namespace std::chrono_literals;

namespace {

// One event of the flight recorder's log.
Blackbox::tDataRecord eventRecord(int timestamp, int speed, const char* flightState,
                                  const char* text) {
    Blackbox::tDataRecord record{};
    record.timestamp = timestamp;
    record.speed = speed;
    std::strncpy(record.flightState, flightState, sizeof(record.flightState) - 1);
    std::strncpy(record.text, text, sizeof(record.text) - 1);
    return record;
}

template <size_t N>
void put(char (&field)[N], const std::string& text) {
    std::memset(field, 0, N);
    std::memcpy(field, text.data(), text.size() < N ? text.size() : N);
}

class WebsiteRoundTripTest : public ::testing::Test {
protected:
    void SetUp() override {
        CSingleton<CIniParser>::destroyInstance();
        ASSERT_TRUE(site.start());
        site.seedDemo();
        site.setFixedTime(1700000000);
        client.setHost(site.url());
        // The site knows the password by its digest, as the login sends it.
        client.setLoginData("demo", CClientInterface::md5Hex("demo", 4).c_str());
    }
    void TearDown() override {
        // The site checks every request against its own copy of the formats
        // and the code; none the client made may fail that check.
        for (const testbed::ReceivedRequest& request : site.requests()) {
            if (request.injected != testbed::Failure::Kind::None) continue;
            EXPECT_EQ(request.answer.find("DATASTART\nINVALID"), std::string::npos)
                << request.function << ": " << request.problem << "\n"
                << request.body;
            EXPECT_EQ(request.answer.find("DATASTART\nWRONG CODE"), std::string::npos)
                << request.function << ": " << request.body;
        }
        CSingleton<CIniParser>::destroyInstance();
    }
    void logIn() {
        ASSERT_EQ(client.readPilot(), 0);
        ASSERT_EQ(client.readRoute(), 0);
    }

    quelby_test::ScratchFolder folder{"quelby-site"};
    quelby_test::LogInto logInto{folder.path()};
    testbed::Website site;
    CClientInterface client;
};

TEST_F(WebsiteRoundTripTest, WholeFlight_everyFunctionRoundTrips) {
    ASSERT_TRUE(client.isConnected());
    EXPECT_STREQ(client.m_versions[0], "v2.0.10b");
    ASSERT_EQ(client.readPilot(), 0);
    EXPECT_FALSE(recordText(client.m_pilot.ID).empty());
    EXPECT_EQ(recordText(client.m_pilot.User), "demo");
    ASSERT_EQ(client.readNews(), 0);
    EXPECT_FALSE(recordText(client.m_news.Header).empty());
    ASSERT_EQ(client.readRoute(), 0);
    EXPECT_EQ(recordText(client.m_log.Departure), "EDDF");
    EXPECT_EQ(recordText(client.m_log.Arrival), "EDDS");
    EXPECT_EQ(client.getBookedEngines(), 2);

    ASSERT_EQ(client.readClosestAirport(8.5706, 50.0333), 0);
    EXPECT_STREQ(client.m_closestAirport, "EDDF");
    const size_t before = site.requests().size();
    EXPECT_GT(client.readFuelPrice("EDDF"), 0.0f);
    EXPECT_EQ(site.requests().size(), before) << "the departure's price is cached";
    ASSERT_EQ(client.readTimestamp(), 0);
    EXPECT_EQ(client.m_log.Timestamp, 1700000000);

    ASSERT_EQ(client.resetPositionLog(), 0);
    client.m_position = {1700000100, 8.57f, 50.03f, 250, 3000, 364, 180, 7800, 1, 1};
    EXPECT_EQ(client.writePositionLog(), 1);
    put(client.m_log.FlightState, "Climb");
    EXPECT_EQ(client.writeLog(), 1);
    ASSERT_TRUE(site.waitForRequests("writelog", 1, 5000ms));

    tTarvex_Reports& report = client.m_report;
    put(report.Number, recordText(client.m_route.Number));
    put(report.Dep, "EDDF");
    put(report.Arr, "EDDS");
    put(report.Multiplier, "1");
    put(report.Comment64, "R29vZCBmbGlnaHQ=");
    report.Profit = 12345;
    report.VS = -180;
    ASSERT_EQ(client.writeReport(false), 1);
    EXPECT_NE(recordText(report.ReportId), "0");
    // The flight's events follow the report, under the id the site gave it.
    const Blackbox::tDataRecord takeOff =
        eventRecord(1700000200, 150, "Take Off", "Gear up above 500 ft");
    EXPECT_EQ(client.writeEventLog(&takeOff), 1) << client.getLastMessage();
    ASSERT_EQ(site.reports().size(), 1u);
    const testbed::Record stored = site.reports().front();
    EXPECT_EQ(stored.at("Profit"), "12345");
    EXPECT_EQ(stored.at("VS"), "-180");
    EXPECT_EQ(stored.at("Comment64"), "R29vZCBmbGlnaHQ=");
    EXPECT_EQ(stored.at("ReportId"), recordText(report.ReportId));
    EXPECT_EQ(site.positionLogs().size(), 1u);
    EXPECT_EQ(site.eventLogs().size(), 1u);
    EXPECT_EQ(site.trackerUpdates().size(), 1u);

    // The same flight again is refused as already uploaded.
    EXPECT_EQ(client.writeReport(true), 0);
    EXPECT_EQ(client.getLastResult(), CClientInterface::kAlreadyUploaded);
}

TEST_F(WebsiteRoundTripTest, AbortedFlight_isResetOnTheSite) {
    logIn();
    EXPECT_EQ(client.resetFlight(), 0);
    ASSERT_EQ(site.requests("resetflight").size(), 1u);
}

TEST_F(WebsiteRoundTripTest, BookedFlight_feedsTheSimulatorChecks) {
    logIn();
    CFlightSimulatorInterfaceUsingXpsdk adapter(nullptr);
    adapter.setBookedFlight(&client);
    adapter.m_aircraftData.nNumEngines = 2;
    adapter.m_aircraftData.nMaxWeightKg = client.getBookedMtowKg();
    EXPECT_EQ(adapter.checkAircraftType(), 0);
    adapter.m_aircraftData.nNumEngines = 1;
    EXPECT_EQ(adapter.checkAircraftType(), 5);
    adapter.m_tankQuantityKg.tank[0] = 5000.0f;
    EXPECT_EQ(adapter.getOverweight(), 5000 + client.getDryOperatingWeightKg() +
                                           102 * client.getPassengers() + client.getCargoKg() -
                                           client.getBookedMtowKg());
    adapter.m_aircraftData.dLatitude = 48.6899;
    adapter.m_aircraftData.dLongitude = 9.2220;
    ASSERT_TRUE(adapter.getNearestAirport());
    EXPECT_STREQ(adapter.m_aircraftData.closestAirport, "EDDS");
}

TEST_F(WebsiteRoundTripTest, SiteFailures_giveTheirResultCodes) {
    struct Case {
        const char* name;
        testbed::Failure failure;
        int result;
    };
    site.setNoAnswerLimit(300ms);
    const Case cases[] = {
        {"no user", testbed::Failure::answerWord("NO USER"), 1},
        {"not found", testbed::Failure::answerWord("NOT FOUND"), 2},
        {"invalid", testbed::Failure::answerWord("INVALID"), 3},
        {"wrong code", testbed::Failure::answerWord("WRONG CODE"), 7},
        {"no log", testbed::Failure::answerWord("NO LOG"), 9},
        {"bad login", testbed::Failure::answerWord("BAD LOGINDATA"), 10},
        {"unknown word", testbed::Failure::answerWord("MAINTENANCE"), 4},
        {"http 500", testbed::Failure::httpError(500), 4},
        {"garbage", testbed::Failure::garbage(), 4},
        {"no DATAEND", testbed::Failure::missingDataEnd(), 4},
        {"oversized", testbed::Failure::oversized(), 5},
        {"refused", testbed::Failure::refuse(), 5},
        {"no answer", testbed::Failure::noAnswer(), 5},
        {"slow", testbed::Failure::delay(300), 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        site.injectFailure("getpilot", c.failure);
        EXPECT_EQ(client.readPilot(), c.result);
        EXPECT_EQ(client.getLastResult(), c.result);
    }
    site.clearFailures();
}

TEST_F(WebsiteRoundTripTest, EveryFunction_reportsARefusedConnectionAndAWordAnswer) {
    logIn();
    const std::pair<const char*, std::function<int()>> functions[] = {
        {"getpilot", [&] { return client.readPilot(); }},
        {"getroute", [&] { return client.readRoute(); }},
        {"getnews", [&] { return client.readNews(); }},
        {"gettimestamp", [&] { return client.readTimestamp(); }},
        {"getversion", [&] { return client.readClient(); }},
        {"getclosestairport", [&] { return client.readClosestAirport(20.0, 20.0); }},
        {"getfuelprice",
         [&] {
             client.readFuelPrice("ZZZZ");
             return client.getLastResult();
         }},
        {"resetflight", [&] { return client.resetFlight(); }},
        {"resetpositionlog", [&] { return client.resetPositionLog(); }},
        {"writepositionlog",
         [&] {
             client.writePositionLog();
             return client.getLastResult();
         }},
        {"writeeventlog",
         [&] {
             const Blackbox::tDataRecord taxi = eventRecord(1, 2, "Taxi", "x");
             client.writeEventLog(&taxi);
             return client.getLastResult();
         }},
        {"writereport",
         [&] {
             client.writeReport(false);
             return client.getLastResult();
         }},
    };
    for (const auto& [function, call] : functions) {
        SCOPED_TRACE(function);
        site.injectFailure(function, testbed::Failure::refuse(), 1);
        EXPECT_EQ(call(), CClientInterface::kCouldNotOpenUrl);
        site.injectFailure(function, testbed::Failure::answerWord("INVALID"), 1);
        EXPECT_EQ(call(), CClientInterface::kInvalid);
    }
    // A failed fuel-price request prices the fuel at 0.
    site.injectFailure("getfuelprice", testbed::Failure::refuse(), 1);
    EXPECT_EQ(client.readFuelPrice("ZZZZ"), 0.0f);
}

}  // namespace
