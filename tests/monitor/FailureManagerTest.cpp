// Random failures with the draws under the test's control: which parts the
// draws arm, when they fire, and what they do to the simulator and the log.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "CBlackbox.h"
#include "CClientInterface.h"
#include "CFailureManager.h"
#include "FakeSimulator.h"
#include "SimulatorClient.h"
#include "TestSupport.h"

namespace {

// The draws rand() would give, in order.
std::vector<int> g_draws;
std::size_t g_nextDraw = 0;
int scriptedRand() { return g_nextDraw < g_draws.size() ? g_draws[g_nextDraw++] : 0; }

class FailureManagerTest : public quelby_test::FolderTest {
protected:
    void SetUp() override {
        FolderTest::SetUp();
        g_draws.clear();
        g_nextDraw = 0;
        manager.setRandomForTests(scriptedRand);
        std::strcpy(client.m_log.Duration, "120");
        client.m_aircraftType.Engines = 2;
    }
    // Condition figures of engines 1 to 4, gear and hull.
    void setCondition(float eng1, float eng2, float eng3, float eng4, float gear, float hull) {
        tTarvex_Aircrafts& a = client.m_aircraft;
        a.StateEng1 = eng1;
        a.StateEng2 = eng2;
        a.StateEng3 = eng3;
        a.StateEng4 = eng4;
        a.StateGear = gear;
        a.StateHull = hull;
    }
    void draw(std::vector<int> draws) {
        g_draws = std::move(draws);
        g_nextDraw = 0;
        manager.init(&client, &simulator, &blackbox);
    }
    long trigger(std::size_t failure) const {
        return manager.getFailures().at(failure)->getTriggerTime();
    }

    quelby_test::FakeSimulator simulator;
    CClientInterface client;
    quelby_test::SilentSound sound;
    Blackbox::CBlackbox blackbox{&sound, &simulator.m_aircraftData, &client};
    Failures::CFailureManager manager;
};

TEST_F(FailureManagerTest, WellKeptAircraft_neverFails) {
    setCondition(100, 100, 100, 100, 100, 100);
    // The mean is 600 / 4 = 150: no draw of at most 99.98 passes.
    draw({9998, 9998, 9998});
    ASSERT_EQ(manager.getFailures().size(), 6u);
    for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(trigger(i), 0) << "failure " << i;
    EXPECT_EQ(g_nextDraw, 1u) << "the first draw that does not pass ends the drawing";
}

TEST_F(FailureManagerTest, EachPassingDraw_armsTheFirstPartItBeats) {
    // A worn twin: mean (60 + 60) / 4 = 30.
    setCondition(60, 60, 0, 0, 0, 0);
    // 70.00 arms engine 1 at half the flight; 65.00 passes engine 1 (armed)
    // and arms engine 2 at a quarter; 20.00 does not pass the mean.
    draw({7000, 50, 6500, 25, 2000});
    EXPECT_EQ(trigger(0), 3600);
    EXPECT_EQ(trigger(1), 1800);
    EXPECT_EQ(trigger(2), 0) << "engine 3 does not exist";
    EXPECT_EQ(trigger(4), 0) << "the gear does not exist";
}

TEST_F(FailureManagerTest, FlapsFail_fromTheHullsFigure) {
    // Mean (100 + 100 + 100 + 40) / 4 = 85; a draw of 90 beats only the hull.
    setCondition(100, 100, 0, 0, 100, 40);
    draw({9000, 10, 1000});
    EXPECT_EQ(trigger(5), 720);
    for (std::size_t i = 0; i < 5; ++i) EXPECT_EQ(trigger(i), 0) << "failure " << i;
}

TEST_F(FailureManagerTest, ArmedFailures_fireAfterTheirTimeAndStayOn) {
    setCondition(60, 100, 0, 0, 50, 100);
    // Mean 310 / 4 = 77.5; 80.00 arms engine 1 at 360 s, 78.00 then the gear at
    // 6480 s; the next 78.00 beats no part, 0.10 ends the drawing.
    draw({8000, 5, 7800, 90, 7800, 10, 100});
    ASSERT_EQ(trigger(0), 360);
    ASSERT_EQ(trigger(4), 6480);
    manager.check(360);
    EXPECT_TRUE(simulator.failuresSet.empty()) << "fires only once its time has passed";
    manager.check(361);
    manager.check(400);
    EXPECT_EQ(simulator.failuresSet, std::vector<int>{0}) << "the fire is set once";
    manager.check(6481);
    manager.check(6500);
    manager.check(6600);
    // The gear is set when it fails and again on every later check.
    EXPECT_EQ(simulator.failuresChecked, (std::vector<int>{6, 6}));
    EXPECT_EQ(simulator.shown, "Failure: Gear stuck!");
    ASSERT_EQ(blackbox.getFlightData().size(), 2u);
    EXPECT_STREQ(blackbox.getFlightData()[0].text, "Failure: Engine Failure!");
    EXPECT_STREQ(blackbox.getFlightData()[1].text, "Failure: Gear stuck!");
}

TEST_F(FailureManagerTest, TriggerTimeZero_neverFires_andANewFlightStartsClean) {
    setCondition(60, 60, 0, 0, 0, 0);
    // The second-of-flight draw is 0: armed at 0, which means never.
    draw({7000, 0, 1000});
    manager.check(100000);
    EXPECT_TRUE(simulator.failuresSet.empty());
    draw({7000, 50, 1000});
    manager.check(3601);
    manager.check(3602);
    EXPECT_EQ(simulator.failuresSet, std::vector<int>{0});
    draw({1000});
    EXPECT_EQ(manager.getFailures().size(), 6u) << "the last flight's failures are gone";
    manager.check(100000);
    EXPECT_EQ(simulator.failuresSet.size(), 1u);
}

}  // namespace
