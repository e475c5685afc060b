// The cheat detector: the fuel tolerance and the refuellings taken back, the
// eleventh that aborts, position jumps by real time and rate, and the
// simulation rate held to the route's limit.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "CCheatDetector.h"
#include "CClientInterface.h"
#include "CUserInterface.h"
#include "FakeSimulator.h"
#include "TestSupport.h"

namespace {

// The tests' own user interface: remembers why flights were aborted.
class AbortRecorder : public CUserInterface {
public:
    void abortFlight(std::string& reason) override { reasons.push_back(reason); }
    std::vector<std::string> reasons;
};

uint32_t g_nowMs = 0;
uint32_t testClock() { return g_nowMs; }

class CheatDetectorTest : public quelby_test::FolderTest {
protected:
    void SetUp() override {
        FolderTest::SetUp();
        g_nowMs = 1000;
        detector.setClockForTests(testClock);
        userInterface.setClientInterface(&client);
        client.m_route.Simrate = 4;
        std::strcpy(client.m_log.FlightType, "0");
        simulator.m_aircraftData.nSimulationRate = 1;
        simulator.m_aircraftData.dLatitude = 50.0;
        simulator.m_aircraftData.dLongitude = 8.5;
        setFuel(4000.0f);
        detector.startFlight();
    }
    // Two tanks, the second holding the rest above 1000 kg.
    void setFuel(float totalKg) {
        simulator.m_tankQuantityKg.tank[0] = 1000.0f;
        simulator.m_tankQuantityKg.tank[1] = totalKg - 1000.0f;
    }
    // One check after ms of real time.
    void checkAfter(uint32_t ms) {
        g_nowMs += ms;
        detector.doChecks();
    }

    quelby_test::FakeSimulator simulator;
    CClientInterface client;
    AbortRecorder userInterface;
    CCheatDetector detector{&simulator, &userInterface};
};

TEST_F(CheatDetectorTest, NewFlight_startsWithoutTheLastFlightsRefuellingsOrRateViolations) {
    setFuel(4300.0f);
    simulator.m_aircraftData.nSimulationRate = 8;
    for (int check = 0; check < 6; ++check) checkAfter(1000);
    ASSERT_EQ(simulator.m_nRefuelCount, 1);
    ASSERT_EQ(detector.getSimRateViolations(), 6);
    setFuel(5000.0f);
    detector.startFlight();
    // Six violations in the last flight and one in this one abort nothing.
    checkAfter(1000);
    EXPECT_EQ(detector.getSimRateViolations(), 1);
    EXPECT_TRUE(userInterface.reasons.empty()) << userInterface.reasons.front();
    EXPECT_EQ(simulator.m_nRefuelCount, 0);
    EXPECT_EQ(simulator.m_nLastFuelKg, 5000);
    EXPECT_EQ(simulator.m_lastTankQuantityKg.tank[1], 4000.0f);
}

TEST_F(CheatDetectorTest, FuelRise_beyondOnePercentOrAHundredKg_isTakenBack) {
    struct {
        float referenceKg, nowKg;
        bool refuelling;
    } const cases[] = {
        {4000, 4050, true},     // 1 % of 4000 is 40
        {4000, 4030, false},    // within the tolerance
        {4000, 4040, false},    // at the tolerance
        {20000, 20150, true},   // above 100 kg although below 1 %
        {20000, 20100, false},  // 100 kg and within 1 %
        {500, 511, true},       // the tolerance is at least 10 kg
        {500, 510, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.referenceKg) + " -> " + std::to_string(c.nowKg));
        setFuel(c.referenceKg);
        detector.startFlight();
        const int writesBefore = simulator.tankWrites;
        setFuel(c.nowKg);
        checkAfter(1000);
        EXPECT_EQ(simulator.m_nRefuelCount, c.refuelling ? 1 : 0);
        EXPECT_EQ(simulator.tankWrites - writesBefore, c.refuelling ? 1 : 0);
        // Taken back, or tolerated without becoming the reference.
        EXPECT_EQ(simulator.m_nLastFuelKg, static_cast<int>(c.referenceKg));
        if (c.refuelling) {
            EXPECT_EQ(simulator.getTotalFuelKg(), static_cast<int>(c.referenceKg));
        }
    }
    EXPECT_TRUE(userInterface.reasons.empty());
}

TEST_F(CheatDetectorTest, Reference_staysThroughToleratedRises_andFollowsBurntFuel) {
    // Tolerated rises add up against the unchanged reference.
    setFuel(4030.0f);
    checkAfter(1000);
    EXPECT_EQ(simulator.m_nRefuelCount, 0);
    setFuel(4045.0f);
    checkAfter(1000);
    EXPECT_EQ(simulator.m_nRefuelCount, 1);
    EXPECT_EQ(simulator.getTotalFuelKg(), 4000);

    setFuel(3900.0f);
    checkAfter(1000);
    EXPECT_EQ(simulator.m_nLastFuelKg, 3900);
    EXPECT_EQ(simulator.m_lastTankQuantityKg.tank[1], 2900.0f);
    // 1 % of the new reference: 39 kg.
    setFuel(3945.0f);
    checkAfter(1000);
    EXPECT_EQ(simulator.m_nRefuelCount, 2);
    EXPECT_EQ(simulator.getTotalFuelKg(), 3900);
}

TEST_F(CheatDetectorTest, EleventhRefuelling_abortsTheFlight) {
    for (int refuel = 1; refuel <= 10; ++refuel) {
        setFuel(4500.0f);
        checkAfter(1000);
        ASSERT_EQ(simulator.m_nRefuelCount, refuel);
        ASSERT_TRUE(userInterface.reasons.empty()) << "refuelling " << refuel;
    }
    EXPECT_NE(log().find("Inflight refueling #10: 4000 -> 4500"), std::string::npos);
    setFuel(4500.0f);
    checkAfter(1000);
    ASSERT_EQ(userInterface.reasons.size(), 1u);
    EXPECT_EQ(userInterface.reasons[0], "Inflight refueling recognized, flight aborted!");
    EXPECT_EQ(simulator.getTotalFuelKg(), 4500) << "the eleventh is not taken back";
}

TEST_F(CheatDetectorTest, PositionJump_isMeasuredAgainstRealTimeAndRate) {
    // 10 nm due north: 10 / 60 of a degree of latitude.
    const double tenNmDeg = 10.0 / 60.0;
    struct {
        uint32_t afterMs;
        int rate;
        bool aborts;
    } const cases[] = {
        {1000, 1, true},   // 6 nm allowed
        {2000, 1, false},  // 12 nm allowed
        {1000, 2, false},  // 12 nm allowed at rate 2
        {4000, 4, false},  // 96 nm allowed
        {400, 4, true},    // 9.6 nm allowed
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.afterMs) + " ms at rate " + std::to_string(c.rate));
        userInterface.reasons.clear();
        detector.startFlight();
        simulator.m_aircraftData.nSimulationRate = c.rate;
        simulator.m_aircraftData.dLatitude += tenNmDeg;
        checkAfter(c.afterMs);
        // The rate is within the route's 4, so only the position can abort.
        EXPECT_EQ(userInterface.reasons.size(), c.aborts ? 1u : 0u);
        if (c.aborts) {
            EXPECT_EQ(userInterface.reasons[0],
                      "Inflight position change recognized, flight aborted!");
            EXPECT_NE(simulator.m_aircraftData.dLastCheckedLatitude,
                      simulator.m_aircraftData.dLatitude)
                << "a rejected position is not adopted";
        } else {
            EXPECT_EQ(simulator.m_aircraftData.dLastCheckedLatitude,
                      simulator.m_aircraftData.dLatitude);
        }
    }
    EXPECT_NE(log().find("Inflight position change: "), std::string::npos);
}

TEST_F(CheatDetectorTest, SimRateAboveTheRoutesLimit_isSetBackAndTheSeventhAborts) {
    simulator.m_aircraftData.nSimulationRate = 8;
    for (int check = 1; check <= 6; ++check) {
        simulator.rateSet = 0;
        // Far enough in real time that the rate's distance is allowed.
        checkAfter(1000);
        EXPECT_EQ(simulator.rateSet, 4) << "check " << check;
    }
    EXPECT_TRUE(userInterface.reasons.empty());
    EXPECT_EQ(client.m_report.Simrate, 4) << "the report shows at most the allowed rate";
    checkAfter(1000);
    ASSERT_EQ(userInterface.reasons.size(), 1u);
    EXPECT_EQ(userInterface.reasons[0],
              "The maximum allowed simrate has been exceeded too many times, flight aborted!");
}

// X-Plane's ground-speed multiplier accelerates time as the rate does: the
// two multiply, and the multiplier goes back to 1 before a rate the pilot
// did not choose is touched. The route allows 4.
TEST_F(CheatDetectorTest, GroundSpeedMultiplier_countsAsTimeAcceleration) {
    struct Case {
        int rate;
        int groundSpeed;
        bool violation;
        int rateSet;         // 0: left alone
        int groundSpeedSet;  // 0: left alone
    } const cases[] = {
        {1, 16, true, 0, 1},                       // real time at 16x the distance
        {2, 2, false, 0, 0},                       // 4 in all: allowed
        {2, 4, true, 0, 1},                        // 8 in all
        {8, 2, true, 4, 1},   {8, 1, true, 4, 0},  // the rate alone, as before
        {1, 0, false, 0, 0},                       // a broken reading counts as 1
        {1, -3, false, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("rate " + std::to_string(c.rate) + ", ground speed " +
                     std::to_string(c.groundSpeed));
        detector.startFlight();
        client.m_report.Simrate = 0;
        simulator.rateSet = 0;
        simulator.groundSpeedSet = 0;
        simulator.m_aircraftData.nSimulationRate = c.rate;
        simulator.m_nGroundSpeedMultiplier = c.groundSpeed;
        checkAfter(1000);
        EXPECT_EQ(detector.getSimRateViolations(), c.violation ? 1 : 0);
        EXPECT_EQ(simulator.rateSet, c.rateSet);
        EXPECT_EQ(simulator.groundSpeedSet, c.groundSpeedSet);
        EXPECT_LE(client.m_report.Simrate, 4) << "the report shows at most the allowed rate";
    }
    EXPECT_TRUE(userInterface.reasons.empty());
}

TEST_F(CheatDetectorTest, GroundSpeedMultiplied_covers16TimesTheDistance_withoutAPositionAbort) {
    // 16x ground speed at real time: 30 nm in 1 s is 6 nm/s x 16 allowed.
    constexpr double thirtyNmDeg = 30.0 / 60.0;
    simulator.m_aircraftData.nSimulationRate = 1;
    simulator.m_nGroundSpeedMultiplier = 16;
    simulator.m_aircraftData.dLatitude += thirtyNmDeg;
    checkAfter(1000);
    EXPECT_TRUE(userInterface.reasons.empty());
    EXPECT_EQ(simulator.m_aircraftData.dLastCheckedLatitude, simulator.m_aircraftData.dLatitude);
}

TEST_F(CheatDetectorTest, PositioningFlight_mayRunAtAnyRate) {
    std::strcpy(client.m_log.FlightType, "2");
    simulator.m_aircraftData.nSimulationRate = 16;
    for (int check = 0; check < 10; ++check) {
        checkAfter(1000);
    }
    EXPECT_EQ(simulator.rateSet, 0);
    EXPECT_EQ(detector.getSimRateViolations(), 0);
    EXPECT_EQ(client.m_report.Simrate, 16);
    EXPECT_TRUE(userInterface.reasons.empty());
}

}  // namespace
