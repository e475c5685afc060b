// The website's records: what reset() leaves, filling from an answer (cut
// texts, atoi/atof numbers in any locale, missing keys), the round trip
// through the report backup file, and the airport cache.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
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
        if (row != 0 || found == m_fields.end()) {
            return -1;
        }
        std::strncpy(out, found->second.c_str(), static_cast<std::size_t>(max));
        return 0;
    }

private:
    std::map<std::string, std::string> m_fields;
};

template <typename Record>
void scribble(Record& record) {
    std::memset(static_cast<void*>(&record), 0xA5, sizeof(record));
}

// The offsets of the bytes that are not 0.
template <typename Record>
std::vector<std::size_t> nonZeroBytes(const Record& record) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(&record);
    std::vector<std::size_t> offsets;
    for (std::size_t i = 0; i < sizeof(record); ++i) {
        if (bytes[i] != 0) {
            offsets.push_back(i);
        }
    }
    return offsets;
}

template <typename Record>
std::vector<std::size_t> nonZeroAfterReset() {
    Record record;
    scribble(record);
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
    scribble(report);
    report.reset();
    EXPECT_STREQ(report.ReportId, "0");

    tAircraftTypeData typeData;
    typeData.Price = 1;
    typeData.DOW = 2;
    typeData.MTOW = 3;
    typeData.Engines = 4;
    typeData.Ticket = 5.0;
    typeData.reset();
    EXPECT_EQ(typeData.Price, 0);
    EXPECT_EQ(typeData.DOW, 0);
    EXPECT_EQ(typeData.MTOW, 0);
    EXPECT_EQ(typeData.Engines, 0);
    EXPECT_EQ(typeData.Ticket, 0.0);
}

TEST(ServerRecordsFill, EveryKey_landsInItsField) {
    FakeAnswer answer{{"ID", "17"},       {"Name", "Anna"},   {"Surname", "Berg"},
                      {"User", "aberg"},  {"Password", "x1"}, {"VA_ID", "3"},
                      {"VA_User", "ab3"}, {"Rank", "Capt"},   {"Location", "EDDF"},
                      {"Budget", "900"},  {"Status", "1"},    {"WeightUnit", "1"}};
    tTarvex_Pilots pilot;
    pilot.reset();
    pilot.fill(answer, 0);
    const struct {
        std::string got;
        const char* expected;
    } pilotCases[] = {
        {recordText(pilot.ID), "17"},         {recordText(pilot.Name), "Anna"},
        {recordText(pilot.Surname), "Berg"},  {recordText(pilot.User), "aberg"},
        {recordText(pilot.Password), "x1"},   {recordText(pilot.VA_ID), "3"},
        {recordText(pilot.VA_User), "ab3"},   {recordText(pilot.Rank), "Capt"},
        {recordText(pilot.Location), "EDDF"}, {recordText(pilot.Budget), "900"},
        {recordText(pilot.Status), "1"},      {recordText(pilot.WeightUnit), "1"},
    };
    for (const auto& c : pilotCases) {
        EXPECT_EQ(c.got, c.expected);
    }

    FakeAnswer routeAnswer{{"r_ID", "5"},         {"r_Dep", "EDDF"},    {"r_Arr", "LOWW"},
                           {"r_DepTime", "1030"}, {"r_Route", "ANEKI"}, {"r_Type", "A320"},
                           {"r_Simrate", "4"},    {"r_FlightType", "1"}};
    tTarvex_Routes route;
    route.reset();
    route.fill(routeAnswer, 0);
    EXPECT_EQ(recordText(route.ID), "5");
    EXPECT_EQ(recordText(route.Dep), "EDDF");
    EXPECT_EQ(recordText(route.Arr), "LOWW");
    EXPECT_EQ(recordText(route.DepTime), "1030");
    EXPECT_EQ(recordText(route.Route), "ANEKI");
    EXPECT_EQ(recordText(route.Type), "A320");
    EXPECT_EQ(route.Simrate, 4);
    EXPECT_EQ(recordText(route.FlightType), "1");

    FakeAnswer logAnswer{{"l_ID", "812"},
                         {"l_Departure", "EDDF"},
                         {"l_Lat", "50.03"},
                         {"l_Timestamp", "1700000000"}};
    tTarvex_Logs log;
    log.reset();
    log.fill(logAnswer, 0);
    EXPECT_EQ(recordText(log.ID), "812");
    EXPECT_EQ(recordText(log.Departure), "EDDF");
    EXPECT_EQ(recordText(log.Lat), "50.03");
    EXPECT_EQ(log.Timestamp, 1700000000);

    FakeAnswer aircraftAnswer{
        {"a_StateEng1", "0.5"}, {"a_StateHull", "0.25"}, {"a_Fuel", "5000"},
        {"a_Value", "12000"},   {"a_Location", "EDDF"},  {"a_Description", "old"},
        {"a_FuelMult", "1.5"},  {"a_FuelBooked", "7"},   {"a_FuelAfter", "8"}};
    tTarvex_Aircrafts aircraft;
    aircraft.reset();
    aircraft.fill(aircraftAnswer, 0);
    EXPECT_FLOAT_EQ(aircraft.StateEng1, 0.5f);
    EXPECT_FLOAT_EQ(aircraft.StateHull, 0.25f);
    EXPECT_EQ(aircraft.Fuel, 5000);
    EXPECT_EQ(aircraft.Value, 12000);
    EXPECT_EQ(recordText(aircraft.Location), "EDDF");
    EXPECT_EQ(recordText(aircraft.Description), "old");
    EXPECT_FLOAT_EQ(aircraft.FuelMult, 1.5f);
    EXPECT_EQ(aircraft.FuelBooked, 0) << "the client's own figure, never from the answer";
    EXPECT_EQ(aircraft.FuelAfter, 0) << "the client's own figure, never from the answer";

    FakeAnswer airlineAnswer{{"v_Reputation", "-3"},
                             {"v_Pilotcharge", "40"},
                             {"v_Name", "Alpine Air"},
                             {"v_Multiplier", "1.2"}};
    tTarvex_VirtualAirlines airline;
    airline.reset();
    airline.fill(airlineAnswer, 0);
    EXPECT_EQ(airline.Reputation, -3);
    EXPECT_EQ(airline.Pilotcharge, 40);
    EXPECT_EQ(recordText(airline.Name), "Alpine Air");
    EXPECT_EQ(recordText(airline.Multiplier), "1.2");

    FakeAnswer typeAnswer{{"d_Price", "900000"},
                          {"d_DOW", "42000"},
                          {"d_MTOW", "78000"},
                          {"d_Engines", "2"},
                          {"d_Ticket", "0.85"}};
    tAircraftTypeData typeData;
    typeData.fill(typeAnswer, 0);
    EXPECT_EQ(typeData.Price, 900000);
    EXPECT_EQ(typeData.DOW, 42000);
    EXPECT_EQ(typeData.MTOW, 78000);
    EXPECT_EQ(typeData.Engines, 2);
    EXPECT_DOUBLE_EQ(typeData.Ticket, 0.85);

    FakeAnswer newsAnswer{{"ID", "9"}, {"Header", "New hub"}, {"Text", "We fly to LOWW."}};
    tTarvex_News_Client news;
    news.reset();
    news.fill(newsAnswer, 0);
    EXPECT_EQ(news.ID, 9);
    EXPECT_EQ(recordText(news.Header), "New hub");
    EXPECT_EQ(recordText(news.Text), "We fly to LOWW.");
}

TEST(ServerRecordsFill, MissingKeysOrRow_leaveTheResetValues) {
    FakeAnswer answer{{"ID", "17"}, {"Name", "Anna"}};
    tTarvex_Pilots pilot;
    scribble(pilot);
    pilot.reset();
    pilot.fill(answer, 0);
    EXPECT_EQ(recordText(pilot.ID), "17");
    EXPECT_EQ(recordText(pilot.WeightUnit), "") << "no \"WeightUnit\" in the answer";
    EXPECT_EQ(recordText(pilot.Status), "");

    tTarvex_Routes route;
    route.reset();
    route.fill(answer, 0);
    EXPECT_EQ(nonZeroBytes(route), kNoBytes) << "no \"r_\" key at all";

    tAircraftTypeData typeData;
    typeData.MTOW = 70000;
    typeData.fill(answer, 0);
    EXPECT_EQ(typeData.MTOW, 70000) << "a missing number keeps its value";

    FakeAnswer routeAnswer{{"r_Simrate", "4"}, {"r_Dep", "EDDF"}};
    route.fill(routeAnswer, 1);
    EXPECT_EQ(nonZeroBytes(route), kNoBytes) << "no such row";
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

class ServerRecordsBackupTest : public ::testing::Test {
protected:
    void SetUp() override { CIniParser::destroyInstance(); }
    void TearDown() override { CIniParser::destroyInstance(); }

    // Saves the record, drops the parser and reads the record back through a
    // fresh one from the file on disk.
    template <typename Record>
    void expectRoundTrip(const char* name) {
        SCOPED_TRACE(name);
        Record saved;
        fillWithPattern(saved);
        ASSERT_TRUE(saved.backup());
        ASSERT_TRUE(CIniParser::instance()->saveFiles());
        CIniParser::destroyInstance();

        Record loaded;
        loaded.reset();
        ASSERT_TRUE(loaded.load());
        EXPECT_TRUE(sameBytes(saved, loaded));
    }

    template <typename Record>
    void expectMissingKeyLeavesRecord(const char* name) {
        SCOPED_TRACE(name);
        Record record;
        fillWithPattern(record);
        const Record before = record;
        EXPECT_FALSE(record.load());
        EXPECT_TRUE(sameBytes(before, record));
    }

    quelby_test::ScratchFolder m_folder{"quelby-records"};
    quelby_test::LogInto m_logInto{m_folder.path()};
};

TEST_F(ServerRecordsBackupTest, EachBackedUpRecord_comesBackByteForByte) {
    expectRoundTrip<tTarvex_Routes>("tTarvex_Routes");
    expectRoundTrip<tTarvex_Logs>("tTarvex_Logs");
    expectRoundTrip<tTarvex_Aircrafts>("tTarvex_Aircrafts");
    expectRoundTrip<tTarvex_VirtualAirlines>("tTarvex_VirtualAirlines");
    expectRoundTrip<tTarvex_Reports>("tTarvex_Reports");
}

TEST_F(ServerRecordsBackupTest, EachRecord_isStoredUnderItsKeyAsHexOfItsSize) {
    tTarvex_Pilots pilot;
    fillWithPattern(pilot);
    tTarvex_Routes route;
    fillWithPattern(route);
    tTarvex_Logs log;
    fillWithPattern(log);
    tTarvex_Aircrafts aircraft;
    fillWithPattern(aircraft);
    tTarvex_VirtualAirlines airline;
    fillWithPattern(airline);
    tTarvex_Reports report;
    fillWithPattern(report);
    ASSERT_TRUE(pilot.backup());
    ASSERT_TRUE(route.backup());
    ASSERT_TRUE(log.backup());
    ASSERT_TRUE(aircraft.backup());
    ASSERT_TRUE(airline.backup());
    ASSERT_TRUE(report.backup());
    ASSERT_TRUE(CIniParser::instance()->saveFiles());
    CIniParser::destroyInstance();

    const struct {
        const char* key;
        std::size_t bytes;
    } cases[] = {
        {"Tarvex_Pilots", 363},    {"Tarvex_Routes", 1436},         {"Tarvex_Logs", 564},
        {"Tarvex_Aircrafts", 568}, {"Tarvex_VirtualAirlines", 100}, {"Tarvex_Reports", 4300}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.key);
        std::vector<char> text(2 * c.bytes + 16, '\0');
        ASSERT_TRUE(
            CIniParser::instance()->getStringFromReport("Report", c.key, text.data(), text.size()));
        EXPECT_EQ(std::strlen(text.data()), 2 * c.bytes);
    }
}

TEST_F(ServerRecordsBackupTest, NothingSaved_loadFailsAndLeavesTheRecord) {
    expectMissingKeyLeavesRecord<tTarvex_Routes>("tTarvex_Routes");
    expectMissingKeyLeavesRecord<tTarvex_Logs>("tTarvex_Logs");
    expectMissingKeyLeavesRecord<tTarvex_Aircrafts>("tTarvex_Aircrafts");
    expectMissingKeyLeavesRecord<tTarvex_VirtualAirlines>("tTarvex_VirtualAirlines");
    expectMissingKeyLeavesRecord<tTarvex_Reports>("tTarvex_Reports");
}

std::vector<std::string> icaosInOrder(const CAirportCache& cache) {
    std::vector<std::string> icaos;
    for (const tAirport& airport : cache) {
        icaos.emplace_back(airport.icao);
    }
    return icaos;
}

TEST(AirportCache, NewAirports_goToTheFront_andAKnownCodeIsNotAddedAgain) {
    CAirportCache cache;
    EXPECT_TRUE(cache.add("EDDF", 50.03, 8.57, 1.10));
    EXPECT_TRUE(cache.add("LOWW", 48.11, 16.57, 1.20));
    EXPECT_FALSE(cache.add("EDDF", 0.0, 0.0, 9.99));
    EXPECT_TRUE(cache.add("LSZH", 47.46, 8.55, 1.30));

    EXPECT_EQ(icaosInOrder(cache), (std::vector<std::string>{"LSZH", "LOWW", "EDDF"}));
    const tAirport* frankfurt = cache.find("EDDF");
    ASSERT_NE(frankfurt, nullptr);
    EXPECT_DOUBLE_EQ(frankfurt->latitudeDeg, 50.03) << "the first figures stay";
    EXPECT_DOUBLE_EQ(frankfurt->longitudeDeg, 8.57);
    EXPECT_DOUBLE_EQ(frankfurt->fuelPrice, 1.10);
    EXPECT_EQ(cache.find("KJFK"), nullptr);
}

TEST(AirportCache, CodesLongerThanFour_areKeptAndFoundByTheirFirstFour) {
    CAirportCache cache;
    // A record's Departure text is wider than a code; only 4 characters count.
    EXPECT_TRUE(cache.add("EDDFX", 50.03, 8.57, 1.10));
    EXPECT_FALSE(cache.add("EDDF", 0.0, 0.0, 0.0));
    const tAirport* airport = cache.find("EDDF");
    ASSERT_NE(airport, nullptr);
    EXPECT_STREQ(airport->icao, "EDDF");
    EXPECT_EQ(cache.find("EDD"), nullptr);
    EXPECT_EQ(cache.size(), 1u);
}

}  // namespace
