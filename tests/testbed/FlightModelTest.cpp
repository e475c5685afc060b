// The flight model flown gate to gate: its phases, the client's thresholds
// crossed in order, fuel, clocks, and the client's rules that a normal
// accelerated flight must not trip while a badly flown one does.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "FlightRecording.h"
#include "TestbedFixture.h"
#include "testbed/Flight.h"
#include "testbed/FlightModel.h"

namespace {

using flight_test::kFrameSeconds;
using flight_test::Sample;
using testbed::FlightModel;
using testbed::FlightPhase;

constexpr int kMaxFrames = 20000;

class FlightModelTest : public TestbedTest {};

// The model's phases in the order they first appear.
std::vector<FlightPhase> phasesInOrder(const std::vector<Sample>& samples) {
    std::vector<FlightPhase> phases;
    for (const Sample& s : samples) {
        if (phases.empty() || phases.back() != s.modelPhase) {
            phases.push_back(s.modelPhase);
        }
    }
    return phases;
}

// Longest stretch of real seconds on the ground at 30 kt or more.
double longestFastTaxiSeconds(const std::vector<Sample>& samples) {
    double longest = 0.0;
    double startSeconds = -1.0;
    for (const Sample& s : samples) {
        const bool fast =
            (s.onGround || s.heightFt < 5.0) && static_cast<int>(s.groundSpeedKts) >= 30;
        if (!fast) {
            startSeconds = -1.0;
        } else if (startSeconds < 0.0) {
            startSeconds = s.realSeconds;
        } else {
            longest = std::max(longest, s.realSeconds - startSeconds);
        }
    }
    return longest;
}

TEST_F(FlightModelTest, BuilderFlight_fliesGateToGate_throughEveryPhaseInBoundedFrames) {
    const testbed::FlightDescription flight = flight_test::frankfurtToMunich().build();
    FlightModel model(flight);
    model.attach();
    const auto samples = flight_test::fly(model, kMaxFrames);

    ASSERT_TRUE(model.hasArrived()) << model.progressLine();
    EXPECT_LT(samples.size(), 3000u) << "about 45 simulated minutes at 1.5 s a frame";
    EXPECT_EQ(
        phasesInOrder(samples),
        (std::vector<FlightPhase>{FlightPhase::Parked, FlightPhase::TaxiOut, FlightPhase::TakeOff,
                                  FlightPhase::Climb, FlightPhase::Cruise, FlightPhase::Descent,
                                  FlightPhase::Approach, FlightPhase::RollOut, FlightPhase::TaxiIn,
                                  FlightPhase::ParkedAtArrival}));
    const Sample& first = samples.front();
    EXPECT_TRUE(first.parkingBrake && first.onGround);
    EXPECT_NEAR(first.latitudeDeg, 50.0333, 1e-9);
    const Sample& last = samples.back();
    Sample munich;
    munich.latitudeDeg = 48.3538;
    munich.longitudeDeg = 11.7861;
    EXPECT_LT(flight_test::distanceNm(last, munich), 0.01) << "parks at the arrival airport";
    EXPECT_NEAR(last.altitudeFt, 1487, 1.0);
    EXPECT_TRUE(last.parkingBrake && last.onGround);
    EXPECT_EQ(last.groundSpeedKts, 0.0);
    const auto top = std::max_element(
        samples.begin(), samples.end(),
        [](const Sample& a, const Sample& b) { return a.altitudeFt < b.altitudeFt; });
    EXPECT_NEAR(top->altitudeFt, 18000, 10.0);
    EXPECT_NEAR(top->groundSpeedKts, 400, 5.0);
    EXPECT_EQ(top->simRate, 1) << "X-Plane's own rate stays 1 at any time scale";
}

TEST_F(FlightModelTest, ExampleShortHop_seenByTheClient_crossesThePhasesInOrderWithinTwoMinutes) {
    FlightModel model(
        testbed::loadFlightFile(QUELBY_SOURCE_DIR "/testbed/flights/EDDF-EDDS.flight"));
    model.attach();
    const auto frames = flight_test::fly(model, kMaxFrames);
    ASSERT_TRUE(model.hasArrived());
    EXPECT_LT(frames.back().realSeconds, 120.0);
    EXPECT_EQ(flight_test::clientPhaseChanges(flight_test::clientSamples(frames)),
              (std::vector<std::string>{"Taxi", "Take Off", "Climb", "Cruise", "Descent", "Landed",
                                        "On Block"}));
}

TEST_F(FlightModelTest, AtTheHighestTimeScale_noSampleStepBreaksThePositionOrClockRules) {
    testbed::FlightBuilder builder =
        flight_test::frankfurtToMunich().zuluStart(23 * 3600 + 50 * 60);
    const double scale = testbed::maxTimeScale(testbed::topGroundSpeedKts(builder.build()));
    FlightModel model(builder.timeScale(scale).build());
    model.attach();
    const auto frames = flight_test::fly(model, kMaxFrames);
    ASSERT_TRUE(model.hasArrived());

    // Frame to frame, the client's position rule at simulation rate 1.
    double fastestNmPerSecond = 0.0;
    for (size_t i = 1; i < frames.size(); ++i) {
        fastestNmPerSecond = std::max(
            fastestNmPerSecond, flight_test::distanceNm(frames[i - 1], frames[i]) / kFrameSeconds);
    }
    EXPECT_LT(fastestNmPerSecond, 6.0);
    EXPECT_GT(fastestNmPerSecond, 4.0) << "the scale is used to the full";

    // Reads 10 real seconds apart, as in cruise: position and flight timer.
    const size_t tenSeconds = static_cast<size_t>(10.0 / kFrameSeconds);
    bool crossedMidnight = false;
    for (size_t i = tenSeconds; i < frames.size(); i += tenSeconds) {
        const Sample& a = frames[i - tenSeconds];
        const Sample& b = frames[i];
        EXPECT_LE(flight_test::distanceNm(a, b), 60.0) << "at frame " << i;
        EXPECT_GT(flight_test::zuluAdvance(a, b), 0.0) << "at frame " << i;
        EXPECT_LE(flight_test::zuluAdvance(a, b), 600.0) << "at frame " << i;
        crossedMidnight = crossedMidnight || b.zuluSeconds < a.zuluSeconds;
    }
    EXPECT_TRUE(crossedMidnight);
}

TEST_F(FlightModelTest, Fuel_burnsDownEveryFlyingFrame_andStopsAtTheGate) {
    FlightModel model(flight_test::frankfurtToMunich().build());
    model.attach();
    const auto frames = flight_test::fly(model, kMaxFrames);
    ASSERT_TRUE(model.hasArrived());
    EXPECT_DOUBLE_EQ(frames.front().fuelKg, 8000.0);
    for (size_t i = 1; i < frames.size(); ++i) {
        if (frames[i].modelPhase != FlightPhase::ParkedAtArrival) {
            ASSERT_LT(frames[i].fuelKg, frames[i - 1].fuelKg) << "frame " << i;
        }
    }
    // Two engines at 1200 kg/h for about three quarters of an hour, less on
    // the ground and in the descent.
    const double burntKg = frames.front().fuelKg - frames.back().fuelKg;
    EXPECT_GT(burntKg, 800.0);
    EXPECT_LT(burntKg, 2400.0);

    const double atGate = frames.back().fuelKg;
    testbed::Simulator::instance().runFrames(50);
    EXPECT_EQ(flight_test::readSample(model, 0).fuelKg, atGate) << "engines shut down";
}

TEST_F(FlightModelTest, Touchdown_isSeenAtTheChosenSinkRate_withGearFlapsAndLights) {
    FlightModel model(flight_test::frankfurtToMunich().touchdownRate(-120).build());
    model.attach();
    const auto frames = flight_test::fly(model, kMaxFrames);
    const auto touchdown = std::find_if(frames.begin(), frames.end(), [](const Sample& s) {
        return s.modelPhase == FlightPhase::RollOut;
    });
    ASSERT_NE(touchdown, frames.end());
    EXPECT_TRUE(touchdown->onGround);
    EXPECT_NEAR(touchdown->verticalSpeedFpm, -120.0, 0.5);
    EXPECT_EQ(touchdown->gear, 1.0);
    EXPECT_EQ(touchdown->flaps, 1.0);
    EXPECT_TRUE(touchdown->landingLights);
    // The frame before: still flying, in the flare, at that rate and the
    // approach speed less 5 kt.
    const Sample& before = *(touchdown - 1);
    EXPECT_FALSE(before.onGround);
    EXPECT_LT(before.heightFt, 40.0);
    EXPECT_NEAR(before.verticalSpeedFpm, -120.0, 0.5);
    EXPECT_NEAR(before.indicatedKts, 135.0, 1.0);
    EXPECT_LE(touchdown->indicatedKts, before.indicatedKts);
    // Then the gauge settles.
    EXPECT_EQ((touchdown + 2)->verticalSpeedFpm, 0.0);
}

// What the client's rules (fast taxi, lights, speed below 10000 ft, parking
// brake) see in a flight.
struct PilotRuleBreaks {
    double longestFastTaxiSeconds = 0.0;
    int lightsOffLow = 0;  // 51 <= height < 951 ft, lights off
    int lightsOnHigh = 0;  // altitude >= 10100 ft, height >= 3001 ft, lights on
    int overspeedLow = 0;  // altitude < 9900 ft, indicated >= 261 kt
    int flapsFast = 0;     // flaps out above 230 kt
    bool brakeSetAtEnd = false;
};

PilotRuleBreaks ruleBreaks(const std::vector<Sample>& frames) {
    PilotRuleBreaks breaks;
    breaks.longestFastTaxiSeconds = longestFastTaxiSeconds(frames);
    for (const Sample& s : frames) {
        const int h = static_cast<int>(s.heightFt);
        breaks.lightsOffLow += h >= 51 && h < 951 && !s.landingLights ? 1 : 0;
        breaks.lightsOnHigh += s.altitudeFt >= 10100.0 && h >= 3001 && s.landingLights ? 1 : 0;
        breaks.overspeedLow +=
            s.altitudeFt < 9900.0 && static_cast<int>(s.indicatedKts) >= 261 ? 1 : 0;
        breaks.flapsFast += s.flaps > 0.0 && s.indicatedKts > 230.0 ? 1 : 0;
    }
    breaks.brakeSetAtEnd = frames.back().parkingBrake;
    return breaks;
}

TEST_F(FlightModelTest, FlightByTheBook_breaksNoneOfThePilotRules) {
    // The demo's hop cruises at 11000 ft: too low to slow to 250 kt in the
    // descent before 10000 ft without levelling off.
    const testbed::FlightDescription flights[] = {
        flight_test::frankfurtToMunich().build(),
        testbed::loadFlightFile(QUELBY_SOURCE_DIR "/testbed/flights/EDDF-EDDS.flight"),
    };
    for (const testbed::FlightDescription& flight : flights) {
        SCOPED_TRACE(flight.name);
        sim().reset();
        FlightModel model(flight);
        model.attach();
        const auto frames = flight_test::fly(model, kMaxFrames);
        ASSERT_TRUE(model.hasArrived());
        const PilotRuleBreaks breaks = ruleBreaks(frames);
        EXPECT_LT(breaks.longestFastTaxiSeconds, 90.0);
        EXPECT_EQ(breaks.lightsOffLow, 0);
        EXPECT_EQ(breaks.lightsOnHigh, 0);
        EXPECT_EQ(breaks.overspeedLow, 0);
        EXPECT_EQ(breaks.flapsFast, 0);
        EXPECT_TRUE(breaks.brakeSetAtEnd);
        EXPECT_TRUE(std::any_of(frames.begin(), frames.end(),
                                [](const Sample& s) { return s.landingLights; }));
    }
}

TEST_F(FlightModelTest, ExamplePenaltyFlight_breaksEachPilotRuleItAsksFor) {
    FlightModel model(
        testbed::loadFlightFile(QUELBY_SOURCE_DIR "/testbed/flights/EDDF-EDDS-penalties.flight"));
    model.attach();
    const auto frames = flight_test::fly(model, kMaxFrames);
    ASSERT_TRUE(model.hasArrived());
    const PilotRuleBreaks breaks = ruleBreaks(frames);
    EXPECT_GT(breaks.longestFastTaxiSeconds, 90.0)
        << "the client times the fast taxi in real seconds";
    EXPECT_LT(breaks.longestFastTaxiSeconds, 130.0);
    EXPECT_GT(breaks.lightsOffLow, 0);
    EXPECT_GT(breaks.overspeedLow, 0);
    EXPECT_FALSE(breaks.brakeSetAtEnd);
    // The rest of the flight stays within the client's cheat rules.
    for (size_t i = 1; i < frames.size(); ++i) {
        ASSERT_LT(flight_test::distanceNm(frames[i - 1], frames[i]), 6.0 * kFrameSeconds);
    }
}

}  // namespace
