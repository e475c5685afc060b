// The website's tables and queries over SQLite. The answers' key names are
// the column aliases of the queries, so each answer reads as its SELECT.
#include "SiteDatabase.h"

#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "FormBody.h"
#include "RequestFormats.h"

namespace testbed {

namespace {

// The flight log's Status: booked, flown (positions arrive), done (report in).
const char* const kStatusBooked = "booked";
const char* const kStatusFlying = "flying";
const char* const kStatusCompleted = "completed";

// The functions whose requests are kept field by field in a table of their own.
const char* const kPositionTable = "position_logs";
const char* const kEventTable = "event_logs";
const char* const kTrackerTable = "tracker_updates";
const char* const kReportTable = "reports";

const double kDegreesToRadians = 3.14159265358979323846 / 180.0;

class Statement {
public:
    Statement(sqlite3* db, const std::string& sql) : m_db(db) {
        if (sqlite3_prepare_v2(db, sql.c_str(), -1, &m_statement, nullptr) != SQLITE_OK) {
            throw std::runtime_error(std::string("SQL: ") + sqlite3_errmsg(db) + " in: " + sql);
        }
    }
    ~Statement() { sqlite3_finalize(m_statement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    template <typename... Values>
    Statement& bind(const Values&... values) {
        int index = 1;
        (bindOne(index++, values), ...);
        return *this;
    }

    // True while there is a row to read.
    bool step() {
        const int rc = sqlite3_step(m_statement);
        if (rc == SQLITE_ROW) {
            return true;
        }
        if (rc != SQLITE_DONE) {
            throw std::runtime_error(std::string("SQL: ") + sqlite3_errmsg(m_db));
        }
        return false;
    }

    int columns() const { return sqlite3_column_count(m_statement); }
    std::string name(int column) const { return sqlite3_column_name(m_statement, column); }
    bool isNull(int column) const {
        return sqlite3_column_type(m_statement, column) == SQLITE_NULL;
    }
    std::string text(int column) const {
        const unsigned char* value = sqlite3_column_text(m_statement, column);
        return value == nullptr
                   ? std::string()
                   : std::string(
                         reinterpret_cast<const char*>(value),
                         static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column)));
    }
    std::int64_t integer(int column) const { return sqlite3_column_int64(m_statement, column); }
    double real(int column) const { return sqlite3_column_double(m_statement, column); }

    void bindAt(int index, const std::string& value) { bindOne(index, value); }

    // The current row as name/value pairs; NULL reads as empty.
    FormFields row() const {
        FormFields fields;
        for (int i = 0; i < columns(); ++i) {
            fields.emplace_back(name(i), text(i));
        }
        return fields;
    }

private:
    void bindOne(int index, const std::string& value) {
        check(sqlite3_bind_text(m_statement, index, value.data(), static_cast<int>(value.size()),
                                SQLITE_TRANSIENT));
    }
    void bindOne(int index, const char* value) { bindOne(index, std::string(value)); }
    void bindOne(int index, int value) { check(sqlite3_bind_int(m_statement, index, value)); }
    void bindOne(int index, std::int64_t value) {
        check(sqlite3_bind_int64(m_statement, index, value));
    }
    void bindOne(int index, double value) { check(sqlite3_bind_double(m_statement, index, value)); }
    void check(int rc) {
        if (rc != SQLITE_OK) {
            throw std::runtime_error(std::string("SQL bind: ") + sqlite3_errmsg(m_db));
        }
    }

    sqlite3* m_db;
    sqlite3_stmt* m_statement = nullptr;
};

std::string quoted(const std::string& identifier) { return "\"" + identifier + "\""; }

// An id given, or 0 for the next free one: SQLite assigns on NULL.
std::string idOrNull(int id) { return id > 0 ? std::to_string(id) : "NULL"; }

// The flight log part of the route answer, shared with flightLogs().
const char* const kRouteQuery = R"SQL(
SELECT r.id AS r_ID, r.airline_id AS r_VA_ID, r.airline AS r_Airline,
       r.departure AS r_Dep, r.arrival AS r_Arr, r.departure_time AS r_DepTime,
       r.arrival_time AS r_ArrTime, r.route AS r_Route, rt.name AS r_Type,
       r.aircraft_type_id AS r_ACDB_ID, l.aircraft_id AS r_AC_ID, r.number AS r_Number,
       r.price AS r_Price, r.remarks AS r_Remarks, r.simrate AS r_Simrate,
       r.flight_type AS r_FlightType,
       l.id AS l_ID, l.aircraft_id AS l_AC_ID, l.pilot_id AS l_User_ID, l.route_id AS l_Route_ID,
       r.departure AS l_Departure, r.arrival AS l_Arrival, l.distance AS l_Dist,
       l.duration AS l_Duration, l.status AS l_Status, l.passengers AS l_Passengers,
       l.cargo AS l_Cargo, l.multiplier AS l_Multiplier, l.flight_type AS l_FlightType,
       l.lon AS l_Lon, l.lat AS l_Lat, l.flight_state AS l_FlightState,
       l.timestamp AS l_Timestamp,
       a.state_eng1 AS a_StateEng1, a.state_eng2 AS a_StateEng2, a.state_eng3 AS a_StateEng3,
       a.state_eng4 AS a_StateEng4, a.state_gear AS a_StateGear, a.state_hull AS a_StateHull,
       a.fuel AS a_Fuel, a.value AS a_Value, a.id AS a_ID, a.type_id AS a_ACDB_ID,
       a.location AS a_Location, a.owner AS a_Owner, a.status AS a_Status,
       a.registration AS a_Registration, at.name AS a_Type, a.description AS a_Description,
       a.fuel_mult AS a_FuelMult,
       v.reputation AS v_Reputation, v.pilot_charge AS v_Pilotcharge, v.id AS v_ID,
       v.name AS v_Name, v.multiplier AS v_Multiplier,
       at.price AS d_Price, at.dow AS d_DOW, at.mtow AS d_MTOW, at.engines AS d_Engines,
       at.ticket_factor AS d_Ticket,
       dep.lat AS ad_lat, dep.lon AS ad_lon, dep.fuel_price AS ad_fuel,
       arr.lat AS aa_lat, arr.lon AS aa_lon, arr.fuel_price AS aa_fuel
FROM flight_logs l
JOIN routes r ON r.id = l.route_id
JOIN pilots p ON p.id = l.pilot_id
LEFT JOIN aircraft a ON a.id = l.aircraft_id
LEFT JOIN aircraft_types rt ON rt.id = r.aircraft_type_id
LEFT JOIN aircraft_types at ON at.id = a.type_id
LEFT JOIN airlines v ON v.id = p.airline_id
LEFT JOIN airports dep ON dep.icao = r.departure
LEFT JOIN airports arr ON arr.icao = r.arrival
)SQL";

}  // namespace

SiteDatabase::SiteDatabase(const std::string& path) {
    const std::string name = path.empty() ? ":memory:" : path;
    if (sqlite3_open(name.c_str(), &m_db) != SQLITE_OK) {
        const std::string error = m_db ? sqlite3_errmsg(m_db) : "out of memory";
        sqlite3_close(m_db);
        throw std::runtime_error("cannot open the website database " + name + ": " + error);
    }
    exec("PRAGMA foreign_keys = OFF");
    createSchema();
}

SiteDatabase::~SiteDatabase() { sqlite3_close(m_db); }

void SiteDatabase::exec(const std::string& sql) const {
    char* error = nullptr;
    if (sqlite3_exec(m_db, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
        const std::string message = error ? error : "unknown error";
        sqlite3_free(error);
        throw std::runtime_error("SQL: " + message + " in: " + sql);
    }
}

void SiteDatabase::createSchema() {
    exec(R"SQL(
CREATE TABLE IF NOT EXISTS settings (key TEXT PRIMARY KEY, value TEXT);
CREATE TABLE IF NOT EXISTS airlines (
  id INTEGER PRIMARY KEY, name TEXT, multiplier TEXT, reputation INTEGER, pilot_charge INTEGER);
CREATE TABLE IF NOT EXISTS pilots (
  id INTEGER PRIMARY KEY, user TEXT UNIQUE NOT NULL, password_md5 TEXT, name TEXT, surname TEXT,
  airline_id INTEGER, va_user TEXT, rank TEXT, location TEXT, budget TEXT, status TEXT,
  weight_unit TEXT);
CREATE TABLE IF NOT EXISTS aircraft_types (
  id INTEGER PRIMARY KEY, name TEXT, price INTEGER, dow INTEGER, mtow INTEGER, engines INTEGER,
  ticket_factor REAL);
CREATE TABLE IF NOT EXISTS aircraft (
  id INTEGER PRIMARY KEY, type_id INTEGER, registration TEXT, description TEXT, location TEXT,
  owner TEXT, status TEXT, state_eng1 REAL, state_eng2 REAL, state_eng3 REAL, state_eng4 REAL,
  state_gear REAL, state_hull REAL, fuel INTEGER, value INTEGER, fuel_mult REAL);
CREATE TABLE IF NOT EXISTS airports (
  id INTEGER PRIMARY KEY, icao TEXT UNIQUE NOT NULL, name TEXT, lat REAL, lon REAL,
  elevation_ft INTEGER, fuel_price REAL);
CREATE TABLE IF NOT EXISTS routes (
  id INTEGER PRIMARY KEY, airline_id INTEGER, airline TEXT, number TEXT, departure TEXT,
  arrival TEXT, departure_time TEXT, arrival_time TEXT, route TEXT, price TEXT, remarks TEXT,
  simrate INTEGER, flight_type TEXT, aircraft_type_id INTEGER);
-- A flight log's id is never given again, not even after its booking is
-- cancelled: a report stored under it must not turn the next flight away.
CREATE TABLE IF NOT EXISTS flight_logs (
  id INTEGER PRIMARY KEY AUTOINCREMENT, pilot_id INTEGER, route_id INTEGER, aircraft_id INTEGER,
  distance TEXT, duration TEXT, status TEXT, passengers TEXT, cargo TEXT, multiplier TEXT,
  flight_type TEXT, lon TEXT DEFAULT '', lat TEXT DEFAULT '', flight_state TEXT DEFAULT '',
  fuel TEXT DEFAULT '', timestamp INTEGER);
CREATE TABLE IF NOT EXISTS route_answer_overrides (
  flight_log_id INTEGER, key TEXT, value TEXT, PRIMARY KEY (flight_log_id, key));
CREATE TABLE IF NOT EXISTS news (id INTEGER PRIMARY KEY, header TEXT, text TEXT);
CREATE TABLE IF NOT EXISTS requests (
  site_id INTEGER PRIMARY KEY, function TEXT, body TEXT, received_ms INTEGER,
  handled INTEGER DEFAULT 0, answer TEXT DEFAULT '', problem TEXT DEFAULT '',
  injected INTEGER DEFAULT 0);
)SQL");

    // Tables of what the client sends: one column per key of its format.
    struct Kept {
        const char* table;
        const char* function;
        const char* siteColumns;
    };
    static const Kept kKept[] = {
        {kReportTable, "writereport",
         "site_report_id INTEGER PRIMARY KEY, site_received_ms INTEGER, site_flight_log_id "
         "INTEGER"},
        {kPositionTable, "writepositionlog",
         "site_id INTEGER PRIMARY KEY, site_received_ms INTEGER"},
        {kEventTable, "writeeventlog", "site_id INTEGER PRIMARY KEY, site_received_ms INTEGER"},
        {kTrackerTable, "writelog",
         "site_id INTEGER PRIMARY KEY, site_received_ms INTEGER, site_flight_log_id INTEGER"},
    };
    for (const Kept& kept : kKept) {
        std::string sql =
            std::string("CREATE TABLE IF NOT EXISTS ") + kept.table + " (" + kept.siteColumns;
        for (const auto& key : distinctKeys(*findRequestFormat(kept.function))) {
            sql += ", " + quoted(key) + " TEXT";
        }
        exec(sql + ")");
    }
    exec(std::string("CREATE UNIQUE INDEX IF NOT EXISTS position_entry ON ") + kPositionTable +
         " (LogId, PositionId)");
}

std::string SiteDatabase::setting(const std::string& key, const std::string& fallback) const {
    Statement query(m_db, "SELECT value FROM settings WHERE key = ?");
    query.bind(key);
    return query.step() ? query.text(0) : fallback;
}

void SiteDatabase::setSetting(const std::string& key, const std::string& value) {
    Statement(m_db, "INSERT OR REPLACE INTO settings (key, value) VALUES (?, ?)")
        .bind(key, value)
        .step();
}

int SiteDatabase::addAirline(const Airline& airline) {
    Statement(m_db,
              "INSERT OR REPLACE INTO airlines VALUES (" + idOrNull(airline.id) + ", ?, ?, ?, ?)")
        .bind(airline.name, airline.multiplier, airline.reputation, airline.pilotChargePercent)
        .step();
    return static_cast<int>(sqlite3_last_insert_rowid(m_db));
}

int SiteDatabase::addPilot(const Pilot& pilot) {
    Statement(m_db, "INSERT OR REPLACE INTO pilots VALUES (" + idOrNull(pilot.id) +
                        ", ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
        .bind(pilot.user, md5Hex(pilot.password), pilot.name, pilot.surname, pilot.airlineId,
              pilot.vaUser, pilot.rank, pilot.location, pilot.budget, pilot.status,
              pilot.weightUnit)
        .step();
    return static_cast<int>(sqlite3_last_insert_rowid(m_db));
}

int SiteDatabase::addAircraftType(const AircraftType& type) {
    Statement(m_db, "INSERT OR REPLACE INTO aircraft_types VALUES (" + idOrNull(type.id) +
                        ", ?, ?, ?, ?, ?, ?)")
        .bind(type.name, type.price, type.dowKg, type.mtowKg, type.engines, type.ticketFactor)
        .step();
    return static_cast<int>(sqlite3_last_insert_rowid(m_db));
}

int SiteDatabase::addAircraft(const Aircraft& aircraft) {
    Statement(m_db, "INSERT OR REPLACE INTO aircraft VALUES (" + idOrNull(aircraft.id) +
                        ", ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
        .bind(aircraft.typeId, aircraft.registration, aircraft.description, aircraft.location,
              aircraft.owner, aircraft.status, aircraft.stateEngines[0], aircraft.stateEngines[1],
              aircraft.stateEngines[2], aircraft.stateEngines[3], aircraft.stateGear,
              aircraft.stateHull, aircraft.fuelKg, aircraft.value, aircraft.fuelMult)
        .step();
    return static_cast<int>(sqlite3_last_insert_rowid(m_db));
}

void SiteDatabase::addAirport(const Airport& airport) {
    Statement(m_db, R"SQL(
INSERT INTO airports (icao, name, lat, lon, elevation_ft, fuel_price) VALUES (?, ?, ?, ?, ?, ?)
ON CONFLICT (icao) DO UPDATE SET name = excluded.name, lat = excluded.lat, lon = excluded.lon,
  elevation_ft = excluded.elevation_ft, fuel_price = excluded.fuel_price)SQL")
        .bind(airport.icao, airport.name, airport.latitudeDeg, airport.longitudeDeg,
              airport.elevationFt, airport.fuelPrice)
        .step();
}

int SiteDatabase::addRoute(const Route& route) {
    Statement(m_db, "INSERT OR REPLACE INTO routes VALUES (" + idOrNull(route.id) +
                        ", ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
        .bind(route.airlineId, route.airline, route.number, route.departure, route.arrival,
              route.departureTime, route.arrivalTime, route.route, route.price, route.remarks,
              route.simrate, route.flightType, route.aircraftTypeId)
        .step();
    return static_cast<int>(sqlite3_last_insert_rowid(m_db));
}

int SiteDatabase::book(const Booking& booking, std::int64_t bookedUnixSeconds) {
    const auto pilot = findPilot(booking.user);
    if (!pilot) {
        return 0;
    }
    Statement(m_db,
              "INSERT OR REPLACE INTO flight_logs (id, pilot_id, route_id, aircraft_id, "
              "distance, duration, status, passengers, cargo, multiplier, flight_type, "
              "timestamp) VALUES (" +
                  idOrNull(booking.id) + ", ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
        .bind(pilot->pilotId, booking.routeId, booking.aircraftId, booking.distanceNm,
              booking.durationMin, kStatusBooked, booking.passengers, booking.cargoKg,
              booking.multiplier, booking.flightType, bookedUnixSeconds)
        .step();
    const int bookingId = static_cast<int>(sqlite3_last_insert_rowid(m_db));
    Statement(m_db, "DELETE FROM route_answer_overrides WHERE flight_log_id = ?")
        .bind(bookingId)
        .step();
    for (const auto& [key, value] : booking.answerOverrides) {
        Statement(m_db, "INSERT INTO route_answer_overrides VALUES (?, ?, ?)")
            .bind(bookingId, key, value)
            .step();
    }
    return bookingId;
}

void SiteDatabase::cancelBookings(const std::string& user) {
    Statement(m_db,
              "DELETE FROM flight_logs WHERE pilot_id IN (SELECT id FROM pilots WHERE user = ?)")
        .bind(user)
        .step();
}

int SiteDatabase::addNews(const std::string& header, const std::string& text, int id) {
    Statement(m_db, "INSERT OR REPLACE INTO news VALUES (" + idOrNull(id) + ", ?, ?)")
        .bind(header, text)
        .step();
    return static_cast<int>(sqlite3_last_insert_rowid(m_db));
}

std::optional<SiteDatabase::Login> SiteDatabase::findPilot(const std::string& user) const {
    Statement query(m_db, "SELECT id, password_md5 FROM pilots WHERE user = ?");
    query.bind(user);
    if (!query.step()) {
        return std::nullopt;
    }
    return Login{static_cast<int>(query.integer(0)), query.text(1)};
}

FormFields SiteDatabase::pilotAnswer(int pilotId) const {
    Statement query(m_db, R"SQL(
SELECT id AS ID, name AS Name, surname AS Surname, user AS User, password_md5 AS Password,
       airline_id AS VA_ID, va_user AS VA_User, rank AS Rank, location AS Location,
       budget AS Budget, status AS Status, weight_unit AS WeightUnit
FROM pilots WHERE id = ?)SQL");
    query.bind(pilotId);
    return query.step() ? query.row() : FormFields();
}

std::optional<int> SiteDatabase::openBooking(int pilotId) const {
    Statement query(m_db,
                    "SELECT id FROM flight_logs WHERE pilot_id = ? AND status <> ? "
                    "ORDER BY id DESC LIMIT 1");
    query.bind(pilotId, kStatusCompleted);
    if (!query.step()) {
        return std::nullopt;
    }
    return static_cast<int>(query.integer(0));
}

bool SiteDatabase::isBookingOf(const std::string& bookingId, int pilotId) const {
    // The client sends the id as it read it; compare texts, so "7x" is no 7.
    Statement query(m_db, "SELECT 1 FROM flight_logs WHERE CAST(id AS TEXT) = ? AND pilot_id = ?");
    query.bind(bookingId, pilotId);
    return query.step();
}

FormFields SiteDatabase::routeAnswer(int bookingId) const {
    Statement query(m_db, std::string(kRouteQuery) + " WHERE l.id = ?");
    query.bind(bookingId);
    if (!query.step()) {
        return {};
    }
    FormFields fields = query.row();
    Statement overrides(m_db,
                        "SELECT key, value FROM route_answer_overrides WHERE flight_log_id = ? "
                        "ORDER BY rowid");
    overrides.bind(bookingId);
    while (overrides.step()) {
        const std::string key = overrides.text(0);
        auto existing = std::find_if(fields.begin(), fields.end(),
                                     [&](const auto& field) { return field.first == key; });
        if (existing != fields.end()) {
            existing->second = overrides.text(1);
        } else {
            fields.emplace_back(key, overrides.text(1));
        }
    }
    return fields;
}

std::vector<FormFields> SiteDatabase::airportsInBox(double lon1, double lon2, double lat1,
                                                    double lat2) const {
    Statement query(m_db, R"SQL(
SELECT printf('%.6f', lon) AS lon, printf('%.6f', lat) AS lat, id, icao, fuel_price AS fuel,
       lon AS site_lon, lat AS site_lat
FROM airports WHERE lon BETWEEN ? AND ? AND lat BETWEEN ? AND ?)SQL");
    query.bind(std::min(lon1, lon2), std::max(lon1, lon2), std::min(lat1, lat2),
               std::max(lat1, lat2));
    const double centreLon = (lon1 + lon2) / 2.0;
    const double centreLat = (lat1 + lat2) / 2.0;
    std::vector<std::pair<double, FormFields>> found;
    while (query.step()) {
        const double dLon = (query.real(5) - centreLon) * std::cos(centreLat * kDegreesToRadians);
        const double dLat = query.real(6) - centreLat;
        FormFields row = query.row();
        row.resize(5);  // without the site_ columns
        found.emplace_back(dLon * dLon + dLat * dLat, std::move(row));
    }
    // Nearest first, so that an answer cut to the client's block keeps them.
    std::stable_sort(found.begin(), found.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<FormFields> rows;
    for (auto& entry : found) {
        rows.push_back(std::move(entry.second));
    }
    return rows;
}

std::optional<double> SiteDatabase::fuelPrice(const std::string& icao) const {
    Statement query(m_db, "SELECT fuel_price FROM airports WHERE icao = ?");
    query.bind(icao);
    if (!query.step()) {
        return std::nullopt;
    }
    return query.real(0);
}

std::optional<FormFields> SiteDatabase::latestNews() const {
    Statement query(m_db,
                    "SELECT id AS ID, header AS Header, text AS Text FROM news "
                    "ORDER BY id DESC LIMIT 1");
    if (!query.step()) {
        return std::nullopt;
    }
    return query.row();
}

void SiteDatabase::resetFlight(int bookingId) {
    Statement(m_db,
              "UPDATE flight_logs SET status = ?, lon = '', lat = '', flight_state = '', "
              "fuel = '' WHERE id = ?")
        .bind(kStatusBooked, bookingId)
        .step();
    clearPositionLog(std::to_string(bookingId));
}

void SiteDatabase::clearPositionLog(const std::string& bookingId) {
    Statement(m_db, std::string("DELETE FROM ") + kPositionTable + " WHERE LogId = ?")
        .bind(bookingId)
        .step();
}

void SiteDatabase::insertFormFields(const std::string& table, const std::string& function,
                                    const FormFields& fields, const std::string& siteColumns,
                                    const std::vector<std::string>& siteValues, bool replace) {
    std::string columns = siteColumns;
    std::string placeholders;
    std::vector<std::string> values = siteValues;
    for (std::size_t i = 0; i < siteValues.size(); ++i) {
        placeholders += placeholders.empty() ? "?" : ", ?";
    }
    for (const auto& key : distinctKeys(*findRequestFormat(function))) {
        columns += ", " + quoted(key);
        placeholders += ", ?";
        const std::string* value = findFormValue(fields, key);
        values.push_back(value ? *value : std::string());
    }
    Statement insert(m_db, std::string(replace ? "INSERT OR REPLACE" : "INSERT") + " INTO " +
                               table + " (" + columns + ") VALUES (" + placeholders + ")");
    for (std::size_t i = 0; i < values.size(); ++i) {
        insert.bindAt(static_cast<int>(i) + 1, values[i]);
    }
    insert.step();
}

void SiteDatabase::storeTrackerUpdate(int bookingId, const FormFields& fields,
                                      std::int64_t receivedMs) {
    insertFormFields(kTrackerTable, "writelog", fields, "site_received_ms, site_flight_log_id",
                     {std::to_string(receivedMs), std::to_string(bookingId)}, false);
    // The live map shows where the flight is now.
    auto value = [&](const char* key) {
        const std::string* found = findFormValue(fields, key);
        return found ? *found : std::string();
    };
    Statement(m_db,
              "UPDATE flight_logs SET status = ?, lon = ?, lat = ?, flight_state = ?, fuel = ? "
              "WHERE id = ?")
        .bind(kStatusFlying, value("Lon"), value("Lat"), value("FlightState"), value("fuel"),
              bookingId)
        .step();
}

void SiteDatabase::storePositionLog(const FormFields& fields, std::int64_t receivedMs) {
    // A re-sent entry (same flight, same PositionId) replaces the one before.
    insertFormFields(kPositionTable, "writepositionlog", fields, "site_received_ms",
                     {std::to_string(receivedMs)}, true);
    const std::string* logId = findFormValue(fields, "LogId");
    Statement(m_db, "UPDATE flight_logs SET status = ? WHERE CAST(id AS TEXT) = ? AND status = ?")
        .bind(kStatusFlying, logId ? *logId : std::string(), kStatusBooked)
        .step();
}

void SiteDatabase::storeEventLog(const FormFields& fields, std::int64_t receivedMs) {
    insertFormFields(kEventTable, "writeeventlog", fields, "site_received_ms",
                     {std::to_string(receivedMs)}, false);
}

bool SiteDatabase::hasReportForLog(const std::string& logId) const {
    Statement query(m_db, std::string("SELECT 1 FROM ") + kReportTable + " WHERE LogID = ?");
    query.bind(logId);
    return query.step();
}

bool SiteDatabase::isReportOf(const std::string& reportId, int pilotId) const {
    Statement query(m_db, std::string("SELECT 1 FROM ") + kReportTable +
                              " r JOIN flight_logs l ON l.id = r.site_flight_log_id "
                              "WHERE CAST(r.site_report_id AS TEXT) = ? AND l.pilot_id = ?");
    query.bind(reportId, pilotId);
    return query.step();
}

int SiteDatabase::storeReport(const std::string& bookingId, const FormFields& fields,
                              std::int64_t receivedMs) {
    insertFormFields(kReportTable, "writereport", fields, "site_received_ms, site_flight_log_id",
                     {std::to_string(receivedMs), bookingId}, false);
    const int reportId = static_cast<int>(sqlite3_last_insert_rowid(m_db));
    Statement(m_db, "UPDATE flight_logs SET status = ? WHERE CAST(id AS TEXT) = ?")
        .bind(kStatusCompleted, bookingId)
        .step();
    return reportId;
}

std::int64_t SiteDatabase::addRequest(const std::string& function, const std::string& body,
                                      std::int64_t receivedMs) {
    Statement(m_db, "INSERT INTO requests (function, body, received_ms) VALUES (?, ?, ?)")
        .bind(function, body, receivedMs)
        .step();
    return sqlite3_last_insert_rowid(m_db);
}

void SiteDatabase::finishRequest(std::int64_t requestId, const std::string& answer,
                                 const std::string& problem, Failure::Kind injected) {
    Statement(m_db,
              "UPDATE requests SET handled = 1, answer = ?, problem = ?, injected = ? "
              "WHERE site_id = ?")
        .bind(answer, problem, static_cast<int>(injected), requestId)
        .step();
}

std::vector<ReceivedRequest> SiteDatabase::requests(const std::string& function) const {
    Statement query(m_db,
                    "SELECT function, body, received_ms, answer, problem, injected FROM requests "
                    "WHERE ? = '' OR function = ? ORDER BY site_id");
    query.bind(function, function);
    std::vector<ReceivedRequest> result;
    while (query.step()) {
        ReceivedRequest request;
        request.function = query.text(0);
        request.body = query.text(1);
        request.fields = parseFormBody(request.body);
        request.receivedMs = query.integer(2);
        request.answer = query.text(3);
        request.problem = query.text(4);
        request.injected = static_cast<Failure::Kind>(query.integer(5));
        result.push_back(std::move(request));
    }
    return result;
}

std::size_t SiteDatabase::handledRequests(const std::string& function) const {
    Statement query(m_db,
                    "SELECT COUNT(*) FROM requests WHERE handled = 1 AND (? = '' OR function = ?)");
    query.bind(function, function);
    query.step();
    return static_cast<std::size_t>(query.integer(0));
}

void SiteDatabase::clearRequests() { exec("DELETE FROM requests"); }

std::vector<Record> SiteDatabase::readRecords(const std::string& sql) const {
    Statement query(m_db, sql);
    std::vector<Record> records;
    while (query.step()) {
        Record record;
        for (int i = 0; i < query.columns(); ++i) {
            const std::string column = query.name(i);
            if (column.rfind("site_", 0) != 0 && !query.isNull(i)) {
                record[column] = query.text(i);
            }
        }
        records.push_back(std::move(record));
    }
    return records;
}

std::vector<Record> SiteDatabase::reports() const {
    return readRecords(std::string("SELECT site_report_id AS ReportId, * FROM ") + kReportTable +
                       " ORDER BY site_report_id");
}

std::vector<Record> SiteDatabase::positionLogs() const {
    return readRecords(std::string("SELECT * FROM ") + kPositionTable +
                       " ORDER BY CAST(LogId AS INTEGER), CAST(PositionId AS INTEGER), site_id");
}

std::vector<Record> SiteDatabase::eventLogs() const {
    return readRecords(std::string("SELECT * FROM ") + kEventTable + " ORDER BY site_id");
}

std::vector<Record> SiteDatabase::trackerUpdates() const {
    return readRecords(std::string("SELECT * FROM ") + kTrackerTable + " ORDER BY site_id");
}

std::vector<Record> SiteDatabase::flightLogs() const {
    std::vector<int> ids;
    Statement query(m_db, "SELECT id FROM flight_logs ORDER BY id");
    while (query.step()) {
        ids.push_back(static_cast<int>(query.integer(0)));
    }
    std::vector<Record> records;
    for (int id : ids) {
        Record record;
        for (const auto& [key, value] : routeAnswer(id)) {
            if (key.rfind("l_", 0) == 0) {
                record[key] = value;
            }
        }
        records.push_back(std::move(record));
    }
    return records;
}

}  // namespace testbed
