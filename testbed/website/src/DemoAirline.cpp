// The demo airline: one pilot booked on a short hop from Frankfurt to
// Stuttgart in an A320, the airports around, and a news item. Seeding twice
// leaves the same data (fixed ids).
#include "testbed/Website.h"

namespace testbed {

void Website::seedDemo() {
    const int airlineId = addAirline({1, "Quelby Air", "1", 50, 10});

    Pilot pilot;
    pilot.id = 1;
    pilot.user = "demo";
    pilot.password = "demo";
    pilot.name = "Demo";
    pilot.surname = "Pilot";
    pilot.airlineId = airlineId;
    pilot.vaUser = "QLB0001";
    pilot.rank = "First Officer";
    pilot.location = "EDDF";
    pilot.budget = "25000";
    pilot.status = "1";
    pilot.weightUnit = "0";
    addPilot(pilot);

    const int typeId = addAircraftType({1, "A320", 98000000, 42600, 78000, 2, 1.0});

    Aircraft aircraft;
    aircraft.id = 1;
    aircraft.typeId = typeId;
    aircraft.registration = "D-AQLB";
    aircraft.description = "A320 twin jet";
    aircraft.location = "EDDF";
    aircraft.owner = "Quelby Air";
    aircraft.status = "1";
    aircraft.stateEngines[0] = 99.0;
    aircraft.stateEngines[1] = 98.5;
    aircraft.stateEngines[2] = 0.0;  // a twin: no third or fourth engine
    aircraft.stateEngines[3] = 0.0;
    aircraft.stateGear = 100.0;
    aircraft.stateHull = 99.5;
    aircraft.fuelKg = 3000;
    aircraft.value = 97500000;
    aircraft.fuelMult = 1.0;
    const int aircraftId = addAircraft(aircraft);

    // Elevations in feet, fuel prices per kilogram.
    addAirport({"EDDF", "Frankfurt", 50.0333, 8.5706, 364, 0.82});
    addAirport({"EDDS", "Stuttgart", 48.6899, 9.2220, 1276, 0.84});
    addAirport({"EDDM", "Munich", 48.3538, 11.7861, 1487, 0.80});
    addAirport({"EDFE", "Egelsbach", 49.9608, 8.6436, 384, 0.95});
    addAirport({"EDFZ", "Mainz-Finthen", 49.9675, 8.1472, 760, 0.97});
    addAirport({"ETOU", "Wiesbaden Army Airfield", 50.0498, 8.3254, 461, 0.90});

    Route route;
    route.id = 1;
    route.airlineId = airlineId;
    route.airline = "QLB";
    route.number = "QLB101";
    route.departure = "EDDF";
    route.arrival = "EDDS";
    route.departureTime = "0830";
    route.arrivalTime = "0915";
    route.route = "DCT";
    route.price = "150";
    route.remarks = "Demo flight";
    route.simrate = 4;
    route.flightType = "0";
    route.aircraftTypeId = typeId;
    const int routeId = addRoute(route);

    // A fixed id: seeding a kept database again books nothing twice.
    bookDemoFlight(routeId, aircraftId, 1);

    addNews("Welcome aboard Quelby Air",
            "Your first flight, QLB101 from Frankfurt to Stuttgart, is booked. Have a good flight!",
            1);
}

int Website::bookDemoFlight(int routeId, int aircraftId, int bookingId) {
    Booking booking;
    booking.id = bookingId;
    booking.user = "demo";
    booking.routeId = routeId;
    booking.aircraftId = aircraftId;
    booking.distanceNm = "85";
    booking.durationMin = "45";
    booking.passengers = "120";
    booking.cargoKg = "2000";
    booking.multiplier = "1";
    booking.flightType = "0";
    return book(booking);
}

}  // namespace testbed
