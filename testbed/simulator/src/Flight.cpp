// Flight descriptions: the checks that keep a flight flyable and inside the
// client's rules, the flight file reader and the builder for tests.
#include "testbed/Flight.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>

#include "FlightMath.h"

namespace testbed {

using namespace detail;

namespace {

// Below 10000 ft the model flies 250 kt indicated unless told to overspeed;
// 9900 ft is the highest altitude at which the client still counts that
// speed as below 10000 ft.
constexpr double kSpeedLimitKts = 250.0;
constexpr double kSpeedLimitAltitudeFt = 10000.0;
constexpr double kMinRouteNm = 20.0;
constexpr double kMaxRouteNm = 6000.0;

std::string format(const char* pattern, double value) {
    char text[64];
    std::snprintf(text, sizeof text, pattern, value);
    return text;
}

std::string trim(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) {
        return "";
    }
    const auto last = text.find_last_not_of(" \t\r");
    return text.substr(first, last - first + 1);
}

// An empty string when the value is good, otherwise why not.
using Setter = std::function<std::string(FlightDescription&, const std::string&)>;

std::string parseNumber(const std::string& text, double& out) {
    if (text.empty()) {
        return "a number is missing";
    }
    char* end = nullptr;
    errno = 0;
    out = std::strtod(text.c_str(), &end);
    if (errno != 0 || end != text.c_str() + text.size() || !std::isfinite(out)) {
        return "'" + text + "' is not a number";
    }
    return "";
}

Setter number(double FlightDescription::*member) {
    return [member](FlightDescription& flight, const std::string& text) {
        return parseNumber(text, flight.*member);
    };
}

Setter airportNumber(FlightEnd FlightDescription::*airport, double FlightEnd::*member) {
    return [airport, member](FlightDescription& flight, const std::string& text) {
        return parseNumber(text, flight.*airport.*member);
    };
}

std::string parseSwitch(const std::string& text, bool& out) {
    static const std::map<std::string, bool> kWords{
        {"yes", true}, {"true", true},   {"on", true},   {"1", true},
        {"no", false}, {"false", false}, {"off", false}, {"0", false}};
    const auto found = kWords.find(text);
    if (found == kWords.end()) {
        return "'" + text + "' is not yes or no";
    }
    out = found->second;
    return "";
}

// "HH:MM" or "HH:MM:SS" into seconds of the day.
std::string parseClock(const std::string& text, double& seconds) {
    if (text.find_first_not_of("0123456789:") != std::string::npos) {
        return "'" + text + "' is not a time of day HH:MM or HH:MM:SS";
    }
    int hours = 0, minutes = 0, secs = 0;
    char tail = 0;
    const int fields = std::sscanf(text.c_str(), "%d:%d:%d%c", &hours, &minutes, &secs, &tail);
    const bool shortForm = fields == 2 && text.find(':') == text.rfind(':');
    if (!(shortForm || fields == 3) || hours < 0 || hours > 23 || minutes < 0 || minutes > 59 ||
        secs < 0 || secs > 59) {
        return "'" + text + "' is not a time of day HH:MM or HH:MM:SS";
    }
    seconds = hours * 3600.0 + minutes * 60.0 + secs;
    return "";
}

std::string parseList(const std::string& text, std::vector<double>& out) {
    out.clear();
    std::stringstream items(text);
    std::string item;
    while (std::getline(items, item, ',')) {
        double value = 0.0;
        const std::string why = parseNumber(trim(item), value);
        if (!why.empty()) {
            return why;
        }
        out.push_back(value);
    }
    return "";
}

const std::map<std::string, Setter>& fieldSetters() {
    using F = FlightDescription;
    static const std::map<std::string, Setter> kSetters{
        {"name", [](F& f, const std::string& v) { return f.name = v, std::string(); }},
        {"departure.icao",
         [](F& f, const std::string& v) { return f.departure.icao = v, std::string(); }},
        {"departure.latitude", airportNumber(&F::departure, &FlightEnd::latitudeDeg)},
        {"departure.longitude", airportNumber(&F::departure, &FlightEnd::longitudeDeg)},
        {"departure.elevation_ft", airportNumber(&F::departure, &FlightEnd::elevationFt)},
        {"arrival.icao",
         [](F& f, const std::string& v) { return f.arrival.icao = v, std::string(); }},
        {"arrival.latitude", airportNumber(&F::arrival, &FlightEnd::latitudeDeg)},
        {"arrival.longitude", airportNumber(&F::arrival, &FlightEnd::longitudeDeg)},
        {"arrival.elevation_ft", airportNumber(&F::arrival, &FlightEnd::elevationFt)},
        {"flight.cruise_altitude_ft", number(&F::cruiseAltitudeFt)},
        {"flight.cruise_speed_kt", number(&F::cruiseSpeedKts)},
        {"flight.climb_rate_fpm", number(&F::climbRateFpm)},
        {"flight.descent_rate_fpm", number(&F::descentRateFpm)},
        {"flight.touchdown_vs_fpm", number(&F::touchdownRateFpm)},
        {"flight.rotate_speed_kt", number(&F::rotateSpeedKts)},
        {"flight.approach_speed_kt", number(&F::approachSpeedKts)},
        {"flight.time_scale", number(&F::timeScale)},
        {"ground.parked_s", number(&F::parkedSeconds)},
        {"ground.taxi_out_s", number(&F::taxiOutSeconds)},
        {"ground.taxi_in_s", number(&F::taxiInSeconds)},
        {"ground.taxi_speed_kt", number(&F::taxiSpeedKts)},
        {"fuel.tanks_kg", [](F& f, const std::string& v) { return parseList(v, f.tanksKg); }},
        {"fuel.burn_kg_per_h_per_engine", number(&F::fuelBurnKgPerHourPerEngine)},
        {"time.zulu_start",
         [](F& f, const std::string& v) {
             double seconds = 0.0;
             const std::string why = parseClock(v, seconds);
             f.zuluStartSeconds = seconds;
             return why;
         }},
        {"time.utc_offset_h",
         [](F& f, const std::string& v) {
             double hours = 0.0;
             const std::string why = parseNumber(v, hours);
             f.utcOffsetHours = hours;
             return why;
         }},
        {"pilot.landing_lights",
         [](F& f, const std::string& v) -> std::string {
             static const std::map<std::string, LandingLightUse> kUses{
                 {"correct", LandingLightUse::Correct},
                 {"off", LandingLightUse::AlwaysOff},
                 {"on", LandingLightUse::AlwaysOn}};
             const auto found = kUses.find(v);
             if (found == kUses.end()) {
                 return "'" + v + "' is not correct, off or on";
             }
             f.landingLights = found->second;
             return "";
         }},
        {"pilot.taxi_overspeed_kt", number(&F::taxiOverspeedKts)},
        {"pilot.taxi_overspeed_s", number(&F::taxiOverspeedSeconds)},
        {"pilot.overspeed_below_10000_kt", number(&F::overspeedBelow10000Kts)},
        {"pilot.forget_parking_brake",
         [](F& f, const std::string& v) { return parseSwitch(v, f.forgetParkingBrake); }},
    };
    return kSetters;
}

const char* const kSections[] = {"departure", "arrival", "flight", "ground",
                                 "fuel",      "time",    "pilot"};
const char* const kRequired[] = {
    "departure.icao", "departure.latitude", "departure.longitude", "departure.elevation_ft",
    "arrival.icao",   "arrival.latitude",   "arrival.longitude",   "arrival.elevation_ft"};

std::optional<FlightProblem> problem(const std::string& key, const std::string& message) {
    return FlightProblem{key, message};
}

// A value outside [low, high] as a problem of key.
std::optional<FlightProblem> outside(const std::string& key, double value, double low, double high,
                                     const char* unit) {
    if (value >= low && value <= high) {
        return std::nullopt;
    }
    return problem(key, key + " " + format("%g", value) + " is outside " + format("%g", low) +
                            " to " + format("%g", high) + " " + unit);
}

std::optional<FlightProblem> checkAirport(const FlightEnd& airport, const std::string& section) {
    if (airport.icao.empty()) {
        return problem(section + ".icao", "the " + section + " airport is not set");
    }
    if (auto p = outside(section + ".latitude", airport.latitudeDeg, -90, 90, "degrees")) {
        return p;
    }
    if (auto p = outside(section + ".longitude", airport.longitudeDeg, -180, 180, "degrees")) {
        return p;
    }
    return outside(section + ".elevation_ft", airport.elevationFt, -1500, 14000, "ft");
}

}  // namespace

double maxTimeScale(double topGroundSpeedKts) {
    const double byClock = kClientMaxZuluAdvanceSeconds / kClientSlowestSampleRealSeconds;
    const double byDistance = kClientMaxNmPerRealSecond * 3600.0 / std::max(1.0, topGroundSpeedKts);
    return kTimeScaleMargin * std::min(byClock, byDistance);
}

double topGroundSpeedKts(const FlightDescription& flight) {
    // Climb and descent speeds are capped at the cruise's true airspeed; only
    // a provoked overspeed below 10000 ft can be faster.
    const double belowLimitIas =
        flight.overspeedBelow10000Kts > 0.0 ? flight.overspeedBelow10000Kts : kSpeedLimitKts;
    return std::max(flight.cruiseSpeedKts, trueAirspeedKts(belowLimitIas, kSpeedLimitAltitudeFt));
}

std::optional<FlightProblem> checkFlight(const FlightDescription& f) {
    if (auto p = checkAirport(f.departure, "departure")) {
        return p;
    }
    if (auto p = checkAirport(f.arrival, "arrival")) {
        return p;
    }
    const double routeNm = distanceNm(f.departure.latitudeDeg, f.departure.longitudeDeg,
                                      f.arrival.latitudeDeg, f.arrival.longitudeDeg);
    if (routeNm < kMinRouteNm || routeNm > kMaxRouteNm) {
        return problem("arrival.latitude", "the airports are " + format("%.1f", routeNm) +
                                               " nm apart; a flight needs " +
                                               format("%g", kMinRouteNm) + " to " +
                                               format("%g", kMaxRouteNm) + " nm");
    }
    const double highestFieldFt = std::max(f.departure.elevationFt, f.arrival.elevationFt);
    if (auto p = outside("flight.cruise_altitude_ft", f.cruiseAltitudeFt, highestFieldFt + 3000,
                         45000, "ft (3000 ft above the higher airport to 45000 ft)")) {
        return p;
    }
    if (auto p = outside("flight.cruise_speed_kt", f.cruiseSpeedKts, 150, 600, "kt")) {
        return p;
    }
    if (auto p = outside("flight.climb_rate_fpm", f.climbRateFpm, 500, 6000, "ft/min")) {
        return p;
    }
    if (auto p = outside("flight.descent_rate_fpm", f.descentRateFpm, 500, 6000, "ft/min")) {
        return p;
    }
    if (auto p = outside("flight.touchdown_vs_fpm", f.touchdownRateFpm, -1500, -10, "ft/min")) {
        return p;
    }
    if (auto p = outside("flight.rotate_speed_kt", f.rotateSpeedKts, 60, 200, "kt")) {
        return p;
    }
    if (auto p = outside("flight.approach_speed_kt", f.approachSpeedKts, 60, 180, "kt")) {
        return p;
    }
    const double topGsKts = topGroundSpeedKts(f);
    const double maxScale = maxTimeScale(topGsKts);
    if (!(f.timeScale > 0.0) || f.timeScale > maxScale) {
        return problem("flight.time_scale",
                       "flight.time_scale " + format("%g", f.timeScale) + " is outside 0 to " +
                           format("%.1f", maxScale) + ", the most at which a top ground speed of " +
                           format("%.0f", topGsKts) +
                           " kt keeps within the client's position-jump and flight-timer rules");
    }
    if (auto p = outside("ground.parked_s", f.parkedSeconds, 0, 86400, "s")) {
        return p;
    }
    if (auto p = outside("ground.taxi_speed_kt", f.taxiSpeedKts, 3, 29, "kt")) {
        return p;
    }
    if (auto p = outside("ground.taxi_out_s", f.taxiOutSeconds, 30, 7200, "s")) {
        return p;
    }
    if (auto p = outside("ground.taxi_in_s", f.taxiInSeconds, 30, 7200, "s")) {
        return p;
    }
    if (f.tanksKg.size() > 9) {
        return problem("fuel.tanks_kg", "fuel.tanks_kg names " + std::to_string(f.tanksKg.size()) +
                                            " tanks; there are 9");
    }
    for (double kg : f.tanksKg) {
        if (auto p = outside("fuel.tanks_kg", kg, 0, 200000, "kg")) {
            return p;
        }
    }
    if (auto p = outside("fuel.burn_kg_per_h_per_engine", f.fuelBurnKgPerHourPerEngine, 0, 20000,
                         "kg/h")) {
        return p;
    }
    if (f.zuluStartSeconds) {
        if (auto p = outside("time.zulu_start", *f.zuluStartSeconds, 0, 86399, "s")) {
            return p;
        }
    }
    if (f.utcOffsetHours) {
        if (auto p = outside("time.utc_offset_h", *f.utcOffsetHours, -14, 14, "h")) {
            return p;
        }
    }
    if (f.taxiOverspeedKts != 0.0 || f.taxiOverspeedSeconds != 0.0) {
        if (auto p = outside("pilot.taxi_overspeed_kt", f.taxiOverspeedKts, f.taxiSpeedKts + 1, 60,
                             "kt (above the taxi speed)")) {
            return p;
        }
        if (auto p =
                outside("pilot.taxi_overspeed_s", f.taxiOverspeedSeconds, 1, f.taxiOutSeconds - 60,
                        "s (taxi_out_s leaves a minute for the rest)")) {
            return p;
        }
    }
    if (f.overspeedBelow10000Kts != 0.0) {
        if (auto p = outside("pilot.overspeed_below_10000_kt", f.overspeedBelow10000Kts, 251, 350,
                             "kt")) {
            return p;
        }
    }
    return std::nullopt;
}

FlightFileError::FlightFileError(const std::string& source, int line, const std::string& reason)
    : std::runtime_error(source + ":" + std::to_string(line) + ": " + reason),
      m_line(line),
      m_reason(reason) {}

FlightDescription parseFlight(const std::string& text, const std::string& source) {
    FlightDescription flight;
    std::map<std::string, int> keyLines;      // "section.key" -> line
    std::map<std::string, int> sectionLines;  // section -> line of its header
    std::string section;
    std::istringstream lines(text);
    std::string raw;
    int lineNumber = 0;
    while (std::getline(lines, raw)) {
        ++lineNumber;
        // A comment starts a line or follows white space, so "#" may appear in values.
        std::string line = raw;
        for (size_t i = 0; i < line.size(); ++i) {
            if ((line[i] == '#' || line[i] == ';') &&
                (i == 0 || line[i - 1] == ' ' || line[i - 1] == '\t')) {
                line.erase(i);
                break;
            }
        }
        line = trim(line);
        if (line.empty()) {
            continue;
        }
        if (line.front() == '[') {
            if (line.back() != ']') {
                throw FlightFileError(source, lineNumber, "section header without ']'");
            }
            section = trim(line.substr(1, line.size() - 2));
            bool known = false;
            for (const char* name : kSections) {
                known = known || section == name;
            }
            if (!known) {
                throw FlightFileError(source, lineNumber, "unknown section [" + section + "]");
            }
            if (!sectionLines.emplace(section, lineNumber).second) {
                throw FlightFileError(source, lineNumber,
                                      "section [" + section + "] appears twice (first on line " +
                                          std::to_string(sectionLines[section]) + ")");
            }
            continue;
        }
        const auto equals = line.find('=');
        if (equals == std::string::npos) {
            throw FlightFileError(source, lineNumber, "expected 'key = value', got '" + line + "'");
        }
        const std::string key = trim(line.substr(0, equals));
        const std::string value = trim(line.substr(equals + 1));
        const std::string fullKey = section.empty() ? key : section + "." + key;
        const auto setter = fieldSetters().find(fullKey);
        if (key.empty() || setter == fieldSetters().end()) {
            throw FlightFileError(source, lineNumber,
                                  "unknown key '" + key + "'" +
                                      (section.empty() ? std::string(" outside a section")
                                                       : " in section [" + section + "]"));
        }
        if (!keyLines.emplace(fullKey, lineNumber).second) {
            throw FlightFileError(source, lineNumber,
                                  "'" + key + "' given twice (first on line " +
                                      std::to_string(keyLines[fullKey]) + ")");
        }
        const std::string why = setter->second(flight, value);
        if (!why.empty()) {
            throw FlightFileError(source, lineNumber, key + ": " + why);
        }
    }

    const int lastLine = std::max(1, lineNumber);
    for (const char* required : kRequired) {
        if (keyLines.count(required) == 0) {
            const std::string fullKey = required;
            const std::string sectionName = fullKey.substr(0, fullKey.find('.'));
            const std::string key = fullKey.substr(fullKey.find('.') + 1);
            const auto header = sectionLines.find(sectionName);
            if (header == sectionLines.end()) {
                throw FlightFileError(source, lastLine, "missing section [" + sectionName + "]");
            }
            throw FlightFileError(source, header->second,
                                  "section [" + sectionName + "] lacks '" + key + "'");
        }
    }
    if (const auto p = checkFlight(flight)) {
        const auto keyLine = keyLines.find(p->key);
        const auto header = sectionLines.find(p->key.substr(0, p->key.find('.')));
        const int line = keyLine != keyLines.end()      ? keyLine->second
                         : header != sectionLines.end() ? header->second
                                                        : lastLine;
        throw FlightFileError(source, line, p->message);
    }
    return flight;
}

FlightDescription loadFlightFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw FlightFileError(path, 0, "cannot be read");
    }
    std::ostringstream text;
    text << in.rdbuf();
    return parseFlight(text.str(), path);
}

FlightBuilder& FlightBuilder::name(const std::string& text) {
    m_flight.name = text;
    return *this;
}

FlightBuilder& FlightBuilder::from(const std::string& icao, double latitudeDeg, double longitudeDeg,
                                   double elevationFt) {
    m_flight.departure = FlightEnd{icao, latitudeDeg, longitudeDeg, elevationFt};
    return *this;
}

FlightBuilder& FlightBuilder::to(const std::string& icao, double latitudeDeg, double longitudeDeg,
                                 double elevationFt) {
    m_flight.arrival = FlightEnd{icao, latitudeDeg, longitudeDeg, elevationFt};
    return *this;
}

FlightBuilder& FlightBuilder::cruise(double altitudeFt, double trueAirspeedKts) {
    m_flight.cruiseAltitudeFt = altitudeFt;
    m_flight.cruiseSpeedKts = trueAirspeedKts;
    return *this;
}

FlightBuilder& FlightBuilder::climbRate(double fpm) {
    m_flight.climbRateFpm = fpm;
    return *this;
}

FlightBuilder& FlightBuilder::descentRate(double fpm) {
    m_flight.descentRateFpm = fpm;
    return *this;
}

FlightBuilder& FlightBuilder::touchdownRate(double fpm) {
    m_flight.touchdownRateFpm = fpm;
    return *this;
}

FlightBuilder& FlightBuilder::speeds(double rotateKts, double approachKts) {
    m_flight.rotateSpeedKts = rotateKts;
    m_flight.approachSpeedKts = approachKts;
    return *this;
}

FlightBuilder& FlightBuilder::timeScale(double simulatedSecondsPerRealSecond) {
    m_flight.timeScale = simulatedSecondsPerRealSecond;
    return *this;
}

FlightBuilder& FlightBuilder::parkedFor(double seconds) {
    m_flight.parkedSeconds = seconds;
    return *this;
}

FlightBuilder& FlightBuilder::taxi(double outSeconds, double inSeconds, double speedKts) {
    m_flight.taxiOutSeconds = outSeconds;
    m_flight.taxiInSeconds = inSeconds;
    m_flight.taxiSpeedKts = speedKts;
    return *this;
}

FlightBuilder& FlightBuilder::fuel(const std::vector<double>& tanksKg) {
    m_flight.tanksKg = tanksKg;
    return *this;
}

FlightBuilder& FlightBuilder::fuelBurn(double kgPerHourPerEngine) {
    m_flight.fuelBurnKgPerHourPerEngine = kgPerHourPerEngine;
    return *this;
}

FlightBuilder& FlightBuilder::zuluStart(double seconds) {
    m_flight.zuluStartSeconds = seconds;
    return *this;
}

FlightBuilder& FlightBuilder::utcOffset(double hours) {
    m_flight.utcOffsetHours = hours;
    return *this;
}

FlightBuilder& FlightBuilder::landingLights(LandingLightUse use) {
    m_flight.landingLights = use;
    return *this;
}

FlightBuilder& FlightBuilder::taxiOverspeed(double kts, double seconds) {
    m_flight.taxiOverspeedKts = kts;
    m_flight.taxiOverspeedSeconds = seconds;
    return *this;
}

FlightBuilder& FlightBuilder::overspeedBelow10000(double kts) {
    m_flight.overspeedBelow10000Kts = kts;
    return *this;
}

FlightBuilder& FlightBuilder::forgetParkingBrake(bool forget) {
    m_flight.forgetParkingBrake = forget;
    return *this;
}

FlightDescription FlightBuilder::build() const {
    if (const auto p = checkFlight(m_flight)) {
        throw std::invalid_argument("testbed::FlightBuilder: " + p->message);
    }
    return m_flight;
}

}  // namespace testbed
