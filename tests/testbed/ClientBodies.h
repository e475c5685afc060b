// The client's request bodies and the site's answers, written and read as
// the plug-in does, for the tests that speak to the stand-in website directly.
#pragma once

#include <openssl/evp.h>

#include <string>
#include <vector>

#include "testbed/Website.h"

namespace quelby_test {

inline std::string md5Hex(const std::string& text) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    EVP_Digest(text.data(), text.size(), digest, &size, EVP_md5(), nullptr);
    std::string hex;
    for (unsigned int i = 0; i < size; ++i) {
        static const char kDigits[] = "0123456789abcdef";
        hex += kDigits[digest[i] >> 4];
        hex += kDigits[digest[i] & 15];
    }
    return hex;
}

// As the client seals its writing requests.
inline std::string withCode(const std::string& body) {
    const std::string hex = md5Hex(body);
    return body + "&code=" + hex[10] + hex[5] + hex[2];
}

inline const std::string kDemoPass = "fe01ce2a7fbac8fafaed7c982a04e229";  // MD5 of "demo"

inline std::string frameOf(const std::string& word) { return "DATASTART\n" + word + "\nDATAEND\n"; }

struct Frame {
    std::string word;
    std::vector<std::string> header;
    std::vector<std::vector<std::string>> rows;
    bool ended = false;

    std::string value(const std::string& key, std::size_t row = 0) const {
        for (std::size_t i = 0; i < header.size(); ++i) {
            if (header[i] == key && row < rows.size() && i < rows[row].size()) {
                return rows[row][i];
            }
        }
        return "<missing " + key + ">";
    }
};

inline std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (std::size_t at; (at = text.find(separator, start)) != std::string::npos; start = at + 1) {
        parts.push_back(text.substr(start, at - start));
    }
    parts.push_back(text.substr(start));
    return parts;
}

// Reads an answer the way the client does; an empty word means no frame.
inline Frame readFrame(const std::string& text) {
    Frame frame;
    std::vector<std::string> lines = split(text, '\n');
    std::size_t i = 0;
    while (i < lines.size() && lines[i] != "DATASTART") {
        ++i;
    }
    if (++i >= lines.size()) {
        return frame;
    }
    frame.word = lines[i++];
    for (; i < lines.size(); ++i) {
        if (lines[i] == "DATAEND") {
            frame.ended = true;
            break;
        }
        (frame.header.empty() ? frame.header : frame.rows.emplace_back()) = split(lines[i], '|');
    }
    return frame;
}

// The writereport keys in the client's order, with values that must arrive
// untouched: blanks, '|' and base64's '+', '/' and '='.
inline testbed::FormFields reportFields() {
    const std::string keys =
        "AC_Type AC_ID PIC Pilot_ID PID VA VA_ID Number Dep Pln_Arr Arr Deptime "
        "Loc_Deptime Arrtime Loc_Arrtime Hours TS FlightState VS Rating Ratingreasons "
        "Distance PAX Ticket Crew Salary Fuelprice Fuel_Bought Fuel_Used Fuel_Dep "
        "Fuel_TakeOff Fuel_Land Profit Version Simrate Multiplier Bonus Cargo Cargo_kg "
        "FlightType Comment64 Cheat a_Value a_Fuel a_StateEng1 a_StateEng2 a_StateEng3 "
        "a_StateEng4 a_StateGear a_StateHull v_Reputation ProfitMultiplied "
        "EmergencyLanding LogID a_FuelMult Ticket_Factor Interface SimVersion OS "
        "ManualUpload system";
    testbed::FormFields fields = {{"intern_ts", "7"}, {"user", "demo"}, {"pass", kDemoPass}};
    int n = 0;
    for (const std::string& key : split(keys, ' ')) {
        fields.emplace_back(key, "v" + std::to_string(++n));
    }
    auto set = [&](const std::string& key, const std::string& value) {
        for (auto& field : fields) {
            if (field.first == key) {
                field.second = value;
            }
        }
    };
    set("PIC", "Demo Pilot");
    set("Ratingreasons", "parking brakes | wrong airport | ");
    set("Comment64", "R29vZCBmbGlnaHQ+Pz8/");
    set("LogID", "1");
    set("Version", "v2.0.10b Plugin");
    return fields;
}

inline std::string bodyOf(const std::string& function, const testbed::FormFields& fields) {
    std::string body = "function=" + function;
    for (const auto& [key, value] : fields) {
        body += "&" + key + "=" + value;
    }
    return body;
}

// The demo pilot's position entry positionId of flight log logId.
inline std::string positionBody(const std::string& logId, int positionId,
                                const std::string& reportId) {
    return withCode("function=writepositionlog&intern_ts=7&user=demo&pass=" + kDemoPass +
                    "&LogId=" + logId +
                    "&Timestamp=120&Longitude=8.570600&Latitude=50.033300"
                    "&Heading=250&Altitude=364&GroundElevation=364&GroundSpeed=12"
                    "&SimulationRate=1&ReportId=" +
                    reportId + "&Fuel=5200&PositionId=" + std::to_string(positionId));
}

}  // namespace quelby_test
