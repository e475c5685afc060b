// The flight timer's rules for midnight, a clock running backwards and clock
// jumps; spreading fuel over the tanks; the checks against the booked flight.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "CBookedFlight.h"
#include "CFlightSimulatorInterfaceUsingXpsdk.h"
#include "TestSupport.h"

namespace {

class AdapterLogicTest : public ::testing::Test {
protected:
    std::string log() const { return quelby_test::readFile(folder.file("quelby_debug.txt")); }

    quelby_test::ScratchFolder folder{"quelby-timer"};
    quelby_test::LogInto logInto{folder.path()};
    CFlightSimulatorInterfaceUsingXpsdk adapter{nullptr};
};

TEST_F(AdapterLogicTest,
       FlightTimer_goesOnAcrossMidnight_neverRunsBackwards_swallowsJumpsOver600s) {
    const struct {
        const char* situation;
        std::vector<std::pair<double, double>> clockAndTimerS;
        const char* logLine;
    } cases[] = {
        {"across midnight",
         {{86000, 0}, {86395, 395}, {5, 405}, {65, 465}},
         "FlightTimer reinitialized: InitValue = -400"},
        // The timer goes on from where it stood.
        {"clock set back 100 s",
         {{1000, 0}, {1300, 300}, {1200, 300}, {1210, 310}},
         "Error: [CFlightSimulatorInterfaceUsingXpsdk] FlightTimer decreased: InitValue -= 100"},
        {"jumps of 600 s and 601 s",
         {{1000, 0}, {1600, 600}, {2201, 600}, {2211, 610}},
         "FlightTimer raised too fast: InitValue += 601"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.situation);
        CFlightSimulatorInterfaceUsingXpsdk fresh{nullptr};
        for (const auto& [clockS, timerS] : c.clockAndTimerS) {
            fresh.updateFlightTimer(clockS);
            EXPECT_EQ(fresh.m_aircraftData.dFlightTimeS, timerS) << "at clock " << clockS << " s";
        }
        EXPECT_NE(log().find(c.logLine), std::string::npos) << log();
    }
}

TEST_F(AdapterLogicTest, FlightTimeAndOffset) {
    adapter.updateFlightTimer(100.0);
    adapter.updateFlightTimer(190.7);
    adapter.m_aircraftData.nFlightTimeOffsetS = 30;
    EXPECT_EQ(adapter.getFlightTime(), 60);
}

struct FuelCase {
    const char* name;
    std::vector<float> capacityKg;
    int loadKg;
    std::vector<float> expectedKg;
};

class StandardFuelTest : public AdapterLogicTest, public ::testing::WithParamInterface<FuelCase> {};

TEST_P(StandardFuelTest, SpreadsFuelOverTanks) {
    const FuelCase& c = GetParam();
    for (size_t i = 0; i < c.capacityKg.size(); ++i)
        adapter.m_tankCapacityKg.tank[i] = c.capacityKg[i];
    adapter.setStandardFuel(c.loadKg);
    for (size_t i = 0; i < 9; ++i) {
        const float got = adapter.m_tankQuantityKg.tank[i];
        ASSERT_TRUE(std::isfinite(got)) << "tank " << i;
        const float want = i < c.expectedKg.size() ? c.expectedKg[i] : 0.0f;
        EXPECT_NEAR(got, want, 0.01f) << "tank " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Tanks, StandardFuelTest,
    ::testing::Values(FuelCase{"evenSplit", {5000, 5000}, 6000, {3000, 3000}},
                      // The small first tank overflows; its excess goes to the tanks after it.
                      FuelCase{"unevenCapacities", {1000, 8000, 8000}, 9000, {1000, 4000, 4000}},
                      FuelCase{"oneTankFilledToCapacity", {2000}, 5000, {2000}},
                      // Unused slots are visited too; with no tank left nothing is divided.
                      FuelCase{"unusedSlotFirst", {0, 3000}, 5000, {0, 3000}},
                      FuelCase{"noCapacityLoadsNothing", {0, 0, 0}, 5000, {0, 0, 0}},
                      FuelCase{"ninthTankTakesAtMostItsCapacity",
                               {100, 100, 100, 100, 100, 100, 100, 100, 100},
                               2700,
                               {100, 100, 100, 100, 100, 100, 100, 100, 100}}),
    [](const ::testing::TestParamInfo<FuelCase>& param) { return std::string(param.param.name); });

class FakeBookedFlight : public CBookedFlight {
public:
    int engines = 2, mtowKg = 70000, dowKg = 40000, passengers = 100, cargoKg = 2000;
    std::string nearest = "EDDS";
    int getBookedEngines() const override { return engines; }
    int getBookedMtowKg() const override { return mtowKg; }
    int getDryOperatingWeightKg() const override { return dowKg; }
    int getPassengers() const override { return passengers; }
    int getCargoKg() const override { return cargoKg; }
    bool findNearestAirport(double, double, char icao[5]) override {
        std::strncpy(icao, nearest.c_str(), 5);
        return !nearest.empty();
    }
};

TEST_F(AdapterLogicTest, AircraftType_engineCountFirst_thenMoreThan20PercentLighter) {
    FakeBookedFlight booked;
    adapter.setBookedFlight(&booked);
    struct Case {
        int engines;
        int maxWeightKg;
        int expected;
    };
    const Case cases[] = {{1, 70000, 5}, {1, 10000, 5}, {2, 55999, 4},
                          {2, 56000, 0}, {4, 90000, 0}, {2, 70000, 0}};
    for (const Case& c : cases) {
        adapter.m_aircraftData.nNumEngines = c.engines;
        adapter.m_aircraftData.nMaxWeightKg = c.maxWeightKg;
        EXPECT_EQ(adapter.checkAircraftType(), c.expected)
            << c.engines << " engines, " << c.maxWeightKg << " kg";
    }
    booked.mtowKg = 0;  // a type without weight data is not judged by weight
    adapter.m_aircraftData.nNumEngines = 2;
    EXPECT_EQ(adapter.checkAircraftType(), 0);
}

TEST_F(AdapterLogicTest, NearestAirport_fillsRecordCode_orLeavesItOnFailure) {
    FakeBookedFlight booked;
    adapter.setBookedFlight(&booked);
    ASSERT_TRUE(adapter.getNearestAirport());
    EXPECT_STREQ(adapter.m_aircraftData.closestAirport, "EDDS");
    booked.nearest = "";
    EXPECT_FALSE(adapter.getNearestAirport());
    EXPECT_STREQ(adapter.m_aircraftData.closestAirport, "EDDS");
}

}  // namespace
