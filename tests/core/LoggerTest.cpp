// The debug log's text: header, prefixes, time stamps, continuation lines,
// and whole lines when two threads log at once.
#include <gtest/gtest.h>

#include <algorithm>
#include <locale>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "CClientConfig.h"
#include "CLogger.h"
#include "TestSupport.h"

namespace {

using Lines = std::vector<std::string>;

const Lines kHeader = {
    "----------------------------------", "---------Quelby Log-----------", "- Version: v2.0.10b",
    "- Server: http://www.quelby.net/client_interface2.php5", "- Max Data: 4096"};

// Thousands separators and a decimal comma, as a simulator's locale may set.
struct GroupingPunct : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

class LoggerTest : public ::testing::Test {
protected:
    void SetUp() override {
        CClientConfig::instance()->setLogPath(m_folder.path());
        CLogger::resetForTests();
    }
    void TearDown() override {
        CClientConfig::instance()->restoreDefaults();
        CLogger::resetForTests();
        CLogger::setSupportSink(nullptr);
    }

    // The log's lines without their time stamps; a line without one fails.
    Lines texts(const char* fileName = "quelby_debug.txt") const {
        static const std::regex stamp(R"(\d{2}\.\d{2}\.\d{2} - \d{2}:\d{2}:\d{2} )");
        Lines result;
        std::istringstream in(quelby_test::readFile(m_folder.file(fileName)));
        for (std::string line; std::getline(in, line);) {
            EXPECT_TRUE(std::regex_match(line.substr(0, 20), stamp))
                << "no time stamp: " << line.substr(0, 80);
            result.push_back(line.substr(std::min<std::size_t>(20, line.size())));
        }
        return result;
    }
    static Lines withHeader(const Lines& body) {
        Lines all = kHeader;
        all.insert(all.end(), body.begin(), body.end());
        return all;
    }

    quelby_test::ScratchFolder m_folder{"quelby-log"};
};

TEST_F(LoggerTest, TwoLoggers_oneHeader_verboseInitAndDelete_prefixesAndStampedContinuations) {
    {
        CLogger verbose("CFirst");
        CLogger logger("CClient", false);
        logger.debug("pass started");
        logger.warn("first\nsecond\nthird");
        logger.error("no answer");
    }
    EXPECT_EQ(texts(),
              withHeader({"Init: CFirst", "Debug: [CClient] pass started", "Warn: [CClient] first",
                          "CClient --> second", "CClient --> third", "Error: [CClient] no answer",
                          "Delete: CFirst"}));
}

TEST_F(LoggerTest, ServerUrlAndGroupingLocale_showInHeaderAsPlainText) {
    CLogger::setServerUrl("http://alt.quelby.net/client_interface2.php5");
    const std::locale previous =
        std::locale::global(std::locale(std::locale::classic(), new GroupingPunct));
    { CLogger logger("CClient", false); }
    std::locale::global(previous);
    CLogger::setServerUrl("http://www.quelby.net/client_interface2.php5");

    Lines expected = kHeader;
    expected[3] = "- Server: http://alt.quelby.net/client_interface2.php5";
    EXPECT_EQ(texts(), expected);
}

TEST_F(LoggerTest, UnwritableLogFolder_dropsLinesWithoutThrowing) {
    CClientConfig::instance()->setLogPath(m_folder.file("missing"));

    EXPECT_NO_THROW({
        CLogger logger("CClient");
        logger.error("nowhere to go");
    });
    EXPECT_FALSE(quelby_test::fileExists(m_folder.file("missing/quelby_debug.txt")));
}

TEST_F(LoggerTest, FileTurnedOff_noLineNorHeader_untilItIsOnAgain) {
    CLogger::setFileEnabled(false);
    {
        CLogger verbose("CFirst");
        verbose.debug("dropped");
        verbose.error("dropped too");
    }
    const bool writtenWhileOff = quelby_test::fileExists(m_folder.file("quelby_debug.txt"));
    CLogger::setFileEnabled(true);
    EXPECT_FALSE(writtenWhileOff);
    { CLogger("CSecond", false).warn("kept"); }
    EXPECT_EQ(texts(), withHeader({"Warn: [CSecond] kept"}));
}

TEST_F(LoggerTest, TwoThreadsLoggingAtOnce_writeWholeSeparateLines) {
    constexpr int kLinesPerThread = 3000;
    // Every tenth line is longer than one stdio buffer, so an unguarded
    // append would go out in several writes and interleave.
    auto payload = [](int index, char fill) {
        return "line " + std::to_string(index) + " " +
               std::string(index % 10 == 0 ? 9000 : 40, fill);
    };
    auto body = [&](const std::string& name) {
        CLogger logger(name);
        for (int i = 0; i < kLinesPerThread; ++i) logger.debug(payload(i, name.back()));
    };
    std::thread a(body, "CThreadA");
    std::thread b(body, "CThreadB");
    a.join();
    b.join();

    const Lines all = texts();
    ASSERT_GE(all.size(), kHeader.size());
    EXPECT_EQ(Lines(all.begin(), all.begin() + kHeader.size()), kHeader);
    int next[2] = {0, 0};
    int initAndDelete = 0;
    const std::regex initOrDelete("(Init|Delete): CThread[AB]");
    for (std::size_t n = kHeader.size(); n < all.size(); ++n) {
        const std::string& text = all[n];
        if (std::regex_match(text, initOrDelete)) {
            ++initAndDelete;
            continue;
        }
        const char fill = text.size() > 15 ? text[15] : '?';  // "Debug: [CThreadX"
        ASSERT_TRUE(fill == 'A' || fill == 'B')
            << "line " << n << " is torn: " << text.substr(0, 80);
        int& index = next[fill - 'A'];
        ASSERT_TRUE(text == std::string("Debug: [CThread") + fill + "] " + payload(index++, fill))
            << "line " << n << " is torn or out of order: " << text.substr(0, 80);
    }
    EXPECT_EQ(next[0], kLinesPerThread);
    EXPECT_EQ(next[1], kLinesPerThread);
    EXPECT_EQ(initAndDelete, 4);
}

TEST_F(LoggerTest, NewLog_keepsThePreviousBesideIt_andLinesOfTheStartFollowTheHeader) {
    { CLogger("CFirstRun", false).debug("first run"); }
    CLogger::beginNewLog();
    {
        CLogger logger("CStart", false);
        logger.debug("during the start");
        logger.warn("two\nlines");
    }
    // Held while the start runs: the simulator's thread touches no file.
    EXPECT_EQ(texts(), withHeader({"Debug: [CFirstRun] first run"}));

    EXPECT_EQ(CLogger::startNewLog(), "");
    { CLogger("CClient", false).debug("after the start"); }
    EXPECT_EQ(texts("quelby_debug.old.txt"), withHeader({"Debug: [CFirstRun] first run"}));
    EXPECT_EQ(texts(), withHeader({"Debug: [CStart] during the start", "Warn: [CStart] two",
                                   "CStart --> lines", "Debug: [CClient] after the start"}));

    // The next start keeps only the run before it.
    CLogger::beginNewLog();
    EXPECT_EQ(CLogger::startNewLog(), "");
    EXPECT_EQ(texts("quelby_debug.old.txt"),
              withHeader({"Debug: [CStart] during the start", "Warn: [CStart] two",
                          "CStart --> lines", "Debug: [CClient] after the start"}));
    EXPECT_EQ(texts(), kHeader);
    EXPECT_EQ(CLogger::logFileName(), m_folder.file("quelby_debug.txt"));
    EXPECT_EQ(CLogger::previousLogFileName(), m_folder.file("quelby_debug.old.txt"));
}

TEST_F(LoggerTest, NewLog_inAFolderThatTakesNoFile_saysWhy_andLaterLinesAreDropped) {
    const std::string missing = m_folder.file("missing");
    CClientConfig::instance()->setLogPath(missing);
    CLogger::beginNewLog();
    const std::string failure = CLogger::startNewLog();
    EXPECT_NE(failure.find("cannot create " + missing + "/quelby_debug.txt"), std::string::npos)
        << failure;
    EXPECT_NO_THROW(CLogger("CClient", false).error("nowhere"));
    EXPECT_FALSE(quelby_test::fileExists(missing + "/quelby_debug.txt"));
}

TEST_F(LoggerTest, WithoutSettings_noLineLandsInTheWorkingFolder) {
    // After the plug-in's stop X-Plane's folder is unknown; the working
    // folder is not X-Plane's.
    quelby_test::ScratchFolder working("quelby-working");
    const quelby_test::WorkingFolder inside(working.path());
    CClientConfig::destroyInstance();
    CLogger::resetForTests();
    { CLogger("CLate").error("after the stop"); }
    EXPECT_FALSE(quelby_test::fileExists(working.file("quelby_debug.txt")));
    EXPECT_EQ(CClientConfig::existingInstance(), nullptr);
}

TEST_F(LoggerTest, SupportLines_oncePerCause_prefixed_andSaidAgainForANewSink) {
    std::vector<std::string> said;
    const auto sink = [&](const std::string& line) { said.push_back(line); };
    EXPECT_FALSE(CLogger::support("rules", "no sink, nobody hears it"));

    CLogger::setSupportSink(sink);
    struct Step {
        const char* cause;
        const char* text;
        bool saidNow;
    };
    const Step steps[] = {
        {"rules", "rule file missing", true},
        {"website", "no answer at login", true},
        {"rules", "rule file missing again", false},
        {"website", "no answer at login", false},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.text);
        EXPECT_EQ(CLogger::support(step.cause, step.text), step.saidNow);
    }
    EXPECT_EQ(said, (Lines{"Quelby: rule file missing\n", "Quelby: no answer at login\n"}));

    // A new run of the plug-in sets its sink anew and says its causes again.
    CLogger::setSupportSink(sink);
    EXPECT_TRUE(CLogger::support("rules", "rule file missing"));
    EXPECT_EQ(said.size(), 3u);
    // Support lines are X-Plane's, not the debug log's.
    EXPECT_FALSE(quelby_test::fileExists(m_folder.file("quelby_debug.txt")));
}

}  // namespace
