// Faults injected into a flight (position jump, fuel added, simulation rate,
// ground-speed multiplier, crash, clock jump) each show in the datarefs once; the model takes over
// what the plug-in writes, holds and pauses, and flies with the real plug-in loaded.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "FlightRecording.h"
#include "TestSupport.h"
#include "TestbedFixture.h"
#include "XPLMDataAccess.h"
#include "testbed/Flight.h"
#include "testbed/FlightModel.h"

namespace {

using flight_test::kFrameSeconds;
using flight_test::Sample;
using testbed::FlightModel;
using testbed::FlightPhase;

constexpr int kMaxFrames = 20000;
// Real seconds x time scale: what one test frame flies.
constexpr double kFrameSimSeconds = kFrameSeconds * 30.0;

class FlightFaultTest : public TestbedTest {
protected:
    FlightModel model{flight_test::frankfurtToMunich().build()};

    void SetUp() override {
        TestbedTest::SetUp();
        model.attach();
    }

    // Flies, calling inject once, before the first frame in the given phase.
    std::vector<Sample> flyInjecting(FlightPhase when, const std::function<void()>& inject,
                                     int maxFrames = kMaxFrames) {
        bool injected = false;
        return flight_test::fly(model, maxFrames, [&](int) {
            if (!injected && model.phase() == when) {
                inject();
                injected = true;
            }
        });
    }
};

// Frame steps where the value jumped by more than the model moves it.
template <typename Step>
std::vector<double> jumps(const std::vector<Sample>& frames, Step step, double normalLimit) {
    std::vector<double> found;
    for (size_t i = 1; i < frames.size(); ++i) {
        const double change = step(frames[i - 1], frames[i]);
        if (change > normalLimit) {
            found.push_back(change);
        }
    }
    return found;
}

TEST_F(FlightFaultTest, PositionJump_inCruise_isOneStepOverTheLimit_andTheFlightStillArrives) {
    const auto frames = flyInjecting(FlightPhase::Cruise, [&] { model.jumpPosition(20.0, 90.0); });
    const auto found = jumps(frames, flight_test::distanceNm, 6.0 * kFrameSeconds);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_NEAR(found[0], 20.0, 0.5);
    EXPECT_TRUE(model.hasArrived()) << model.progressLine();
}

TEST_F(FlightFaultTest, FuelAdded_isOneIncreaseOfThatMuch_andBurnsOnFromThere) {
    float centreBefore = 0.0f;
    const auto frames = flyInjecting(FlightPhase::Cruise, [&] {
        centreBefore = sim().getFloatArray("sim/flightmodel/weight/m_fuel")[1];
        model.addFuel(1, 500.0);
        EXPECT_FLOAT_EQ(sim().getFloatArray("sim/flightmodel/weight/m_fuel")[1],
                        centreBefore + 500.0f)
            << "visible at once";
    });
    const auto found = jumps(
        frames, [](const Sample& a, const Sample& b) { return b.fuelKg - a.fuelKg; }, 0.0);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_GT(found[0], 498.0) << "less only the frame's burn";
    EXPECT_LE(found[0], 500.0);
    EXPECT_TRUE(model.hasArrived());
    EXPECT_THROW(model.addFuel(9, 1.0), std::out_of_range);
}

TEST_F(FlightFaultTest, SimulationRateRaised_showsOnce_andTheModelFliesThatMuchFaster) {
    const auto frames = flyInjecting(
        FlightPhase::Cruise, [&] { model.setSimulationRate(4); }, 1500);
    const auto changes = jumps(
        frames,
        [](const Sample& a, const Sample& b) {
            return static_cast<double>(b.simRate != a.simRate);
        },
        0.0);
    EXPECT_EQ(changes.size(), 1u);
    EXPECT_EQ(frames.back().simRate, 4);

    const double before = model.progress().simulatedSeconds;
    sim().runFrames(1);
    EXPECT_NEAR(model.progress().simulatedSeconds - before, 4 * kFrameSimSeconds, 1e-9);
    // The plug-in puts the rate back: the model follows.
    sim().setInt("sim/time/sim_speed", 1);
    const double after = model.progress().simulatedSeconds;
    sim().runFrames(1);
    EXPECT_NEAR(model.progress().simulatedSeconds - after, kFrameSimSeconds, 1e-9);
}

TEST_F(FlightFaultTest,
       GroundSpeedMultiplied_coversThatMuchDistance_whileClocksAndFuelRunAsBefore) {
    sim().setFixedFrameSeconds(kFrameSeconds);
    for (int frame = 0; frame < kMaxFrames && model.phase() != FlightPhase::Cruise; ++frame) {
        sim().runFrames(1);
    }
    ASSERT_EQ(model.phase(), FlightPhase::Cruise) << model.progressLine();
    const auto frameStep = [&] {
        const testbed::FlightProgress before = model.progress();
        const double zuluBefore = sim().getFloat("sim/time/zulu_time_sec");
        sim().runFrames(1);
        const testbed::FlightProgress after = model.progress();
        return std::make_tuple(after.distanceFlownNm - before.distanceFlownNm,
                               after.simulatedSeconds - before.simulatedSeconds,
                               sim().getFloat("sim/time/zulu_time_sec") - zuluBefore,
                               before.fuelKg - after.fuelKg);
    };
    const auto [normalNm, normalSeconds, normalZulu, normalBurnKg] = frameStep();
    model.setGroundSpeedMultiplier(16);
    EXPECT_EQ(sim().getInt("sim/time/ground_speed"), 16);
    const auto [fastNm, fastSeconds, fastZulu, fastBurnKg] = frameStep();
    // The plug-in puts it back: the model follows.
    sim().setInt("sim/time/ground_speed", 1);
    const auto [backNm, backSeconds, backZulu, backBurnKg] = frameStep();
    // The speed may still change a little from frame to frame.
    const double meanNm = (normalNm + backNm) / 2.0;
    EXPECT_NEAR(fastNm, 16 * meanNm, 0.01 * 16 * meanNm);
    EXPECT_NEAR(backNm, normalNm, 0.01 * normalNm);
    for (const double seconds : {fastSeconds, backSeconds}) {
        EXPECT_NEAR(seconds, normalSeconds, 1e-9);
    }
    for (const double zulu : {fastZulu, backZulu}) {
        EXPECT_NEAR(zulu, normalZulu, 0.01);
    }
    for (const double burnKg : {fastBurnKg, backBurnKg}) {
        EXPECT_NEAR(burnKg, normalBurnKg, 0.01);
    }
}

TEST_F(FlightFaultTest, Crash_sendsTheCrashMessageOnce_andTheAircraftStopsWhereItIs) {
    flyInjecting(
        FlightPhase::Climb, [&] { model.crash(); }, 1000);
    EXPECT_EQ(model.phase(), FlightPhase::Crashed);
    EXPECT_EQ(sim().messagesSent(), (std::vector<int>{101}));
    const Sample atCrash = flight_test::readSample(model, 0);
    sim().runFrames(20);
    const Sample later = flight_test::readSample(model, 20);
    EXPECT_EQ(sim().messagesSent(), (std::vector<int>{101}));
    EXPECT_EQ(later.latitudeDeg, atCrash.latitudeDeg);
    EXPECT_EQ(later.longitudeDeg, atCrash.longitudeDeg);
    EXPECT_EQ(later.altitudeFt, atCrash.altitudeFt);
    EXPECT_EQ(later.groundSpeedKts, 0.0);
    EXPECT_NEAR(flight_test::zuluAdvance(atCrash, later), 20 * kFrameSimSeconds, 0.01)
        << "time goes on";
}

TEST_F(FlightFaultTest, FuelWrittenByThePlugin_isTakenOverByTheModel) {
    sim().setFixedFrameSeconds(kFrameSeconds);
    sim().runFrames(10);
    // As the client's fuel planning writes the tanks, through the SDK.
    float tanks[3] = {1000.0f, 0.0f, 1000.0f};
    XPLMSetDatavf(XPLMFindDataRef("sim/flightmodel/weight/m_fuel"), tanks, 0, 3);
    sim().runFrames(10);
    const Sample s = flight_test::readSample(model, 20);
    EXPECT_LT(s.fuelKg, 2000.0);
    EXPECT_GT(s.fuelKg, 1990.0);
    EXPECT_EQ(s.tanksKg[1], 0.0f);
}

using FlightWithPluginTest = PluginTestbedTest;

TEST_F(FlightWithPluginTest, RealPluginLoaded_flightArrives_withoutMisuseOfTheSdk) {
    FlightModel model(flight_test::frankfurtToMunich().build());
    model.attach();
    std::string error;
    ASSERT_TRUE(sim().loadPlugin(quelby_test::pluginPath(), &error)) << error;
    flight_test::fly(model, kMaxFrames);
    EXPECT_TRUE(model.hasArrived()) << model.progressLine();
    sim().unloadPlugin();
    EXPECT_TRUE(sim().dataRefMisuses().empty()) << sim().dataRefMisuses().front().dataRef;
    EXPECT_TRUE(sim().threadViolations().empty()) << sim().threadViolations().front();
}

}  // namespace
