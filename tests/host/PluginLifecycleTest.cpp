// The real plug-in binary in the test-bed simulator: start, window, menu, hot
// keys, close box, the "Exit" button, the crash message and a clean stop.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <regex>
#include <string>

#include "TestSupport.h"
#include "XPLMDefs.h"
#include "XPLMPlugin.h"
#include "XPStandardWidgets.h"
#include "testbed/Simulator.h"

using namespace std::chrono_literals;

namespace {

class PluginLifecycleTest : public ::testing::Test {
protected:
    void SetUp() override {
        sim().reset();
        sim().setRootFolder(root.path());
        sim().setFrameRate(0);
        std::string error;
        ASSERT_TRUE(sim().loadPlugin(quelby_test::pluginPath(), &error)) << error;
        window = sim().findWidgetByDescriptor("Quelby Client");
        ASSERT_NE(window, nullptr) << "the main window was not created";
    }
    void TearDown() override {
        if (sim().isPluginLoaded()) {
            sim().unloadPlugin();
        }
        EXPECT_TRUE(sim().dataRefMisuses().empty());
        EXPECT_TRUE(sim().threadViolations().empty()) << sim().threadViolations().front();
    }
    static testbed::Simulator& sim() { return testbed::Simulator::instance(); }
    bool windowVisible() const { return sim().isWidgetVisible(window); }
    // This process's threads that carry the client thread's name.
    static std::size_t clientThreads() {
        std::size_t named = 0;
        for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
            if (quelby_test::readFile((task.path() / "comm").string()) == "quelby-client\n") {
                ++named;
            }
        }
        return named;
    }

    quelby_test::ScratchFolder root{"quelby-root"};
    XPWidgetID window = nullptr;
};

TEST_F(PluginLifecycleTest, Start_identifiesPluginAndBuildsHiddenWindowWithThreeAreas) {
    EXPECT_EQ(sim().pluginName(), "Quelby Client");
    EXPECT_EQ(sim().pluginSignature(), "quelbyclient");
    EXPECT_EQ(sim().pluginDescription().rfind("Client plugin for Quelby. (", 0), 0u)
        << sim().pluginDescription();
    EXPECT_EQ(sim().pluginDescription().back(), ')');
    EXPECT_FALSE(windowVisible());
    EXPECT_EQ(sim().widgetProperty(window, xpProperty_MainWindowHasCloseBoxes), 1);

    struct Area {
        const char* name;
        int left, top, right, bottom;
    };
    const Area areas[] = {{"Info Area", 15, 305, 183, 160},
                          {"Button Area", 15, 150, 183, 15},
                          {"Main Area", 193, 305, 585, 15}};
    for (const Area& expected : areas) {
        SCOPED_TRACE(expected.name);
        XPWidgetID area = sim().findWidgetByDescriptor(expected.name);
        ASSERT_NE(area, nullptr);
        for (const testbed::WidgetInfo& info : sim().widgets()) {
            if (info.id != area) continue;
            EXPECT_EQ(info.widgetClass, xpWidgetClass_SubWindow);
            EXPECT_EQ(info.parent, window);
            EXPECT_EQ(info.left, expected.left);
            EXPECT_EQ(info.top, expected.top);
            EXPECT_EQ(info.right, expected.right);
            EXPECT_EQ(info.bottom, expected.bottom);
        }
        EXPECT_EQ(sim().widgetProperty(area, xpProperty_Refcon), 1);
    }
}

TEST_F(PluginLifecycleTest, MenuAndToggleHotKey_showAndHideWindow) {
    ASSERT_EQ(sim().menuItems("Quelby"), (std::vector<std::string>{"Show Client", "Hide Client"}));
    ASSERT_TRUE(sim().clickMenuItem("Quelby", "Show Client"));
    EXPECT_TRUE(windowVisible());
    ASSERT_TRUE(sim().clickMenuItem("Quelby", "Hide Client"));
    EXPECT_FALSE(windowVisible());

    const int ctrlDown = xplm_ControlFlag | xplm_DownFlag;
    ASSERT_TRUE(sim().pressHotKey(XPLM_VK_F, ctrlDown));
    EXPECT_TRUE(windowVisible());
    ASSERT_TRUE(sim().pressHotKey(XPLM_VK_F, ctrlDown));
    EXPECT_FALSE(windowVisible());
}

TEST_F(PluginLifecycleTest, HotKeys_areRegisteredWithTheirKeysFlagsAndNames) {
    const auto keys = sim().hotKeys();
    ASSERT_EQ(keys.size(), 2u);
    EXPECT_EQ(keys[0].virtualKey, XPLM_VK_F);
    EXPECT_EQ(keys[0].flags, 12);
    EXPECT_EQ(keys[0].description, "Toggle Window");
    EXPECT_EQ(keys[1].virtualKey, XPLM_VK_L);
    EXPECT_EQ(keys[1].flags, 13);
    EXPECT_EQ(keys[1].description, "Toggle Landing Lights");
}

TEST_F(PluginLifecycleTest, LandingLightHotKey_withWindowHidden_leavesWindowHidden) {
    ASSERT_TRUE(sim().pressHotKey(XPLM_VK_L, xplm_ShiftFlag | xplm_ControlFlag | xplm_DownFlag));
    sim().runFrames(5);
    EXPECT_FALSE(windowVisible());
}

TEST_F(PluginLifecycleTest, CloseBox_hidesWindow) {
    ASSERT_TRUE(sim().clickMenuItem("Quelby", "Show Client"));
    ASSERT_TRUE(sim().pushCloseBox(window));
    EXPECT_FALSE(windowVisible());
}

TEST_F(PluginLifecycleTest, ExitButton_hidesWindowAtOnce) {
    ASSERT_TRUE(sim().clickMenuItem("Quelby", "Show Client"));
    ASSERT_TRUE(sim().pressButton("Exit"));
    EXPECT_FALSE(windowVisible()) << "the window must hide before the client thread sees the press";
    sim().runFrames(5);
    EXPECT_FALSE(windowVisible());
}

TEST_F(PluginLifecycleTest, Messages_crashAndOthers_areTakenWithoutHarm) {
    // Right after start the client thread may not have built its module yet:
    // a crash message then is ignored, and so is any other message.
    sim().sendMessage(XPLM_MSG_PLANE_CRASHED);
    sim().sendMessage(102);
    sim().sendMessage(123456, reinterpret_cast<void*>(0x1));
    sim().runFrames(20);
    sim().sendMessage(XPLM_MSG_PLANE_CRASHED);
    sim().runFrames(20);
    EXPECT_TRUE(sim().isPluginLoaded());
}

TEST_F(PluginLifecycleTest, DrawCallback_runsEveryFrame_whetherWindowShownOrNot) {
    ASSERT_EQ(sim().drawCallbackCount(), 1);
    sim().clearDrawCallbackDurations();
    sim().runFrames(10);
    EXPECT_EQ(sim().drawCallbackDurations().size(), 10u);
    ASSERT_TRUE(sim().clickMenuItem("Quelby", "Show Client"));
    sim().runFrames(10);
    EXPECT_EQ(sim().drawCallbackDurations().size(), 20u);
}

TEST_F(PluginLifecycleTest, Stop_unregistersEverything_andIsPrompt) {
    sim().runFrames(10);
    sim().unloadPlugin();
    EXPECT_EQ(sim().drawCallbackCount(), 0);
    EXPECT_TRUE(sim().hotKeys().empty());
    EXPECT_TRUE(sim().menuNames().empty());
    // The client thread sleeps 10 ms per pass; stop waits at most for one.
    EXPECT_LT(sim().lastStopDuration(), 2000ms);
}

TEST_F(PluginLifecycleTest, StartWritesDebugLogHeader_andStopAndStartAgainWork) {
    // The client thread writes the first lines; start itself writes none.
    const std::string logFile = root.file("quelby_debug.txt");
    ASSERT_TRUE(sim().runUntil(
        [&] { return quelby_test::readFile(logFile).find("Init: CClient") != std::string::npos; },
        5000ms));
    const std::string log = quelby_test::readFile(logFile);
    // The header opens the file, once.
    EXPECT_TRUE(std::regex_search(
        log, std::regex("^\\d\\d\\.\\d\\d\\.\\d\\d - \\d\\d:\\d\\d:\\d\\d -{34}\n")))
        << log;
    EXPECT_NE(log.find("---------Quelby Log-----------"), std::string::npos) << log;
    EXPECT_NE(log.find("- Version: v2.0.10b"), std::string::npos) << log;

    sim().unloadPlugin();
    std::string error;
    ASSERT_TRUE(sim().loadPlugin(quelby_test::pluginPath(), &error)) << error;
    window = sim().findWidgetByDescriptor("Quelby Client");
    ASSERT_NE(window, nullptr);
    ASSERT_TRUE(sim().clickMenuItem("Quelby", "Show Client"));
    EXPECT_TRUE(windowVisible());
    // A second run of the plug-in in the same simulator session appends to
    // the log under a header of its own.
    ASSERT_TRUE(sim().runUntil(
        [&] {
            const std::string again = quelby_test::readFile(logFile);
            return again.find("---------Quelby Log-----------", again.find("Init: CClient")) !=
                   std::string::npos;
        },
        5000ms));
}

TEST_F(PluginLifecycleTest, ClientThreadIsNamed_andStopLogsWhatTheHandshakeCost) {
    // Threads the client starts inherit the name, hence at least one.
    EXPECT_GE(clientThreads(), 1u) << "no thread named quelby-client";
    sim().runFrames(30);
    sim().unloadPlugin();
    EXPECT_EQ(clientThreads(), 0u) << "the client thread outlived the plug-in";
    const std::string log = quelby_test::readFile(root.file("quelby_debug.txt"));
    EXPECT_TRUE(std::regex_search(
        log, std::regex("Debug: \\[CPlugin\\] Simulator thread: [0-9]+ brackets, mean "
                        "[0-9]+\\.[0-9] us, longest [0-9]+\\.[0-9] us\n")))
        << log;
}

}  // namespace

namespace {

TEST(PluginServerSettingsTest, LogHeader_namesThePrimaryServerFromTheSettings) {
    testbed::Simulator& sim = testbed::Simulator::instance();
    quelby_test::ScratchFolder root("quelby-root");
    quelby_test::writeFile(root.file("quelby.ini"), "[server]\nPrimary = 127.0.0.1:8123\n");
    sim.reset();
    sim.setRootFolder(root.path());
    std::string error;
    ASSERT_TRUE(sim.loadPlugin(quelby_test::pluginPath(), &error)) << error;
    const std::string logFile = root.file("quelby_debug.txt");
    const bool logged = sim.runUntil(
        [&] { return quelby_test::readFile(logFile).find("- Max Data") != std::string::npos; },
        5000ms);
    sim.unloadPlugin();
    ASSERT_TRUE(logged);
    EXPECT_NE(quelby_test::readFile(logFile).find(
                  "- Server: http://127.0.0.1:8123/client_interface2.php5\n"),
              std::string::npos)
        << quelby_test::readFile(logFile);
}

}  // namespace
