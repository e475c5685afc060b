// The client's files where a pilot keeps them: a folder whose name holds any
// character, settings written with either system's line ends, and the save
// that replaces a file whole. The same cases run on Linux and on Windows.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "CClientConfig.h"
#include "CFileAccess.h"
#include "CIniParser.h"
#include "CServerSettings.h"
#include "CSingleton.h"
#include "TestSupport.h"

namespace {

namespace fs = std::filesystem;

class FileAccessTest : public quelby_test::FolderTest {
protected:
    // An X-Plane folder in a user folder with non-ASCII letters, and a
    // character outside any single-byte code page.
    void useSimulatorFolder() {
        m_xplane = m_folder.path() + u8"/Users/J\u00f6rg Stra\u00dfe \u6771\u4eac/X-Plane 12/";
        fs::create_directories(fs::u8path(m_xplane));
        CClientConfig::instance()->setIniPath(m_xplane);
        CClientConfig::instance()->setLogPath(m_xplane);
    }
    static CIniParser& parser() { return *CSingleton<CIniParser>::instance(); }
    std::string m_xplane;
};

TEST_F(FileAccessTest, FolderWithAnyCharacter_holdsTheSettingsReportAndLogAcrossARestart) {
    useSimulatorFolder();
    ASSERT_TRUE(parser().writeStringToConfig("settings", "Username", u8"J\u00f6rg"));
    ASSERT_TRUE(parser().writeStringToReport("Reports", "Comment", u8"\u00dcber den Alpen"));
    ASSERT_TRUE(parser().saveFiles());
    CSingleton<CIniParser>::destroyInstance();

    for (const char* name : {"quelby.ini", "quelby_report.ini", "quelby_debug.txt"}) {
        EXPECT_TRUE(fs::is_regular_file(fs::u8path(m_xplane + name))) << name;
    }
    char value[64] = {0};
    parser().getStringFromConfig("settings", "Username", value, sizeof(value));
    EXPECT_EQ(std::string(value), u8"J\u00f6rg");
    parser().getStringFromReport("Reports", "Comment", value, sizeof(value));
    EXPECT_EQ(std::string(value), u8"\u00dcber den Alpen");
    EXPECT_EQ(CFileAccess::open(m_xplane + "quelby.ini.tmp", "rb"), nullptr)
        << "a save leaves no temporary file behind";
}

TEST_F(FileAccessTest, SettingsWithEitherLineEnd_readTheSame) {
    useSimulatorFolder();
    for (const char* lineEnd : {"\n", "\r\n"}) {
        SCOPED_TRACE(lineEnd[0] == '\r' ? "CRLF" : "LF");
        CSingleton<CIniParser>::destroyInstance();
        const std::string e = lineEnd;
        quelby_test::writeFile(m_xplane + "quelby.ini",
                               "[server]" + e + "Primary = 127.0.0.1:8080" + e + e + "[settings]" +
                                   e + "AltServer = 0" + e + "Volume = 40" + e + "Username = demo" +
                                   e);
        EXPECT_EQ(parser().getIntFromConfig("settings", "Volume"), 40);
        char user[16] = {0};
        parser().getStringFromConfig("settings", "Username", user, sizeof(user));
        EXPECT_EQ(std::string(user), "demo");
        const CServerSettings settings = CServerSettings::load();
        EXPECT_EQ(settings.hostInUse(), "127.0.0.1:8080");
    }
}

TEST_F(FileAccessTest, Replace_overwritesWhole_orFailsAndKeepsTheOldFile) {
    useSimulatorFolder();
    const std::string file = m_xplane + u8"b\u00e9richt.ini";
    const std::string old = "old contents that are longer than the new ones\r\n";
    quelby_test::writeFile(file, old);

    // Every byte value, so that no text-mode translation can go unnoticed.
    std::string data;
    for (int i = 0; i < 256; ++i) data += static_cast<char>(i);
    data += "\r\n\n";
    EXPECT_EQ(CFileAccess::replace(file, data), "");
    EXPECT_EQ(quelby_test::readFile(file), data);
    EXPECT_FALSE(quelby_test::fileExists(file + ".tmp"));
    EXPECT_EQ(CFileAccess::replace(file, ""), "");
    EXPECT_EQ(quelby_test::readFile(file), "");

    // A folder that is not there will not be there a moment later either.
    const quelby_test::SavePausesCounted pauses;
    const std::string nowhere = m_xplane + "no such folder/quelby.ini";
    const std::string failure = CFileAccess::replace(nowhere, data);
    EXPECT_NE(failure.find("cannot create " + nowhere + ".tmp"), std::string::npos) << failure;
    EXPECT_FALSE(quelby_test::fileExists(nowhere));
    EXPECT_TRUE(pauses.pausesMs().empty()) << "a missing folder was tried again";
}

// Another program holds the file a moment, as a virus scanner, the search
// indexer or a synced folder does after a save (on Linux: the disk is full
// for a moment): the save tries again, each pause twice the one before,
// and gets through once the file is free.
TEST_F(FileAccessTest, Replace_whileAnotherProgramHoldsTheFile_triesAgainUntilItIsFree) {
    useSimulatorFolder();
    const std::string file = m_xplane + "quelby.ini";
    quelby_test::writeFile(file, "[login]\nUser = old\n");
    quelby_test::FileHeld held(file);
    ASSERT_TRUE(held.isHeld());
    const quelby_test::SavePausesCounted pauses([&](std::size_t pause) {
        if (pause == 3) held.release();
    });

    EXPECT_EQ(CFileAccess::replace(file, "[login]\nUser = new\n"), "");
    EXPECT_EQ(pauses.pausesMs(), (std::vector<int>{10, 20, 40}));
    EXPECT_EQ(quelby_test::readFile(file), "[login]\nUser = new\n");
    EXPECT_FALSE(quelby_test::fileExists(file + ".tmp"));
}

// Held for good: the save gives up after about a second of pauses, says
// why, and the old file is whole.
TEST_F(FileAccessTest, Replace_whileTheFileStaysHeld_givesUpAfterASecond_andKeepsTheOldFile) {
    useSimulatorFolder();
    const std::string file = m_xplane + "quelby_report.ini";
    quelby_test::writeFile(file, "[Report]\nTarvex_Logs = 00\n");
    quelby_test::FileHeld held(file);
    ASSERT_TRUE(held.isHeld());
    const quelby_test::SavePausesCounted pauses;

    const std::string failure = CFileAccess::replace(file, "[Report]\nTarvex_Logs = 01\n");
    held.release();
    EXPECT_NE(failure.find("still after trying for 1000 ms"), std::string::npos) << failure;
    EXPECT_EQ(pauses.pausesMs(), (std::vector<int>{10, 20, 40, 80, 160, 320, 370}));
    EXPECT_EQ(pauses.totalMs(), CFileAccess::kRetryBudgetMs);
    EXPECT_EQ(quelby_test::readFile(file), "[Report]\nTarvex_Logs = 00\n");
    EXPECT_FALSE(quelby_test::fileExists(file + ".tmp"));
}

TEST_F(FileAccessTest, CreateEmpty_makesAMissingFile_andLeavesAnExistingOneAlone) {
    useSimulatorFolder();
    const std::string file = m_xplane + "quelby_report.ini";
    EXPECT_EQ(CFileAccess::createEmpty(file), "");
    EXPECT_TRUE(quelby_test::fileExists(file));
    EXPECT_EQ(quelby_test::readFile(file), "");
    quelby_test::writeFile(file, "[Reports]\n");
    EXPECT_EQ(CFileAccess::createEmpty(file), "");
    EXPECT_EQ(quelby_test::readFile(file), "[Reports]\n");
    EXPECT_NE(CFileAccess::createEmpty(m_xplane + "no such folder/x.ini"), "");
}

TEST_F(FileAccessTest, Rename_replacesTheFileAtTheNewName_orFailsAndKeepsBoth) {
    useSimulatorFolder();
    const std::string log = m_xplane + u8"d\u00e9bogue.txt";
    const std::string previous = m_xplane + u8"d\u00e9bogue.old.txt";
    quelby_test::writeFile(log, "this run\n");
    quelby_test::writeFile(previous, "the run before, longer than this one\n");
    EXPECT_EQ(CFileAccess::rename(log, previous), "");
    EXPECT_FALSE(quelby_test::fileExists(log));
    EXPECT_EQ(quelby_test::readFile(previous), "this run\n");

    EXPECT_NE(CFileAccess::rename(log, previous), "") << "a missing file cannot move";
    EXPECT_NE(CFileAccess::rename(previous, m_xplane + "no such folder/x.txt"), "");
    EXPECT_EQ(quelby_test::readFile(previous), "this run\n");
}

}  // namespace
