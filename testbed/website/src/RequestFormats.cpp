// The request formats the client sends, written as the bodies it builds.
#include "RequestFormats.h"

#include <algorithm>

namespace testbed {

namespace {

std::vector<std::string> splitKeys(const std::string& keys) {
    std::vector<std::string> result;
    std::size_t start = 0;
    while (start < keys.size()) {
        std::size_t end = keys.find('&', start);
        if (end == std::string::npos) {
            end = keys.size();
        }
        result.push_back(keys.substr(start, end - start));
        start = end + 1;
    }
    return result;
}

std::vector<RequestFormat> makeFormats() {
    struct Row {
        const char* function;
        const char* keys;
        bool carriesCode;
    };
    static const Row kRows[] = {
        {"getpilot", "user&pass&system&intern_ts", false},
        {"getroute", "intern_ts&user&pass", false},
        {"getclosestairport", "Lon1&Lon2&Lat1&Lat2&intern_ts", false},
        {"getnews", "intern_ts", false},
        {"getfuelprice", "icao&intern_ts", false},
        {"gettimestamp", "intern_ts", false},
        {"getversion", "intern_ts", false},
        {"resetflight", "intern_ts&flighttype&user&pass&intern_ts", true},
        {"resetpositionlog", "intern_ts&logid&user&pass&intern_ts", true},
        {"writelog", "intern_ts&user&pass&Lon&Lat&FlightState&system&fuel", true},
        {"writepositionlog",
         "intern_ts&user&pass&LogId&Timestamp&Longitude&Latitude&Heading&Altitude&GroundElevation&"
         "GroundSpeed&SimulationRate&ReportId&Fuel&PositionId",
         true},
        {"writeeventlog", "intern_ts&user&pass&timestamp&speed&flightstate&text&reportid", true},
        {"writereport",
         "intern_ts&user&pass&AC_Type&AC_ID&PIC&Pilot_ID&PID&VA&VA_ID&Number&Dep&Pln_Arr&Arr&"
         "Deptime&"
         "Loc_Deptime&Arrtime&Loc_Arrtime&Hours&TS&FlightState&VS&Rating&Ratingreasons&Distance&"
         "PAX&"
         "Ticket&Crew&Salary&Fuelprice&Fuel_Bought&Fuel_Used&Fuel_Dep&Fuel_TakeOff&Fuel_Land&"
         "Profit&"
         "Version&Simrate&Multiplier&Bonus&Cargo&Cargo_kg&FlightType&Comment64&Cheat&a_Value&a_"
         "Fuel&"
         "a_StateEng1&a_StateEng2&a_StateEng3&a_StateEng4&a_StateGear&a_StateHull&v_Reputation&"
         "ProfitMultiplied&EmergencyLanding&LogID&a_FuelMult&Ticket_Factor&Interface&SimVersion&OS&"
         "ManualUpload&system",
         true},
    };
    std::vector<RequestFormat> formats;
    for (const Row& row : kRows) {
        formats.push_back({row.function, splitKeys(row.keys), row.carriesCode});
    }
    return formats;
}

std::string joinKeys(const std::vector<std::string>& keys) {
    std::string text;
    for (const auto& key : keys) {
        text += (text.empty() ? "" : "&") + key;
    }
    return text;
}

}  // namespace

const RequestFormat* findRequestFormat(const std::string& function) {
    static const std::vector<RequestFormat> kFormats = makeFormats();
    for (const auto& format : kFormats) {
        if (format.function == function) {
            return &format;
        }
    }
    return nullptr;
}

std::vector<std::string> distinctKeys(const RequestFormat& format) {
    std::vector<std::string> keys;
    for (const auto& key : format.keys) {
        if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
            keys.push_back(key);
        }
    }
    return keys;
}

std::string formatMismatch(const RequestFormat& format, const std::vector<std::string>& bodyKeys) {
    if (bodyKeys == format.keys) {
        return {};
    }
    return "keys differ from the " + format.function + " format: expected " +
           joinKeys(format.keys) + ", got " + joinKeys(bodyKeys);
}

}  // namespace testbed
