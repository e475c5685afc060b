// The long flight of the memory measurement: a scripted cruise out of
// Frankfurt whose gate-to-gate time is a given number of simulated hours.
#pragma once

#include "testbed/Flight.h"

namespace bench {

// The made-up destination's code ("no ICAO code" in flight plans).
inline constexpr const char* kLongHaulArrivalIcao = "ZZZZ";
// Below this the route is too short to leave the ground for long.
inline constexpr double kLongHaulMinRouteNm = 25.0;
// The test bed flies no further (about 16 simulated hours).
inline constexpr double kLongHaulMaxRouteNm = 5900.0;

// A flight from Frankfurt, westwards, of about simulatedHours gate to gate
// (with a route of kLongHaulMinRouteNm to kLongHaulMaxRouteNm), at a time scale inside
// the client's rules.
testbed::FlightDescription longHaulFlight(double simulatedHours);

// The gate-to-gate time the description is planned to take, in simulated
// seconds.
double plannedSimulatedSeconds(const testbed::FlightDescription& flight);

// The fuel to load for the flight, in kg: the whole trip with a reserve,
// within what the test bed's aircraft holds (17600 kg).
double longHaulFuelKg(const testbed::FlightDescription& flight);

}  // namespace bench
