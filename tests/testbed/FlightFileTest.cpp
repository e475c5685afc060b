// Flight descriptions: the example files read, broken files refused with the
// line at fault, the builder's checks, and the time-scale bound that keeps
// flights inside the client's rules.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestSupport.h"
#include "testbed/Flight.h"

namespace {

using testbed::FlightDescription;
using testbed::FlightFileError;
using testbed::parseFlight;

const std::string kAirports =
    "[departure]\n"
    "icao = EDDF\n"
    "latitude = 50.0333\n"
    "longitude = 8.5706\n"
    "elevation_ft = 364\n"
    "[arrival]\n"
    "icao = EDDS\n"
    "latitude = 48.6899\n"
    "longitude = 9.2220\n"
    "elevation_ft = 1276\n";  // lines 1-10

TEST(FlightFileTest, ExampleFiles_readWithTheirValues) {
    const FlightDescription hop =
        testbed::loadFlightFile(QUELBY_SOURCE_DIR "/testbed/flights/EDDF-EDDS.flight");
    EXPECT_EQ(hop.departure.icao, "EDDF");
    EXPECT_EQ(hop.arrival.icao, "EDDS");
    EXPECT_DOUBLE_EQ(hop.arrival.latitudeDeg, 48.6899);
    EXPECT_DOUBLE_EQ(hop.arrival.elevationFt, 1276);
    EXPECT_DOUBLE_EQ(hop.touchdownRateFpm, -180);
    EXPECT_EQ(hop.tanksKg, (std::vector<double>{2600, 800, 2600}));
    ASSERT_TRUE(hop.zuluStartSeconds.has_value());
    EXPECT_DOUBLE_EQ(*hop.zuluStartSeconds, 12 * 3600 + 30 * 60);
    EXPECT_EQ(hop.landingLights, testbed::LandingLightUse::Correct);
    EXPECT_EQ(hop.taxiOverspeedKts, 0.0);
    EXPECT_FALSE(hop.forgetParkingBrake);

    const FlightDescription bad =
        testbed::loadFlightFile(QUELBY_SOURCE_DIR "/testbed/flights/EDDF-EDDS-penalties.flight");
    EXPECT_EQ(bad.landingLights, testbed::LandingLightUse::AlwaysOff);
    EXPECT_DOUBLE_EQ(bad.taxiOverspeedKts, 35);
    EXPECT_DOUBLE_EQ(bad.taxiOverspeedSeconds, 100);
    EXPECT_DOUBLE_EQ(bad.overspeedBelow10000Kts, 280);
    EXPECT_TRUE(bad.forgetParkingBrake);
    EXPECT_FALSE(bad.zuluStartSeconds.has_value()) << "keeps the simulator's clock";
}

struct BrokenFile {
    std::string text;
    int line;
    std::string reason;  // a part of the message
};

TEST(FlightFileTest, BrokenFiles_areRefused_namingTheLineAndWhy) {
    const std::vector<BrokenFile> cases{
        {kAirports + "[flight]\ncruise_alt = 9000\n", 12,
         "unknown key 'cruise_alt' in section [flight]"},
        {kAirports + "[engines]\n", 11, "unknown section [engines]"},
        {kAirports + "[flight\n", 11, "section header without ']'"},
        {kAirports + "[flight]\ncruise_speed_kt 380\n", 12, "expected 'key = value'"},
        {kAirports + "[flight]\n\ncruise_speed_kt = fast\n", 13, "'fast' is not a number"},
        {kAirports + "[flight]\ncruise_speed_kt = 380kt\n", 12, "'380kt' is not a number"},
        {kAirports + "[flight]\ntime_scale = 20\ntime_scale = 30\n", 13,
         "given twice (first on line 12)"},
        {kAirports + "[departure]\n", 11, "appears twice"},
        {"speed = 3\n" + kAirports, 1, "unknown key 'speed' outside a section"},
        {kAirports.substr(0, kAirports.find("[arrival]")), 5, "missing section [arrival]"},
        {kAirports.substr(0, kAirports.find("latitude = 48")) +
             "longitude = 9.2\nelevation_ft = 1\n",
         6, "section [arrival] lacks 'latitude'"},
        {kAirports + "[flight]\ntime_scale = 60\n", 12, "time_scale 60 is outside 0 to"},
        {kAirports + "[flight]\ncruise_altitude_ft = 2000\n", 12,
         "cruise_altitude_ft 2000 is outside"},
        {kAirports + "[flight]\ntouchdown_vs_fpm = 180\n", 12, "touchdown_vs_fpm 180 is outside"},
        {kAirports + "[time]\nzulu_start = 25:00\n", 12, "not a time of day"},
        {kAirports + "[time]\nzulu_start = 12:30x\n", 12, "not a time of day"},
        {kAirports + "[pilot]\nforget_parking_brake = maybe\n", 12, "'maybe' is not yes or no"},
        {kAirports + "[pilot]\nlanding_lights = sometimes\n", 12, "not correct, off or on"},
        {kAirports + "[pilot]\ntaxi_overspeed_kt = 35\n", 11, "taxi_overspeed_s 0 is outside"},
        {kAirports + "[fuel]\ntanks_kg = 1,2,3,4,5,6,7,8,9,10\n", 12, "there are 9"},
        {kAirports + "[fuel]\ntanks_kg = 100, -5\n", 12, "fuel.tanks_kg -5 is outside"},
    };
    for (const BrokenFile& broken : cases) {
        SCOPED_TRACE(broken.text);
        try {
            parseFlight(broken.text, "broken.flight");
            ADD_FAILURE() << "accepted";
        } catch (const FlightFileError& e) {
            EXPECT_EQ(e.line(), broken.line) << e.what();
            EXPECT_NE(std::string(e.what()).find(broken.reason), std::string::npos) << e.what();
            EXPECT_EQ(std::string(e.what()).rfind(
                          "broken.flight:" + std::to_string(broken.line) + ": ", 0),
                      0u)
                << e.what();
        }
    }
}

TEST(FlightFileTest, Builder_refusesAFlightWithoutAirportsOrTooFastAScale) {
    EXPECT_THROW(testbed::FlightBuilder().build(), std::invalid_argument);
    testbed::FlightBuilder builder;
    builder.from("EDDF", 50.0333, 8.5706, 364).to("EDDS", 48.6899, 9.2220, 1276).cruise(20000, 450);
    EXPECT_NO_THROW(builder.timeScale(38).build());
    try {
        builder.timeScale(39).build();
        ADD_FAILURE() << "accepted";
    } catch (const std::invalid_argument& e) {
        EXPECT_NE(std::string(e.what()).find("outside 0 to 38.4"), std::string::npos) << e.what();
    }
}

TEST(FlightFileTest, MaxTimeScale_keepsTenRealSecondsInsideBothClientLimits) {
    for (double topKts : {150.0, 300.0, 360.0, 450.0, 600.0}) {
        SCOPED_TRACE(topKts);
        const double scale = testbed::maxTimeScale(topKts);
        const double tenSecondsSimulated = 10.0 * scale;
        EXPECT_LE(tenSecondsSimulated, 600.0 * 0.8 + 1e-9) << "flight timer: 600 s per read";
        EXPECT_LE(topKts * tenSecondsSimulated / 3600.0, 60.0 * 0.8 + 1e-9)
            << "6 nm per real second";
        // Tight on one of the two.
        EXPECT_TRUE(std::abs(tenSecondsSimulated - 480.0) < 1e-6 ||
                    std::abs(topKts * tenSecondsSimulated / 3600.0 - 48.0) < 1e-6);
    }
}

TEST(FlightFileTest, TopGroundSpeed_countsAProvokedOverspeedBelowTenThousandFeet) {
    const FlightDescription slow = testbed::FlightBuilder()
                                       .from("EDDF", 50.0333, 8.5706, 364)
                                       .to("EDDS", 48.6899, 9.2220, 1276)
                                       .cruise(11000, 280)
                                       .build();
    EXPECT_DOUBLE_EQ(testbed::topGroundSpeedKts(slow), 300.0)
        << "250 kt at 10000 ft is 300 kt true";
    FlightDescription fast = slow;
    fast.overspeedBelow10000Kts = 340;
    EXPECT_DOUBLE_EQ(testbed::topGroundSpeedKts(fast), 408.0);
}

}  // namespace
