// Whole flights flown by the test bed's flight model and followed the way the
// client follows them: the X-Plane adapter reads the simulator through the
// handshake on a client thread and the flight state machine steps through the
// phases, raising exactly the penalties the flight provokes.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "CFlightSimulatorInterfaceUsingXpsdk.h"
#include "CFlightState.h"
#include "CReport.h"
#include "SimulatorClient.h"
#include "TestSupport.h"
#include "XPLMDisplay.h"
#include "testbed/Flight.h"
#include "testbed/FlightModel.h"
#include "testbed/Simulator.h"

using namespace std::chrono_literals;

namespace {

// Frankfurt to Stuttgart at FL120: about 25 simulated minutes gate to gate.
testbed::FlightBuilder shortHop() {
    testbed::FlightBuilder builder;
    builder.from("EDDF", 50.0333, 8.5706, 364)
        .to("EDDS", 48.6899, 9.2220, 1276)
        .cruise(12000, 300)
        .parkedFor(10)
        .taxi(60, 60, 15)
        .fuel({4000, 4000, 0})
        .timeScale(45);
    return builder;
}

class ScriptedFlightTest : public ::testing::Test {
protected:
    void SetUp() override {
        sim().reset();
        sim().setFrameRate(200);
    }
    void TearDown() override {
        stopClient();
        EXPECT_TRUE(sim().dataRefMisuses().empty());
        EXPECT_TRUE(sim().threadViolations().empty());
    }
    static testbed::Simulator& sim() { return testbed::Simulator::instance(); }

    // The client thread: reads the aircraft and runs the flight checks every
    // pass, as the client loop does near the ground.
    void startClient() {
        client.start([this] {
            if (!adapter.connect()) return;
            CFlightState state(&adapter.m_aircraftData, &report, &sound);
            state.set(0);
            while (!client.stopping()) {
                if (!adapter.getEverything() || adapter.getAircraftTanks() < 0) break;
                if (crashPosted.exchange(false)) adapter.m_aircraftData.bCrashed = true;
                if (state.check()) {
                    std::lock_guard<std::mutex> lock(mutex);
                    phases.push_back(state.get());
                }
                std::this_thread::sleep_for(10ms);
            }
        });
    }
    void stopClient() { client.stop(); }
    std::vector<int> phasesSeen() {
        std::lock_guard<std::mutex> lock(mutex);
        return phases;
    }
    std::set<int> penaltiesRaised() const {
        std::set<int> raised;
        for (int kind = 0; kind < CReport::kNumPenaltySlots; ++kind)
            if (report.isPenalty(kind)) raised.insert(kind);
        return raised;
    }

    quelby_test::ScratchFolder folder{"quelby-flight"};
    quelby_test::LogInto logInto{folder.path()};
    quelby_test::SimulatorClient client;
    CFlightSimulatorInterfaceUsingXpsdk adapter{&client.sync};
    CReport report;
    quelby_test::SilentSound sound;
    std::atomic<bool> crashPosted{false};
    std::mutex mutex;
    std::vector<int> phases;
};

TEST_F(ScriptedFlightTest, CleanFlight_goesThroughEveryPhaseInOrder_withoutPenalties) {
    testbed::FlightModel model(shortHop().build());
    model.attach();
    startClient();
    ASSERT_TRUE(sim().runUntil([&] { return model.hasArrived(); }, 120000ms))
        << model.progressLine();
    // The client needs a few passes to see the parking brake.
    ASSERT_TRUE(
        sim().runUntil([&] { return !phasesSeen().empty() && phasesSeen().back() == 4; }, 5000ms))
        << "last phase " << (phasesSeen().empty() ? -1 : phasesSeen().back());
    stopClient();
    EXPECT_EQ(phasesSeen(), (std::vector<int>{1, 2, 5, 6, 7, 3, 4}));
    EXPECT_EQ(penaltiesRaised(), std::set<int>{});
    EXPECT_TRUE(sound.played.empty());
    EXPECT_GT(adapter.m_aircraftData.dFlightTimeS, 15 * 60.0) << "the flight timer lost time";
}

TEST_F(ScriptedFlightTest, ProvokedFlight_raisesExactlyItsPenalties_andCrashEndsInPhase8) {
    testbed::FlightModel model(shortHop()
                                   .cruise(14000, 300)
                                   .landingLights(testbed::LandingLightUse::AlwaysOn)
                                   .overspeedBelow10000(290)
                                   .build());
    model.attach();
    startClient();
    // Lights on above FL100 and 290 kt below it in the climb; then a crash
    // once the client has seen the descent.
    ASSERT_TRUE(
        sim().runUntil([&] { return !phasesSeen().empty() && phasesSeen().back() == 7; }, 120000ms))
        << model.progressLine();
    crashPosted = true;
    ASSERT_TRUE(
        sim().runUntil([&] { return !phasesSeen().empty() && phasesSeen().back() == 8; }, 5000ms));
    sim().runFrames(50);
    stopClient();
    EXPECT_EQ(phasesSeen(), (std::vector<int>{1, 2, 5, 6, 7, 8}));
    EXPECT_EQ(penaltiesRaised(), (std::set<int>{2, 5, 7}));
    // One penalty sound per check that raised one: at most three.
    EXPECT_GE(sound.played.size(), 2u);
    EXPECT_LE(sound.played.size(), 3u);
    for (const std::string& name : sound.played) EXPECT_EQ(name, "penalty.wav");
}

}  // namespace
