// The website's records: what reset() leaves, filling from an answer (cut
// texts, atoi/atof numbers in any locale, missing keys), the records' layout
// in the report backup file, and the airport cache.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "CIniParser.h"
#include "ServerRecords.h"
#include "TestSupport.h"

namespace {

// One answer row; getData behaves as the transport's: strncpy of at most max bytes.
class FakeAnswer : public CAnswerFields {
public:
    FakeAnswer(std::initializer_list<std::pair<const std::string, std::string>> fields)
        : m_fields(fields) {}
    int getData(const char* key, int row, char* out, int max) override {
        const auto found = m_fields.find(key);
        if (row != 0 || found == m_fields.end()) return -1;
        std::strncpy(out, found->second.c_str(), static_cast<std::size_t>(max));
        return 0;
    }

private:
    std::map<std::string, std::string> m_fields;
};

template <typename Record>
std::vector<std::size_t> nonZeroBytes(const Record& record) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(&record);
    std::vector<std::size_t> offsets;
    for (std::size_t i = 0; i < sizeof(record); ++i) {
        if (bytes[i] != 0) offsets.push_back(i);
    }
    return offsets;
}

template <typename Record>
std::vector<std::size_t> nonZeroAfterReset() {
    Record record;
    std::memset(static_cast<void*>(&record), 0xA5, sizeof(record));
    record.reset();
    return nonZeroBytes(record);
}

// Every byte a different, non-zero pattern, so a shifted or shortened copy shows.
template <typename Record>
void fillWithPattern(Record& record) {
    auto* bytes = reinterpret_cast<unsigned char*>(&record);
    for (std::size_t i = 0; i < sizeof(record); ++i) {
        bytes[i] = static_cast<unsigned char>(i % 251 + 1);
    }
}

template <typename Record>
bool sameBytes(const Record& a, const Record& b) {
    return std::memcmp(&a, &b, sizeof(a)) == 0;
}

const std::vector<std::size_t> kNoBytes;

TEST(ServerRecordsReset, EachRecord_clearsEveryByte_exceptTheReportIdZero) {
    EXPECT_EQ(nonZeroAfterReset<tTarvex_Pilots>(), kNoBytes) << "tTarvex_Pilots";
    EXPECT_EQ(nonZeroAfterReset<tTarvex_Routes>(), kNoBytes) << "tTarvex_Routes";
    EXPECT_EQ(nonZeroAfterReset<tTarvex_Logs>(), kNoBytes) << "tTarvex_Logs";
    EXPECT_EQ(nonZeroAfterReset<tTarvex_Aircrafts>(), kNoBytes) << "tTarvex_Aircrafts";
    EXPECT_EQ(nonZeroAfterReset<tTarvex_VirtualAirlines>(), kNoBytes) << "tTarvex_VirtualAirlines";
    EXPECT_EQ(nonZeroAfterReset<tTarvex_News_Client>(), kNoBytes) << "tTarvex_News_Client";
    EXPECT_EQ(nonZeroAfterReset<tTarvex_Reports>(), std::vector<std::size_t>{0})
        << "tTarvex_Reports: only ReportId's first byte";
    tTarvex_Reports report;
    report.reset();
    EXPECT_STREQ(report.ReportId, "0");
}

TEST(ServerRecordsFill, MissingKeysOrRow_andTheClientsOwnFuelFigures_areLeftAsTheyWere) {
    FakeAnswer answer{{"ID", "17"}, {"Name", "Anna"}};
    tTarvex_Pilots pilot;
    pilot.reset();
    pilot.fill(answer, 0);
    EXPECT_EQ(recordText(pilot.ID), "17");
    EXPECT_EQ(recordText(pilot.WeightUnit), "") << "no \"WeightUnit\" in the answer";

    tTarvex_Routes route;
    route.reset();
    route.fill(answer, 0);
    EXPECT_EQ(nonZeroBytes(route), kNoBytes) << "no \"r_\" key at all";
    FakeAnswer routeAnswer{{"r_Simrate", "4"}, {"r_Dep", "EDDF"}};
    route.fill(routeAnswer, 1);
    EXPECT_EQ(nonZeroBytes(route), kNoBytes) << "no such row";

    tAircraftTypeData typeData;
    typeData.MTOW = 70000;
    typeData.fill(answer, 0);
    EXPECT_EQ(typeData.MTOW, 70000) << "a missing number keeps its value";

    // The booked and arrival fuel are the client's own, whatever the answer holds.
    FakeAnswer aircraftAnswer{{"a_Fuel", "5000"}, {"a_FuelBooked", "7"}, {"a_FuelAfter", "8"}};
    tTarvex_Aircrafts aircraft;
    aircraft.reset();
    aircraft.FuelAfter = 1200;
    aircraft.fill(aircraftAnswer, 0);
    EXPECT_EQ(aircraft.Fuel, 5000);
    EXPECT_EQ(aircraft.FuelBooked, 0);
    EXPECT_EQ(aircraft.FuelAfter, 1200);
}

TEST(ServerRecordsFill, TextAsWideAsItsFieldOrWider_isCutAndLeftUnterminated) {
    const struct {
        std::size_t valueLength;
        std::size_t expectedRouteLength;
    } cases[] = {{999, 999}, {1000, 1000}, {1001, 1000}, {4000, 1000}};
    for (const auto& c : cases) {
        SCOPED_TRACE("r_Route of " + std::to_string(c.valueLength) + " bytes");
        const std::string value(c.valueLength, 'R');
        FakeAnswer answer{{"r_Route", value}, {"r_Type", "B738"}};
        tTarvex_Routes route;
        route.reset();
        route.fill(answer, 0);
        const std::string text = recordText(route.Route);
        EXPECT_EQ(text.size(), c.expectedRouteLength);
        EXPECT_EQ(text, value.substr(0, c.expectedRouteLength));
        EXPECT_EQ(recordText(route.Type), "B738") << "the next field is untouched";
        // Read as a C string, a full Route runs on into Type.
        const std::string runOn(route.Route);
        EXPECT_EQ(runOn.size() > 1000, c.valueLength >= 1000);
    }

    // The narrow texts cut the same way.
    FakeAnswer answer{{"WeightUnit", "kilo"}, {"Status", "abcdef"}};
    tTarvex_Pilots pilot;
    pilot.reset();
    pilot.fill(answer, 0);
    EXPECT_EQ(recordText(pilot.Status), "abcd");
    EXPECT_EQ(recordText(pilot.WeightUnit), "kilo");
}

TEST(ServerRecordsFill, NumberFillingItsWholeField_isReadWithinIt) {
    // The website may send a load padded to the field's width: read as a C
    // string it would run on into the next field.
    const std::string padded = std::string(32, '0') + "120";
    FakeAnswer answer{{"l_Passengers", padded}, {"l_Cargo", "5000"}};
    tTarvex_Logs log;
    log.reset();
    log.fill(answer, 0);
    ASSERT_EQ(recordText(log.Passengers), padded);
    EXPECT_EQ(recordInt(log.Passengers), 120);
    EXPECT_EQ(recordDouble(log.Passengers), 120.0);
    EXPECT_EQ(recordInt(log.Cargo), 5000);
}

TEST(ServerRecordsFill, Numbers_readAsAtoiAndAtofWould) {
    const struct {
        const char* text;
        int32_t expectedInt;
        double expectedDouble;
    } cases[] = {
        {"12.7", 12, 12.7},  {"-12.7", -12, -12.7}, {"abc", 0, 0.0},   {"", 0, 0.0},
        {"  42x", 42, 42.0}, {"1.5", 1, 1.5},       {"3e2", 3, 300.0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string("value \"") + c.text + "\"");
        FakeAnswer answer{{"r_Simrate", c.text}, {"a_FuelMult", c.text}, {"d_Ticket", c.text}};
        tTarvex_Routes route;
        route.reset();
        route.fill(answer, 0);
        EXPECT_EQ(route.Simrate, c.expectedInt);
        tTarvex_Aircrafts aircraft;
        aircraft.reset();
        aircraft.fill(answer, 0);
        EXPECT_FLOAT_EQ(aircraft.FuelMult, static_cast<float>(c.expectedDouble));
        tAircraftTypeData typeData;
        typeData.fill(answer, 0);
        EXPECT_DOUBLE_EQ(typeData.Ticket, c.expectedDouble);
    }
}

TEST(ServerRecordsFill, IntegerFigureBeyondAnInt_isTakenAsZeroWithALogLine) {
    quelby_test::ScratchFolder folder{"quelby-records"};
    quelby_test::LogInto logInto{folder.path()};
    const struct {
        const char* text;
        int32_t expected;
        bool logged;
    } cases[] = {
        {"2147483647", 2147483647, false},
        {"-2147483648", -2147483647 - 1, false},
        {"  +42", 42, false},
        {"2147483648", 0, true},
        {"-2147483649", 0, true},
        {"99999999999999999999999", 0, true},
        {"1e12", 1, false},  // read as atoi reads it: the 1 before the exponent
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string("value \"") + c.text + "\"");
        const std::size_t before = quelby_test::readFile(folder.file("quelby_debug.txt")).size();
        FakeAnswer answer{{"a_Fuel", c.text}};
        tTarvex_Aircrafts aircraft;
        aircraft.reset();
        aircraft.Fuel = 555;
        aircraft.fill(answer, 0);
        EXPECT_EQ(aircraft.Fuel, c.expected);
        const std::string lines =
            quelby_test::readFile(folder.file("quelby_debug.txt")).substr(before);
        EXPECT_EQ(lines.find(std::string("Website figure a_Fuel=") + c.text +
                             " is beyond an integer's range; taken as 0") != std::string::npos,
                  c.logged)
            << lines;
    }
}

TEST(ServerRecordsFill, CommaDecimalGlobalLocale_stillReadsPointDecimals) {
    const std::string previous = std::setlocale(LC_ALL, nullptr);
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) {
        GTEST_SKIP() << "locale de_DE.UTF-8 not installed";
    }
    FakeAnswer answer{{"a_StateGear", "1.5"}, {"d_Ticket", "1.5"}, {"r_Simrate", "2.9"}};
    tTarvex_Aircrafts aircraft;
    aircraft.reset();
    aircraft.fill(answer, 0);
    tAircraftTypeData typeData;
    typeData.fill(answer, 0);
    tTarvex_Routes route;
    route.reset();
    route.fill(answer, 0);
    std::setlocale(LC_ALL, previous.c_str());

    EXPECT_FLOAT_EQ(aircraft.StateGear, 1.5f);
    EXPECT_DOUBLE_EQ(typeData.Ticket, 1.5);
    EXPECT_EQ(route.Simrate, 2);
}

class ServerRecordsBackupTest : public quelby_test::FolderTest {
protected:
    void SetUp() override {
        FolderTest::SetUp();
        CIniParser::destroyInstance();
    }

    // Nothing stored yet: load() fails and leaves the record. Then the record
    // is saved, the parser dropped, and the file must hold it under its key as
    // the hex of its size and give it back byte for byte.
    template <typename Record>
    void expectStoredWhole(const char* key, std::size_t bytes) {
        SCOPED_TRACE(key);
        Record saved;
        fillWithPattern(saved);
        if constexpr (!std::is_same_v<Record, tTarvex_Pilots>) {  // never loaded
            Record untouched = saved;
            EXPECT_FALSE(untouched.load());
            EXPECT_TRUE(sameBytes(saved, untouched));
        }
        ASSERT_TRUE(saved.backup());
        ASSERT_TRUE(CIniParser::instance()->saveFiles());
        CIniParser::destroyInstance();

        std::vector<char> text(2 * bytes + 16, '\0');
        ASSERT_TRUE(
            CIniParser::instance()->getStringFromReport("Report", key, text.data(), text.size()));
        EXPECT_EQ(std::strlen(text.data()), 2 * bytes);
        if constexpr (!std::is_same_v<Record, tTarvex_Pilots>) {
            Record loaded;
            std::memset(static_cast<void*>(&loaded), 0, sizeof(loaded));
            ASSERT_TRUE(loaded.load());
            EXPECT_TRUE(sameBytes(saved, loaded));
        }
    }
};

TEST_F(ServerRecordsBackupTest, EachRecord_isStoredUnderItsKeyAsHexOfItsSize_andComesBackWhole) {
    expectStoredWhole<tTarvex_Pilots>("Tarvex_Pilots", 363);
    expectStoredWhole<tTarvex_Routes>("Tarvex_Routes", 1436);
    expectStoredWhole<tTarvex_Logs>("Tarvex_Logs", 564);
    expectStoredWhole<tTarvex_Aircrafts>("Tarvex_Aircrafts", 568);
    expectStoredWhole<tTarvex_VirtualAirlines>("Tarvex_VirtualAirlines", 100);
    expectStoredWhole<tTarvex_Reports>("Tarvex_Reports", 4300);
    expectStoredWhole<tAircraftTypeData>("AircraftType", 24);
}

TEST(AirportCache, NewCodesGoFirst_aKnownOneKeepsItsFigures_andOnlyFourCharactersCount) {
    CAirportCache cache;
    EXPECT_TRUE(cache.add("EDDF", 50.03, 8.57, 1.10));
    EXPECT_TRUE(cache.add("LOWW", 48.11, 16.57, 1.20));
    EXPECT_FALSE(cache.add("EDDF", 0.0, 0.0, 9.99));
    // A record's Departure text is wider than a code; only 4 characters count.
    EXPECT_TRUE(cache.add("LSZHX", 47.46, 8.55, 1.30));
    EXPECT_FALSE(cache.add("LSZH", 0.0, 0.0, 0.0));
    EXPECT_FALSE(cache.add("", 0.0, 0.0, 0.0)) << "a code-less airport could never be named";

    std::vector<std::string> icaos;
    for (const tAirport& airport : cache) icaos.emplace_back(airport.icao);
    EXPECT_EQ(icaos, (std::vector<std::string>{"LSZH", "LOWW", "EDDF"}));
    const tAirport* frankfurt = cache.find("EDDF");
    ASSERT_NE(frankfurt, nullptr);
    EXPECT_DOUBLE_EQ(frankfurt->latitudeDeg, 50.03) << "the first figures stay";
    EXPECT_DOUBLE_EQ(frankfurt->longitudeDeg, 8.57);
    EXPECT_DOUBLE_EQ(frankfurt->fuelPrice, 1.10);
    EXPECT_EQ(cache.find("KJFK"), nullptr);
    EXPECT_EQ(cache.find("EDD"), nullptr);
    EXPECT_NE(cache.find("LSZH"), nullptr);
}

TEST(AirportCache, ThousandsOfCodes_eachFoundOnce_alsoAfterTheCacheMoved) {
    CAirportCache cache;
    std::vector<std::string> codes;
    for (int i = 0; i < 3000; ++i) {
        // Letters and bytes above 127 alike: a code is its bytes.
        const char code[5] = {static_cast<char>('A' + i % 26), static_cast<char>(0x80 + i / 26 % 100),
                              static_cast<char>('0' + i / 2600), 'X', '\0'};
        codes.emplace_back(code);
        ASSERT_TRUE(cache.add(code, i, -i, 1.0)) << i;
    }
    ASSERT_FALSE(cache.add(codes[1234].c_str(), 0.0, 0.0, 0.0));
    const CAirportCache moved(std::move(cache));
    ASSERT_EQ(moved.size(), 3000u);
    for (int i = 0; i < 3000; ++i) {
        const tAirport* airport = moved.find(codes[static_cast<std::size_t>(i)].c_str());
        ASSERT_NE(airport, nullptr) << i;
        EXPECT_DOUBLE_EQ(airport->latitudeDeg, i);
    }
    EXPECT_EQ(moved.find("AAAY"), nullptr) << "one character off";
    EXPECT_EQ(moved.find(""), nullptr);
}

TEST(AirportCache, Cleared_findsNone_andTakesTheSameCodesWithNewFigures) {
    CAirportCache cache;
    ASSERT_TRUE(cache.add("EDDF", 50.0, 8.5, 1.1));
    ASSERT_TRUE(cache.add("KJFK", 40.6, -73.8, 2.2));
    cache.clear();
    EXPECT_TRUE(cache.empty());
    EXPECT_EQ(cache.find("EDDF"), nullptr);
    EXPECT_EQ(cache.begin(), cache.end());
    ASSERT_TRUE(cache.add("KJFK", 1.0, 2.0, 3.0)) << "a cleared code is new again";
    const tAirport* airport = cache.find("KJFK");
    ASSERT_NE(airport, nullptr);
    EXPECT_DOUBLE_EQ(airport->fuelPrice, 3.0);
    EXPECT_EQ(cache.size(), 1u);
}

}  // namespace
