// A flight for the test bed's flight model, described as data: the record, a
// builder for tests, and the reader of the flight file format.
//
// Flight file format: lines of "key = value" in sections; "#" or ";" starts a
// comment (at the start of a line, or after white space); blank lines are
// ignored. Numbers are decimal; switches take yes/no, true/false, on/off, 1/0.
//
//   name = Frankfurt to Stuttgart          (before any section, optional)
//   [departure] / [arrival]   icao, latitude, longitude (degrees, north and
//                             east positive), elevation_ft    -- all required
//   [flight]  cruise_altitude_ft, cruise_speed_kt (true airspeed), climb_rate_fpm,
//             descent_rate_fpm, touchdown_vs_fpm (negative), rotate_speed_kt,
//             approach_speed_kt, time_scale (simulated seconds per real second)
//   [ground]  parked_s, taxi_out_s, taxi_in_s, taxi_speed_kt
//   [fuel]    tanks_kg (comma-separated, tank 1 first, up to 9),
//             burn_kg_per_h_per_engine
//   [time]    zulu_start (HH:MM or HH:MM:SS), utc_offset_h
//   [pilot]   landing_lights (correct | off | on), taxi_overspeed_kt,
//             taxi_overspeed_s, overspeed_below_10000_kt, forget_parking_brake
//
// Everything but the airports has a default (the values of FlightDescription).
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace testbed {

// Where a flight starts or ends.
struct FlightEnd {
    std::string icao;
    double latitudeDeg = 0.0;
    double longitudeDeg = 0.0;
    double elevationFt = 0.0;
};

// How the pilot uses the landing lights. Correct: on from line-up to 10000 ft
// and again from 10000 ft down to the runway, off above and after vacating.
enum class LandingLightUse { Correct, AlwaysOff, AlwaysOn };

struct FlightDescription {
    std::string name;
    FlightEnd departure;
    FlightEnd arrival;

    double cruiseAltitudeFt = 24000.0;
    double cruiseSpeedKts = 420.0;  // true airspeed, which is the ground speed (no wind)
    double climbRateFpm = 2200.0;
    double descentRateFpm = 1800.0;
    double touchdownRateFpm = -180.0;
    double rotateSpeedKts = 145.0;    // indicated; lift-off follows 5 kt later
    double approachSpeedKts = 140.0;  // indicated, on the glide path below 2000 ft

    // Simulated seconds per real second (X-Plane's own simulation rate stays
    // 1). Bounded by maxTimeScale() so that a normal flight never trips the
    // client's position-jump or flight-timer rules.
    double timeScale = 30.0;

    double parkedSeconds = 60.0;  // at the gate, engines running, before brake release
    double taxiOutSeconds = 300.0;
    double taxiInSeconds = 180.0;
    double taxiSpeedKts = 15.0;

    std::vector<double>
        tanksKg;  // written to the leading tanks, the rest emptied; empty: untouched
    double fuelBurnKgPerHourPerEngine = 1200.0;  // in cruise; other phases scale it

    std::optional<double> zuluStartSeconds;  // unset: the simulator's clock
    std::optional<double> utcOffsetHours;    // unset: the simulator's local - zulu

    LandingLightUse landingLights = LandingLightUse::Correct;
    // Provoked faults of the pilot (0 / false: none).
    double taxiOverspeedKts = 0.0;  // flown during taxi-out for taxiOverspeedSeconds
    double taxiOverspeedSeconds = 0.0;
    double overspeedBelow10000Kts = 0.0;  // indicated, replaces 250 kt below 10000 ft
    bool forgetParkingBrake = false;
};

// The highest time scale at which a flight with this top ground speed stays
// inside the client's rules, with a margin of 20 %: the client reads the
// simulator as seldom as every 10 real seconds (cruise) and swallows a zulu
// advance of more than 600 s between two reads, and it takes more than 6 nm
// per real second (at X-Plane's simulation rate 1) for a position jump.
double maxTimeScale(double topGroundSpeedKts);
// The top ground speed the flight model reaches with this description
// outside the unscaled taxi overspeed.
double topGroundSpeedKts(const FlightDescription& flight);

// The first problem of a description, naming the file's key ("flight.time_scale"),
// or nothing when the flight can be flown.
struct FlightProblem {
    std::string key;
    std::string message;
};
std::optional<FlightProblem> checkFlight(const FlightDescription& flight);

// A flight file that cannot be read: what() is "<source>:<line>: <reason>".
class FlightFileError : public std::runtime_error {
public:
    FlightFileError(const std::string& source, int line, const std::string& reason);
    int line() const { return m_line; }
    const std::string& reason() const { return m_reason; }

private:
    int m_line;
    std::string m_reason;
};

// Reads a flight from the text of a flight file; source names it in errors.
// Throws FlightFileError.
FlightDescription parseFlight(const std::string& text, const std::string& source);
// Reads a flight file. Throws FlightFileError (line 0 when it cannot be read).
FlightDescription loadFlightFile(const std::string& path);

// Flights for tests, with the defaults of FlightDescription:
//   FlightBuilder().from("EDDF", 50.0333, 8.5706, 364).to("EDDS", 48.6899, 9.2220, 1276)
//       .cruise(18000, 380).timeScale(20).build();
class FlightBuilder {
public:
    FlightBuilder& name(const std::string& text);
    FlightBuilder& from(const std::string& icao, double latitudeDeg, double longitudeDeg,
                        double elevationFt);
    FlightBuilder& to(const std::string& icao, double latitudeDeg, double longitudeDeg,
                      double elevationFt);
    FlightBuilder& cruise(double altitudeFt, double trueAirspeedKts);
    FlightBuilder& climbRate(double fpm);
    FlightBuilder& descentRate(double fpm);
    FlightBuilder& touchdownRate(double fpm);
    FlightBuilder& speeds(double rotateKts, double approachKts);
    FlightBuilder& timeScale(double simulatedSecondsPerRealSecond);
    FlightBuilder& parkedFor(double seconds);
    FlightBuilder& taxi(double outSeconds, double inSeconds, double speedKts);
    FlightBuilder& fuel(const std::vector<double>& tanksKg);
    FlightBuilder& fuelBurn(double kgPerHourPerEngine);
    FlightBuilder& zuluStart(double seconds);
    FlightBuilder& utcOffset(double hours);
    FlightBuilder& landingLights(LandingLightUse use);
    FlightBuilder& taxiOverspeed(double kts, double seconds);
    FlightBuilder& overspeedBelow10000(double kts);
    FlightBuilder& forgetParkingBrake(bool forget = true);

    // Throws std::invalid_argument naming the first problem (see checkFlight).
    FlightDescription build() const;

private:
    FlightDescription m_flight;
};

}  // namespace testbed
