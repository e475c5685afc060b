// The flight phase machine: every transition boundary, crashes, the phase
// penalties with their once-per-flight rule and sound, and the taxi timer.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "AircraftData.h"
#include "CFlightState.h"
#include "CReport.h"
#include "CSound.h"
#include "TestSupport.h"

namespace {

// The clock both timers of the machine read; tests move it by hand.
uint32_t g_nowMs = 0;
uint32_t fakeClock() { return g_nowMs; }

class RecordingSound : public CSound {
public:
    RecordingSound() : CSound(nullptr) {}
    void play(const std::string& name, bool common) override { plays.emplace_back(name, common); }
    void play(unsigned int id) override { ids.push_back(id); }

    std::vector<std::pair<std::string, bool>> plays;
    std::vector<unsigned int> ids;
};

// One flight: record, report, sound and the machine over them.
struct Flight {
    tagAircraftData data;
    CReport report;
    RecordingSound sound;
    CFlightState state{&data, &report, &sound, &fakeClock};

    explicit Flight(int phase = 0) {
        data.reset();
        data.nFlightState = phase;
    }
    // Airborne in cruise well away from every penalty rule.
    void cruise() {
        data.nFlightState = 6;
        data.bOnGround = false;
        data.nHeightAglFt = 5000;
        data.dAltitudeFt = 20000.0;
        data.nIndicatedAirspeedKts = 250;
        data.nGroundSpeedKts = 400;
        data.bLandingLights = false;
    }
    std::vector<int> raisedPenalties() const {
        std::vector<int> raised;
        for (int kind = 0; kind < CReport::kNumPenaltySlots; ++kind)
            if (report.isPenalty(kind)) raised.push_back(kind);
        return raised;
    }
};

// The log in a scratch folder, and the clock at 0.
class FlightStateTest : public quelby_test::FolderTest {
protected:
    void SetUp() override {
        FolderTest::SetUp();
        g_nowMs = 0;
    }
};

TEST_F(FlightStateTest, EachPhaseBoundary_movesOnlyPastTheThreshold) {
    const struct {
        const char* situation;
        int from;
        bool onGround;
        int heightFt;
        int groundSpeedKts;
        int verticalSpeedFpm;
        bool parkingBrake;
        int expected;
    } cases[] = {
        {"boarding at 5 kt", 0, true, 0, 5, 0, false, 0},
        {"boarding at 6 kt", 0, true, 0, 6, 0, false, 1},
        {"taxi airborne at 70 ft", 1, false, 70, 120, 500, false, 1},
        {"taxi airborne at 71 ft", 1, false, 71, 120, 500, false, 2},
        {"taxi on ground at 71 ft", 1, true, 71, 120, 500, false, 1},
        {"take-off +199 fpm at 151 ft", 2, false, 151, 150, 199, false, 6},
        {"take-off -199 fpm at 151 ft", 2, false, 151, 150, -199, false, 6},
        {"take-off +200 fpm at 151 ft", 2, false, 151, 150, 200, false, 5},
        {"take-off -200 fpm at 151 ft", 2, false, 151, 150, -200, false, 7},
        {"take-off +200 fpm at 150 ft", 2, false, 150, 150, 200, false, 2},
        {"take-off -200 fpm at 150 ft", 2, false, 150, 150, -200, false, 2},
        {"take-off level at 150 ft", 2, false, 150, 150, 0, false, 2},
        {"take-off on ground", 2, true, 0, 150, 0, false, 3},
        {"climb keeps climbing", 5, false, 3000, 250, 1500, false, 5},
        {"climb levels off", 5, false, 3000, 250, 0, false, 6},
        {"cruise stays level", 6, false, 30000, 450, 100, false, 6},
        {"cruise starts descent", 6, false, 30000, 450, -1500, false, 7},
        {"descent keeps descending", 7, false, 3000, 250, -800, false, 7},
        {"descent goes around", 7, false, 300, 150, 1200, false, 5},
        {"descent touches down", 7, true, 0, 130, -300, false, 3},
        {"cruise on ground beats climbing", 6, true, 151, 130, 200, false, 3},
        {"landed without parking brake", 3, true, 0, 0, 0, false, 3},
        {"landed with parking brake", 3, true, 0, 0, 0, true, 4},
        {"on block stays", 4, true, 0, 40, 0, false, 4},
        {"crashed stays", 8, true, 0, 40, 0, false, 8},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.situation);
        Flight flight(c.from);
        flight.data.bOnGround = c.onGround;
        flight.data.nHeightAglFt = c.heightFt;
        flight.data.nGroundSpeedKts = c.groundSpeedKts;
        flight.data.nVerticalSpeedFpm = c.verticalSpeedFpm;
        flight.data.bParkingBrake = c.parkingBrake;

        EXPECT_EQ(flight.state.checkFlightState(), c.expected != c.from);
        EXPECT_EQ(flight.state.get(), c.expected);
        EXPECT_EQ(flight.data.nFlightState, c.expected);
    }
}

TEST_F(FlightStateTest, CrashInAnyPhase_givesCrashedOnceAndTheCrashPenaltyInTheSameCheck) {
    for (int from = 0; from <= 7; ++from) {
        SCOPED_TRACE("from phase " + std::to_string(from));
        Flight flight(from);
        flight.data.bCrashed = true;
        flight.data.bOnGround = true;

        EXPECT_TRUE(flight.state.check());
        EXPECT_EQ(flight.state.get(), 8);
        EXPECT_EQ(flight.raisedPenalties(), std::vector<int>{2});
        EXPECT_EQ(flight.sound.plays.size(), 1u);

        EXPECT_FALSE(flight.state.check());
        EXPECT_EQ(flight.state.get(), 8);
        EXPECT_EQ(flight.sound.plays.size(), 1u);
    }
}

TEST_F(FlightStateTest, EachPenaltyRule_firesOnlyInsideItsLimits) {
    const struct {
        const char* situation;
        int heightFt;
        double altitudeFt;
        bool landingLights;
        int iasKts;
        std::vector<int> expected;
    } cases[] = {
        {"lights off at 51 ft", 51, 600.0, false, 150, {6}},
        {"lights off at 50 ft", 50, 600.0, false, 150, {}},
        {"lights off at 950 ft", 950, 1500.0, false, 180, {6}},
        {"lights off at 951 ft", 951, 1500.0, false, 180, {}},
        {"lights on at 500 ft", 500, 1000.0, true, 150, {}},
        {"lights on at 10100 ft, 3001 ft high", 3001, 10100.0, true, 250, {5}},
        {"lights on at 10099.9 ft", 3001, 10099.9, true, 250, {}},
        {"lights on at 10100 ft, 3000 ft high", 3000, 10100.0, true, 250, {}},
        {"lights off at 10100 ft", 3001, 10100.0, false, 250, {}},
        {"261 kt at 9899.9 ft", 5000, 9899.9, false, 261, {7}},
        {"260 kt at 9899.9 ft", 5000, 9899.9, false, 260, {}},
        {"261 kt at 9900 ft", 5000, 9900.0, false, 261, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.situation);
        Flight flight;
        flight.cruise();
        flight.data.nHeightAglFt = c.heightFt;
        flight.data.dAltitudeFt = c.altitudeFt;
        flight.data.bLandingLights = c.landingLights;
        flight.data.nIndicatedAirspeedKts = c.iasKts;

        EXPECT_EQ(flight.state.checkPenalties(), !c.expected.empty());
        EXPECT_EQ(flight.raisedPenalties(), c.expected);
    }
}

TEST_F(FlightStateTest, PenaltyConditionHeld_isAddedOnce_andSoundsOncePerCheckThatAddedAny) {
    Flight flight;
    flight.cruise();
    flight.data.nHeightAglFt = 500;
    flight.data.dAltitudeFt = 2000.0;
    flight.data.nIndicatedAirspeedKts = 200;

    flight.state.check();
    EXPECT_EQ(flight.raisedPenalties(), std::vector<int>{6});
    EXPECT_EQ(flight.sound.plays.size(), 1u);
    for (int pass = 0; pass < 3; ++pass) flight.state.check();
    EXPECT_EQ(flight.sound.plays.size(), 1u);

    flight.data.nIndicatedAirspeedKts = 300;
    flight.state.check();
    flight.state.check();
    EXPECT_EQ(flight.raisedPenalties(), (std::vector<int>{6, 7}));
    ASSERT_EQ(flight.sound.plays.size(), 2u);
    for (const auto& play : flight.sound.plays) {
        EXPECT_EQ(play.first, "penalty.wav");
        EXPECT_FALSE(play.second) << "the penalty sound is spoken, not common";
    }
    EXPECT_TRUE(flight.sound.ids.empty());

    // Three penalties in one check: one sound.
    Flight crashing;
    crashing.cruise();
    crashing.data.nHeightAglFt = 500;
    crashing.data.dAltitudeFt = 2000.0;
    crashing.data.nIndicatedAirspeedKts = 300;
    crashing.data.bCrashed = true;
    EXPECT_TRUE(crashing.state.check());
    EXPECT_EQ(crashing.raisedPenalties(), (std::vector<int>{2, 6, 7}));
    EXPECT_EQ(crashing.sound.plays.size(), 1u);
}

// Checked every 50 ms, as the client loop does near the ground.
TEST_F(FlightStateTest, FastMovementOnTheGround_costsThePenaltyOnlyPast90Seconds) {
    const struct {
        const char* situation;
        int phase;
        bool onGround;
        int heightFt;
        int groundSpeedKts;
        uint32_t forMs;
        bool penalty;
    } cases[] = {
        {"taxi at 30 kt for 89.9 s", 1, true, 0, 30, 89900, false},
        {"taxi at 30 kt for 90 s", 1, true, 0, 30, 90000, false},
        {"taxi at 30 kt for 90.1 s", 1, true, 0, 30, 90100, true},
        {"on ground in cruise", 6, true, 0, 120, 100000, true},
        {"4 ft high in take-off", 2, false, 4, 120, 100000, true},
        {"taxi phase while airborne", 1, false, 100, 120, 100000, true},
        {"landed phase while airborne", 3, false, 100, 120, 100000, true},
        {"5 ft high in take-off", 2, false, 5, 120, 100000, false},
        {"airborne in climb", 5, false, 2000, 120, 100000, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.situation);
        g_nowMs = 1000;
        Flight flight(c.phase);
        flight.data.bOnGround = c.onGround;
        flight.data.nHeightAglFt = c.heightFt;
        flight.data.nGroundSpeedKts = c.groundSpeedKts;
        flight.data.bLandingLights = true;
        bool added = false;
        for (uint32_t elapsedMs = 0; elapsedMs <= c.forMs; elapsedMs += 50) {
            g_nowMs = 1000 + elapsedMs;
            added |= flight.state.checkPenalties();
        }
        EXPECT_EQ(added, c.penalty);
        EXPECT_EQ(flight.report.isPenalty(0), c.penalty);
    }
}

TEST_F(FlightStateTest, SlowMomentDuringTaxi_startsTheCountAgain) {
    Flight flight(1);
    flight.data.bOnGround = true;
    flight.data.nGroundSpeedKts = 35;
    flight.state.check();
    g_nowMs = 60000;
    flight.state.check();

    g_nowMs = 60050;
    flight.data.nGroundSpeedKts = 29;
    flight.state.check();
    flight.data.nGroundSpeedKts = 35;

    g_nowMs = 60050 + 90000;
    flight.state.check();
    EXPECT_FALSE(flight.report.isPenalty(0)) << "60 s, a slow moment, then 90 s";
    EXPECT_TRUE(flight.sound.plays.empty());

    g_nowMs = 60050 + 90001;
    flight.state.check();
    EXPECT_TRUE(flight.report.isPenalty(0));
    EXPECT_EQ(flight.sound.plays.size(), 1u);
}

TEST_F(FlightStateTest, SetPhase_startsTheTaxiCountAfresh) {
    Flight flight(1);
    flight.data.bOnGround = true;
    flight.data.nGroundSpeedKts = 40;
    g_nowMs = 80000;
    flight.state.checkPenalties();

    flight.state.set(1);
    g_nowMs = 80000 + 20000;
    EXPECT_FALSE(flight.state.checkPenalties());
    EXPECT_FALSE(flight.report.isPenalty(0));
}

TEST_F(FlightStateTest, PhaseNames_matchTheirNumbersBothWays) {
    const struct {
        int phase;
        const char* display;
        const char* key;
    } phases[] = {
        {0, "Boarding", "boarding"}, {1, "Taxi", "taxi"},       {2, "Take Off", "takeoff"},
        {3, "Landed", "landed"},     {4, "On Block", nullptr},  {5, "Climb", "climb"},
        {6, "Cruise", "cruise"},     {7, "Descent", "descent"}, {8, "Crashed", nullptr},
    };
    for (const auto& p : phases) {
        SCOPED_TRACE(p.display);
        EXPECT_EQ(CFlightState::stateToString(p.phase), p.display);
        if (p.key != nullptr) {
            EXPECT_EQ(CFlightState::stringToState(p.key), p.phase);
        }
    }
    for (int other : {-1, 9, 100}) {
        EXPECT_EQ(CFlightState::stateToString(other), "Undefined") << other;
    }
    for (const char* unknown :
         {"", "Boarding", "TAXI", "take off", "onblock", "on block", "crashed", " climb"}) {
        EXPECT_EQ(CFlightState::stringToState(unknown), -1) << '"' << unknown << '"';
    }
}

}  // namespace
