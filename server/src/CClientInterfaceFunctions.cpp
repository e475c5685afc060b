// The website's functions: each formats its request from a fixed format,
// adds the request code where the site wants one, sends it and copies the
// answer into the records.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "CBlackbox.h"
#include "CClientInterface.h"
#include "CIniParser.h"
#include "CLogger.h"
#include "CNumberText.h"

namespace {

// Two airports nearer than 0.05 degrees (squared) count as the same place.
constexpr double kNearbyDegreesSquared = 0.0025;

}  // namespace

int CClientInterface::send(bool formatted, bool withCode) {
    if (!formatted || (withCode && !appendCode())) {
        return setError(kBadData);
    }
    return readURL(m_request.data());
}

int CClientInterface::readPilot() {
    m_pilot.reset();
    const int result = send(format("function=getpilot&user=%s&pass=%s&system=%s&intern_ts=%d",
                                   m_loginUser, m_loginPassword, m_systemToken.c_str(), m_internTs),
                            false);
    if (result == kSuccess) {
        m_pilot.fill(*this, 0);
        const std::string id = recordText(m_pilot.ID);
        if (id.empty() || id == "0") {
            m_pLogger->warn("Failed to read Pilot Data");
            m_pLogger->warn(loggableAnswer());
        }
    }
    return result;
}

int CClientInterface::readRoute() {
    m_route.reset();
    m_log.reset();
    m_aircraft.reset();
    m_virtualAirline.reset();
    const int result = send(format("function=getroute&intern_ts=%d&user=%s&pass=%s", m_internTs,
                                   m_loginUser, m_loginPassword),
                            false);
    if (result != kSuccess) {
        return result;
    }
    m_route.fill(*this, 0);
    m_log.fill(*this, 0);
    m_aircraft.fill(*this, 0);
    m_virtualAirline.fill(*this, 0);
    m_aircraftType.fill(*this, 0);

    double latitude = 0.0, longitude = 0.0, fuelPrice = 0.0;
    getData("ad_lat", 0, latitude);
    getData("ad_lon", 0, longitude);
    getData("ad_fuel", 0, fuelPrice);
    m_airports.add(recordText(m_log.Departure).c_str(), latitude, longitude, fuelPrice);
    m_fuelPrice = fuelPrice;
    latitude = longitude = fuelPrice = 0.0;
    getData("aa_lat", 0, latitude);
    getData("aa_lon", 0, longitude);
    getData("aa_fuel", 0, fuelPrice);
    m_airports.add(recordText(m_log.Arrival).c_str(), latitude, longitude, fuelPrice);

    m_aircraft.FuelBooked = m_aircraft.Fuel;
    double multiplier = recordDouble(m_virtualAirline.Multiplier);
    if (multiplier == 0.0) {
        multiplier = recordDouble(m_log.Multiplier);
    }
    // A positioning or charter flight keeps its fuel; a scheduled flight's
    // booked fuel is scaled down by the airline's multiplier.
    const float fuelMult = m_aircraft.FuelMult;
    if (recordInt(m_route.FlightType) == 0 && fuelMult != 0.0f && multiplier > fuelMult) {
        const float product = fuelMult * static_cast<float>(m_aircraft.Fuel);
        int scaled = 0;
        if (CNumberText::truncateToInt(product / multiplier, scaled)) {
            m_aircraft.Fuel = scaled;
        } else {
            // Only absurd figures from the site get here; the booking's own
            // fuel is the one figure still known to be meant.
            m_pLogger->error("Booked fuel " + std::to_string(m_aircraft.Fuel) + " kg times " +
                             std::to_string(fuelMult) + " over " + std::to_string(multiplier) +
                             " is no fuel figure; the booked fuel is kept");
        }
    }
    return result;
}

std::string CClientInterface::nearestCachedAirport(double lon, double lat, bool limit) const {
    const std::string departure = recordText(m_log.Departure);
    const std::string arrival = recordText(m_log.Arrival);
    double best = -1.0;
    std::string bestIcao;
    double departureDistance = 1.0;
    double arrivalDistance = 1.0;
    const double lonScale = std::cos(lat * 3.14159265 / 180.0);
    for (const tAirport& airport : m_airports) {
        const double dLon = (lon - airport.longitudeDeg) * lonScale;
        const double dLat = lat - airport.latitudeDeg;
        const double d = dLon * dLon + dLat * dLat;
        const std::string icao = airport.icao;
        if (icao == departure) departureDistance = d;
        if (icao == arrival) arrivalDistance = d;
        if (best == -1.0 || d < best) {
            best = d;
            bestIcao = icao;
        }
    }
    // The flight's own airports win over any other in reach.
    if (departureDistance < kNearbyDegreesSquared && departureDistance < arrivalDistance) {
        return departure;
    }
    if (arrivalDistance < kNearbyDegreesSquared && arrivalDistance < departureDistance) {
        return arrival;
    }
    if (best == -1.0 || (limit && best >= kNearbyDegreesSquared)) {
        return std::string();
    }
    return bestIcao;
}

void CClientInterface::setClosestAirport(const std::string& icao) {
    std::memset(m_closestAirport, 0, sizeof(m_closestAirport));
    std::strncpy(m_closestAirport, icao.c_str(), sizeof(m_closestAirport) - 1);
}

int CClientInterface::readClosestAirport(double lon, double lat) {
    const std::string cached = nearestCachedAirport(lon, lat, true);
    if (!cached.empty()) {
        setClosestAirport(cached);
        return kSuccess;
    }
    const int result =
        send(format("function=getclosestairport&Lon1=%f&Lon2=%f&Lat1=%f&Lat2=%f&intern_ts=%d",
                    lon - 1.0, lon + 1.0, lat - 1.0, lat + 1.0, m_internTs),
             false);
    if (result == kSuccess) {
        for (int row = 0;; ++row) {
            double airportLon = 0.0, airportLat = 0.0, fuelPrice = 0.0;
            int id = 0;
            char icao[5] = {0};
            if (getData("lon", row, airportLon) != 0) break;
            getData("lat", row, airportLat);
            getData("id", row, id);
            getData("icao", row, icao, 4);
            getData("fuel", row, fuelPrice);
            m_airports.add(icao, airportLat, airportLon, fuelPrice);
        }
    }
    setClosestAirport(nearestCachedAirport(lon, lat, false));
    return result;
}

int CClientInterface::readNews() {
    const int result = send(format("function=getnews&intern_ts=%d", m_internTs), false);
    if (result == kSuccess) {
        m_news.fill(*this, 0);
    }
    return result;
}

float CClientInterface::readFuelPrice(const char* icao) {
    const std::string code = icao != nullptr ? icao : "";
    double price = 0.0;
    if (const tAirport* airport = m_airports.find(code.c_str())) {
        price = airport->fuelPrice;
    } else if (format("function=getfuelprice&icao=%s&intern_ts=%d", code.c_str(), m_internTs) &&
               readURL(m_request.data()) == kSuccess) {
        double answered = 0.0;
        if (getData("fuel", 0, answered) == 0) price = answered;
    }
    m_fuelPrice = static_cast<float>(price);
    const CNumberText::CClassicFormatting classic;
    char text[64];
    std::snprintf(text, sizeof(text), "%f", static_cast<float>(price));
    setRecordText(m_report.Fuelprice, text);
    return static_cast<float>(price);
}

int CClientInterface::readTimestamp() {
    const int result = send(format("function=gettimestamp&intern_ts=%d", m_internTs), false);
    if (result == kSuccess) {
        int timestamp = 0;
        if (getData("UNIX_TIMESTAMP()", 0, timestamp) == 0) m_log.Timestamp = timestamp;
    }
    return result;
}

int CClientInterface::readClient() {
    const int result = send(format("function=getversion&intern_ts=%d", m_internTs), false);
    if (result == kSuccess) {
        static const char* const kKeys[5] = {"Version", "BetaVersion", "FSUIPC_FS2004",
                                             "FSUIPC_FSX", "SimConnect"};
        for (int i = 0; i < 5; ++i) {
            char value[33] = {0};
            if (getData(kKeys[i], 0, value, 32) == 0) {
                std::memcpy(m_versions[i], value, sizeof(value));
            }
        }
    }
    return result;
}

int CClientInterface::resetFlight() {
    return send(
        format("function=resetflight&intern_ts=%d&flighttype=%s&user=%s&pass=%s&intern_ts=%d",
               m_internTs, recordText(m_route.FlightType).c_str(), m_loginUser, m_loginPassword,
               m_internTs),
        true);
}

int CClientInterface::resetPositionLog() {
    const int result = send(
        format("function=resetpositionlog&intern_ts=%d&logid=%s&user=%s&pass=%s&intern_ts=%d",
               m_internTs, recordText(m_log.ID).c_str(), m_loginUser, m_loginPassword, m_internTs),
        true);
    if (result != kSuccess) {
        m_pLogger->error(m_lastMessage);
    }
    return result;
}

int CClientInterface::writeLog() {
    if (!format("function=writelog&intern_ts=%d&user=%s&pass=%s&Lon=%s&Lat=%s&FlightState=%s&"
                "system=%s&fuel=%d",
                m_internTs, recordText(m_pilot.User).c_str(), recordText(m_pilot.Password).c_str(),
                recordText(m_log.Lon).c_str(), recordText(m_log.Lat).c_str(),
                recordText(m_log.FlightState).c_str(), m_systemToken.c_str(), m_aircraft.Fuel) ||
        !appendCode()) {
        return 1;
    }
    // The thread gets its own copies and never touches the interface.
    startSender(getUrl(), std::string(m_request.data()));
    return 1;
}

int CClientInterface::writePositionLog() {
    const tquelby_position_logs& p = m_position;
    if (!format("function=writepositionlog&intern_ts=%d&user=%s&pass=%s&LogId=%d&Timestamp=%d&"
                "Longitude=%f&Latitude=%f&Heading=%d&Altitude=%d&GroundElevation=%d&GroundSpeed=%d&"
                "SimulationRate=%d&ReportId=%s&Fuel=%d&PositionId=%d",
                m_internTs, recordText(m_pilot.User).c_str(), recordText(m_pilot.Password).c_str(),
                recordInt(m_log.ID), p.Timestamp, static_cast<double>(p.Longitude),
                static_cast<double>(p.Latitude), p.Heading, p.Altitude, p.GroundElevation,
                p.GroundSpeed, p.SimulationRate, recordText(m_report.ReportId).c_str(), p.Fuel,
                p.PositionId) ||
        !appendCode()) {
        return 0;
    }
    if (readURL(m_request.data()) == kSuccess) {
        return 1;
    }
    m_pLogger->error(m_lastMessage);
    return 0;
}

int CClientInterface::writeEventLog(const Blackbox::tDataRecord* record) {
    if (record == nullptr) {
        m_pLogger->error("writeEventLog without an event record");
        return 0;
    }
    if (!format("function=writeeventlog&intern_ts=%d&user=%s&pass=%s&timestamp=%d&speed=%d&"
                "flightstate=%s&text=%s&reportid=%s",
                m_internTs, recordText(m_pilot.User).c_str(), recordText(m_pilot.Password).c_str(),
                record->timestamp, record->speed, recordText(record->flightState).c_str(),
                recordText(record->text).c_str(), recordText(m_report.ReportId).c_str()) ||
        !appendCode()) {
        return 0;
    }
    if (readURL(m_request.data()) == kSuccess) {
        return 1;
    }
    m_pLogger->error(m_lastMessage);
    return 0;
}

int CClientInterface::writeReport(bool manual) {
    tTarvex_Reports& r = m_report;
    if (recordText(r.Fuelprice).empty()) setRecordText(r.Fuelprice, "1.25");
    if (recordText(r.Deptime).empty()) setRecordText(r.Deptime, "0");
    if (recordText(r.Loc_Deptime).empty()) setRecordText(r.Loc_Deptime, "0");
    // Both factors may come from a restored backup: multiplied wide, and a
    // product no int holds is sent as 0.
    int profitMultiplied = 0;
    const int64_t product = int64_t{recordInt(r.Multiplier)} * int64_t{r.Profit};
    if (!CNumberText::truncateToInt(static_cast<double>(product), profitMultiplied)) {
        m_pLogger->error("ProfitMultiplied " + std::to_string(product) +
                         " out of range; sent as 0");
    }
    int fuelMultiplier = 0;
    if (!CNumberText::truncateToInt(m_aircraft.FuelMult, fuelMultiplier)) {
        m_pLogger->error("a_FuelMult " + std::to_string(m_aircraft.FuelMult) +
                         " out of range; sent as 0");
    }
    if (!format(
            "function=writereport&intern_ts=%d&user=%s&pass=%s&AC_Type=%s&AC_ID=%s&PIC=%s&Pilot_ID="
            "%s&"
            "PID=%s&VA=%s&VA_ID=%s&Number=%s&Dep=%s&Pln_Arr=%s&Arr=%s&Deptime=%s&Loc_Deptime=%s&"
            "Arrtime=%s&Loc_Arrtime=%s&Hours=%s&TS=%s&FlightState=%s&VS=%d&Rating=%s&Ratingreasons="
            "%s&"
            "Distance=%s&PAX=%s&Ticket=%s&Crew=%d&Salary=%d&Fuelprice=%s&Fuel_Bought=%s&Fuel_Used=%"
            "s&"
            "Fuel_Dep=%d&Fuel_TakeOff=%d&Fuel_Land=%d&Profit=%d&Version=%s&Simrate=%d&Multiplier=%"
            "s&"
            "Bonus=%d&Cargo=%s&Cargo_kg=%s&FlightType=%s&Comment64=%s&Cheat=%s&a_Value=%d&a_Fuel=%"
            "d&"
            "a_StateEng1=%f&a_StateEng2=%f&a_StateEng3=%f&a_StateEng4=%f&a_StateGear=%f&"
            "a_StateHull=%f&v_Reputation=%d&ProfitMultiplied=%d&EmergencyLanding=%d&LogID=%d&"
            "a_FuelMult=%d&Ticket_Factor=%lf&Interface=%s&SimVersion=%s&OS=%s&ManualUpload=%d&"
            "system=%s",
            m_internTs, recordText(m_pilot.User).c_str(), recordText(m_pilot.Password).c_str(),
            recordText(r.AC_Type).c_str(), recordText(r.AC_ID).c_str(), recordText(r.PIC).c_str(),
            recordText(r.Pilot_ID).c_str(), recordText(r.PID).c_str(), recordText(r.VA).c_str(),
            recordText(r.VA_ID).c_str(), recordText(r.Number).c_str(), recordText(r.Dep).c_str(),
            recordText(r.Pln_Arr).c_str(), recordText(r.Arr).c_str(), recordText(r.Deptime).c_str(),
            recordText(r.Loc_Deptime).c_str(), recordText(r.Arrtime).c_str(),
            recordText(r.Loc_Arrtime).c_str(), recordText(r.Hours).c_str(),
            recordText(r.TS).c_str(), recordText(r.FlightState).c_str(), r.VS,
            recordText(r.Rating).c_str(), recordText(r.Ratingreasons).c_str(),
            recordText(r.Distance).c_str(), recordText(r.PAX).c_str(), recordText(r.Ticket).c_str(),
            r.Crew, r.Salary, recordText(r.Fuelprice).c_str(), recordText(r.Fuel_Bought).c_str(),
            recordText(r.Fuel_Used).c_str(), r.Fuel_Dep, r.Fuel_TakeOff, r.Fuel_Land, r.Profit,
            recordText(r.Version).c_str(), r.Simrate, recordText(r.Multiplier).c_str(), r.Bonus,
            recordText(r.Cargo).c_str(), recordText(r.Cargo_kg).c_str(),
            recordText(r.FlightType).c_str(), recordText(r.Comment64).c_str(),
            recordText(r.Cheat).c_str(), m_aircraft.Value, m_aircraft.FuelAfter,
            static_cast<double>(m_aircraft.StateEng1), static_cast<double>(m_aircraft.StateEng2),
            static_cast<double>(m_aircraft.StateEng3), static_cast<double>(m_aircraft.StateEng4),
            static_cast<double>(m_aircraft.StateGear), static_cast<double>(m_aircraft.StateHull),
            m_virtualAirline.Reputation, profitMultiplied, r.EmergencyLanding, recordInt(m_log.ID),
            fuelMultiplier, m_aircraftType.Ticket, recordText(r.Interface).c_str(),
            recordText(r.SimVersion).c_str(), recordText(r.OS).c_str(), manual ? 1 : 0,
            m_systemToken.c_str()) ||
        !appendCode()) {
        return 0;
    }
    if (readURL(m_request.data()) != kSuccess) {
        m_pLogger->error(m_lastMessage);
        return 0;
    }
    char reportId[sizeof(r.ReportId)] = {0};
    if (getData("ReportId", 0, reportId, sizeof(reportId)) == 0) {
        std::memcpy(r.ReportId, reportId, sizeof(r.ReportId));
    }
    CIniParser* ini = CIniParser::instance();
    ini->writeStringToConfig("report", "Backup", "0");
    ini->writeStringToConfig("report", "Code", "0");
    ini->saveFiles();
    return 1;
}

int CClientInterface::getPassengers() const { return recordInt(m_log.Passengers); }

int CClientInterface::getCargoKg() const { return recordInt(m_log.Cargo); }

bool CClientInterface::findNearestAirport(double latitudeDeg, double longitudeDeg, char icao[5]) {
    readClosestAirport(longitudeDeg, latitudeDeg);
    if (m_closestAirport[0] == '\0') {
        return false;
    }
    std::memcpy(icao, m_closestAirport, 5);
    icao[4] = '\0';
    return true;
}
