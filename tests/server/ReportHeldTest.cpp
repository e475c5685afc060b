// A report whose file another program holds when it is kept (a virus
// scanner, the search indexer or a synced folder on Windows; a full disk on
// Linux): it stays in memory, a later try saves and seals it, and nothing
// unsealed reaches the disk meanwhile. The same cases run on Linux and on
// Windows.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "CFileAccess.h"
#include "FinishedFlightTest.h"

namespace {

std::string configValue(const char* key) {
    char value[16] = {0};
    CIniParser::instance()->getStringFromConfig("report", key, value, sizeof(value));
    return value;
}

class ReportHeldTest : public quelby_test::FinishedFlightTest {
protected:
    void SetUp() override {
        FinishedFlightTest::SetUp();
        // The store makes the report file, which the tests then hold.
        reportPath = CIniParser::instance()->getBackupReportFilename();
        create();
    }
    std::string reportFile() const { return quelby_test::readFile(reportPath); }

    std::string reportPath;
    // Whatever a test holds, no save sleeps: each pause is only counted.
    quelby_test::SavePausesCounted pauses;
};

TEST_F(ReportHeldTest, FileHeldAtTheEndOfTheFlight_reportStaysInMemory_andIsSealedOnceFree) {
    quelby_test::FileHeld held(reportPath);
    ASSERT_TRUE(held.isHeld());
    ASSERT_EQ(report.writeReport(false), 0);
    EXPECT_TRUE(report.isBackupHeldInMemory());
    EXPECT_TRUE(report.isBackupReport());
    EXPECT_EQ(pauses.totalMs(), CFileAccess::kRetryBudgetMs) << "the save did not try for a second";

    // Still held at the next try: nothing changes.
    EXPECT_EQ(report.saveHeldBackup(), 0);
    EXPECT_TRUE(report.isBackupHeldInMemory());

    held.release();
    const tTarvex_Reports made = client.m_report;
    ASSERT_EQ(report.saveHeldBackup(), 1);
    EXPECT_FALSE(report.isBackupHeldInMemory());
    EXPECT_NE(reportFile().find("Tarvex_Reports"), std::string::npos);
    EXPECT_EQ(configValue("Backup"), "1");
    EXPECT_EQ(configValue("PendingCode"), "0");
    EXPECT_TRUE(report.checkBackupCode());

    // The next run of the plug-in finds it sealed and makes the same report.
    CSingleton<CIniParser>::destroyInstance();
    client.m_report = tTarvex_Reports{};
    ASSERT_TRUE(report.isBackupReport());
    ASSERT_EQ(report.loadBackup(), 1);
    EXPECT_EQ(std::memcmp(&client.m_report, &made, sizeof(made)), 0);
}

// While the report waits in memory the settings are saved (the login
// saves them): the report file on disk stays as it was, never the report
// without its seal.
TEST_F(ReportHeldTest, ReportHeldInMemory_settingsSavedMeanwhile_writeNoUnsealedReport) {
    const std::string before = reportFile();
    {
        const quelby_test::FileHeld held(reportPath);
        ASSERT_EQ(report.writeReport(false), 0);
        ASSERT_TRUE(report.isBackupHeldInMemory());
    }
    ASSERT_TRUE(CIniParser::instance()->saveFiles());
    EXPECT_EQ(reportFile().find("Tarvex_Reports"), std::string::npos) << reportFile();
    EXPECT_NE(configValue("Backup"), "1");

    // Shown from memory, it is still the flight's report, and it is still
    // only in memory.
    const tTarvex_Reports made = client.m_report;
    client.m_report = tTarvex_Reports{};
    ASSERT_EQ(report.loadBackup(), 1);
    EXPECT_EQ(std::memcmp(&client.m_report, &made, sizeof(made)), 0);
    ASSERT_TRUE(CIniParser::instance()->saveFiles());
    EXPECT_EQ(reportFile(), before);
}

}  // namespace
