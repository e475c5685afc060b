// Keeping a report that could not be uploaded: the sealed backup, its code,
// refusing a changed file, surviving a restart and a crash at any moment of
// the sealing; the comment's base64.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "CLogger.h"
#include "FinishedFlightTest.h"

namespace {

std::string configValue(const char* key) {
    char value[16] = {0};
    CIniParser::instance()->getStringFromConfig("report", key, value, sizeof(value));
    return value;
}

template <typename Record>
bool sameBytes(const Record& a, const Record& b) {
    return std::memcmp(&a, &b, sizeof(Record)) == 0;
}

// The objects of a later run of the plug-in: everything it knows comes from
// the files on disk and from the pilot's new login.
struct NextRun {
    NextRun() {
        CSingleton<CIniParser>::destroyInstance();
        client.setHost("127.0.0.1:1");
        setRecordText(client.m_pilot.ID, "12");
        setRecordText(client.m_pilot.Name, "Anna");
        setRecordText(client.m_pilot.Surname, "Berg");
        setRecordText(client.m_pilot.VA_User, "QBY012");
    }
    CClientInterface client;
    CFlightSimulatorInterfaceUsingXpsdk simulator{nullptr};
    CReport report{&simulator, &client};
};

class ReportBackupTest : public quelby_test::FinishedFlightTest {
protected:
    // Ends the flight as the pilot would: the report made, the upload failing.
    void endFlightWithoutUpload() {
        create();
        ASSERT_EQ(report.writeReport(false), 0);
    }
    std::string reportFile() const {
        return quelby_test::readFile(CIniParser::instance()->getBackupReportFilename());
    }
};

TEST_F(ReportBackupTest, NoConnection_leavesABackupSealedByItsCode_untilItIsDeleted) {
    endFlightWithoutUpload();

    EXPECT_NE(log().find("Not able to upload Report! No Connection to Database!"),
              std::string::npos);
    EXPECT_NE(log().find("Report-Backup has been created."), std::string::npos);
    EXPECT_EQ(configValue("Backup"), "1");
    EXPECT_EQ(configValue("Code").size(), 3u);
    EXPECT_EQ(configValue("Code"), report.calcBackupCode());
    EXPECT_TRUE(report.isBackupReport());
    EXPECT_TRUE(report.checkBackupCode());

    ASSERT_EQ(report.deleteBackup(), 1);
    EXPECT_EQ(configValue("Backup"), "0");
    EXPECT_EQ(configValue("Code"), "0");
    EXPECT_EQ(reportFile().find("Tarvex_Reports"), std::string::npos);
    NextRun next;
    EXPECT_FALSE(next.report.isBackupReport());
}

// X-Plane's folder takes no file: the report stays in memory, offered and
// uploadable as a kept one until the plug-in stops, and X-Plane's log says
// so once.
TEST_F(ReportBackupTest, UnsavableBackup_staysUploadableWhileThePluginRuns_andIsSaidOnce) {
    std::vector<std::string> said;
    CLogger::setSupportSink([&](const std::string& line) { said.push_back(line); });
    CSingleton<CIniParser>::destroyInstance();
    CClientConfig::instance()->setIniPath(m_folder.file("no such folder"));

    endFlightWithoutUpload();
    const tTarvex_Reports firstReport = client.m_report;
    const tagAircraftData firstFlight = simulator.m_aircraftData;
    EXPECT_NE(log().find("Report-Backup could not be saved to " +
                         m_folder.file("no such folder/quelby_report.ini") +
                         "! The report stays in memory"),
              std::string::npos)
        << log();
    ASSERT_EQ(said.size(), 1u);
    EXPECT_EQ(said[0].rfind("Quelby: a flight report could not be saved to ", 0), 0u) << said[0];

    // The pilot logs in again later in the same run.
    ASSERT_TRUE(report.isBackupReport());
    client.m_report = tTarvex_Reports{};
    simulator.m_aircraftData.reset();
    ASSERT_EQ(report.loadBackup(), 1);
    EXPECT_TRUE(sameBytes(client.m_report, firstReport));
    EXPECT_TRUE(sameBytes(simulator.m_aircraftData, firstFlight));

    // The upload fails again: kept again, not said again.
    ASSERT_EQ(report.writeReport(true), 0);
    EXPECT_TRUE(report.isBackupReport());
    EXPECT_EQ(said.size(), 1u);

    ASSERT_EQ(report.deleteBackup(), 1);
    EXPECT_FALSE(report.isBackupReport());
    CLogger::setSupportSink(nullptr);
}

TEST_F(ReportBackupTest, Code_isTakenFromTwoDigitsOfTheFilesMd5) {
    // MD5 a12c5bef169deb6448c322ef29d67513: digit 3 'c' (code 63), digit 10
    // '9' (code 39); the code is 9, 6, 3.
    quelby_test::writeFile(CIniParser::instance()->getBackupReportFilename(),
                           "[Report]\nTarvex_Logs = 00\n");
    EXPECT_EQ(report.calcBackupCode(), "963");
}

TEST_F(ReportBackupTest, Restart_loadsTheBackupAndMakesTheSameReportAgain) {
    report.addPenalty(4);
    report.setTracker(false);
    simulator.m_aircraftData.bOnGround = true;
    report.uploadPositionLog();
    report.uploadPositionLog();
    endFlightWithoutUpload();
    const tTarvex_Reports firstReport = client.m_report;
    const tTarvex_Aircrafts firstAircraft = client.m_aircraft;
    const tTarvex_VirtualAirlines firstAirline = client.m_virtualAirline;

    NextRun next;
    ASSERT_TRUE(next.report.isBackupReport());
    ASSERT_EQ(next.report.loadBackup(), 1);

    EXPECT_TRUE(sameBytes(next.client.m_report, firstReport));
    EXPECT_TRUE(sameBytes(next.client.m_aircraft, firstAircraft))
        << "wear applied twice: engine 1 " << next.client.m_aircraft.StateEng1 << " instead of "
        << firstAircraft.StateEng1;
    EXPECT_TRUE(sameBytes(next.client.m_virtualAirline, firstAirline));
    EXPECT_TRUE(sameBytes(next.simulator.m_aircraftData, simulator.m_aircraftData));
    EXPECT_TRUE(next.report.isPenalty(4));
    ASSERT_EQ(next.report.getFailedPositionLogs().size(), 2u);
    EXPECT_EQ(next.report.getFailedPositionLogs()[1].PositionId, 1);
    EXPECT_NE(log().find("Critical Backup Data: Tarvex_Reports.Pilot_ID=12"), std::string::npos);
}

TEST_F(ReportBackupTest, ChangedFile_isRefusedAndNothingIsLoaded) {
    endFlightWithoutUpload();
    const std::string path = CIniParser::instance()->getBackupReportFilename();
    const std::string sealed = reportFile();
    ASSERT_EQ(CReport::backupCodeOf(sealed), configValue("Code"));
    const std::string changed = quelby_test::tampered(sealed);
    // The running plug-in saves its settings when it stops; the pilot edits
    // the file after that.
    CSingleton<CIniParser>::destroyInstance();
    quelby_test::writeFile(path, changed);

    NextRun next;
    EXPECT_TRUE(next.report.isBackupReport());
    EXPECT_FALSE(next.report.checkBackupCode());
    EXPECT_EQ(next.report.loadBackup(), 0);
    EXPECT_NE(log().find("Report-Backup could not be loaded. Wrong code!"), std::string::npos);
    EXPECT_EQ(recordText(next.client.m_report.Rating), "");
    EXPECT_EQ(next.simulator.m_aircraftData.nPassengers, 0);
}

// The plug-in starts with a report file changed by hand, and the sealed one
// is put back before the pilot asks for the report: the seal is checked on
// the bytes that are loaded, so the changed values never come in.
TEST_F(ReportBackupTest, FileSwappedAfterTheStart_isLoadedFromTheBytesItsSealWasCheckedOn) {
    const std::string path = CIniParser::instance()->getBackupReportFilename();
    setRecordText(client.m_route.Number, "QB999");
    ASSERT_EQ(report.createBackup(), 1);
    const std::string other = reportFile();
    setRecordText(client.m_route.Number, "QB123");
    ASSERT_EQ(report.createBackup(), 1);
    const std::string sealed = reportFile();
    CSingleton<CIniParser>::destroyInstance();
    quelby_test::writeFile(path, other);

    NextRun next;
    ASSERT_TRUE(next.report.isBackupReport());
    quelby_test::writeFile(path, sealed);
    ASSERT_EQ(next.report.loadBackup(), 1);
    EXPECT_EQ(recordText(next.client.m_route.Number), "QB123")
        << "the values came from a file whose seal was not checked";

    // And the other way round: a sealed file at the start, another one at
    // the pilot's request, is refused.
    CSingleton<CIniParser>::destroyInstance();
    NextRun later;
    ASSERT_TRUE(later.report.isBackupReport());
    quelby_test::writeFile(path, other);
    EXPECT_EQ(later.report.loadBackup(), 0);
    EXPECT_EQ(recordText(later.client.m_route.Number), "");
}

TEST_F(ReportBackupTest, SecondFailure_replacesTheFirstBackupWhole) {
    report.setTracker(false);
    for (int i = 0; i < 3; ++i) report.uploadPositionLog();
    endFlightWithoutUpload();
    report.resetCReport();
    report.resetPositionLog();
    report.uploadPositionLog();
    ASSERT_EQ(report.writeReport(false), 0);

    const std::string file = reportFile();
    EXPECT_NE(file.find("numpositionlogs = 1"), std::string::npos) << file;
    EXPECT_EQ(file.find("positiondata2"), std::string::npos) << file;
    EXPECT_TRUE(report.checkBackupCode());
}

// --- a crash while sealing: the process ends after a step reached the disk

int g_crashAfterStep = 0;

void crashAfter(int step) {
    if (step == g_crashAfterStep) {
        _exit(0);
    }
}

struct tCrashCase {
    int step;
    bool previousBackup;
    // Which backup the next run finds: 'A' the previous, 'B' the new one,
    // '-' none.
    char found;
};

TEST_F(ReportBackupTest, CrashWhileSealing_leavesThePreviousOrTheNewBackupValid) {
    ::testing::FLAGS_gtest_death_test_style = "fast";
    const tCrashCase cases[] = {
        {1, true, 'A'},  {2, true, 'B'},  {3, true, 'B'},
        {1, false, '-'}, {2, false, 'B'}, {3, false, 'B'},
    };
    for (const tCrashCase& c : cases) {
        SCOPED_TRACE("crash after step " + std::to_string(c.step) +
                     (c.previousBackup ? " over a backup" : " with none before"));
        NextRun first;
        first.report.deleteBackup();
        first.client.m_report = client.m_report;
        setRecordText(first.client.m_report.Rating, "A");
        if (c.previousBackup) {
            ASSERT_EQ(first.report.createBackup(), 1);
        }
        setRecordText(first.client.m_report.Rating, "B");
        // The child process writes and dies; this one has no settings in
        // memory that could overwrite what the child left.
        CSingleton<CIniParser>::destroyInstance();
        g_crashAfterStep = c.step;
        CReport::setBackupStepHookForTests(crashAfter);
        EXPECT_EXIT(first.report.createBackup(), ::testing::ExitedWithCode(0), "");
        CReport::setBackupStepHookForTests(nullptr);

        NextRun next;
        if (c.found == '-') {
            EXPECT_FALSE(next.report.isBackupReport());
            continue;
        }
        ASSERT_TRUE(next.report.isBackupReport());
        ASSERT_EQ(next.report.loadBackup(), 1);
        EXPECT_EQ(configValue("PendingCode"), "0");
        tTarvex_Reports loaded;
        ASSERT_TRUE(loaded.load());
        EXPECT_EQ(recordText(loaded.Rating), std::string(1, c.found));
    }
}

// A stop after the pending seal reached the settings but before the new
// report file did: a file left from earlier is not taken for the new one,
// even when it has the same 3-character code.
TEST_F(ReportBackupTest, StopBeforeTheNewFile_anOlderFileWithTheSameCodeIsNoKeptReport) {
    ::testing::FLAGS_gtest_death_test_style = "fast";
    const std::string path = CIniParser::instance()->getBackupReportFilename();
    std::string newFile;
    {
        NextRun first;
        first.client.m_report = client.m_report;
        ASSERT_EQ(first.report.createBackup(), 1);
        newFile = quelby_test::readFile(path);
        first.report.deleteBackup();
    }
    std::string older;
    for (int n = 0; n < 100000 && older.empty(); ++n) {
        const std::string candidate = "[report]\nnumeventlogs = " + std::to_string(n) + "\n";
        if (CReport::backupCodeOf(candidate) == CReport::backupCodeOf(newFile)) older = candidate;
    }
    ASSERT_FALSE(older.empty());
    CSingleton<CIniParser>::destroyInstance();
    quelby_test::writeFile(path, older);

    NextRun first;
    first.client.m_report = client.m_report;
    CSingleton<CIniParser>::destroyInstance();
    g_crashAfterStep = 1;
    CReport::setBackupStepHookForTests(crashAfter);
    EXPECT_EXIT(first.report.createBackup(), ::testing::ExitedWithCode(0), "");
    CReport::setBackupStepHookForTests(nullptr);

    NextRun next;
    EXPECT_FALSE(next.report.isBackupReport()) << "an older file was taken for the kept report";
    EXPECT_EQ(quelby_test::readFile(path), older);
    EXPECT_NE(log().find("Report-Backup sealing was interrupted; the previous backup is kept"),
              std::string::npos);
}

// --- the comment's base64

TEST(ReportBase64Test, EncodesWithTheLimitRule) {
    const struct {
        const char* source;
        int limit;
        const char* encoded;
    } cases[] = {
        {"ab", 1024, "YWI="},
        {"", 1024, ""},
        {"abc", 1024, "YWJj"},
        {"Hello, tower!", 1024, "SGVsbG8sIHRvd2VyIQ=="},
        // Output at the limit before a byte: the rest is left out.
        {"abcdef", 4, "YWJj"},
        // Below the limit a begun group is written whole, padding and all.
        {"abcd", 5, "YWJjZA=="},
        {"abcdefg", 6, "YWJjZGVm"},
        {"abc", 0, ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(CReport::base64_encode(c.source, c.limit), c.encoded)
            << '"' << c.source << "\" limit " << c.limit;
    }
}

TEST(ReportBase64Test, DecodesUpToTheFirstForeignCharacterOrTheLimit) {
    const struct {
        const char* source;
        int limit;
        const char* decoded;
    } cases[] = {
        {"YWI=", 100, "ab"},     {"YWJj", 100, "abc"},
        {"", 100, ""},           {"YWJj!ZGVm", 100, "abc"},
        {"YWJjZGVm", 4, "abcd"}, {"YQ", 100, "a"},
        {"YWJ", 100, "ab"},      {"YWJjZ", 100, "abc"},
        {"YWI=ZGVm", 100, "ab"}, {"SGVsbG8sIHRvd2VyIQ==", 100, "Hello, tower!"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(CReport::base64_decode(c.source, c.limit), c.decoded)
            << '"' << c.source << "\" limit " << c.limit;
    }
    std::string bytes;
    for (int i = 0; i < 256; ++i) bytes.push_back(static_cast<char>(i));
    EXPECT_EQ(CReport::base64_decode(CReport::base64_encode(bytes, 1024), 1024), bytes);
}

}  // namespace
