// The client's main loop: what a pass does on which screen, and at which
// intervals, on a clock the test moves by hand.
#include <gtest/gtest.h>

#include <vector>

#include "CClient.h"
#include "CClientInterface.h"
#include "CReport.h"
#include "CUserInterface.h"
#include "FakeSimulator.h"
#include "TestSupport.h"

namespace {

uint32_t g_nowMs = 0;
uint32_t testClock() { return g_nowMs; }

class RecordingUserInterface : public CUserInterface {
public:
    void buttonEvent(int id) override { events.push_back(id); }
    std::vector<int> events;
};

class ClientLoopTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_nowMs = 0;
        CUserInterface::tSubsystems subsystems;
        subsystems.client = &web;
        subsystems.simulator = &simulator;
        subsystems.report = &report;
        ui.setSubsystems(subsystems);
    }
    // Passes every stepMs up to untilMs; returns the clock readings of the
    // passes that read the aircraft.
    std::vector<uint32_t> runPasses(uint32_t stepMs, uint32_t untilMs) {
        std::vector<uint32_t> readAt;
        while (g_nowMs < untilMs) {
            g_nowMs += stepMs;
            const int before = simulator.reads;
            client.runPass();
            if (simulator.reads != before) readAt.push_back(g_nowMs);
        }
        return readAt;
    }

    quelby_test::ScratchFolder folder{"quelby-loop"};
    quelby_test::WorkingFolder cwd{folder.path()};
    quelby_test::FakeSimulator simulator;
    CClientInterface web;
    CReport report{&simulator, &web};
    RecordingUserInterface ui;
    CClient client{ui, nullptr, &testClock};
};

TEST(ClientLoopIntervalTest, CheckInterval_shrinksNearTheGround) {
    const struct {
        int heightFt;
        int32_t intervalMs;
    } cases[] = {{-20, 50},   {100, 50},    {101, 100},    {500, 100},    {501, 500},
                 {2000, 500}, {2001, 2000}, {10000, 2000}, {10001, 10000}};
    for (const auto& c : cases) {
        EXPECT_EQ(CClient::checkIntervalForHeight(c.heightFt), c.intervalMs) << c.heightFt << " ft";
    }
}

TEST_F(ClientLoopTest, OutsideAFlight_noFlightWork_butTheSimulatorIsLookedAfterEveryPass) {
    ui.setMenuLayer(CUserInterface::kLayerHome);
    EXPECT_TRUE(runPasses(100, 5000).empty());
    EXPECT_EQ(simulator.frequentChecks, 50);
}

TEST_F(ClientLoopTest, InCruise_theAircraftIsReadEveryTenSeconds_nearTheGroundTwentyTimesASecond) {
    ui.setMenuLayer(CUserInterface::kLayerFlying);
    simulator.m_aircraftData.nHeightAglFt = 35000;
    std::vector<uint32_t> readAt = runPasses(50, 40000);
    ASSERT_GE(readAt.size(), 4u);
    // After the first second the interval is the cruise one.
    EXPECT_EQ(readAt[readAt.size() - 1] - readAt[readAt.size() - 2], 10000u);
    EXPECT_EQ(readAt[readAt.size() - 2] - readAt[readAt.size() - 3], 10000u);

    simulator.m_aircraftData.nHeightAglFt = 50;
    readAt = runPasses(10, 45000);
    ASSERT_GE(readAt.size(), 10u);
    EXPECT_EQ(readAt.back() - readAt[readAt.size() - 2], 50u);
}

TEST_F(ClientLoopTest, EmptyTanks_stopTheEnginesOnce_andOnlyWhenTheTanksAreKnown) {
    ui.setMenuLayer(CUserInterface::kLayerFlying);
    runPasses(100, 1000);
    EXPECT_FALSE(report.isPenalty(8)) << "no tank capacity known: no fuel rule";

    simulator.m_tankCapacityKg.tank[0] = 4000.0f;
    simulator.m_tankQuantityKg.tank[0] = 0.5f;
    runPasses(100, 2000);
    EXPECT_FALSE(report.isPenalty(8)) << "fuel left";

    simulator.m_tankQuantityKg.tank[0] = 0.0f;
    runPasses(100, 3000);
    EXPECT_TRUE(report.isPenalty(8));
    EXPECT_EQ(simulator.failuresSet, (std::vector<int>{0, 1, 2, 3}));
}

TEST_F(ClientLoopTest, LostSimulator_abandonsTheFlightWithoutAReport) {
    ui.setMenuLayer(CUserInterface::kLayerFlying);
    report.addPenalty(4);
    simulator.running = false;
    simulator.connectable = false;
    runPasses(100, 6000);
    EXPECT_EQ(ui.getLayer(), CUserInterface::kLayerHome);
    EXPECT_EQ(ui.events, std::vector<int>{3}) << "the pilot is logged in again";
    EXPECT_FALSE(report.isPenalty(4)) << "the flight's report was not forgotten";
}

}  // namespace
