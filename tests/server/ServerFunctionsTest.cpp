// The website's functions: exact request texts for known records, what the
// answers fill in, the fuel scaling and the nearest-airport rule.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "CBlackbox.h"
#include "CClientInterface.h"
#include "CIniParser.h"
#include "CSingleton.h"
#include "ScriptedWebServer.h"
#include "TestSupport.h"

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

const char kRouteAnswer[] =
    "DATASTART\nSUCCESS\n"
    "r_ID|r_Dep|r_Arr|r_Number|r_FlightType|r_Simrate|l_ID|l_Departure|l_Arrival|l_Passengers|"
    "l_Cargo|l_Multiplier|a_Fuel|a_FuelMult|a_Type|a_StateEng1|v_Reputation|v_Multiplier|"
    "v_Name|d_MTOW|d_DOW|d_Engines|d_Ticket|ad_lat|ad_lon|ad_fuel|aa_lat|aa_lon|aa_fuel\n"
    "12|EDDF|EDDS|QB101|0|2|345|EDDF|EDDS|120|2000|4|1000|2|A320|99.5|70|%s|Quelby Air|78000|"
    "42600|2|1.5|50.0333|8.5706|1.10|48.6899|9.2220|1.20\nDATAEND\n";

class ServerFunctionsTest : public ::testing::Test {
protected:
    void SetUp() override {
        CSingleton<CIniParser>::destroyInstance();
        client.setHost(server.host());
        client.setLoginData("pilot1", "secret");
        setRecordText(client.m_pilot.User, "P-USER");
        setRecordText(client.m_pilot.Password, "P-PASS");
    }
    void TearDown() override { CSingleton<CIniParser>::destroyInstance(); }
    std::string ts() const { return std::to_string(client.getInternTs()); }
    // The request as sent, with the code it must carry.
    static std::string withCode(const std::string& text) {
        return text + "&code=" + CClientInterface::calcCode(text.c_str());
    }
    // The route answer with the airline's multiplier, and optionally one part
    // of it replaced.
    void answerRoute(const char* airlineMultiplier, const std::string& part = "",
                     const std::string& replacement = "") {
        std::string answer = kRouteAnswer;
        if (!part.empty()) answer.replace(answer.find(part), part.size(), replacement);
        char text[2048];
        std::snprintf(text, sizeof(text), answer.c_str(), airlineMultiplier);
        server.answer(text);
    }
    std::string log() const { return quelby_test::readFile(folder.file("quelby_debug.txt")); }

    quelby_test::ScratchFolder folder{"quelby-functions"};
    quelby_test::LogInto logInto{folder.path()};
    ScriptedWebServer server;
    CClientInterface client;
};

TEST_F(ServerFunctionsTest, ReadingRequests_sendTheirExactTexts) {
    server.answer("DATASTART\nSUCCESS\nID|User|Password|WeightUnit\n17|P-USER|P-PASS|1\nDATAEND\n");
    ASSERT_EQ(client.readPilot(), 0);
    EXPECT_EQ(server.lastBody(), "function=getpilot&user=pilot1&pass=secret&system=" +
                                     client.getSystemToken() + "&intern_ts=" + ts());
    EXPECT_EQ(recordText(client.m_pilot.ID), "17");
    EXPECT_EQ(recordText(client.m_pilot.WeightUnit), "1");

    answerRoute("");
    ASSERT_EQ(client.readRoute(), 0);
    EXPECT_EQ(server.lastBody(),
              "function=getroute&intern_ts=" + ts() + "&user=pilot1&pass=secret");

    server.answer("DATASTART\nSUCCESS\nID|Header|Text\n3|Hello|World\nDATAEND\n");
    ASSERT_EQ(client.readNews(), 0);
    EXPECT_EQ(server.lastBody(), "function=getnews&intern_ts=" + ts());
    EXPECT_EQ(recordText(client.m_news.Header), "Hello");

    server.answer("DATASTART\nSUCCESS\nUNIX_TIMESTAMP()\n1700000000\nDATAEND\n");
    ASSERT_EQ(client.readTimestamp(), 0);
    EXPECT_EQ(server.lastBody(), "function=gettimestamp&intern_ts=" + ts());
    EXPECT_EQ(client.m_log.Timestamp, 1700000000);

    server.answer("DATASTART\nSUCCESS\nVersion|BetaVersion\nv2.0.10b|v2.1.0\nDATAEND\n");
    EXPECT_TRUE(client.isConnected());
    EXPECT_EQ(server.lastBody(), "function=getversion&intern_ts=" + ts());
    EXPECT_STREQ(client.m_versions[0], "v2.0.10b");
    EXPECT_STREQ(client.m_versions[1], "v2.1.0");

    server.answer("DATASTART\nSUCCESS\nfuel\n0.95\nDATAEND\n");
    EXPECT_FLOAT_EQ(client.readFuelPrice("LOWW"), 0.95f);
    EXPECT_EQ(server.lastBody(), "function=getfuelprice&icao=LOWW&intern_ts=" + ts());
    EXPECT_EQ(recordText(client.m_report.Fuelprice), "0.950000");

    server.answer("DATASTART\nNOT FOUND\n");
    EXPECT_EQ(client.readClosestAirport(8.5, 50.25), 2);
    EXPECT_EQ(
        server.lastBody(),
        "function=getclosestairport&Lon1=7.500000&Lon2=9.500000&Lat1=49.250000&Lat2=51.250000&"
        "intern_ts=" +
            ts());
}

TEST_F(ServerFunctionsTest, ZeroPilotId_isSuccessWithAWarning) {
    server.answer("DATASTART\nSUCCESS\nID|Name\n0|Nobody\nDATAEND\n");
    EXPECT_EQ(client.readPilot(), 0);
    EXPECT_NE(log().find("Warn: [CClientInterface] Failed to read Pilot Data"), std::string::npos)
        << log();
}

TEST_F(ServerFunctionsTest, WritingRequests_carryTheirCodeAndCredentials) {
    setRecordText(client.m_route.FlightType, "0");
    setRecordText(client.m_log.ID, "345");
    server.answer("DATASTART\nSUCCESS\nDATAEND\n");
    ASSERT_EQ(client.resetFlight(), 0);
    EXPECT_EQ(server.lastBody(),
              withCode("function=resetflight&intern_ts=" + ts() +
                       "&flighttype=0&user=pilot1&pass=secret&intern_ts=" + ts()));
    ASSERT_EQ(client.resetPositionLog(), 0);
    EXPECT_EQ(server.lastBody(), withCode("function=resetpositionlog&intern_ts=" + ts() +
                                          "&logid=345&user=pilot1&pass=secret&intern_ts=" + ts()));

    client.m_position = {1700000100, 8.5f, 50.25f, 270, 12000, 364, 310, 5400, 1, 3};
    setRecordText(client.m_report.ReportId, "0");
    EXPECT_EQ(client.writePositionLog(), 1);
    EXPECT_EQ(
        server.lastBody(),
        withCode(
            "function=writepositionlog&intern_ts=" + ts() +
            "&user=P-USER&pass=P-PASS&LogId=345&Timestamp=1700000100&Longitude=8.500000&"
            "Latitude=50.250000&Heading=270&Altitude=12000&GroundElevation=364&GroundSpeed=310&"
            "SimulationRate=1&ReportId=0&Fuel=5400&PositionId=3"));

    const Blackbox::tDataRecord gearUp = eventRecord(1700000200, 145, "Take Off", "Gear up");
    EXPECT_EQ(client.writeEventLog(&gearUp), 1);
    EXPECT_EQ(server.lastBody(), withCode("function=writeeventlog&intern_ts=" + ts() +
                                          "&user=P-USER&pass=P-PASS&timestamp=1700000200&speed=145&"
                                          "flightstate=Take Off&text=Gear up&reportid=0"));

    server.answer("DATASTART\nNO LOG\n");
    EXPECT_EQ(client.writePositionLog(), 0);
    const Blackbox::tDataRecord taxi = eventRecord(1, 2, "Taxi", "x");
    EXPECT_EQ(client.writeEventLog(&taxi), 0);
    EXPECT_EQ(client.writeEventLog(nullptr), 0);
}

TEST_F(ServerFunctionsTest, WriteLog_sendsOnItsOwnThread_andReturnsAtOnce) {
    setRecordText(client.m_log.Lon, "8.57");
    setRecordText(client.m_log.Lat, "50.03");
    setRecordText(client.m_log.FlightState, "Taxi");
    client.m_aircraft.Fuel = 4200;
    server.hang(1000);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(client.writeLog(), 1);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 500ms) << "writeLog waited for the site";
    const std::string expected =
        withCode("function=writelog&intern_ts=" + ts() +
                 "&user=P-USER&pass=P-PASS&Lon=8.57&Lat=50.03&FlightState=Taxi&"
                 "system=" +
                 client.getSystemToken() + "&fuel=4200");
    for (int i = 0; i < 300 && server.lastBody() != expected; ++i)
        std::this_thread::sleep_for(10ms);
    EXPECT_EQ(server.lastBody(), expected);
}

TEST_F(ServerFunctionsTest, Route_scalesTheBookedFuelByTheHigherMultiplier_unlessPositioning) {
    const struct {
        const char* airlineMultiplier;
        const char* flightType;
        int fuel;
    } cases[] = {
        // FuelMult 2: a multiplier of 4 halves the booked 1000 kg; 2 keeps it;
        // an empty airline multiplier falls back to the log's (4).
        {"4", "0", 500},
        {"2", "0", 1000},
        {"", "0", 500},
        {"4", "2", 1000},  // a positioning flight keeps its fuel
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string("multiplier '") + c.airlineMultiplier + "', type " + c.flightType);
        answerRoute(c.airlineMultiplier, "|QB101|0|", std::string("|QB101|") + c.flightType + "|");
        ASSERT_EQ(client.readRoute(), 0);
        EXPECT_EQ(client.m_aircraft.Fuel, c.fuel);
        EXPECT_EQ(client.m_aircraft.FuelBooked, 1000);
    }
}

TEST_F(ServerFunctionsTest, Route_fillsEveryRecord_andItsAirportsNeedNoRequest) {
    answerRoute("4");
    ASSERT_EQ(client.readRoute(), 0);
    EXPECT_EQ(recordText(client.m_route.Number), "QB101");
    EXPECT_EQ(recordText(client.m_log.Departure), "EDDF");
    EXPECT_FLOAT_EQ(client.m_aircraft.StateEng1, 99.5f);
    EXPECT_EQ(client.m_virtualAirline.Reputation, 70);
    EXPECT_EQ(client.getBookedMtowKg(), 78000);
    EXPECT_EQ(client.getPassengers(), 120);
    EXPECT_NEAR(client.m_fuelPrice, 1.10, 1e-9);

    // The flight's airports are cached: the arrival's fuel price and the
    // departure as the nearest airport, though another field is nearer.
    client.m_airports.add("EDFE", 50.0346, 8.5900, 1.0);
    const size_t sent = server.bodies().size();
    EXPECT_FLOAT_EQ(client.readFuelPrice("EDDS"), 1.20f);
    ASSERT_EQ(client.readClosestAirport(8.5806, 50.0333), 0);
    EXPECT_STREQ(client.m_closestAirport, "EDDF");
    EXPECT_EQ(server.bodies().size(), sent) << "a cached airport needs no request";

    // Far from every cached airport: the site is asked and its answer cached.
    server.answer(
        "DATASTART\nSUCCESS\nlon|lat|id|icao|fuel\n11.7861|48.3538|9|EDDM|1.3\n"
        "11.5|48.1|10|EDMO|1.4\nDATAEND\n");
    ASSERT_EQ(client.readClosestAirport(11.78, 48.35), 0);
    EXPECT_STREQ(client.m_closestAirport, "EDDM");
    EXPECT_NE(client.m_airports.find("EDMO"), nullptr);
    EXPECT_EQ(client.nearestCachedAirport(30.0, 10.0, true), "");
    EXPECT_FALSE(client.nearestCachedAirport(30.0, 10.0, false).empty());
}

TEST_F(ServerFunctionsTest, Report_isSentWhole_evenWithEveryTextFull) {
    tTarvex_Reports& r = client.m_report;
    setRecordText(r.Multiplier, "2.5");
    r.Profit = 1000;
    setRecordText(r.Version, "v2.0.10b Plugin");
    server.answer("DATASTART\nSUCCESS\nReportId\n4711\nDATAEND\n");
    ASSERT_EQ(client.writeReport(false), 1);
    const std::string body = server.lastBody();
    EXPECT_EQ(
        body.rfind("function=writereport&intern_ts=" + ts() + "&user=P-USER&pass=P-PASS&AC_Type=&",
                   0),
        0u);
    EXPECT_NE(body.find("&Deptime=0&Loc_Deptime=0&"), std::string::npos)
        << "empty departure times become 0";
    EXPECT_NE(body.find("&Fuelprice=1.25&"), std::string::npos)
        << "an empty fuel price becomes 1.25";
    EXPECT_NE(body.find("&Profit=1000&Version=v2.0.10b Plugin&"), std::string::npos);
    EXPECT_NE(body.find("&ProfitMultiplied=2000&"), std::string::npos) << "2.5 counts as 2";
    EXPECT_NE(body.find("&ManualUpload=0&system=" + client.getSystemToken() + "&code="),
              std::string::npos);
    EXPECT_EQ(body, withCode(body.substr(0, body.rfind("&code="))));
    EXPECT_EQ(recordText(r.ReportId), "4711");
    EXPECT_EQ(CIniParser::instance()->getIntFromConfig("report", "Backup"), 0);
    EXPECT_NE(quelby_test::readFile(folder.file("quelby.ini")).find("Code"), std::string::npos)
        << "the report section reaches the disk";

    // Every text of every record full to its last byte: nothing is cut.
    for (char* field :
         {r.AC_Type,     r.AC_ID,    r.PIC,         r.Pilot_ID, r.PID,       r.VA,
          r.VA_ID,       r.Number,   r.Dep,         r.Pln_Arr,  r.Arr,       r.Deptime,
          r.Loc_Deptime, r.Arrtime,  r.Loc_Arrtime, r.Hours,    r.TS,        r.FlightState,
          r.Rating,      r.Distance, r.PAX,         r.Ticket,   r.Fuelprice, r.Fuel_Bought,
          r.Fuel_Used,   r.Version,  r.Multiplier,  r.Cargo,    r.Cargo_kg,  r.FlightType})
        std::memset(field, 'x', 35);
    std::memset(r.Ratingreasons, 'r', sizeof(r.Ratingreasons));
    std::memset(r.Comment64, 'c', sizeof(r.Comment64));
    std::memset(r.Cheat, 'h', sizeof(r.Cheat));
    std::memset(client.m_pilot.User, 'u', sizeof(client.m_pilot.User));
    std::memset(client.m_pilot.Password, 'p', sizeof(client.m_pilot.Password));
    server.answer("DATASTART\nALREADY UPLOADED\n");
    EXPECT_EQ(client.writeReport(true), 0);
    const std::string full = server.lastBody();
    EXPECT_NE(full.find("&Comment64=" + std::string(1024, 'c') +
                        "&Cheat=" + std::string(1024, 'h') + "&"),
              std::string::npos);
    EXPECT_NE(full.find("&Ratingreasons=" + std::string(1024, 'r') + "&Distance="),
              std::string::npos);
    EXPECT_NE(full.find("&ManualUpload=1&"), std::string::npos);
    EXPECT_EQ(full, withCode(full.substr(0, full.rfind("&code="))));
}

// A fuel multiplier or airline multiplier no real booking has must not
// turn into a fuel figure no int holds.
TEST_F(ServerFunctionsTest, Route_fuelScaledBeyondAnyFigure_keepsTheBookedFuelWithALogLine) {
    const struct {
        const char* aircraft;  // a_Fuel|a_FuelMult as the answer gives them
        const char* airlineMultiplier;
        int fuel;
    } cases[] = {{"|1000|-1e30|", "4", 1000}, {"|2000000000|1e38|", "1e39", 2000000000}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.aircraft);
        answerRoute(c.airlineMultiplier, "|1000|2|", c.aircraft);
        ASSERT_EQ(client.readRoute(), 0);
        EXPECT_EQ(client.m_aircraft.Fuel, c.fuel);
        EXPECT_EQ(client.m_aircraft.FuelBooked, c.fuel);
    }
    EXPECT_NE(log().find("is no fuel figure; the booked fuel is kept"), std::string::npos);
}

// A restored report can hold any figures; what no int holds is sent as 0.
TEST_F(ServerFunctionsTest, Report_figuresNoIntHolds_areSentAsZeroWithALogLine) {
    tTarvex_Reports& r = client.m_report;
    setRecordText(r.Multiplier, "4");
    r.Profit = 2147483647;
    client.m_aircraft.FuelMult = 1e30f;
    server.answer("DATASTART\nALREADY UPLOADED\n");
    EXPECT_EQ(client.writeReport(true), 0);
    const std::string body = server.lastBody();
    EXPECT_NE(body.find("&ProfitMultiplied=0&"), std::string::npos) << body;
    EXPECT_NE(body.find("&a_FuelMult=0&"), std::string::npos) << body;
    const std::string text = log();
    EXPECT_NE(text.find("ProfitMultiplied 8589934588 out of range; sent as 0"), std::string::npos)
        << text;
    EXPECT_NE(text.find("a_FuelMult 1000000015047466219876688855040.000000 out of range"),
              std::string::npos)
        << text;
}

}  // namespace
