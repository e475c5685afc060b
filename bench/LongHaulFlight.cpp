// The long flight of the memory measurement.
#include "LongHaulFlight.h"

#include <algorithm>
#include <cmath>

namespace bench {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kNmPerRadian = 3437.746770785;
constexpr double kCruiseKts = 355.0;
// Westwards: open water and flat land for thousands of miles, and the route
// stays far from the poles.
constexpr double kCourseDeg = 285.0;
// The time the climb, descent and approach lose against cruise speed, in
// simulated seconds; found by flying the model (see the bench's tests).
constexpr double kAirborneOverheadSeconds = 300.0;
// What the test bed's aircraft holds, less room to spare; its two engines
// burn the same in climb as in cruise, give or take, so a tenth more covers it.
constexpr double kUsableFuelKg = 16000.0;
constexpr double kReserveKg = 1000.0;
constexpr double kEngines = 2.0;
constexpr double kBurnMargin = 1.15;
constexpr double kCruiseBurnKgPerHour = 600.0;

// The point distanceNm along the great circle leaving (latDeg, lonDeg).
void travel(double latDeg, double lonDeg, double courseDeg, double distanceNm, double& outLat,
            double& outLon) {
    const double lat1 = latDeg * kPi / 180.0;
    const double lon1 = lonDeg * kPi / 180.0;
    const double course = courseDeg * kPi / 180.0;
    const double angle = distanceNm / kNmPerRadian;
    const double lat2 = std::asin(std::sin(lat1) * std::cos(angle) +
                                  std::cos(lat1) * std::sin(angle) * std::cos(course));
    const double lon2 = lon1 + std::atan2(std::sin(course) * std::sin(angle) * std::cos(lat1),
                                          std::cos(angle) - std::sin(lat1) * std::sin(lat2));
    outLat = lat2 * 180.0 / kPi;
    outLon = std::remainder(lon2 * 180.0 / kPi, 360.0);
}

double groundSeconds(const testbed::FlightDescription& flight) {
    return flight.parkedSeconds + flight.taxiOutSeconds + flight.taxiInSeconds;
}

}  // namespace

testbed::FlightDescription longHaulFlight(double simulatedHours) {
    const bool shortHop = simulatedHours < 1.0;
    // A short one keeps low and quick on the ground, so that most of its
    // little time is still spent flying.
    const double cruiseFt = std::clamp(simulatedHours * 10000.0, 5000.0, 33000.0);
    testbed::FlightBuilder builder;
    builder.name("Long haul")
        .from("EDDF", 50.0333, 8.5706, 364)
        .cruise(cruiseFt, kCruiseKts)
        .fuel({5000, 6000, 5000})
        // A longer flight than the tanks allow at this burn burns less, so
        // that it never runs dry: an aircraft without fuel is a flight of
        // its own, not a long cruise.
        .fuelBurn(std::min(kCruiseBurnKgPerHour,
                           (kUsableFuelKg - kReserveKg) /
                               (kEngines * kBurnMargin * std::max(simulatedHours, 0.1))))
        .zuluStart(6 * 3600)
        .utcOffset(1);
    if (shortHop) {
        builder.parkedFor(20).taxi(60, 60, 15);
    }
    // A placeholder arrival, to read the ground times and the speeds back.
    builder.to(kLongHaulArrivalIcao, 50.0, 0.0, 0);
    testbed::FlightDescription flight = builder.timeScale(1).build();

    const double airborneSeconds =
        simulatedHours * 3600.0 - groundSeconds(flight) - kAirborneOverheadSeconds;
    const double routeNm =
        std::clamp(airborneSeconds * kCruiseKts / 3600.0, kLongHaulMinRouteNm, kLongHaulMaxRouteNm);
    double lat = 0.0;
    double lon = 0.0;
    travel(flight.departure.latitudeDeg, flight.departure.longitudeDeg, kCourseDeg, routeNm, lat,
           lon);
    flight.arrival = {kLongHaulArrivalIcao, lat, lon, 0.0};
    // A third below the most the client's rules allow: a loaded machine
    // reads the simulator later than planned, and each late read sees more
    // simulated time go by.
    flight.timeScale = std::floor(testbed::maxTimeScale(testbed::topGroundSpeedKts(flight)) * 0.85);
    return flight;
}

double longHaulFuelKg(const testbed::FlightDescription& flight) {
    const double hours = plannedSimulatedSeconds(flight) / 3600.0;
    return std::min(
        kUsableFuelKg,
        flight.fuelBurnKgPerHourPerEngine * kEngines * hours * kBurnMargin + kReserveKg);
}

double plannedSimulatedSeconds(const testbed::FlightDescription& flight) {
    const double routeNm = [&] {
        const double lat1 = flight.departure.latitudeDeg * kPi / 180.0;
        const double lat2 = flight.arrival.latitudeDeg * kPi / 180.0;
        const double dLat = lat2 - lat1;
        const double dLon =
            (flight.arrival.longitudeDeg - flight.departure.longitudeDeg) * kPi / 180.0;
        const double a = std::sin(dLat / 2) * std::sin(dLat / 2) +
                         std::cos(lat1) * std::cos(lat2) * std::sin(dLon / 2) * std::sin(dLon / 2);
        return 2.0 * std::asin(std::sqrt(std::min(1.0, a))) * kNmPerRadian;
    }();
    return groundSeconds(flight) + kAirborneOverheadSeconds +
           routeNm / flight.cruiseSpeedKts * 3600.0;
}

}  // namespace bench
