// The settings and report INI files: defaults, typed values, byte-exact
// records, saving whole files only, and damaged or unreadable files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include "CClientConfig.h"
#include "CIniParser.h"
#include "CLogger.h"
#include "TestSupport.h"

namespace {

using quelby_test::fileExists;
using quelby_test::readFile;
using quelby_test::writeFile;
using Bytes = std::vector<unsigned char>;

::testing::AssertionResult holds(const std::string& text, const std::string& part) {
    if (text.find(part) != std::string::npos) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "\"" << part << "\" is missing from:\n" << text;
}

class IniParserTest : public quelby_test::FolderTest {
protected:
    static CIniParser& parser() { return *CIniParser::instance(); }
    // Drops the parser, which saves; the next parser() reads the files anew.
    static void reopen() { CIniParser::destroyInstance(); }
    static std::string configString(const std::string& section, const std::string& key) {
        char text[256];
        std::memset(text, 'x', sizeof(text));
        EXPECT_TRUE(parser().getStringFromConfig(section, key, text, sizeof(text)));
        return text;
    }

    ::testing::AssertionResult logged(const std::string& line) const { return holds(log(), line); }

    std::string configFile() const { return m_folder.file("quelby.ini"); }
    std::string reportFile() const { return m_folder.file("quelby_report.ini"); }
};

TEST_F(IniParserTest, MissingFilesAndKeys_areCreatedEmptyAndReadAsDefaults) {
    EXPECT_TRUE(parser().getStdTrueBoolFromConfig("settings", "Tracker"));
    EXPECT_FALSE(parser().getBoolFromConfig("settings", "AutoLogin"));
    EXPECT_FALSE(parser().getBoolFromReport("report", "Backup"));
    EXPECT_EQ(parser().getIntFromReport("report", "Missing"), 0);
    EXPECT_EQ(configString("login", "User"), "");
    Bytes record = {1, 2, 3};
    EXPECT_TRUE(
        parser().getStructFromReport("CurrentData", "Aircraft", record.data(), record.size()));
    EXPECT_EQ(record, Bytes(3, 0));

    EXPECT_TRUE(fileExists(configFile()) && readFile(configFile()).empty());
    EXPECT_TRUE(fileExists(reportFile()) && readFile(reportFile()).empty());
    EXPECT_EQ(parser().getBackupReportFilename(), reportFile());
}

// A simulator may run with a comma as decimal separator; the files never do.
TEST_F(IniParserTest, NumbersAndFlags_readAsAtoiWouldInTheCLocale_whateverTheLocale) {
    const struct {
        const char* value;
        int number;
        bool flag;
    } cases[] = {{"1", 1, true},
                 {"2", 2, false},
                 {"0", 0, false},
                 {"-1", -1, false},
                 {"01", 1, true},
                 {"1.9", 1, true},
                 {"1,5", 1, true},
                 {"-4096", -4096, false},
                 {"12abc", 12, false},
                 {"abc", 0, false},
                 {"", 0, false},
                 {"+1", 1, true},
                 {"-2147483648", -2147483647 - 1, false}};
    std::string text = "[settings]\n";
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        text += "Key" + std::to_string(i) + " = " + cases[i].value + "\n";
    }
    writeFile(configFile(), text);
    writeFile(reportFile(), text);

    const std::string previous = std::setlocale(LC_ALL, nullptr);
    for (const char* locale : {"C", "de_DE.UTF-8"}) {
        if (std::setlocale(LC_ALL, locale) == nullptr) {
            GTEST_LOG_(INFO) << locale << " not installed; not checked under it";
            continue;
        }
        for (std::size_t i = 0; i < std::size(cases); ++i) {
            const std::string key = "Key" + std::to_string(i);
            SCOPED_TRACE(std::string(locale) + ", value \"" + cases[i].value + "\"");
            EXPECT_EQ(parser().getIntFromConfig("settings", key), cases[i].number);
            EXPECT_EQ(parser().getIntFromReport("settings", key), cases[i].number);
            EXPECT_EQ(parser().getBoolFromConfig("settings", key), cases[i].flag);
            EXPECT_EQ(parser().getBoolFromReport("settings", key), cases[i].flag);
            // Present, so the default true does not apply, even to an empty value.
            EXPECT_EQ(parser().getStdTrueBoolFromConfig("settings", key), cases[i].flag);
        }
    }
    std::setlocale(LC_ALL, previous.c_str());
}

TEST_F(IniParserTest, StringsAndRecords_roundTripThroughTheFilesByteForByte) {
    Bytes record(256);
    std::string hex;
    for (int i = 0; i < 256; ++i) {
        record[i] = static_cast<unsigned char>(i);
        hex += "0123456789ABCDEF"[i / 16];
        hex += "0123456789ABCDEF"[i % 16];
    }
    ASSERT_TRUE(parser().writeStringToConfig("login", "User", "replaced"));
    ASSERT_TRUE(parser().writeStringToConfig("login", "User", "pilot_01"));
    ASSERT_TRUE(parser().writeStringToConfig("login", "Password", "p@ss;#w0rd=%s[x]"));
    ASSERT_TRUE(parser().writeStringToReport("report", "Code", "0123456789abcdef"));
    ASSERT_TRUE(
        parser().writeStructToReport("CurrentData", "Aircraft", record.data(), record.size()));
    ASSERT_TRUE(parser().writeStructToConfig("settings", "Window", record.data(), 3));
    reopen();

    // Upper-case hex, two digits a byte, in memory order, no separators.
    EXPECT_TRUE(holds(readFile(reportFile()), "Aircraft = " + hex + "\n"));
    EXPECT_TRUE(holds(readFile(configFile()), "Window = 000102\n"));
    EXPECT_EQ(readFile(configFile()).find("replaced"), std::string::npos);
    EXPECT_EQ(configString("login", "User"), "pilot_01");
    EXPECT_EQ(configString("login", "Password"), "p@ss;#w0rd=%s[x]");
    char code[17];
    ASSERT_TRUE(parser().getStringFromReport("report", "Code", code, sizeof(code)));
    EXPECT_STREQ(code, "0123456789abcdef");
    Bytes readBack(record.size(), 0x5A);
    ASSERT_TRUE(
        parser().getStructFromReport("CurrentData", "Aircraft", readBack.data(), readBack.size()));
    EXPECT_EQ(readBack, record);
    Bytes window(3, 9);
    ASSERT_TRUE(parser().getStructFromConfig("settings", "Window", window.data(), window.size()));
    EXPECT_EQ(window, Bytes({0, 1, 2}));
}

TEST_F(IniParserTest, GetString_copiesAtMostSizeMinusOneAndTerminates) {
    ASSERT_TRUE(parser().writeStringToConfig("login", "User", "abcdef"));
    const struct {
        std::size_t size;
        const char* expected;
    } cases[] = {{1, ""}, {2, "a"}, {6, "abcde"}, {7, "abcdef"}, {20, "abcdef"}};
    for (const auto& c : cases) {
        SCOPED_TRACE("size " + std::to_string(c.size));
        char buffer[32];
        std::memset(buffer, '#', sizeof(buffer));
        ASSERT_TRUE(parser().getStringFromConfig("login", "User", buffer, c.size));
        EXPECT_STREQ(buffer, c.expected);
        EXPECT_EQ(buffer[c.size], '#') << "wrote past size";
    }
    char untouched = '#';
    EXPECT_FALSE(parser().getStringFromConfig("login", "User", &untouched, 0));
    EXPECT_EQ(untouched, '#');
}

TEST_F(IniParserTest, RecordFromShortOrInvalidText_decodesWhatIsThereWithinSize) {
    const struct {
        const char* text;
        Bytes expected;
    } cases[] = {
        {"", {0, 0, 0}},
        {"0A1", {0x0A, 0x01, 0x00}},             // odd length: the lone digit counts
        {"ZZ41", {0x00, 0x41, 0x00}},            // a pair that is not hex gives 0
        {"g1FF-1", {0x00, 0xFF, 0x00}},          // no signs, no letters past 'f'
        {"ff7e", {0xFF, 0x7E, 0x00}},            // lower case is accepted
        {"41424344454647", {0x41, 0x42, 0x43}},  // a longer text stops at size
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string("text \"") + c.text + "\"");
        ASSERT_TRUE(parser().writeStringToReport("report", "Record", c.text));
        Bytes buffer(4, 0xEE);
        ASSERT_TRUE(parser().getStructFromReport("report", "Record", buffer.data(), 3));
        EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 3), c.expected);
        EXPECT_EQ(buffer[3], 0xEE) << "wrote past size";
    }
}

TEST_F(IniParserTest, WritesTheFileCouldNotGiveBack_areRefusedWithTheirErrorText) {
    ASSERT_TRUE(parser().writeStringToConfig("login", "User", "kept"));
    const unsigned char record[2] = {1, 2};

    EXPECT_FALSE(parser().writeStringToConfig("login", "User", "evil\nAutoLogin = 1"));
    EXPECT_FALSE(parser().writeStringToReport("bad]section", "Code", "x"));
    EXPECT_FALSE(parser().writeStructToConfig("settings", "Bad=Key", record, sizeof(record)));
    EXPECT_FALSE(parser().writeStructToReport("report", "Data", nullptr, 4));

    // The password is refused the same way, but the log never shows it.
    EXPECT_FALSE(parser().writeStringToConfig("login", "Password", "Kite\n7Harbour"));
    EXPECT_TRUE(
        logged("] Could not write string to config INI-file! (Section:login "
               "Key:Password String:(not logged))\n"));
    EXPECT_EQ(log().find("Kite"), std::string::npos) << log();

    EXPECT_EQ(configString("login", "User"), "kept");
    for (const char* expected :
         {"] Could not write string to config INI-file! (Section:login Key:User String:evil\n",
          "] Could not write string to report INI-file! (Section:bad]section Key:Code String:x)\n",
          "] Could not write struct to config INI-file! (Section:settings Key:Bad=Key)\n",
          "] Could not write struct to report INI-file! (Section:report Key:Data)\n"}) {
        EXPECT_TRUE(logged(std::string("Error: [CIniParser") + expected));
    }
}

TEST_F(IniParserTest, StaleTemporaryFromAnInterruptedSave_isIgnoredAndReplaced) {
    writeFile(configFile(), "[login]\nUser = pilot\n");
    writeFile(configFile() + ".tmp", "[login]\nUser = half-wri");

    EXPECT_EQ(configString("login", "User"), "pilot");
    ASSERT_TRUE(parser().writeStringToConfig("settings", "Sound", "1"));
    ASSERT_TRUE(parser().saveFiles());
    EXPECT_FALSE(fileExists(configFile() + ".tmp"));
    reopen();
    EXPECT_EQ(configString("login", "User"), "pilot");
    EXPECT_TRUE(parser().getBoolFromConfig("settings", "Sound"));
}

// The settings hold the password and a kept report the pilot's website
// credentials: both files are their owner's alone, whether made afresh,
// saved over a file that others could read, or saved through a temporary
// file left by a crash. The process's mask takes nothing away here, so the
// modes are the ones the client asks for.
TEST_F(IniParserTest, SettingsAndReportFiles_areTheOwnersAloneHoweverTheyAreMade) {
    const mode_t oldMask = umask(0);
    // In octal, as chmod takes it.
    const auto modeOf = [](const std::string& path) {
        struct stat status {};
        char text[8] = "none";
        if (::stat(path.c_str(), &status) == 0) {
            std::snprintf(text, sizeof(text), "%04o",
                          static_cast<unsigned>(status.st_mode & 07777));
        }
        return std::string(text);
    };
    writeFile(configFile(), "[login]\nUser = pilot\n");
    ::chmod(configFile().c_str(), 0644);
    writeFile(reportFile() + ".tmp", "[report]\nBackup = 1\n");
    ::chmod((reportFile() + ".tmp").c_str(), 0666);

    parser();
    const std::string madeMode = modeOf(reportFile());
    ASSERT_TRUE(parser().writeStringToConfig("login", "Password", "Kite7Harbour"));
    ASSERT_TRUE(parser().writeStringToReport("report", "Backup", "1"));
    const bool saved = parser().saveFiles();
    umask(oldMask);

    ASSERT_TRUE(saved);
    EXPECT_EQ(madeMode, "0600") << "the report file as the store made it";
    EXPECT_EQ(modeOf(configFile()), "0600") << "the settings saved over a readable file";
    EXPECT_EQ(modeOf(reportFile()), "0600") << "the report saved through an old temporary file";
}

TEST_F(IniParserTest, FailedSaves_keepTheOldFilesAndLog) {
    const std::string before = "[login]\nUser = pilot\n";
    writeFile(configFile(), before);
    // Non-empty folders where the settings' temporary file would go and in
    // place of the report file: one save fails before its rename, one at it.
    std::filesystem::create_directories(configFile() + ".tmp/blocker");
    std::filesystem::create_directories(reportFile() + "/blocker");

    ASSERT_TRUE(parser().writeStringToConfig("login", "User", "changed"));
    ASSERT_TRUE(parser().writeStringToReport("report", "Backup", "1"));
    EXPECT_FALSE(parser().saveFiles());

    EXPECT_EQ(readFile(configFile()), before);
    EXPECT_TRUE(std::filesystem::is_directory(reportFile() + "/blocker"));
    EXPECT_FALSE(fileExists(reportFile() + ".tmp"));
    EXPECT_TRUE(logged("Error: [CIniParser] Could not read INI-file " + reportFile()));
    EXPECT_TRUE(logged("Error: [CIniParser] Could not save INI-file " + configFile()));
    EXPECT_TRUE(logged("Error: [CIniParser] Could not save INI-file " + reportFile()));
    reopen();
    EXPECT_EQ(configString("login", "User"), "pilot");
}

TEST_F(IniParserTest, DamagedFiles_readAsEmptyWithALogLine_andAreRepairedBySaving) {
    static const char kJunk[] =
        "\x7F"
        "ELF\x02\x01\x01\x00\x00\xFF\xFE[login]\nUser=x\n";
    const struct {
        const char* what;
        std::string contents;
    } cases[] = {
        {"binary junk", std::string(kJunk, sizeof(kJunk) - 1)},
        {"torn by a crash", "[login]\nUser = pilot\n" + std::string(64, '\0')},
        {"control bytes", "[login]\nUser = pi\x01lot\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        writeFile(configFile(), c.contents);
        writeFile(m_folder.file("quelby_debug.txt"), "");

        EXPECT_EQ(configString("login", "User"), "");
        EXPECT_TRUE(logged("Error: [CIniParser] Could not read INI-file " + configFile()));
        ASSERT_TRUE(parser().writeStringToConfig("login", "User", "pilot"));
        reopen();
        EXPECT_EQ(configString("login", "User"), "pilot");
        reopen();
    }
}

// A damaged report file may be a pilot's only copy of a flight: it is moved
// aside whole and never saved over.
TEST_F(IniParserTest, DamagedReportFile_isSetAsideWhole_andANewOneIsSavedBesideIt) {
    const std::string damaged =
        "[Report]\nTarvex_Reports = 3132\n" + std::string(16, '\0') + "Tarvex_Logs = 00\n";
    writeFile(reportFile(), damaged);
    EXPECT_EQ(parser().getIntFromReport("Report", "Tarvex_Reports"), 0) << "damaged reads as empty";
    ASSERT_TRUE(parser().writeStringToReport("report", "numeventlogs", "0"));
    ASSERT_TRUE(parser().saveFiles());

    std::vector<std::string> aside;
    for (const auto& entry : std::filesystem::directory_iterator(m_folder.path())) {
        const std::string name = entry.path().filename().string();
        if (name.rfind("quelby_report.damaged-", 0) == 0) aside.push_back(entry.path().string());
    }
    ASSERT_EQ(aside.size(), 1u) << "the damaged file was not set aside";
    EXPECT_EQ(readFile(aside[0]), damaged);
    EXPECT_TRUE(logged("Error: [CIniParser] The damaged INI-file " + reportFile() + " is kept as " +
                       aside[0]));
    EXPECT_TRUE(holds(readFile(reportFile()), "numeventlogs = 0"));
}

// The report file's bytes handed over as text go through the same checks as
// the file read from disk, and never reach the disk themselves.
TEST_F(IniParserTest, ReportText_isTakenOrRefusedAsTheFileWouldBe) {
    ASSERT_TRUE(parser().writeStringToReport("report", "numeventlogs", "3"));

    EXPECT_TRUE(parser().loadReportText("[report]\nnumpositionlogs = 2\n"));
    EXPECT_EQ(parser().getIntFromReport("report", "numpositionlogs"), 2);
    EXPECT_EQ(parser().getIntFromReport("report", "numeventlogs"), 0) << "replaced whole";
    EXPECT_TRUE(readFile(reportFile()).empty());

    EXPECT_FALSE(parser().loadReportText("[report]\nnumpositionlogs = 2\n" + std::string(8, '\0')));
    EXPECT_EQ(parser().getIntFromReport("report", "numpositionlogs"), 0) << "refused: empty";
    EXPECT_TRUE(
        logged("Error: [CIniParser] Could not take the report INI text (damaged, it holds "
               "binary data); reading it as empty"));
}

// Text is every byte but the control characters other than tab and the line
// ends: UTF-8 names and Windows line ends are a pilot's text, not damage.
TEST_F(IniParserTest, ReportText_isDamagedByControlBytesOnly_whateverTheOtherBytes) {
    for (int byte = 0; byte < 256; ++byte) {
        SCOPED_TRACE("byte " + std::to_string(byte));
        const bool control = (byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r') ||
                             byte == 0x7F;
        std::string text = "[report]\r\nname = J";
        text += static_cast<char>(byte);
        text += "rg\r\n";
        EXPECT_EQ(parser().loadReportText(text), !control);
    }
    ASSERT_TRUE(parser().loadReportText("[report]\r\nname = J\xC3\xB6rg\t\xE6\x9D\xB1\r\n"));
    char name[32] = {0};
    ASSERT_TRUE(parser().getStringFromReport("report", "name", name, sizeof(name)));
    EXPECT_STREQ(name, "J\xC3\xB6rg\t\xE6\x9D\xB1");
}

TEST_F(IniParserTest, UnreadableFile_readsAsEmptyWithALogLine) {
    writeFile(configFile(), "[login]\nUser = pilot\n");
    ASSERT_EQ(::chmod(configFile().c_str(), 0), 0);
    const int probe = ::open(configFile().c_str(), O_RDONLY);
    if (probe >= 0) {
        ::close(probe);
        GTEST_SKIP() << "this user reads files without read permission";
    }

    EXPECT_EQ(configString("login", "User"), "");
    EXPECT_TRUE(logged("Could not read INI-file " + configFile()));
}

}  // namespace
