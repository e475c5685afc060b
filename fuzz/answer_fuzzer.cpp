// Fuzzes the website's answers: one answer body, as the transport receives
// it, is given to every reading request of the client, which parse it and
// fill their records through getData; a model of the framing then checks
// every field the answer's header names.
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "CClientInterface.h"
#include "FuzzSupport.h"

namespace {

using Line = std::vector<std::string>;

// Rows the model reads back per answer: the first few and the last, which
// covers the row lookups without making a long answer quadratic.
constexpr std::size_t kRowsChecked = 8;

struct Expected {
    int result = CClientInterface::kBadData;
    bool hasRows = false;
    Line header;
    std::vector<Line> rows;
};

// A line cut into fields at every "|", the rest kept in the last field once
// all field slots are used.
Line splitFields(const std::string& line) {
    Line fields(1);
    for (const char c : line) {
        if (c == '|' && fields.size() < static_cast<std::size_t>(ClientDataLine::kMaxFields)) {
            fields.emplace_back();
        } else {
            fields.back() += c;
        }
    }
    return fields;
}

// The framing as the website writes it: anything before "DATASTART", the
// result word, then for SUCCESS a header line, the rows and "DATAEND". Lines
// end at "\n", lose trailing white space, and the body ends at its first NUL.
Expected model(const std::string& body) {
    Expected expected;
    if (body.size() > static_cast<std::size_t>(CClientInterface::kResponseBytes)) {
        expected.result = CClientInterface::kCouldNotOpenUrl;
        return expected;
    }
    const std::string text = body.substr(0, body.find('\0'));
    enum { Seeking, ResultWord, Header, Rows } state = Seeking;
    std::size_t at = 0;
    while (at < text.size()) {
        std::size_t end = text.find('\n', at);
        if (end == std::string::npos) end = text.size();
        std::string line = text.substr(at, end - at);
        at = end + 1;
        while (!line.empty() && std::isspace(static_cast<unsigned char>(line.back()))) {
            line.pop_back();
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
                expected.rows.push_back(splitFields(line));
                break;
        }
    }
    // No DATAEND: the rows read so far stay, but the answer failed.
    return expected;
}

// What getData gives for key in row: the first column of that name whose row
// has such a column.
bool lookUp(const Expected& expected, const std::string& key, std::size_t row, std::string& value) {
    if (!expected.hasRows || row >= expected.rows.size()) return false;
    for (std::size_t column = 0; column < expected.header.size(); ++column) {
        if (expected.header[column] != key) continue;
        const Line& line = expected.rows[row];
        if (column < line.size()) {
            value = line[column];
            return true;
        }
    }
    return false;
}

[[noreturn]] void mismatch(const std::string& what) {
    std::fprintf(stderr, "answer model mismatch: %s\n", what.c_str());
    std::abort();
}

void checkRows(CClientInterface& client, const Expected& expected) {
    std::vector<std::size_t> rows;
    for (std::size_t row = 0; row < kRowsChecked; ++row) rows.push_back(row);
    rows.push_back(expected.rows.size() > 0 ? expected.rows.size() - 1 : 0);
    rows.push_back(expected.rows.size());
    std::vector<char> out(CClientInterface::kResponseBytes + 1);
    for (const std::string& key : expected.header) {
        for (const std::size_t row : rows) {
            std::fill(out.begin(), out.end(), '\0');
            const int found = client.getData(key.c_str(), static_cast<int>(row), out.data(),
                                             CClientInterface::kResponseBytes);
            std::string value;
            const bool expectedFound = lookUp(expected, key, row, value);
            if ((found == 0) != expectedFound) {
                mismatch("key \"" + key + "\" row " + std::to_string(row) +
                         (expectedFound ? " missing" : " present"));
            }
            if (expectedFound && value != out.data()) {
                mismatch("key \"" + key + "\" row " + std::to_string(row) + ": \"" + out.data() +
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    quelby_fuzz::prepareProcess();
    const std::string body(reinterpret_cast<const char*>(data), size);
    const Expected expected = model(body);
    const bool filled = expected.result == CClientInterface::kSuccess;

    quelby_fuzz::CAnswerReplay client(body);
    const int results[] = {
        client.readClient(),
        client.readPilot(),
        client.readNews(),
        client.readTimestamp(),
        client.readClosestAirport(8.5706, 50.0333),
        client.readRoute(),
    };
    for (const int result : results) {
        if (result != expected.result) {
            mismatch("result " + std::to_string(result) + " instead of " +
                     std::to_string(expected.result));
        }
    }
    // Not in the cache unless the answer named it: then the cache answers.
    client.readFuelPrice("ZZZZ");
    char icao[5] = {0};
    client.findNearestAirport(48.6899, 9.2220, icao);

    checkText(expected, filled, "Name", client.m_pilot.Name);
    checkText(expected, filled, "Password", client.m_pilot.Password);
    checkText(expected, filled, "r_Route", client.m_route.Route);
    checkText(expected, filled, "l_Departure", client.m_log.Departure);
    checkText(expected, filled, "Text", client.m_news.Text);
    // A failed answer that got past its header still leaves its rows.
    if (expected.hasRows) {
        checkRows(client, expected);
    }
    return 0;
}
