// Random failures with the draws under the test's control: which parts the
// draws arm, when they fire, and what they do to the simulator and the log.
#include <gtest/gtest.h>

#include <array>
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
    void setCondition(const std::array<float, 6>& figures) {
        tTarvex_Aircrafts& a = client.m_aircraft;
        float* const parts[] = {&a.StateEng1, &a.StateEng2, &a.StateEng3,
                                &a.StateEng4, &a.StateGear, &a.StateHull};
        for (std::size_t i = 0; i < 6; ++i) *parts[i] = figures[i];
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

TEST_F(FailureManagerTest, EachPassingDraw_armsTheFirstPartItBeats_untilADrawFailsTheMean) {
    const struct {
        const char* name;
        std::array<float, 6> condition;
        std::vector<int> draws;
        long triggers[6];  // engines 1 to 4, gear, flaps
        std::size_t drawsTaken;
    } cases[] = {
        // The mean is 600 / 4 = 150: no draw of at most 99.98 passes.
        {"well kept", {100, 100, 100, 100, 100, 100}, {9998, 9998, 9998}, {0, 0, 0, 0, 0, 0}, 1},
        // Mean (60 + 60) / 4 = 30: 70.00 arms engine 1 at half the flight;
        // 65.00 passes engine 1 (armed) and arms engine 2 at a quarter; 20.00
        // fails the mean. Engines 3 and 4 and the gear do not exist.
        {"worn twin",
         {60, 60, 0, 0, 0, 0},
         {7000, 50, 6500, 25, 2000},
         {3600, 1800, 0, 0, 0, 0},
         5},
        // Mean (100 + 100 + 100 + 40) / 4 = 85; 90.00 beats only the hull,
        // whose figure fails the flaps.
        {"worn hull", {100, 100, 0, 0, 100, 40}, {9000, 10, 1000}, {0, 0, 0, 0, 0, 720}, 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        setCondition(c.condition);
        draw(c.draws);
        ASSERT_EQ(manager.getFailures().size(), 6u);
        for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(trigger(i), c.triggers[i]) << "failure " << i;
        EXPECT_EQ(g_nextDraw, c.drawsTaken)
            << "the first draw that fails the mean ends the drawing";
    }
}

TEST_F(FailureManagerTest, ArmedFailures_fireAfterTheirTimeAndStayOn) {
    setCondition({60, 100, 0, 0, 50, 100});
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
    setCondition({60, 60, 0, 0, 0, 0});
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
