// Making the flight report: money, wear, fuel, rating and reputation of a
// normal flight, a diversion, a crash, an empty tank and a positioning flight.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "FinishedFlightTest.h"

namespace {

class ReportCreateTest : public quelby_test::FinishedFlightTest {
protected:
    // A flight that earns nothing still pays crew 750 (100 x 5 x 1.5) and
    // fuel 1234 (2000 x 0.5 x 1.234).
    void expectEarnedNothing() {
        EXPECT_EQ(recordText(r.Cargo), "0");
        EXPECT_EQ(recordText(r.Ticket), "0");
        EXPECT_EQ(r.Crew, 750);
        EXPECT_EQ(r.Bonus, 0);
        EXPECT_EQ(r.Salary, 0);
        EXPECT_EQ(r.Profit, -1984);
    }
};

TEST_F(ReportCreateTest, NormalFlight_earnsTicketsCargoBonusAndSalary) {
    create();

    EXPECT_EQ(recordText(client.m_log.Passengers), "100");
    EXPECT_EQ(recordText(client.m_log.Cargo), "7000");
    EXPECT_EQ(recordText(r.AC_Type), "A320");
    EXPECT_EQ(recordText(r.AC_ID), "77");
    EXPECT_EQ(recordText(r.PIC), "Anna Berg");
    EXPECT_EQ(recordText(r.Pilot_ID), "12");
    EXPECT_EQ(recordText(r.PID), "QBY012");
    EXPECT_EQ(recordText(r.VA), "Quelby Air");
    EXPECT_EQ(recordText(r.VA_ID), "3");
    EXPECT_EQ(recordText(r.Number), "QB123");
    EXPECT_EQ(recordText(r.Dep), "EDDF");
    EXPECT_EQ(recordText(r.Pln_Arr), "EGLL");
    EXPECT_EQ(recordText(r.Arr), "EGLL");
    EXPECT_EQ(recordText(r.Arrtime), "1430");
    EXPECT_EQ(recordText(r.Loc_Arrtime), "1530");
    // 5220 s / 3600 = 1.45 h; as a float 1.4500000477 rounds up to "1.5"
    // (the double 1.4499999999999999556 would give "1.4").
    EXPECT_EQ(recordText(r.Hours), "1.5");
    EXPECT_EQ(recordText(r.TS), "1700000000");
    EXPECT_EQ(recordText(r.FlightState), "On Block");
    EXPECT_EQ(recordText(r.Distance), "2000");
    EXPECT_EQ(recordText(r.PAX), "100");
    EXPECT_EQ(recordText(r.Ticket), "150");
    EXPECT_EQ(recordText(r.Version), "v2.0.10b Plugin");
    EXPECT_EQ(recordText(r.Multiplier), "4");
    EXPECT_EQ(recordText(r.FlightType), "0");
    EXPECT_EQ(recordText(r.OS), CClientConfig::instance()->getOS().substr(0, 4));
    EXPECT_EQ(recordText(r.Cargo_kg), "7000");
    EXPECT_EQ(recordText(r.Rating), "100");
    EXPECT_EQ(recordText(r.Ratingreasons), "");
    EXPECT_DOUBLE_EQ(r.ArrivalTime, 6220.0);
    EXPECT_NE(log().find("FlightTimer.dArriveSeconds = 6220"), std::string::npos) << log();

    // Wear, k = sqrt(4) / 10 = 0.2: gear 100 - 300 * 0.001 * 0.2 = 99.94;
    // engines 100 - 120 * 0.001 * 0.2 = 99.976; hull 100 - 0.024 - 300 *
    // 0.0005 = 99.826. Value = 100000 * (0.9994 * 0.2 + 0.99976 * 0.6 +
    // 0.99826 * 0.2) = 19988 + 59985.6 + 19965.2 = 99938.8 -> 99938.
    EXPECT_EQ(r.VS, -300);
    EXPECT_NEAR(client.m_aircraft.StateGear, 99.94f, 1e-4);
    EXPECT_NEAR(client.m_aircraft.StateEng1, 99.976f, 1e-4);
    EXPECT_NEAR(client.m_aircraft.StateEng4, 99.976f, 1e-4);
    EXPECT_NEAR(client.m_aircraft.StateHull, 99.826f, 1e-4);
    EXPECT_EQ(client.m_aircraft.Value, 99938);

    // Fuel: bought 5000 - 3000, used 5000 - 1500.
    EXPECT_EQ(recordText(r.Fuel_Bought), "2000");
    EXPECT_EQ(recordText(r.Fuel_Used), "3500");
    EXPECT_EQ(r.Fuel_Dep, 5000);
    EXPECT_EQ(r.Fuel_TakeOff, 4800);
    EXPECT_EQ(r.Fuel_Land, 1600);
    // Tank multiplier 2 < flight's 4: B' = min(3000, 1500) = 1500, A' = 1500;
    // (2 * 1500 + 4 * 1500) / 3000 = 3.
    EXPECT_FLOAT_EQ(client.m_aircraft.FuelMult, 3.0f);

    // Cargo, x = 2: F = e^-2 * 1.6 + (1 - e^-1) * 0.2 = 0.2165365 + 0.1264241
    // = 0.3429606; G = e^-1 * 0.8 + 0.2 = 0.4943036; 7000 * 0.4943036 / 100 *
    // 0.3429606 * 2000 = 23733.73 -> 23733.
    EXPECT_EQ(recordText(r.Cargo), "23733");
    // Crew 100 * 5 * 1.5 = 750; fuel 2000 * 0.5 * 1.234 = 1234.
    // R = 150 * 100 * 1.5 - 750 - 1234 + 23733 = 44249; bonus 44249 * 0.2 =
    // 8849.8 -> 8849; R2 = 53098; salary 53098 * 10 / 100 = 5309.8 -> 5309;
    // profit 53098 - 5309 = 47789.
    EXPECT_EQ(r.Crew, 750);
    EXPECT_EQ(r.Bonus, 8849);
    EXPECT_EQ(r.Salary, 5309);
    EXPECT_EQ(r.Profit, 47789);
    EXPECT_EQ(client.m_virtualAirline.Reputation, 1);
}

TEST_F(ReportCreateTest, Diversion_earnsNothingButStillPaysCrewAndFuel) {
    client.m_airports.add("EGKK", 51.1481, -0.1903, 0.5);
    facts.dLatitude = 51.1481;
    facts.dLongitude = -0.1903;
    create();

    EXPECT_EQ(recordText(r.Arr), "EGKK");
    expectEarnedNothing();
    EXPECT_EQ(recordText(r.Cargo_kg), "7000");
    EXPECT_EQ(recordText(client.m_route.Price), "0");
    EXPECT_EQ(recordText(r.Rating), "100");
}

TEST_F(ReportCreateTest, FuelCost_isWorkedOutInSinglePrecision) {
    // A diversion, so that the profit is the crew and fuel cost alone.
    setRecordText(client.m_route.Arr, "EGKK");
    facts.nFuelDepartureKg = 3000 + 18349;
    setRecordText(client.m_report.Fuelprice, "0.75");
    create();

    // 18349 * 0.75 * 1.234 = 16981.9995 exactly; in single precision 18349 *
    // 0.75 = 13761.75 and 13761.75 * 1.2339999676 = 16981.99955, which rounds
    // to the float 16982.0 (floats there lie 1/512 apart). Profit = -750 -
    // 16982 = -17732.
    EXPECT_EQ(recordText(r.Fuel_Bought), "18349");
    EXPECT_EQ(r.Profit, -17732);
}

TEST_F(ReportCreateTest, Crash_losesFuelAndReputationWithoutLookingUpTheAirport) {
    // A lookup would find EGLL in the cache and overwrite Arr.
    setRecordText(client.m_report.Arr, "EDDF");
    facts.nFlightState = CReport::kFlightStateCrashed;
    simulator.setCrashed();
    report.addPenalty(2);
    create();

    EXPECT_EQ(recordText(r.Arr), "EDDF");
    // The wreck is a total loss: every part at 0, worth nothing, no fuel left.
    EXPECT_EQ(client.m_aircraft.StateEng1, 0.0f);
    EXPECT_EQ(client.m_aircraft.StateGear, 0.0f);
    EXPECT_EQ(client.m_aircraft.StateHull, 0.0f);
    EXPECT_EQ(client.m_aircraft.Value, 0);
    EXPECT_EQ(client.m_aircraft.FuelAfter, 0);
    EXPECT_NE(log().find("Arrival fuel set to 0, crash detected"), std::string::npos) << log();
    EXPECT_EQ(recordText(r.Fuel_Used), "5000");
    expectEarnedNothing();
    // 100 - 50; 1 - 20.
    EXPECT_EQ(recordText(r.Rating), "50");
    EXPECT_EQ(recordText(r.Ratingreasons), "crashed | ");
    EXPECT_EQ(client.m_virtualAirline.Reputation, -19);
}

TEST_F(ReportCreateTest, ExhaustedFuel_atTheBookedAirport_earnsNothing) {
    report.addPenalty(8);
    create();

    EXPECT_EQ(recordText(r.Arr), "EGLL");
    expectEarnedNothing();
    // 100 - 15; 1 - 5.
    EXPECT_EQ(recordText(r.Rating), "85");
    EXPECT_EQ(recordText(r.Ratingreasons), "exhausted fuel supply | ");
    EXPECT_EQ(client.m_virtualAirline.Reputation, -4);
}

TEST_F(ReportCreateTest, PositioningFlight_pilotPaysTheFuelAndIsNotRated) {
    setRecordText(client.m_log.FlightType, "2");
    setRecordText(client.m_log.Arrival, "EGKK");
    setRecordText(client.m_report.Fuelprice, "0.45");
    report.addPenalty(0);
    create();

    EXPECT_EQ(recordText(r.Dep), "EDDF");
    EXPECT_EQ(recordText(r.Pln_Arr), "EGKK");
    EXPECT_EQ(recordText(r.FlightType), "2");
    EXPECT_EQ(recordText(r.Multiplier), "1");
    EXPECT_EQ(r.Bonus, 0);
    EXPECT_EQ(r.Crew, 0);
    EXPECT_EQ(r.Profit, 0);
    // Fuel bought 2000 * 0.45 = 900.
    EXPECT_EQ(r.Salary, -900);
    EXPECT_EQ(recordText(r.Rating), "100");
    EXPECT_EQ(recordText(r.Ratingreasons), "");
    EXPECT_EQ(client.m_virtualAirline.Reputation, 0);
}

TEST_F(ReportCreateTest, ManyPenalties_driveTheRatingBelowZero) {
    for (int kind = 0; kind <= 8; ++kind) {
        report.addPenalty(kind);
    }
    create();

    // 100 - (5 + 15 + 50 + 5 + 5 + 5 + 5 + 5 + 15) = -10; 1 - (5 + 20 + 5) = -29.
    EXPECT_EQ(recordText(r.Rating), "-10");
    EXPECT_EQ(client.m_virtualAirline.Reputation, -29);
    EXPECT_EQ(recordText(r.Ratingreasons),
              "overspeed - taxi | wrong airport | crashed | still rolling when ending flight | "
              "parking brakes | landing lights on above FL100 | landing lights off under 1000 "
              "feet | overspeed under FL100 | exhausted fuel supply | ");
}

TEST_F(ReportCreateTest, TicketFactorOfZeroOrLess_countsAsOne) {
    for (const double ticket : {0.0, -2.0}) {
        client.m_aircraftType.Ticket = ticket;
        setRecordText(client.m_route.Price, "150");
        create();
        // Crew 100 * 5 = 500; R = 15000 - 500 - 1234 + 23733 = 36999; bonus
        // 7399.8 -> 7399; R2 = 44398; salary 4439.8 -> 4439; profit 39959.
        EXPECT_EQ(r.Crew, 500) << ticket;
        EXPECT_EQ(r.Bonus, 7399) << ticket;
        EXPECT_EQ(r.Salary, 4439) << ticket;
        EXPECT_EQ(r.Profit, 39959) << ticket;
    }
}

TEST_F(ReportCreateTest, BonusRate_dependsOnTheHighestSimulationRate) {
    // No cargo, no fuel bought, ticket factor 1: R = 150 * 100 - 500 = 14500.
    facts.nCargoKg = 0;
    facts.nFuelDepartureKg = 3000;
    client.m_aircraftType.Ticket = 1.0;
    const struct {
        int simrate;
        int bonus, salary, profit;
    } cases[] = {
        {1, 2900, 1740, 15660},  // 14500 * 0.2; 17400 * 0.1; 17400 - 1740
        {2, 1450, 1595, 14355},  // 14500 * 0.1; 15950 * 0.1; 15950 - 1595
        {4, 725, 1522, 13703},   // 14500 * 0.05; 15225 * 0.1 = 1522.5; 15225 - 1522
        {3, 0, 1450, 13050},     // no bonus; 14500 * 0.1; 14500 - 1450
    };
    for (const auto& c : cases) {
        client.m_report.Simrate = c.simrate;
        create();
        EXPECT_EQ(r.Bonus, c.bonus) << "Simrate " << c.simrate;
        EXPECT_EQ(r.Salary, c.salary) << "Simrate " << c.simrate;
        EXPECT_EQ(r.Profit, c.profit) << "Simrate " << c.simrate;
    }
}

TEST_F(ReportCreateTest, FuelMultiplier_blendsOldAndNewFuelByWhichIsHigher) {
    const struct {
        const char* name;
        float oldMult;
        const char* logMultiplier;
        const char* routeFlightType;
        int bookedKg, afterKg;
        float expected;
    } cases[] = {
        // f 3 > m 1: A' = min(400, 1000) = 400, B' = 600; (1200 + 600) / 1000.
        {"old higher", 3.0f, "1", "0", 400, 1000, 1.8f},
        // m 2 > f 1: B' = min(1000, 400) = 400, A' = 600; (600 + 800) / 1000.
        {"new higher", 1.0f, "2", "0", 1000, 400, 1.4f},
        // A route flight type other than 0 takes m = 1 = f: (1000 + 400) / 1400.
        {"equal", 1.0f, "3", "1", 1000, 400, 1.0f},
        {"empty tank", 2.0f, "2", "0", 0, 0, 0.0f},
    };
    for (const auto& c : cases) {
        client.m_aircraft.FuelMult = c.oldMult;
        setRecordText(client.m_log.Multiplier, c.logMultiplier);
        setRecordText(client.m_route.FlightType, c.routeFlightType);
        client.m_aircraft.FuelBooked = c.bookedKg;
        client.m_aircraft.FuelAfter = c.afterKg;
        create();
        EXPECT_FLOAT_EQ(client.m_aircraft.FuelMult, c.expected) << c.name;
    }
}

TEST_F(ReportCreateTest, CargoRevenue_aroundDistance1000) {
    const struct {
        const char* dist;
        int cargoKg;
        const char* revenue;
    } cases[] = {
        // x = 1: F = e^-1 * 1.6 = 0.5886071; G = 0.4943036;
        // 7000 * 0.4943036 / 100 * 0.5886071 * 1000 = 20366.54.
        {"1000", 7000, "20366"},
        // x = 1.5: F = e^-1.5 * 1.6 + (1 - e^-0.5) * 0.2 = 0.3570083 + 0.0786939
        // = 0.4357021; 7000 * 0.4943036 / 100 * 0.4357021 * 1500 = 22613.76.
        {"1500", 7000, "22613"},
        {"1000", 0, "0"},
    };
    for (const auto& c : cases) {
        setRecordText(client.m_log.Dist, c.dist);
        setRecordText(client.m_route.Price, "150");
        facts.nCargoKg = c.cargoKg;
        create();
        EXPECT_EQ(recordText(r.Cargo), c.revenue) << c.dist << " " << c.cargoKg;
    }
}

TEST_F(ReportCreateTest, Wear_ignoresClimbingTouchdownAndSubtractsDamageDownToZero) {
    facts.nLandingVerticalSpeedFpm = 200;
    facts.bDamaged = true;
    facts.fDamageAmount = -50.0f;
    client.m_aircraft.StateEng2 = 3.0f;
    create();

    // VS 0; damage |-50| * 0.1 = 5: gear 100 - 5 = 95; engine 1 100 - 0.024 - 5
    // = 94.976; engine 2 3 - 0.024 - 5 < 0 -> 0; hull 100 - 0.024 - 5 = 94.976.
    EXPECT_EQ(r.VS, 0);
    EXPECT_NEAR(client.m_aircraft.StateGear, 95.0f, 1e-4);
    EXPECT_NEAR(client.m_aircraft.StateEng1, 94.976f, 1e-4);
    EXPECT_EQ(client.m_aircraft.StateEng2, 0.0f);
    EXPECT_NEAR(client.m_aircraft.StateHull, 94.976f, 1e-4);
}

TEST_F(ReportCreateTest, FullWidthTexts_fillTheirFieldsWithoutOverrun) {
    // 35 + 1 + 35 = 71 characters: exactly the width of PIC.
    const std::string name(35, 'N');
    const std::string surname(35, 'S');
    std::memcpy(client.m_pilot.Name, name.data(), 35);
    std::memcpy(client.m_pilot.Surname, surname.data(), 35);
    // A clock text with no terminator is read to its field's end.
    std::memcpy(facts.zuluTime, "12345", 5);
    create();

    EXPECT_EQ(recordText(r.PIC), name + " " + surname);
    EXPECT_EQ(recordText(r.Arrtime), "12345");
    EXPECT_EQ(recordText(r.Pilot_ID), "12");
}

// A damaged backup can restore any figure. The report's sums once overflowed
// and its conversions were undefined; a figure no int holds now counts as 0
// with a log line.
TEST_F(ReportCreateTest, RestoredFiguresNoIntHolds_countAsZeroWithALogLine) {
    facts.nPassengers = 2147483647;
    facts.nFuelDepartureKg = -2147483647 - 1;
    ASSERT_TRUE(facts.backup());
    struct_penalty penalty{};
    penalty.active = 1;
    std::strcpy(penalty.text, "damaged");
    penalty.ratingDeduction = -2147483647 - 1;
    penalty.reputationDeduction = -2147483647 - 1;
    ASSERT_TRUE(CIniParser::instance()->writeStructToReport("Report", "struct_penalty0", &penalty,
                                                            sizeof(penalty)));
    facts.nPassengers = 0;

    ASSERT_EQ(report.restoreBackup(), 1);

    EXPECT_EQ(recordText(client.m_log.Passengers), "2147483647");
    EXPECT_EQ(r.Crew, 0);
    EXPECT_EQ(recordText(r.Fuel_Bought), "0");
    EXPECT_EQ(recordText(r.Fuel_Used), "0");
    EXPECT_EQ(r.Profit, 0);
    EXPECT_EQ(r.Salary, 0);
    EXPECT_EQ(recordText(r.Rating), "0");
    EXPECT_EQ(client.m_virtualAirline.Reputation, 0);
    const std::string text = log();
    for (const char* figure :
         {"Crew", "Fuel_Bought", "Fuel_Used", "Profit", "Rating", "Reputation"}) {
        EXPECT_NE(
            text.find(std::string("Warn: [CReport] Report figure ") + figure + " out of range"),
            std::string::npos)
            << figure << "\n"
            << text;
    }
}

}  // namespace
