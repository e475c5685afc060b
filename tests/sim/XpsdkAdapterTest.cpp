// The X-Plane adapter against the test-bed simulator: values arrive in the
// record in the right units, writes land in the right datarefs with the right
// types, and every operation takes exactly one job on the simulator's thread.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "CFlightSimulatorInterfaceUsingXpsdk.h"
#include "CThreadSync.h"
#include "TestSupport.h"
#include "XPLMDisplay.h"
#include "testbed/Simulator.h"

using namespace std::chrono_literals;

namespace {

int handshake(XPLMDrawingPhase, int, void* refcon) {
    static_cast<CThreadSync*>(refcon)->trywait();
    return 1;
}

class XpsdkAdapterTest : public ::testing::Test {
protected:
    void SetUp() override {
        sim().reset();
        sim().setFrameRate(0);
        ASSERT_TRUE(XPLMRegisterDrawCallback(handshake, xplm_Phase_Window, 0, &sync));
        ASSERT_TRUE(onClient([&] { return adapter.connect(); }));
    }
    void TearDown() override {
        XPLMUnregisterDrawCallback(handshake, xplm_Phase_Window, 0, &sync);
        EXPECT_TRUE(sim().dataRefMisuses().empty())
            << sim().dataRefMisuses().front().dataRef << " via "
            << sim().dataRefMisuses().front().accessor;
        EXPECT_TRUE(sim().threadViolations().empty());
    }
    static testbed::Simulator& sim() { return testbed::Simulator::instance(); }

    // Runs an adapter operation on a client thread while the simulator's
    // thread draws frames, as in the plug-in; returns its result and counts
    // the jobs it took.
    bool onClient(const std::function<bool()>& operation) {
        const unsigned long grantsBefore = sync.grantCount();
        std::atomic<bool> done{false};
        bool result = false;
        std::thread client([&] {
            result = operation();
            done = true;
        });
        const bool finished = sim().runUntil([&] { return done.load(); }, 10000ms);
        if (!finished) sync.shutdown();
        client.join();
        EXPECT_TRUE(finished) << "the operation never finished";
        lastJobs = sync.grantCount() - grantsBefore;
        return result;
    }
    // Three tanks of 5, 10 and 5 t holding the kilograms given.
    static void setTanks(float first, float second, float third) {
        sim().setFloatArray("sim/aircraft/overflow/acf_tank_rat",
                            {0.25f, 0.5f, 0.25f, 0, 0, 0, 0, 0, 0});
        sim().setFloat("sim/aircraft/weight/acf_m_fuel_tot", 20000.0f);
        sim().setFloatArray("sim/flightmodel/weight/m_fuel",
                            {first, second, third, 0, 0, 0, 0, 0, 0});
    }
    std::string log() const { return quelby_test::readFile(folder.file("quelby_debug.txt")); }

    quelby_test::ScratchFolder folder{"quelby-adapter"};
    quelby_test::LogInto logInto{folder.path()};
    CThreadSync sync;
    CFlightSimulatorInterfaceUsingXpsdk adapter{&sync};
    unsigned long lastJobs = 0;
};

TEST_F(XpsdkAdapterTest, GetEverything_fillsRecordInClientUnitsAndTheClock_inOneJob) {
    sim().setDouble("sim/flightmodel/position/latitude", 50.0333);
    sim().setDouble("sim/flightmodel/position/longitude", 8.5706);
    sim().setFloat("sim/cockpit/misc/compass_indicated", 251.5f);
    sim().setInt("sim/cockpit/electrical/landing_lights_on", 1);
    sim().setInt("sim/time/sim_speed", 2);
    sim().setFloat("sim/cockpit2/gauges/indicators/radio_altimeter_height_ft_pilot", 1234.9f);
    sim().setDouble("sim/flightmodel/position/elevation", 1000.0);
    sim().setFloat("sim/cockpit2/gauges/indicators/vvi_fpm_pilot", -512.9f);
    sim().setFloat("sim/flightmodel/controls/parkbrake", 0.0f);
    sim().setFloat("sim/flightmodel/position/indicated_airspeed", 250.9f);
    sim().setFloat("sim/flightmodel/position/groundspeed", 100.0f);
    sim().setInt("sim/flightmodel/failures/onground_any", 0);
    sim().setFloat("sim/aircraft/weight/acf_m_max", 78000.7f);
    sim().setFloat("sim/aircraft/weight/acf_m_empty", 42000.2f);
    sim().setInt("sim/aircraft/engine/acf_num_engines", 2);
    sim().setFloat("sim/cockpit2/controls/flap_system_deploy_ratio", 0.25f);
    sim().setInt("sim/time/ground_speed", 16);
    std::vector<float> gear(10, 0.0f);
    sim().setFloatArray("sim/aircraft/parts/acf_gear_deploy", gear);
    sim().setFloat("sim/time/zulu_time_sec", 5 * 3600 + 7 * 60 + 30);

    ASSERT_TRUE(onClient([&] { return adapter.getEverything(); }));
    EXPECT_EQ(lastJobs, 1u) << "every job costs a frame some of its time";
    const tagAircraftData& d = adapter.m_aircraftData;
    EXPECT_STREQ(d.zuluTime, "0507");
    EXPECT_DOUBLE_EQ(d.dLatitude, 50.0333);
    EXPECT_DOUBLE_EQ(d.dLongitude, 8.5706);
    EXPECT_FLOAT_EQ(d.fHeading, 251.5f);
    EXPECT_TRUE(d.bLandingLights);
    EXPECT_EQ(d.nSimulationRate, 2);
    EXPECT_EQ(adapter.m_nGroundSpeedMultiplier, 16);
    EXPECT_EQ(d.nHeightAglFt, 1234);
    EXPECT_NEAR(d.dAltitudeFt, 3281.0, 0.01);
    EXPECT_EQ(d.nGroundElevationFt, static_cast<int>(3281.0 - 1234.9f));
    EXPECT_EQ(d.nVerticalSpeedFpm, -512);
    EXPECT_FALSE(d.bParkingBrake);
    EXPECT_EQ(d.nIndicatedAirspeedKts, 250);
    EXPECT_EQ(d.nGroundSpeedKts, 194);
    EXPECT_FALSE(d.bOnGround);
    EXPECT_EQ(d.nMaxWeightKg, 78000);
    EXPECT_EQ(d.nEmptyWeightKg, 42000);
    EXPECT_EQ(d.nNumEngines, 2);
    EXPECT_FLOAT_EQ(d.fFlapsRatio, 0.25f);
    EXPECT_FALSE(d.bGearDown);
    ASSERT_EQ(adapter.m_verticalSpeedHistory.size(), 1u);
    EXPECT_EQ(adapter.m_verticalSpeedHistory.back(), -512);

    // The previous vertical speed is the one of the preceding read.
    sim().setFloat("sim/cockpit2/gauges/indicators/vvi_fpm_pilot", 300.0f);
    ASSERT_TRUE(onClient([&] { return adapter.getEverything(); }));
    EXPECT_EQ(d.nPrevVerticalSpeedFpm, -512);
    EXPECT_EQ(d.nVerticalSpeedFpm, 300);

    // On the ground the touchdown history keeps its airborne readings.
    sim().setInt("sim/flightmodel/failures/onground_any", 1);
    sim().setFloat("sim/cockpit2/gauges/indicators/vvi_fpm_pilot", 0.0f);
    ASSERT_TRUE(onClient([&] { return adapter.getEverything(); }));
    EXPECT_EQ(adapter.m_verticalSpeedHistory.size(), 2u);
    EXPECT_EQ(adapter.m_verticalSpeedHistory.back(), 300);
}

TEST_F(XpsdkAdapterTest, Clock_writesHoursAndMinutes_localThenZulu) {
    sim().setFloat("sim/time/local_time_sec", 14 * 3600 + 59 * 60 + 59);
    // Minutes are truncated from the fraction of the hour, so the test keeps
    // clear of a whole minute, where rounding can show the minute before.
    sim().setFloat("sim/time/zulu_time_sec", 5 * 3600 + 7 * 60 + 30);
    ASSERT_TRUE(onClient([&] { return adapter.getZuluTime(); }));
    EXPECT_EQ(lastJobs, 1u);
    EXPECT_STREQ(adapter.m_aircraftData.localTime, "1459");
    EXPECT_STREQ(adapter.m_aircraftData.zuluTime, "0507");
}

TEST_F(XpsdkAdapterTest, Tanks_readAsCapacitiesAndQuantities_andWrittenBack) {
    setTanks(1000.4f, 2000.4f, 1000.4f);
    int totalKg = 0;
    ASSERT_TRUE(onClient([&] {
        totalKg = adapter.getAircraftTanks();
        return true;
    }));
    EXPECT_EQ(lastJobs, 1u);
    EXPECT_EQ(totalKg, 4001);
    EXPECT_FLOAT_EQ(adapter.m_tankCapacityKg.tank[0], 5000.0f);
    EXPECT_FLOAT_EQ(adapter.m_tankCapacityKg.tank[1], 10000.0f);
    EXPECT_EQ(adapter.m_tankCapacityKg.getNumUsedTanks(), 3);

    adapter.m_tankQuantityKg.tank[0] = 4000.0f;
    adapter.m_tankQuantityKg.tank[1] = 9000.0f;
    adapter.m_tankQuantityKg.tank[2] = 4000.0f;
    ASSERT_TRUE(onClient([&] { return adapter.setAircraftTanks(); }));
    EXPECT_EQ(lastJobs, 1u);
    const auto written = sim().getFloatArray("sim/flightmodel/weight/m_fuel");
    EXPECT_EQ(std::vector<float>(written.begin(), written.begin() + 4),
              (std::vector<float>{4000.0f, 9000.0f, 4000.0f, 0.0f}));
    EXPECT_NE(log().find("Debug: [CFlightSimulatorInterfaceUsingXpsdk] Set fuel to: 17000kg"),
              std::string::npos);
}

TEST_F(XpsdkAdapterTest, FlightCheckRead_snapshotClockAndTanks_inOneJob) {
    sim().setDouble("sim/flightmodel/position/latitude", 48.6899);
    sim().setFloat("sim/flightmodel/position/indicated_airspeed", 140.4f);
    sim().setInt("sim/flightmodel/failures/onground_any", 0);
    sim().setFloat("sim/cockpit2/gauges/indicators/vvi_fpm_pilot", -700.0f);
    sim().setFloat("sim/time/local_time_sec", 14 * 3600 + 20 * 60 + 30);
    sim().setFloat("sim/time/zulu_time_sec", 12 * 3600 + 20 * 60 + 30);
    setTanks(1500.0f, 800.0f, 1500.0f);

    ASSERT_TRUE(onClient([&] { return adapter.readSnapshotAndTanks(); }));
    EXPECT_EQ(lastJobs, 1u) << "a flight check holds the simulator for one frame";
    const tagAircraftData& d = adapter.m_aircraftData;
    EXPECT_DOUBLE_EQ(d.dLatitude, 48.6899);
    EXPECT_EQ(d.nIndicatedAirspeedKts, 140);
    EXPECT_STREQ(d.localTime, "1420");
    EXPECT_STREQ(d.zuluTime, "1220");
    ASSERT_EQ(adapter.m_verticalSpeedHistory.size(), 1u);
    EXPECT_EQ(adapter.m_verticalSpeedHistory.back(), -700);
    EXPECT_EQ(adapter.getTotalFuelKg(), 3800);
    EXPECT_FLOAT_EQ(adapter.m_tankCapacityKg.tank[1], 10000.0f);

    // Before the adapter has connected, nothing is read.
    CFlightSimulatorInterfaceUsingXpsdk unconnected{&sync};
    EXPECT_FALSE(onClient([&] { return unconnected.readSnapshotAndTanks(); }));
    EXPECT_EQ(unconnected.getTotalFuelKg(), 0);
}

TEST_F(XpsdkAdapterTest, SimulationRate_isWritten_andLoggedWithItsSkippedLetters) {
    ASSERT_TRUE(onClient([&] { return adapter.setSimulationRate(4); }));
    EXPECT_EQ(lastJobs, 1u);
    EXPECT_EQ(sim().getInt("sim/time/sim_speed"), 4);
    ASSERT_TRUE(onClient([&] { return adapter.setSimulationRate(1); }));
    ASSERT_TRUE(onClient([&] { return adapter.setSimulationRate(1000); }));
    // The line loses as many leading letters as the rate is large; a rate
    // past the text's end logs an empty message.
    const std::string text = log();
    EXPECT_NE(text.find("Xpsdk] Simulation Rate to: \n"), std::string::npos) << text;
    EXPECT_NE(text.find("Xpsdk] et Simulation Rate to: \n"), std::string::npos) << text;
    EXPECT_NE(text.find("Xpsdk] \n"), std::string::npos) << text;
    EXPECT_EQ(sim().getInt("sim/time/sim_speed"), 1000);
}

TEST_F(XpsdkAdapterTest, GroundSpeedMultiplier_isWrittenInOneJob_andLogged) {
    sim().setInt("sim/time/ground_speed", 16);
    ASSERT_TRUE(onClient([&] { return adapter.setGroundSpeedMultiplier(1); }));
    EXPECT_EQ(lastJobs, 1u);
    EXPECT_EQ(sim().getInt("sim/time/ground_speed"), 1);
    EXPECT_NE(log().find("Set ground speed multiplier to: 1"), std::string::npos) << log();
}

// An X-Plane before 12 lacks the flap's current name: the former one is read,
// and the log says so.
TEST_F(XpsdkAdapterTest, FlapName_missingInAnOlderXPlane_isReadUnderItsFormerName) {
    sim().hideDataRef("sim/cockpit2/controls/flap_system_deploy_ratio");
    CFlightSimulatorInterfaceUsingXpsdk older{&sync};
    ASSERT_TRUE(onClient([&] { return older.connect(); }));
    sim().setFloat("sim/cockpit2/controls/flap_system_deploy_ratio", 0.5f);
    ASSERT_TRUE(onClient([&] { return older.getEverything(); }));
    EXPECT_FLOAT_EQ(older.m_aircraftData.fFlapsRatio, 0.5f);
    EXPECT_NE(log().find("An X-Plane before 12: reading "
                         "sim/flightmodel2/controls/flap_handle_deploy_ratio"),
              std::string::npos)
        << log();
    // X-Plane 12 itself: the current name, and no such line.
    EXPECT_EQ(log().find("before 12"), log().rfind("before 12"));
}

std::map<std::string, std::string> publishedDataRefs(const std::string& list) {
    std::map<std::string, std::string> entries;
    std::ifstream in(list);
    for (std::string line; std::getline(in, line);) {
        const auto tab = line.find('\t');
        if (tab != std::string::npos) {
            entries[line.substr(0, tab)] = line;
        }
    }
    return entries;
}

// Every name the adapter looks up first is X-Plane 12's current one, and every
// former name is one an older X-Plane knew.
TEST(XpsdkAdapterNames, FirstChoices_areCurrentInXPlane12_formerOnesKnownToXPlane10) {
    const std::string folder = std::string(QUELBY_SOURCE_DIR) + "/../shared/xplane/";
    const auto current = publishedDataRefs(folder + "DataRefs-12.1.txt");
    const auto older = publishedDataRefs(folder + "DataRefs-10.41.txt");
    if (current.empty() || older.empty()) {
        GTEST_SKIP() << "no published dataref lists at " << folder;
    }
    int formerNames = 0;
    for (int slot = 0; slot < CFlightSimulatorInterfaceUsingXpsdk::kNumSlots; ++slot) {
        const char* name = CFlightSimulatorInterfaceUsingXpsdk::kDataRefNames[slot];
        if (name == nullptr) continue;
        SCOPED_TRACE(name);
        const auto found = current.find(name);
        ASSERT_NE(found, current.end()) << "not in X-Plane 12's list";
        EXPECT_EQ(found->second.find("REPLACED"), std::string::npos) << found->second;
        EXPECT_EQ(found->second.find("DEPRECATED"), std::string::npos) << found->second;
        if (const char* former = CFlightSimulatorInterfaceUsingXpsdk::formerDataRefName(slot)) {
            ++formerNames;
            EXPECT_NE(older.find(former), older.end()) << former << " unknown to X-Plane 10";
            EXPECT_EQ(older.count(name), 0u) << "X-Plane 10 has the current name already";
        }
    }
    EXPECT_EQ(formerNames, 1) << "the flap handle's";
}

TEST_F(XpsdkAdapterTest, Failures_failThePartNow_andSpeakAfterTheJob) {
    struct Case {
        int which;
        const char* dataRef;
        const char* spoken;
    };
    const Case cases[] = {
        {4, "sim/operation/failures/rel_engfir0", "Failure: Engine 1 on fire!"},
        {1, "sim/operation/failures/rel_engfir1", "Failure: Engine 2 on fire!"},
        {3, "sim/operation/failures/rel_engfir3", "Failure: Engine 4 on fire!"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.which);
        ASSERT_TRUE(onClient([&] { return adapter.setFailure(c.which, false); }));
        EXPECT_EQ(lastJobs, 2u) << "the failure, then the spoken message";
        EXPECT_TRUE(sim().isFailed(c.dataRef));
        ASSERT_FALSE(sim().spokenTexts().empty());
        EXPECT_EQ(sim().spokenTexts().back(), c.spoken);
    }
    const size_t spoken = sim().spokenTexts().size();
    ASSERT_TRUE(onClient([&] { return adapter.setFailure(2, true); }));
    EXPECT_TRUE(sim().isFailed("sim/operation/failures/rel_engfir2"));
    EXPECT_EQ(sim().spokenTexts().size(), spoken) << "a silent failure spoke";
    ASSERT_TRUE(onClient([&] { return adapter.setFailure(7, false); }));
    EXPECT_EQ(lastJobs, 0u);

    ASSERT_TRUE(onClient([&] { return adapter.checkFailure(5); }));
    EXPECT_TRUE(sim().isFailed("sim/operation/failures/rel_flap_act"));
    EXPECT_FALSE(sim().isFailed("sim/operation/failures/rel_gear_act"));
    ASSERT_TRUE(onClient([&] { return adapter.checkFailure(6); }));
    EXPECT_TRUE(sim().isFailed("sim/operation/failures/rel_gear_act"));
}

TEST_F(XpsdkAdapterTest, LandingLightToggle_speaks_andOverridesTheSimulatorFromThenOn) {
    sim().setInt("sim/cockpit/electrical/landing_lights_on", 0);
    ASSERT_TRUE(onClient([&] { return adapter.getEverything(); }));
    ASSERT_FALSE(adapter.m_aircraftData.bLandingLights);
    ASSERT_TRUE(onClient([&] {
        adapter.toggleLandingLights();
        return true;
    }));
    EXPECT_TRUE(adapter.m_aircraftData.bLandingLights);
    EXPECT_EQ(sim().spokenTexts().back(), "Landing Lights turned ON!");
    ASSERT_TRUE(onClient([&] { return adapter.getEverything(); }));
    EXPECT_TRUE(adapter.m_aircraftData.bLandingLights) << "the simulator's switch came back";
    EXPECT_EQ(sim().getInt("sim/cockpit/electrical/landing_lights_on"), 0);
    ASSERT_TRUE(onClient([&] {
        adapter.toggleLandingLights();
        return true;
    }));
    EXPECT_EQ(sim().spokenTexts().back(), "Landing Lights turned OFF!");
}

TEST_F(XpsdkAdapterTest, ShutdownHandshake_operationsGiveUpWithoutTouchingSimulator) {
    sync.shutdown();
    std::thread client([&] {
        EXPECT_FALSE(adapter.getEverything());
        EXPECT_FALSE(adapter.setSimulationRate(3));
    });
    client.join();
    EXPECT_NE(sim().getInt("sim/time/sim_speed"), 3);
}

}  // namespace
