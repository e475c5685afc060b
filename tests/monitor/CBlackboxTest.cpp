// The flight recorder: when its rules fire, re-arm and are dropped, the record
// an event leaves, the rate limit, the backup, and rule files that are broken,
// partly broken or as shipped. The upload is tested with the report.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "AircraftData.h"
#include "CBlackbox.h"
#include "CClientConfig.h"
#include "CClientInterface.h"
#include "CIniParser.h"
#include "CLogger.h"
#include "CSingleton.h"
#include "CSound.h"
#include "TestSupport.h"

namespace {

using Blackbox::tDataRecord;

constexpr int kClimb = 5;
constexpr int kCruise = 6;
constexpr int kDescent = 7;
constexpr int kLanded = 3;

class RecordingSound : public CSound {
public:
    RecordingSound() : CSound(nullptr) {}
    void play(const std::string& name, bool common) override { played.emplace_back(name, common); }
    void play(unsigned int) override {}
    std::vector<std::pair<std::string, bool>> played;
};

class CBlackboxTest : public quelby_test::FolderTest {
protected:
    void SetUp() override {
        FolderTest::SetUp();
        CClientConfig::instance()->setDataPath(m_folder.path());
        aircraft.reset();
        // Made after the log moved into the test's folder.
        client = std::make_unique<CClientInterface>();
        sound = std::make_unique<RecordingSound>();
    }
    void TearDown() override {
        recorder.reset();
        sound.reset();
        client.reset();
        FolderTest::TearDown();
    }
    // A rule file holding rules in its root, and a recorder over it.
    void load(const std::string& rules) {
        writeRuleFile("<blackbox>" + rules + "</blackbox>");
        build();
    }
    void writeRuleFile(const std::string& text) {
        quelby_test::writeFile(m_folder.file("blackbox.xml"), text);
    }
    void build() {
        recorder.reset();
        recorder = std::make_unique<Blackbox::CBlackbox>(sound.get(), &aircraft, client.get());
    }
    // Check cycles, one per count: "1" for each that logged an event, else "0".
    std::string step(int count = 1) {
        std::string fired;
        for (int i = 0; i < count; ++i) {
            const std::size_t before = recorder->getFlightData().size();
            recorder->check();
            fired += recorder->getFlightData().size() > before ? "1" : "0";
        }
        return fired;
    }
    std::vector<std::string> logged() const {
        std::vector<std::string> texts;
        for (const tDataRecord& record : recorder->getFlightData()) texts.emplace_back(record.text);
        return texts;
    }
    int countInLog(const std::string& text) const {
        const std::string all = log();
        int count = 0;
        for (std::size_t at = all.find(text); at != std::string::npos;
             at = all.find(text, at + 1)) {
            ++count;
        }
        return count;
    }

    tagAircraftData aircraft;
    std::unique_ptr<CClientInterface> client;
    std::unique_ptr<RecordingSound> sound;
    std::unique_ptr<Blackbox::CBlackbox> recorder;
};

TEST_F(CBlackboxTest, Rules_fireOnCrossingTheirValue_andReArmOnlyWhenMultiple) {
    const auto ias = [&](double kts) { aircraft.nIndicatedAirspeedKts = static_cast<int>(kts); };
    const auto altitude = [&](double ft) { aircraft.dAltitudeFt = ft; };
    const auto phase = [&](double state) { aircraft.nFlightState = static_cast<int>(state); };
    const std::string fast = "var=\"IAS\" value=\"250\" method=\"greater\" ";
    const std::string level = "var=\"altitudestd\" ";
    const struct {
        std::string rule;
        std::function<void(double)> set;
        bool init;
        std::vector<double> samples;
        const char* fired;
    } cases[] = {
        {fast + "multiple=\"\"", ias, false, {240, 260, 270, 250, 260}, "01000"},
        {fast + "multiple=\"true\"", ias, false, {240, 260, 270, 250, 260}, "01000"},
        {fast + "multiple=\"1\"", ias, false, {240, 260, 270, 250, 260}, "01001"},
        {fast + "multiple=\"1\"", ias, false, {250, 250, 251}, "001"},  // 250 is not above
        // "equal" fires when the value is touched or crossed between samples.
        {level + "value=\"10000\"", altitude, true, {9990, 10010}, "01"},
        {level + "value=\"10000\"", altitude, true, {10010, 9990}, "01"},
        {level + "value=\"10000\"", altitude, true, {9980, 9990}, "00"},
        {level + "value=\"10000\"", altitude, true, {10010, 10020}, "00"},
        // Without init the crossing memory starts at 0, below the value.
        {level + "value=\"10000\"", altitude, false, {10010, 10020}, "10"},
        // No value compares with 0; an unknown method means equal.
        {level + "method=\"around\"", altitude, true, {-10, 10}, "01"},
        // Outside its phase the rule stays quiet and re-arms.
        {fast + "flightstate=\"cruise\" multiple=\"1\"",
         phase,
         false,
         {kClimb, kCruise, kCruise, kDescent, kCruise},
         "01001"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.rule + (c.init ? "" : " without init") + " at " +
                     ::testing::PrintToString(c.samples));
        aircraft.nIndicatedAirspeedKts = 300;
        aircraft.nFlightState = 0;
        load("<event text=\"Rule\" " + c.rule + "/>");
        c.set(c.samples.front());
        if (c.init) recorder->init();
        std::string fired;
        for (double sample : c.samples) {
            c.set(sample);
            fired += step();
        }
        EXPECT_EQ(fired, c.fired);
    }
}

TEST_F(CBlackboxTest, Combination_stopsAtTheFirstFalseChild_firesOnceAndReArms) {
    // The altitude child is an "equal" rule: had it been evaluated while the
    // gear was up, its memory would hold 10010, which crosses nothing.
    load(
        "<combination text=\"Gear down at 10000\" multiple=\"1\">"
        "<event var=\"gear\" value=\"1\" text=\"ignored\"/>"
        "<event var=\"altitudestd\" value=\"10000\"/>"
        "<other var=\"ias\" value=\"9999\" method=\"greater\"/></combination>");
    const std::pair<bool, double> samples[] = {{false, 9990.0}, {false, 10010.0}, {true, 10010.0},
                                               {true, 10000.0}, {false, 10000.0}, {true, 10000.0}};
    std::string fired;
    for (const auto& [gearDown, altitudeFt] : samples) {
        aircraft.bGearDown = gearDown;
        aircraft.dAltitudeFt = altitudeFt;
        fired += step();
    }
    EXPECT_EQ(fired, "001001");
}

TEST_F(CBlackboxTest, Texts_compareWithoutCase_andNeverOrder) {
    std::strcpy(client->m_route.Arr, "edds");
    std::strcpy(client->m_aircraft.Type, "A320");
    std::strcpy(aircraft.closestAirport, "EDDF");
    load(
        "<event text=\"Destination\" var=\"destination\" value=\"EDDS\"/>"
        "<event text=\"Type\" var=\"aircrafttype\" value=\"a320\"/>"
        "<event text=\"Closest\" var=\"closestairport\" value=\"eddf\"/>"
        "<event text=\"Before\" var=\"destination\" value=\"ZZZZ\" method=\"less\"/>"
        "<event text=\"After\" var=\"destination\" value=\"AAAA\" method=\"greater\"/>"
        "<event text=\"Elsewhere\" var=\"destination\" value=\"EGLL\"/>");
    recorder->check();
    recorder->check();
    EXPECT_EQ(logged(), (std::vector<std::string>{"Destination", "Type", "Closest"}));
}

TEST_F(CBlackboxTest, StartFlight_firesInTheFirstCycleAfterEachReset) {
    load("<startflight text=\"Welcome aboard\" sound=\"en/welcome.wav\" multiple=\"1\"/>");
    EXPECT_EQ(step(2), "10") << "never multiple, whatever the file says";
    ASSERT_EQ(sound->played.size(), 1u);
    EXPECT_EQ(sound->played[0], std::make_pair(std::string("en/welcome.wav"), true))
        << "rule sounds are looked up in the sound folder itself";
    recorder->reset();
    EXPECT_TRUE(logged().empty()) << "a reset starts a new log";
    EXPECT_EQ(step(2), "10");
}

// Rules that fire in one cycle and may not fire again all leave it; the
// others stay, in their order. A file marked debug describes every rule.
TEST_F(CBlackboxTest, SpentRulesOfOneCycle_allLeave_theOthersKeepTheirOrder) {
    writeRuleFile(
        "<blackbox debug=\"true\">"
        "<event text=\"A\" var=\"gear\" value=\"1\"/>"
        "<event text=\"B\" var=\"gear\" value=\"1\" multiple=\"1\"/>"
        "<event text=\"C\" var=\"gear\" value=\"1\"/>"
        "<event text=\"D\" var=\"ias\" value=\"200\" method=\"greater\" flightstate=\"climb\"/>"
        "<event text=\"E\" var=\"gear\" value=\"1\" multiple=\"1\"/>"
        "</blackbox>");
    build();
    EXPECT_EQ(countInLog("[CEventBase] <event text=\"D\" sound=\"\" multiple=0 var=ias "
                         "value=200 flightstate=Climb method=greater>"),
              1)
        << log();
    aircraft.bGearDown = true;
    recorder->check();
    EXPECT_EQ(logged(), (std::vector<std::string>{"A", "B", "C", "E"}));
    EXPECT_EQ(recorder->getNumEvents(), 3u) << "A and C are spent";
    aircraft.bGearDown = false;
    aircraft.nFlightState = kClimb;
    aircraft.nIndicatedAirspeedKts = 250;
    recorder->check();
    aircraft.bGearDown = true;
    recorder->check();
    EXPECT_EQ(logged(), (std::vector<std::string>{"A", "B", "C", "E", "D", "B", "E"}));
    EXPECT_EQ(recorder->getNumEvents(), 2u);
}

TEST_F(CBlackboxTest, Event_recordsFlightTimeAltitudeSpeedPhaseAndText) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    struct {
        double flightTimeS, altitudeFt;
        int timestamp, altitude;
    } const cases[] = {
        {125.9, 10500.7, 120, 10500},
        {60.99, -10.7, 55, -10},
        {nan, 1e300, -5, 0},  // no int holds them: 0, never undefined behaviour
    };
    load("");
    aircraft.nFlightTimeOffsetS = 5;
    aircraft.nIndicatedAirspeedKts = 287;
    aircraft.nFlightState = kCruise;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.flightTimeS) + " s at " + std::to_string(c.altitudeFt));
        recorder->clearFlightData();
        aircraft.dFlightTimeS = c.flightTimeS;
        aircraft.dAltitudeFt = c.altitudeFt;
        recorder->executeEvent("Overspeed", "");
        ASSERT_EQ(recorder->getFlightData().size(), 1u);
        const tDataRecord& record = recorder->getFlightData()[0];
        EXPECT_EQ(record.timestamp, c.timestamp);
        EXPECT_EQ(record.altitude, c.altitude);
        EXPECT_EQ(record.speed, 287);
        EXPECT_STREQ(record.flightState, "Cruise");
        EXPECT_STREQ(record.text, "Overspeed");
    }
}

TEST_F(CBlackboxTest, LongText_isCutInsideItsField) {
    const std::pair<std::string, std::string> cases[] = {
        {std::string(65, 'a'), std::string(65, 'a')},
        {std::string(100, 'b'), std::string(65, 'b')},
        // A two-byte character across the cut goes whole.
        {std::string(64, 'c') + "\xC3\xA9tail", std::string(64, 'c')},
    };
    for (const auto& [text, kept] : cases) {
        SCOPED_TRACE(std::to_string(text.size()) + " bytes");
        load("<event text=\"" + text + "\" var=\"gear\" value=\"1\"/>");
        aircraft.bGearDown = true;
        recorder->check();
        ASSERT_EQ(recorder->getFlightData().size(), 1u);
        EXPECT_EQ(std::string(recorder->getFlightData()[0].text), kept);
    }
    EXPECT_EQ(countInLog("characters is cut in the log"), 2);
}

TEST_F(CBlackboxTest, RateLimit_logsNineEventsInTheFirstMinute_andDropsTheRestSilently) {
    std::string rules;
    for (int i = 0; i < 11; ++i) {
        rules += "<startflight text=\"Event " + std::to_string(i) + "\" sound=\"en/penalty.wav\"/>";
    }
    load(rules);
    recorder->check();
    ASSERT_EQ(recorder->getFlightData().size(), 9u);
    EXPECT_STREQ(recorder->getFlightData().back().text, "Event 8");
    EXPECT_EQ(sound->played.size(), 9u) << "a blocked event plays nothing";
    EXPECT_EQ(countInLog("Warn: [CBlackbox] Blocking event log: Too many events!"), 2);

    // The window is 60 s of flight time from the oldest of the last ten.
    aircraft.dFlightTimeS = 59.9;
    recorder->executeEvent("Late", "en/penalty.wav");
    recorder->executeEvent("", "en/gear.wav");  // a bare sound is never held back
    EXPECT_EQ(recorder->getFlightData().size(), 9u);
    EXPECT_EQ(sound->played.size(), 10u);
    aircraft.dFlightTimeS = 60.0;
    recorder->executeEvent("Next minute", "");
    EXPECT_EQ(recorder->getFlightData().size(), 10u);
}

TEST_F(CBlackboxTest, RateLimit_startsAfreshWithEachFlight) {
    load("<startflight text=\"Start\"/>");
    // The last flight ended with a burst of events at 3000 s of its clock.
    aircraft.dFlightTimeS = 3000.0;
    for (int i = 0; i < 10; ++i) recorder->executeEvent("Burst " + std::to_string(i), "");
    recorder->reset();
    // The next flight's clock starts at 0: its first events are logged.
    aircraft.dFlightTimeS = 5.0;
    recorder->init();
    EXPECT_EQ(step(), "1");
    recorder->executeEvent("Failure: Engine 1 on fire!", "");
    EXPECT_EQ(logged(), (std::vector<std::string>{"Start", "Failure: Engine 1 on fire!"}));
}

TEST_F(CBlackboxTest, Backup_restoresTheRecordsByteForByteInOrder) {
    load("");
    for (int i = 0; i < 3; ++i) {
        aircraft.dFlightTimeS = 100.0 * (i + 1);
        aircraft.dAltitudeFt = 1000.0 * i;
        aircraft.nFlightState = kDescent;
        recorder->executeEvent("Event " + std::to_string(i), "");
    }
    const std::vector<tDataRecord> saved = recorder->getFlightData();
    recorder->backup();
    ASSERT_TRUE(CIniParser::instance()->saveReportFile());
    // A later run reads the file afresh into a recorder with a log of its own.
    CSingleton<CIniParser>::destroyInstance();
    build();
    for (int i = 0; i < 4; ++i) recorder->executeEvent("Another flight", "");
    ASSERT_EQ(CIniParser::instance()->getIntFromReport("report", "numeventlogs"), 3);
    recorder->loadBackup();
    const std::vector<tDataRecord>& loaded = recorder->getFlightData();
    ASSERT_EQ(loaded.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(std::memcmp(&loaded[i], &saved[i], sizeof(tDataRecord)), 0) << "record " << i;
    }
    EXPECT_EQ(logged(), (std::vector<std::string>{"Event 0", "Event 1", "Event 2"}));

    // A damaged record keeps its texts terminated; a count beyond the stored
    // records loads the stored ones only.
    tDataRecord damaged;
    std::memset(&damaged, 'x', sizeof(damaged));
    CIniParser::instance()->writeStructToReport("report", "eventdata0", &damaged, sizeof(damaged));
    CIniParser::instance()->writeStringToReport("report", "numeventlogs", "4");
    recorder->loadBackup();
    ASSERT_EQ(recorder->getFlightData().size(), 3u);
    EXPECT_EQ(std::strlen(recorder->getFlightData()[0].flightState), 9u);
    EXPECT_EQ(std::strlen(recorder->getFlightData()[0].text), 65u);
    EXPECT_EQ(countInLog("Warn: [CBlackbox] Report-Backup holds 3 event records, not 4"), 1);
}

// A damaged count once made every missing record an empty event, each
// uploaded with a request of its own: 100000 requests for one flight.
TEST_F(CBlackboxTest, BackupCountFarBeyondItsRecords_loadsOnlyTheStoredOnes) {
    load("");
    aircraft.dFlightTimeS = 120.0;
    recorder->executeEvent("Gear down above 250 kts", "");
    recorder->backup();
    CIniParser::instance()->writeStringToReport("report", "numeventlogs", "7000000");
    build();

    recorder->loadBackup();

    ASSERT_EQ(recorder->getFlightData().size(), 1u);
    EXPECT_EQ(logged(), (std::vector<std::string>{"Gear down above 250 kts"}));
    EXPECT_EQ(countInLog("Report-Backup claims 7000000 event records"), 1);
    EXPECT_EQ(countInLog("Report-Backup holds 1 event records, not 100000"), 1);
}

// A bad number leaves out its rule, or the whole combination holding it.
TEST_F(CBlackboxTest, BadRules_areLeftOutWithALogLine_andTheOthersKept) {
    load(
        "<event text=\"Fast\" var=\"ias\" value=\"250\" method=\"greater\"/><rule text=\"x\"/>"
        "<event text=\"Bad speed\" var=\"ias\" value=\"fast\" method=\"greater\"/>"
        "<combination text=\"Bad combination\"><event var=\"gear\" value=\"1\"/>"
        "<event var=\"altitudeagl\" value=\"1000ft\" method=\"less\"/></combination>"
        "<event text=\"Known airport\" var=\"destination\" value=\"not a number\"/>"
        "<event text=\"Slow\" var=\"ias\" value=\"100\" method=\"less\"/>");
    EXPECT_EQ(recorder->getNumEvents(), 3u);
    EXPECT_EQ(countInLog("Warn: [CBlackbox] invalid node: rule;"), 1);
    EXPECT_EQ(countInLog("Error: [CBlackbox] rule \"Bad speed\" left out: value \"fast\" is not "
                         "a number"),
              1);
    EXPECT_EQ(countInLog("Error: [CBlackbox] rule \"Bad combination\" left out: value "
                         "\"1000ft\" is not a number"),
              1);
    aircraft.nIndicatedAirspeedKts = 300;
    aircraft.bGearDown = true;
    aircraft.nHeightAglFt = 500;
    recorder->check();
    aircraft.nIndicatedAirspeedKts = 50;
    recorder->check();
    EXPECT_EQ(logged(), (std::vector<std::string>{"Fast", "Slow"}));
}

// Without rules the recorder is off; X-Plane's log says why, once.
TEST_F(CBlackboxTest, BrokenOrMissingFile_givesNoRules_andOneSupportLine) {
    const char* const failed = "Error: [CBlackbox] parsing blackbox.xml failed: ";
    const std::string path = m_folder.file("blackbox.xml");
    const std::string missingLine = failed + path + " was not found";
    struct Case {
        const char* file;
        std::string logLine;
        const char* why;
    } const cases[] = {
        {nullptr, missingLine, " is missing"},
        {"", failed, " is broken"},
        {"<blackbox><event text=\"x\"/>", failed, " is broken"},
        {"gear down, flaps 30", failed, " is broken"},
        {"<rules><startflight text=\"x\"/></rules>", "blackbox.xml has no blackbox element",
         " is broken"},
    };
    std::vector<std::string> said;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file != nullptr ? c.file : "no file");
        said.clear();
        CLogger::setSupportSink([&](const std::string& line) { said.push_back(line); });
        std::remove(path.c_str());
        if (c.file != nullptr) writeRuleFile(c.file);
        const int before = countInLog(c.logLine);
        build();
        EXPECT_EQ(recorder->getNumEvents(), 0u);
        EXPECT_EQ(countInLog(c.logLine), before + 1) << log();
        recorder->init();
        recorder->check();
        EXPECT_TRUE(recorder->getFlightData().empty());
        // A second recorder in the same run says nothing new.
        build();
        EXPECT_EQ(said, (std::vector<std::string>{"Quelby: flight recorder rules left out: " +
                                                  path + c.why + "; no events are recorded\n"}));
    }
    CLogger::setSupportSink(nullptr);
}

TEST_F(CBlackboxTest, ShippedRuleFile_buildsEveryRule_andWarnsOfGearUpOnFinal) {
    CClientConfig::instance()->setDataPath(std::string(QUELBY_SOURCE_DIR) + "/data");
    aircraft.bGearDown = true;
    build();
    EXPECT_EQ(recorder->getNumEvents(), 9u);
    for (const char* problem : {"invalid node", "parsing blackbox.xml failed", "left out",
                                "is cut in the log", "<startflight"}) {
        EXPECT_EQ(countInLog(problem), 0) << problem;
    }
    recorder->init();
    recorder->check();
    aircraft.nFlightState = kDescent;  // final approach with the gear still up
    aircraft.bGearDown = false;
    aircraft.nHeightAglFt = 800;
    aircraft.nVerticalSpeedFpm = -700;
    aircraft.nIndicatedAirspeedKts = 150;
    recorder->check();
    aircraft.nFlightState = kLanded;
    aircraft.nHeightAglFt = 0;
    aircraft.nVerticalSpeedFpm = 0;
    recorder->check();
    aircraft.nFlightState = 4;  // on block
    recorder->check();
    recorder->check();
    EXPECT_EQ(logged(), (std::vector<std::string>{"Flight recorder on - have a good flight",
                                                  "Gear up below 1000 ft AGL in the descent",
                                                  "Touchdown", "On block"}));
    ASSERT_EQ(sound->played.size(), 1u);
    EXPECT_EQ(sound->played[0].first, "en/penalty.wav");
}

}  // namespace
