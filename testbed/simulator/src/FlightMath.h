// Geometry and air data shared by the flight description's checks and the
// flight model: great-circle distances and courses, true from indicated airspeed.
#pragma once

#include <algorithm>
#include <cmath>

namespace testbed::detail {

constexpr double kPi = 3.14159265358979323846;
constexpr double kRadiansPerDegree = kPi / 180.0;
// One nautical mile is one minute of arc; the client measures with the same
// radius, so both sides agree on every distance.
constexpr double kNmPerRadian = 10800.0 / kPi;
constexpr double kFeetPerMetre = 3.28084;
constexpr double kKnotsPerMetrePerSecond = 1.943844;
// A 3 degree glide path: tan(3 deg) x 6076.1 ft per nm.
constexpr double kGlidePathFtPerNm = 318.4;

// The client's limits that a normal flight must stay inside.
constexpr double kClientSlowestSampleRealSeconds = 10.0;
constexpr double kClientMaxZuluAdvanceSeconds = 600.0;
constexpr double kClientMaxNmPerRealSecond = 6.0;
constexpr double kTimeScaleMargin = 0.8;

// Haversine distance in nautical miles.
inline double distanceNm(double lat1Deg, double lon1Deg, double lat2Deg, double lon2Deg) {
    const double lat1 = lat1Deg * kRadiansPerDegree;
    const double lat2 = lat2Deg * kRadiansPerDegree;
    const double dLat = lat2 - lat1;
    const double dLon = (lon2Deg - lon1Deg) * kRadiansPerDegree;
    const double a = std::sin(dLat / 2) * std::sin(dLat / 2) +
                     std::cos(lat1) * std::cos(lat2) * std::sin(dLon / 2) * std::sin(dLon / 2);
    return 2.0 * std::asin(std::sqrt(std::min(1.0, a))) * kNmPerRadian;
}

// Initial true course from the first point to the second, 0 to 360 degrees.
inline double courseDeg(double lat1Deg, double lon1Deg, double lat2Deg, double lon2Deg) {
    const double lat1 = lat1Deg * kRadiansPerDegree;
    const double lat2 = lat2Deg * kRadiansPerDegree;
    const double dLon = (lon2Deg - lon1Deg) * kRadiansPerDegree;
    const double y = std::sin(dLon) * std::cos(lat2);
    const double x =
        std::cos(lat1) * std::sin(lat2) - std::sin(lat1) * std::cos(lat2) * std::cos(dLon);
    const double course = std::atan2(y, x) / kRadiansPerDegree;
    return course < 0.0 ? course + 360.0 : course;
}

// The point distanceNm along the great circle leaving (latDeg, lonDeg) on courseDeg.
inline void travel(double latDeg, double lonDeg, double courseDegrees, double distance,
                   double& outLatDeg, double& outLonDeg) {
    const double lat1 = latDeg * kRadiansPerDegree;
    const double lon1 = lonDeg * kRadiansPerDegree;
    const double course = courseDegrees * kRadiansPerDegree;
    const double angle = distance / kNmPerRadian;
    const double lat2 = std::asin(std::sin(lat1) * std::cos(angle) +
                                  std::cos(lat1) * std::sin(angle) * std::cos(course));
    const double lon2 = lon1 + std::atan2(std::sin(course) * std::sin(angle) * std::cos(lat1),
                                          std::cos(angle) - std::sin(lat1) * std::sin(lat2));
    outLatDeg = lat2 / kRadiansPerDegree;
    outLonDeg = std::remainder(lon2 / kRadiansPerDegree, 360.0);
}

// The rule of thumb of 2 % more true airspeed per 1000 ft of altitude.
inline double trueAirspeedKts(double indicatedKts, double altitudeFt) {
    return indicatedKts * (1.0 + 0.02 * std::max(0.0, altitudeFt) / 1000.0);
}
inline double indicatedAirspeedKts(double trueKts, double altitudeFt) {
    return trueKts / (1.0 + 0.02 * std::max(0.0, altitudeFt) / 1000.0);
}

}  // namespace testbed::detail
