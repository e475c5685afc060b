// The real plug-in in the emulated X-Plane on whichever system it was built
// for: installed in an X-Plane folder whose path holds non-ASCII letters, it
// starts, shows its window, keeps its files where X-Plane names its folders
// (never in the working folder), and is gone with all its threads when
// XPluginStop returns, as a DLL must be before Windows unmaps it.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "TestSupport.h"
#include "TestbedFixture.h"
#include "testbed/PluginFolder.h"
#include "testbed/WindowDriver.h"

using namespace std::chrono_literals;

namespace {

namespace fs = std::filesystem;

class PluginOnEverySystemTest : public PluginTestbedTest {
protected:
    void SetUp() override {
        TestbedTest::SetUp();
        m_xplane = fs::u8path(root.path()) / fs::u8path(u8"J\u00f6rg's X-Plane 12 \u6771\u4eac");
        fs::create_directories(m_xplane);
        sim().setRootFolder(m_xplane.u8string());
        m_installed = testbed::installPluginFolder(fs::u8path(quelby_test::pluginPath()), m_xplane);
        // Nothing listens on port 9: the window stays at its login.
        testbed::writeClientSettings(m_xplane, "127.0.0.1:9");
    }
    fs::path m_xplane;
    fs::path m_installed;
};

TEST_F(PluginOnEverySystemTest, StartsShowsItsWindowAndStops_leavingNoThreadBehind) {
    const std::size_t threadsBefore = quelby_test::programThreadCount();
    for (int round = 1; round <= 2; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        std::string error;
        ASSERT_TRUE(sim().loadPlugin(m_installed.u8string(), &error)) << error;
        EXPECT_EQ(sim().pluginName(), "Quelby Client");
        ASSERT_TRUE(sim().clickMenuItem("Quelby", "Show Client"));
        testbed::WindowDriver window(sim(), "Quelby Client");
        EXPECT_TRUE(window.waitForText("Login", 20s)) << window.drawnTextsLine();
        EXPECT_GT(quelby_test::programThreadCount(), threadsBefore) << "the client thread runs";

        sim().unloadPlugin();
        EXPECT_FALSE(sim().isPluginLoaded());
        EXPECT_EQ(quelby_test::programThreadCount(), threadsBefore)
            << "a thread of the plug-in outlived XPluginStop:" << quelby_test::threadList();
    }
    EXPECT_TRUE(fs::is_regular_file(m_xplane / "quelby_debug.txt"));
    EXPECT_TRUE(fs::is_regular_file(m_xplane / "quelby.ini"));
    EXPECT_TRUE(sim().dataRefMisuses().empty());
    EXPECT_TRUE(sim().threadViolations().empty()) << sim().threadViolations().front();
}

TEST_F(PluginOnEverySystemTest, Files_landInXPlanesFolderAndItsDataFolder_noneInTheWorkingFolder) {
    std::string error;
    ASSERT_TRUE(sim().loadPlugin(m_installed.u8string(), &error)) << error;
    EXPECT_TRUE(sim().isFeatureEnabled("XPLM_USE_NATIVE_PATHS"));
    ASSERT_TRUE(sim().clickMenuItem("Quelby", "Show Client"));
    testbed::WindowDriver window(sim(), "Quelby Client");
    ASSERT_TRUE(window.waitForText("Login", 20s)) << window.drawnTextsLine();
    const fs::path working = fs::u8path(sim().workingFolder());
    sim().unloadPlugin();

    for (const char* name : {"quelby_debug.txt", "quelby.ini", "quelby_report.ini"}) {
        EXPECT_TRUE(fs::is_regular_file(m_xplane / name)) << name;
    }
    EXPECT_TRUE(fs::is_empty(working)) << "a file landed in the working folder "
                                       << fs::directory_iterator(working)->path().u8string();
    // The rules come from the data folder beside the plug-in's platform folder.
    const std::string log = quelby_test::readFile((m_xplane / "quelby_debug.txt").u8string());
    EXPECT_EQ(log.find("parsing blackbox.xml failed"), std::string::npos) << log;
    EXPECT_TRUE(sim().sdkMisuses().empty()) << sim().sdkMisuses().front();
}

}  // namespace
