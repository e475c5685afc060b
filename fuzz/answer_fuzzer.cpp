// Fuzzes the website's answers: one answer body, as the transport receives
// it, is given to the reading request that the input's first byte picks,
// which parses it and fills its records through getData; a model of the
// framing then checks the result and the fields the answer's header names.
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "CClientInterface.h"
#include "FuzzSupport.h"

namespace {

// Fields point into the answer.
using Line = std::vector<std::string_view>;

// Rows and columns the model reads back per answer: the first few and the
// last, which covers the lookups without making a long answer quadratic.
constexpr std::size_t kRowsChecked = 4;

struct Expected {
    int result = CClientInterface::kBadData;
    bool hasRows = false;
    Line header;
    // The rows as text inside the answer, which outlives this; only the few
    // that are checked are cut into fields.
    std::vector<std::string_view> rows;
};

// A line cut into fields at every "|", the rest kept in the last field once
// all field slots are used.
Line splitFields(std::string_view line) {
    Line fields;
    fields.reserve(16);
    std::size_t start = 0;
    for (std::size_t at = 0; at < line.size(); ++at) {
        if (line[at] == '|' && fields.size() + 1 < static_cast<std::size_t>(ClientDataLine::kMaxFields)) {
            fields.push_back(line.substr(start, at - start));
            start = at + 1;
        }
    }
    fields.push_back(line.substr(start));
    return fields;
}

// The framing as the website writes it: anything before "DATASTART", the
// result word, then for SUCCESS a header line, the rows and "DATAEND". Lines
// end at "\n", lose trailing white space, and the body ends at its first NUL.
// The rows it gives point into body.
Expected model(std::string_view body) {
    Expected expected;
    if (body.size() > static_cast<std::size_t>(CClientInterface::kResponseBytes)) {
        expected.result = CClientInterface::kCouldNotOpenUrl;
        return expected;
    }
    const std::string_view text(body.data(), std::min(body.size(), body.find('\0')));
    enum { Seeking, ResultWord, Header, Rows } state = Seeking;
    std::size_t at = 0;
    while (at < text.size()) {
        std::size_t end = text.find('\n', at);
        if (end == std::string_view::npos) end = text.size();
        std::string_view line = text.substr(at, end - at);
        at = end + 1;
        while (!line.empty() && std::isspace(static_cast<unsigned char>(line.back()))) {
            line.remove_suffix(1);
        }
        switch (state) {
            case Seeking:
                if (line == "DATASTART") state = ResultWord;
                break;
            case ResultWord:
                if (line == "SUCCESS") {
                    state = Header;
                    break;
                }
                for (int code = 0; code < 11; ++code) {
                    if (line == CClientInterface::clientMessages[code]) {
                        expected.result = code;
                        return expected;
                    }
                }
                return expected;
            case Header:
                if (line == "DATAEND") {
                    expected.result = CClientInterface::kSuccess;
                    return expected;
                }
                expected.header = splitFields(line);
                expected.hasRows = true;
                state = Rows;
                break;
            case Rows:
                if (line == "DATAEND") {
                    expected.result = CClientInterface::kSuccess;
                    return expected;
                }
                expected.rows.push_back(line);
                break;
        }
    }
    // No DATAEND: the rows read so far stay, but the answer failed.
    return expected;
}

// What getData gives for key in a row cut into line: the first column of
// that name that the row has.
bool lookUp(const Line& header, const Line& line, std::string_view key, std::string& value) {
    for (std::size_t column = 0; column < header.size(); ++column) {
        if (header[column] == key && column < line.size()) {
            value = line[column];
            return true;
        }
    }
    return false;
}

bool lookUp(const Expected& expected, const std::string& key, std::size_t row, std::string& value) {
    if (!expected.hasRows || row >= expected.rows.size()) return false;
    return lookUp(expected.header, splitFields(expected.rows[row]), key, value);
}

[[noreturn]] void mismatch(const std::string& what) {
    std::fprintf(stderr, "answer model mismatch: %s\n", what.c_str());
    std::abort();
}

void checkRows(CClientInterface& client, const Expected& expected) {
    // The first few rows and columns, the last two of each, and the row
    // after the last.
    std::vector<std::size_t> rows;
    for (std::size_t row = 0; row <= expected.rows.size(); ++row) {
        if (row < kRowsChecked || row + 2 >= expected.rows.size()) rows.push_back(row);
    }
    std::vector<std::size_t> columns;
    for (std::size_t column = 0; column < expected.header.size(); ++column) {
        if (column < kRowsChecked || column + 2 >= expected.header.size()) columns.push_back(column);
    }
    static char out[CClientInterface::kResponseBytes + 1];
    for (const std::size_t row : rows) {
        const Line line = row < expected.rows.size() ? splitFields(expected.rows[row]) : Line();
        for (const std::size_t column : columns) {
            const std::string key(expected.header[column]);
            std::string value;
            const bool expectedFound = row < expected.rows.size() && lookUp(expected.header, line, key, value);
            // Room for the value and one byte more: getData must end it there.
            const int room = static_cast<int>(value.size()) + 1;
            const int found = client.getData(key.c_str(), static_cast<int>(row), out, room);
            if ((found == 0) != expectedFound) {
                mismatch("key \"" + key + "\" row " + std::to_string(row) +
                         (expectedFound ? " missing" : " present"));
            }
            const std::string copied(out, ::strnlen(out, static_cast<std::size_t>(room)));
            if (expectedFound && (copied != value || out[value.size()] != '\0')) {
                mismatch("key \"" + key + "\" row " + std::to_string(row) + ": \"" + copied +
                         "\" instead of \"" + value + "\"");
            }
        }
    }
}

// A text field as filled from the answer's first row: the value cut to the
// field's width, or the field left empty when the key is missing.
template <std::size_t N>
void checkText(const Expected& expected, bool filled, const char* key, const char (&field)[N]) {
    std::string value;
    if (!filled || !lookUp(expected, key, 0, value)) value.clear();
    if (recordText(field) != value.substr(0, N)) {
        mismatch(std::string("record field ") + key + " holds \"" + recordText(field) + "\"");
    }
}

// The reading request that gets the answer: the input's first byte picks
// it ("0" to "7" in the seeds, any byte counts), so each input is read once
// and costs one parse.
enum class Reader { Client, Pilot, News, Timestamp, ClosestAirport, Route, NearestAirport, FuelPrice, kCount };

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    quelby_fuzz::prepareProcess();
    if (size == 0) return 0;
    const auto reader = static_cast<Reader>(static_cast<uint8_t>(data[0] - '0') % static_cast<uint8_t>(Reader::kCount));
    const std::string_view body(reinterpret_cast<const char*>(data) + 1, size - 1);
    const Expected expected = model(body);
    const bool filled = expected.result == CClientInterface::kSuccess;

    static quelby_fuzz::CAnswerReplay client("");
    client.replay(body);
    int result = expected.result;
    switch (reader) {
        case Reader::Client: result = client.readClient(); break;
        case Reader::Pilot:
            result = client.readPilot();
            checkText(expected, filled, "Name", client.m_pilot.Name);
            checkText(expected, filled, "Password", client.m_pilot.Password);
            break;
        case Reader::News:
            result = client.readNews();
            checkText(expected, filled, "Text", client.m_news.Text);
            break;
        case Reader::Timestamp: result = client.readTimestamp(); break;
        case Reader::ClosestAirport:
            result = client.readClosestAirport(8.5706, 50.0333);
            // The price of the airport just cached: no second request.
            client.readFuelPrice(client.m_closestAirport);
            break;
        case Reader::NearestAirport: {
            // What the simulator asks: the same request seen from the other side.
            char icao[5] = {0};
            client.findNearestAirport(50.0333, 8.5706, icao);
            result = client.getLastResult();
            break;
        }
        case Reader::Route:
            result = client.readRoute();
            checkText(expected, filled, "r_Route", client.m_route.Route);
            checkText(expected, filled, "l_Departure", client.m_log.Departure);
            client.readFuelPrice(recordText(client.m_log.Departure).c_str());
            break;
        case Reader::FuelPrice:
        case Reader::kCount:
            // Not in the cache: asked of the website, which answers nothing
            // the caller could tell from a price of 0.
            client.readFuelPrice("ZZZZ");
            break;
    }
    if (result != expected.result) {
        mismatch("result " + std::to_string(result) + " instead of " + std::to_string(expected.result));
    }
    // A failed answer that got past its header still leaves its rows.
    if (expected.hasRows) {
        checkRows(client, expected);
    }
    // What this input made is freed within its own run: memory that one run
    // takes and the next frees looks to the fuzzer like a leak, and each
    // suspected leak costs a second, traced run.
    client.replay(std::string_view());
    return 0;
}
