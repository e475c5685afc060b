// What the plug-in tells X-Plane's Log.txt, the first file a pilot sends with
// a support request: one line at the start naming the version and the debug
// log, and one for each feature that is off, saying why, once however often
// it happens. A folder that takes no file is said there and on the screens.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "FilesRefused.h"
#include "TestSupport.h"
#include "testbed/PluginFolder.h"
#include "testbed/Simulator.h"
#include "testbed/WindowDriver.h"

using namespace std::chrono_literals;

namespace {

namespace fs = std::filesystem;

testbed::Simulator& sim() { return testbed::Simulator::instance(); }

class PluginSupportLinesTest : public ::testing::Test {
protected:
    void SetUp() override {
        sim().reset();
        sim().setFrameRate(0);
        m_xplane = fs::u8path(root.path()) / "X-Plane 12";
        fs::create_directories(m_xplane);
        sim().setRootFolder(m_xplane.u8string());
        m_installed = testbed::installPluginFolder(fs::u8path(quelby_test::pluginPath()), m_xplane);
        // Nothing listens on port 9: every login finds no website.
        testbed::writeClientSettings(m_xplane, "127.0.0.1:9");
    }
    void TearDown() override {
        if (sim().isPluginLoaded()) sim().unloadPlugin();
        EXPECT_TRUE(sim().threadViolations().empty()) << sim().threadViolations().front();
    }
    void loadAndShow() {
        std::string error;
        ASSERT_TRUE(sim().loadPlugin(m_installed.u8string(), &error)) << error;
        ASSERT_TRUE(sim().clickMenuItem("Quelby", "Show Client"));
        ASSERT_TRUE(window.waitForText("Login", 20s)) << window.drawnTextsLine();
    }
    static std::vector<std::string> logLines() {
        std::vector<std::string> lines;
        std::istringstream in(sim().xplaneLog());
        for (std::string line; std::getline(in, line);) lines.push_back(line);
        return lines;
    }
    // How many lines of X-Plane's log begin so.
    static int linesBeginning(const std::string& prefix) {
        int count = 0;
        for (const std::string& line : logLines()) count += line.rfind(prefix, 0) == 0;
        return count;
    }
    // Support lines come from the client thread and reach X-Plane in a frame.
    static bool waitForLine(const std::string& prefix) {
        return sim().runUntil([&] { return linesBeginning(prefix) > 0; }, 10000ms);
    }

    quelby_test::ScratchFolder root{"quelby-support"};
    fs::path m_xplane;
    fs::path m_installed;
    testbed::WindowDriver window{sim(), "Quelby Client"};
};

TEST_F(PluginSupportLinesTest, StartRulesAndWebsite_eachSaidOnce_inXPlanesLog) {
    const fs::path dataFolder = m_installed.parent_path().parent_path();
    fs::remove(dataFolder / "blackbox.xml");
    loadAndShow();
    const auto failedLogins = [&] {
        const std::string log = quelby_test::readFile((m_xplane / "quelby_debug.txt").u8string());
        int count = 0;
        for (std::size_t at = log.find("No connection to the database."); at != std::string::npos;
             at = log.find("No connection to the database.", at + 1)) {
            ++count;
        }
        return count;
    };
    for (int attempt = 1; attempt <= 3; ++attempt) {
        SCOPED_TRACE("login " + std::to_string(attempt));
        ASSERT_TRUE(window.press("Login", 5s));
        // Each attempt fails before the next.
        ASSERT_TRUE(sim().runUntil([&] { return failedLogins() == attempt; }, 10000ms))
            << quelby_test::readFile((m_xplane / "quelby_debug.txt").u8string());
        EXPECT_TRUE(window.waitForText("No connection to the website.", 10s))
            << window.drawnTextsLine();
    }
    ASSERT_TRUE(waitForLine("Quelby: no answer from the website")) << sim().xplaneLog();
    sim().runFrames(10);

    const std::string start = "Quelby: Quelby Client v2.0.10b started; its debug log is " +
                              (m_xplane / "quelby_debug.txt").u8string();
    const std::string rules =
        "Quelby: flight recorder rules left out: " + (dataFolder / "blackbox.xml").u8string() +
        " is missing";
    const std::string website = "Quelby: no answer from the website 127.0.0.1:9 at login";
    EXPECT_EQ(logLines().front(), start);
    for (const std::string& line : {start, rules, website}) {
        EXPECT_EQ(linesBeginning(line), 1) << line << "\nin:\n" << sim().xplaneLog();
    }
    for (const std::string& line : logLines()) {
        EXPECT_EQ(line.rfind("Quelby: ", 0), 0u) << line;
    }
    EXPECT_EQ(sim().xplaneLog().back(), '\n');

    // A new run says its causes again.
    sim().unloadPlugin();
    sim().reset();
    loadAndShow();
    EXPECT_TRUE(waitForLine(rules)) << sim().xplaneLog();
}

using quelby_test::FilesRefused;

TEST_F(PluginSupportLinesTest, FolderTakingNoFile_isSaidOnceInXPlanesLog_andOnTheLoginScreen) {
    {
        const FilesRefused refused;
        loadAndShow();
        EXPECT_TRUE(window.waitForText("Cannot write to X-Plane's folder: nothing is saved.", 10s))
            << window.drawnTextsLine();
        ASSERT_TRUE(window.press("Login", 5s));
        ASSERT_TRUE(window.waitForText("No connection to the website.", 10s));
        EXPECT_TRUE(window.draws("Cannot write to X-Plane's folder: nothing is saved."));
    }
    const std::string folder =
        "Quelby: cannot write to X-Plane's folder " + (m_xplane / "").u8string() + " (";
    ASSERT_TRUE(waitForLine(folder)) << sim().xplaneLog();
    EXPECT_EQ(linesBeginning(folder), 1) << sim().xplaneLog();

    // Once files can be written again, the next run has nothing to say.
    sim().unloadPlugin();
    sim().reset();
    loadAndShow();
    ASSERT_TRUE(waitForLine("Quelby: Quelby Client"));
    sim().runFrames(20);
    EXPECT_FALSE(window.draws("Cannot write to X-Plane's folder: nothing is saved."));
    EXPECT_EQ(linesBeginning("Quelby: cannot write"), 0) << sim().xplaneLog();
}

}  // namespace
