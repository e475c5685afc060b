// A finished flight for the report's tests: booked EDDF to EGLL with its
// records filled as the website gives them and the simulator interface's
// facts as they stand at arrival.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "CClientConfig.h"
#include "CClientInterface.h"
#include "CFlightSimulatorInterfaceUsingXpsdk.h"
#include "CIniParser.h"
#include "CReport.h"
#include "CSingleton.h"
#include "TestSupport.h"

namespace quelby_test {

class FinishedFlightTest : public ::testing::Test {
protected:
    void SetUp() override {
        CSingleton<CIniParser>::destroyInstance();
        // Nothing listens there: a lookup that missed the cache would fail.
        client.setHost("127.0.0.1:1");
        bookNormalFlight();
    }

    // Booked EDDF to EGLL, 2000 distance, 120 min, multiplier 4, landed at
    // EGLL after 1.45 h with 100 passengers and 7000 kg of cargo.
    void bookNormalFlight() {
        setRecordText(client.m_pilot.ID, "12");
        setRecordText(client.m_pilot.Name, "Anna");
        setRecordText(client.m_pilot.Surname, "Berg");
        setRecordText(client.m_pilot.VA_User, "QBY012");
        setRecordText(client.m_virtualAirline.ID, "3");
        setRecordText(client.m_virtualAirline.Name, "Quelby Air");
        client.m_virtualAirline.Pilotcharge = 10;
        setRecordText(client.m_route.Number, "QB123");
        setRecordText(client.m_route.Arr, "EGLL");
        setRecordText(client.m_route.Price, "150");
        setRecordText(client.m_route.FlightType, "0");
        setRecordText(client.m_log.AC_ID, "77");
        setRecordText(client.m_log.Departure, "EDDF");
        setRecordText(client.m_log.Arrival, "EGLL");
        setRecordText(client.m_log.Dist, "2000");
        setRecordText(client.m_log.Duration, "120");
        setRecordText(client.m_log.Multiplier, "4");
        setRecordText(client.m_log.FlightType, "0");
        client.m_log.Timestamp = 1700000000;
        setRecordText(client.m_aircraft.Type, "A320");
        client.m_aircraft.StateEng1 = client.m_aircraft.StateEng2 = 100.0f;
        client.m_aircraft.StateEng3 = client.m_aircraft.StateEng4 = 100.0f;
        client.m_aircraft.StateGear = client.m_aircraft.StateHull = 100.0f;
        client.m_aircraft.Fuel = 3000;
        client.m_aircraft.FuelBooked = 3000;
        client.m_aircraft.FuelAfter = 1500;
        client.m_aircraft.FuelMult = 2.0f;
        client.m_aircraftType.Price = 100000;
        client.m_aircraftType.Ticket = 1.5;
        setRecordText(client.m_report.Fuelprice, "0.5");
        client.m_report.Simrate = 1;
        client.m_report.DepartureTime = 1000.0;

        // The arrival airport is known, so the nearest-airport lookup needs no request.
        client.m_airports.add("EGLL", 51.4775, -0.4614, 0.5);
        simulator.m_aircraftData.dLatitude = 51.4775;
        simulator.m_aircraftData.dLongitude = -0.4614;
        simulator.m_aircraftData.nFlightState = 7;
        simulator.m_aircraftData.dFlightTimeS = 1000.0 + 5220.0;

        facts.nPassengers = 100;
        facts.nCargoKg = 7000;
        std::memcpy(facts.zuluTime, "1430", 5);
        std::memcpy(facts.localTime, "1530", 5);
        facts.nLandingVerticalSpeedFpm = -300;
        facts.nFuelDepartureKg = 5000;
        facts.nFuelTakeOffKg = 4800;
        facts.nFuelLandingKg = 1600;
    }

    void create() { EXPECT_EQ(report.createReport(), 1); }

    void TearDown() override { CSingleton<CIniParser>::destroyInstance(); }

    std::string log() const { return quelby_test::readFile(m_folder.file("quelby_debug.txt")); }

    // Declared before the objects so that their loggers write into the
    // test's folder from construction to destruction.
    quelby_test::ScratchFolder m_folder{"quelby-report"};
    quelby_test::LogInto m_logInto{m_folder.path()};
    CClientInterface client;
    CFlightSimulatorInterfaceUsingXpsdk simulator{nullptr};
    CReport report{&simulator, &client};
    // The flight's facts as the simulator interface holds them at arrival.
    tagAircraftData& facts = simulator.m_aircraftData;
    const tTarvex_Reports& r = client.m_report;
};

}  // namespace quelby_test
