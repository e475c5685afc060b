// Resetting the website's records, filling them from an answer's fields,
// saving and loading them in the report backup; the airport cache.
#include "ServerRecords.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "CIniParser.h"
#include "CLogger.h"
#include "CNumberText.h"

namespace {

const char* const kBackupSection = "Report";

// The transport keeps no field longer than this, so a number's text is never cut.
constexpr int kMaxValueBytes = 4096;

template <typename Record>
void clearRecord(Record& record) {
    std::memset(static_cast<void*>(&record), 0, sizeof(record));
}

template <typename Record>
bool backupRecord(const char* key, const Record& record) {
    return CIniParser::instance()->writeStructToReport(kBackupSection, key, &record,
                                                       sizeof(record));
}

template <typename Record>
bool loadRecord(const char* key, Record& record) {
    CIniParser* parser = CIniParser::instance();
    // The parser reads a missing value as all zeros, which would pass for an
    // emptied record; only a stored text counts.
    char probe[4] = {};
    if (!parser->getStringFromReport(kBackupSection, key, probe, sizeof(probe)) ||
        probe[0] == '\0') {
        return false;
    }
    Record loaded;
    if (!parser->getStructFromReport(kBackupSection, key, &loaded, sizeof(loaded))) {
        return false;
    }
    record = loaded;
    return true;
}

// Copies at most N bytes: a value that fills the field stays unterminated.
template <std::size_t N>
void fillText(CAnswerFields& answer, const char* key, int row, char (&field)[N]) {
    static_assert(N <= static_cast<std::size_t>(kMaxValueBytes), "field wider than any value");
    answer.getData(key, row, field, static_cast<int>(N));
}

// The value's text, terminated; false when the answer has no such field.
bool fetchNumberText(CAnswerFields& answer, const char* key, int row,
                     std::array<char, kMaxValueBytes + 1>& text) {
    text.fill('\0');
    return answer.getData(key, row, text.data(), kMaxValueBytes) == 0;
}

// The records' own log line for figures the website sent out of range.
const CLogger& recordLog() {
    static const CLogger logger("ServerRecords", false);
    return logger;
}

void fillInt(CAnswerFields& answer, const char* key, int row, int32_t& field) {
    std::array<char, kMaxValueBytes + 1> text;
    if (!fetchNumberText(answer, key, row, text)) {
        return;
    }
    int value = 0;
    if (!CNumberText::toIntInRange(text.data(), value)) {
        // The bound toInt would give is as wrong as any figure, and sums and
        // products of it overflow further on.
        recordLog().warn(std::string("Website figure ") + key + "=" + text.data() +
                         " is beyond an integer's range; taken as 0");
    }
    field = value;
}

void fillFloat(CAnswerFields& answer, const char* key, int row, float& field) {
    std::array<char, kMaxValueBytes + 1> text;
    if (fetchNumberText(answer, key, row, text)) {
        field = static_cast<float>(CNumberText::toDouble(text.data()));
    }
}

void fillDouble(CAnswerFields& answer, const char* key, int row, double& field) {
    std::array<char, kMaxValueBytes + 1> text;
    if (fetchNumberText(answer, key, row, text)) {
        field = CNumberText::toDouble(text.data());
    }
}

// The airport cache's key: the first 4 characters of the code.
void copyIcao(const char* icao, char (&out)[5]) {
    std::memset(out, 0, sizeof(out));
    for (std::size_t i = 0; icao != nullptr && i < sizeof(out) - 1 && icao[i] != '\0'; ++i) {
        out[i] = icao[i];
    }
}

}  // namespace

// --- tTarvex_Pilots

void tTarvex_Pilots::reset() { clearRecord(*this); }

void tTarvex_Pilots::fill(CAnswerFields& answer, int row) {
    fillText(answer, "ID", row, ID);
    fillText(answer, "Name", row, Name);
    fillText(answer, "Surname", row, Surname);
    fillText(answer, "User", row, User);
    fillText(answer, "Password", row, Password);
    fillText(answer, "VA_ID", row, VA_ID);
    fillText(answer, "VA_User", row, VA_User);
    fillText(answer, "Rank", row, Rank);
    fillText(answer, "Location", row, Location);
    fillText(answer, "Budget", row, Budget);
    fillText(answer, "Status", row, Status);
    fillText(answer, "WeightUnit", row, WeightUnit);
}

bool tTarvex_Pilots::backup() const { return backupRecord("Tarvex_Pilots", *this); }

// --- tTarvex_Routes

void tTarvex_Routes::reset() { clearRecord(*this); }

void tTarvex_Routes::fill(CAnswerFields& answer, int row) {
    fillText(answer, "r_ID", row, ID);
    fillText(answer, "r_VA_ID", row, VA_ID);
    fillText(answer, "r_Airline", row, Airline);
    fillText(answer, "r_Dep", row, Dep);
    fillText(answer, "r_Arr", row, Arr);
    fillText(answer, "r_DepTime", row, DepTime);
    fillText(answer, "r_ArrTime", row, ArrTime);
    fillText(answer, "r_Route", row, Route);
    fillText(answer, "r_Type", row, Type);
    fillText(answer, "r_ACDB_ID", row, ACDB_ID);
    fillText(answer, "r_AC_ID", row, AC_ID);
    fillText(answer, "r_Number", row, Number);
    fillText(answer, "r_Price", row, Price);
    fillText(answer, "r_Remarks", row, Remarks);
    fillInt(answer, "r_Simrate", row, Simrate);
    fillText(answer, "r_FlightType", row, FlightType);
}

bool tTarvex_Routes::backup() const { return backupRecord("Tarvex_Routes", *this); }

bool tTarvex_Routes::load() { return loadRecord("Tarvex_Routes", *this); }

// --- tTarvex_Logs

void tTarvex_Logs::reset() { clearRecord(*this); }

void tTarvex_Logs::fill(CAnswerFields& answer, int row) {
    fillText(answer, "l_ID", row, ID);
    fillText(answer, "l_AC_ID", row, AC_ID);
    fillText(answer, "l_User_ID", row, User_ID);
    fillText(answer, "l_Route_ID", row, Route_ID);
    fillText(answer, "l_Departure", row, Departure);
    fillText(answer, "l_Arrival", row, Arrival);
    fillText(answer, "l_Dist", row, Dist);
    fillText(answer, "l_Duration", row, Duration);
    fillText(answer, "l_Status", row, Status);
    fillText(answer, "l_Passengers", row, Passengers);
    fillText(answer, "l_Cargo", row, Cargo);
    fillText(answer, "l_Multiplier", row, Multiplier);
    fillText(answer, "l_FlightType", row, FlightType);
    fillText(answer, "l_Lon", row, Lon);
    fillText(answer, "l_Lat", row, Lat);
    fillText(answer, "l_FlightState", row, FlightState);
    fillInt(answer, "l_Timestamp", row, Timestamp);
}

bool tTarvex_Logs::backup() const { return backupRecord("Tarvex_Logs", *this); }

bool tTarvex_Logs::load() { return loadRecord("Tarvex_Logs", *this); }

// --- tTarvex_Aircrafts

void tTarvex_Aircrafts::reset() { clearRecord(*this); }

void tTarvex_Aircrafts::fill(CAnswerFields& answer, int row) {
    fillFloat(answer, "a_StateEng1", row, StateEng1);
    fillFloat(answer, "a_StateEng2", row, StateEng2);
    fillFloat(answer, "a_StateEng3", row, StateEng3);
    fillFloat(answer, "a_StateEng4", row, StateEng4);
    fillFloat(answer, "a_StateGear", row, StateGear);
    fillFloat(answer, "a_StateHull", row, StateHull);
    fillInt(answer, "a_Fuel", row, Fuel);
    fillInt(answer, "a_Value", row, Value);
    fillText(answer, "a_ID", row, ID);
    fillText(answer, "a_ACDB_ID", row, ACDB_ID);
    fillText(answer, "a_Location", row, Location);
    fillText(answer, "a_Owner", row, Owner);
    fillText(answer, "a_Status", row, Status);
    fillText(answer, "a_Registration", row, Registration);
    fillText(answer, "a_Type", row, Type);
    fillText(answer, "a_Description", row, Description);
    fillFloat(answer, "a_FuelMult", row, FuelMult);
}

bool tTarvex_Aircrafts::backup() const { return backupRecord("Tarvex_Aircrafts", *this); }

bool tTarvex_Aircrafts::load() { return loadRecord("Tarvex_Aircrafts", *this); }

// --- tTarvex_VirtualAirlines

void tTarvex_VirtualAirlines::reset() { clearRecord(*this); }

void tTarvex_VirtualAirlines::fill(CAnswerFields& answer, int row) {
    fillInt(answer, "v_Reputation", row, Reputation);
    fillInt(answer, "v_Pilotcharge", row, Pilotcharge);
    fillText(answer, "v_ID", row, ID);
    fillText(answer, "v_Name", row, Name);
    fillText(answer, "v_Multiplier", row, Multiplier);
}

bool tTarvex_VirtualAirlines::backup() const {
    return backupRecord("Tarvex_VirtualAirlines", *this);
}

bool tTarvex_VirtualAirlines::load() { return loadRecord("Tarvex_VirtualAirlines", *this); }

// --- tTarvex_News_Client

void tTarvex_News_Client::reset() { clearRecord(*this); }

void tTarvex_News_Client::fill(CAnswerFields& answer, int row) {
    fillInt(answer, "ID", row, ID);
    fillText(answer, "Header", row, Header);
    fillText(answer, "Text", row, Text);
}

// --- tTarvex_Reports

void tTarvex_Reports::reset() {
    clearRecord(*this);
    // "0" is the website's word for a report it has not numbered yet.
    ReportId[0] = '0';
}

bool tTarvex_Reports::backup() const { return backupRecord("Tarvex_Reports", *this); }

bool tTarvex_Reports::load() { return loadRecord("Tarvex_Reports", *this); }

// --- tAircraftTypeData

void tAircraftTypeData::fill(CAnswerFields& answer, int row) {
    fillInt(answer, "d_Price", row, Price);
    fillInt(answer, "d_DOW", row, DOW);
    fillInt(answer, "d_MTOW", row, MTOW);
    fillInt(answer, "d_Engines", row, Engines);
    fillDouble(answer, "d_Ticket", row, Ticket);
}

bool tAircraftTypeData::backup() const { return backupRecord("AircraftType", *this); }

bool tAircraftTypeData::load() { return loadRecord("AircraftType", *this); }

// --- CAirportCache

std::uint32_t CAirportCache::key(const char (&icao)[5]) {
    std::uint32_t packed = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        packed = (packed << 8) | static_cast<unsigned char>(icao[i]);
    }
    return packed;
}

bool CAirportCache::add(const char* icao, double latitudeDeg, double longitudeDeg,
                        double fuelPrice) {
    tAirport airport;
    copyIcao(icao, airport.icao);
    // An airport without a code (a route the site sent without one) could
    // never be named as the nearest.
    if (airport.icao[0] == '\0') {
        return false;
    }
    const std::uint32_t wanted = key(airport.icao);
    const auto at = std::lower_bound(m_byIcao.begin(), m_byIcao.end(), wanted,
                                     [](const auto& entry, std::uint32_t k) { return entry.first < k; });
    if (at != m_byIcao.end() && at->first == wanted) {
        return false;
    }
    airport.latitudeDeg = latitudeDeg;
    airport.longitudeDeg = longitudeDeg;
    airport.fuelPrice = fuelPrice;
    m_airports.push_front(airport);
    m_byIcao.emplace(at, wanted, &m_airports.front());
    return true;
}

const tAirport* CAirportCache::find(const char* icao) const {
    char code[5];
    copyIcao(icao, code);
    const std::uint32_t wanted = key(code);
    const auto at = std::lower_bound(m_byIcao.begin(), m_byIcao.end(), wanted,
                                     [](const auto& entry, std::uint32_t k) { return entry.first < k; });
    return at != m_byIcao.end() && at->first == wanted ? at->second : nullptr;
}

void CAirportCache::clear() {
    m_airports.clear();
    m_byIcao.clear();
}
