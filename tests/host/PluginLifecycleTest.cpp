// The real plug-in binary in the test-bed simulator: start, window, menu, hot
// keys, close box, the "Exit" button, the crash message and a clean stop.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <regex>
#include <string>
#include <thread>
#include <tuple>

#include "TestSupport.h"
#include "XPLMDefs.h"
#include "XPLMPlugin.h"
#include "XPStandardWidgets.h"
#include "testbed/Simulator.h"

using namespace std::chrono_literals;

namespace {

testbed::Simulator& sim() { return testbed::Simulator::instance(); }

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
        if (sim().isPluginLoaded()) sim().unloadPlugin();
        EXPECT_TRUE(sim().dataRefMisuses().empty());
        EXPECT_TRUE(sim().threadViolations().empty()) << sim().threadViolations().front();
        // Handing X-Plane a widget where it wants a window can crash it at quit.
        EXPECT_TRUE(sim().sdkMisuses().empty()) << sim().sdkMisuses().front();
    }
    bool windowVisible() const { return sim().isWidgetVisible(window); }
    std::string log() const { return quelby_test::readFile(root.file("quelby_debug.txt")); }
    // This process's threads that carry the client thread's name.
    static std::size_t clientThreads() {
        std::size_t named = 0;
        for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
            named += quelby_test::readFile((task.path() / "comm").string()) == "quelby-client\n";
        }
        return named;
    }

    quelby_test::ScratchFolder root{"quelby-root"};
    XPWidgetID window = nullptr;
};

TEST_F(PluginLifecycleTest, Start_describesThePlugin_andBuildsTheHiddenWindowWithItsAreas) {
    // What the Plugin Admin shows: the version too, for a pilot asking for help.
    EXPECT_EQ(sim().pluginDescription(), "Client plugin for Quelby. v2.0.10b (www.quelby.net)");
    EXPECT_FALSE(windowVisible());
    EXPECT_EQ(sim().widgetProperty(window, xpProperty_MainWindowHasCloseBoxes), 1);

    const auto widgets = sim().widgets();
    for (const char* area : {"Info Area", "Button Area", "Main Area"}) {
        const XPWidgetID id = sim().findWidgetByDescriptor(area);
        EXPECT_TRUE(std::any_of(widgets.begin(), widgets.end(),
                                [&](const testbed::WidgetInfo& w) {
                                    return id != nullptr && w.id == id && w.parent == window &&
                                           w.widgetClass == xpWidgetClass_SubWindow;
                                }))
            << area << " is no sub-window of the main window";
        EXPECT_EQ(sim().widgetProperty(id, xpProperty_Refcon), 1) << area;
    }
}

TEST_F(PluginLifecycleTest, MenuHotKeysCloseBoxAndExit_showAndHideTheWindow) {
    ASSERT_EQ(sim().menuItems("Quelby"),
              (std::vector<std::string>{"Show Client", "Hide Client", "Pop Out Window"}));
    const auto keys = sim().hotKeys();
    ASSERT_EQ(keys.size(), 2u);
    EXPECT_EQ(std::make_tuple(keys[0].virtualKey, keys[0].flags, keys[0].description),
              std::make_tuple(XPLM_VK_F, 12, std::string("Toggle Window")));
    EXPECT_EQ(std::make_tuple(keys[1].virtualKey, keys[1].flags, keys[1].description),
              std::make_tuple(XPLM_VK_L, 13, std::string("Toggle Landing Lights")));

    const auto menu = [](const char* item) {
        return [item] { return sim().clickMenuItem("Quelby", item); };
    };
    const auto key = [](int virtualKey, int flags) {
        return [=] { return sim().pressHotKey(virtualKey, flags | xplm_DownFlag); };
    };
    const struct {
        const char* step;
        std::function<bool()> act;
        bool shown;
    } steps[] = {
        {"menu Show Client", menu("Show Client"), true},
        {"menu Hide Client", menu("Hide Client"), false},
        {"Ctrl+F", key(XPLM_VK_F, xplm_ControlFlag), true},
        {"Ctrl+F again", key(XPLM_VK_F, xplm_ControlFlag), false},
        {"Ctrl+Shift+L, the landing lights", key(XPLM_VK_L, xplm_ShiftFlag | xplm_ControlFlag),
         false},
        {"menu Show Client", menu("Show Client"), true},
        {"close box", [this] { return sim().pushCloseBox(window); }, false},
        {"menu Show Client", menu("Show Client"), true},
        {"Exit", [] { return sim().pressButton("Exit"); }, false},
    };
    for (const auto& s : steps) {
        SCOPED_TRACE(s.step);
        ASSERT_TRUE(s.act());
        // At once: "Exit" hides the window before the client thread sees the press.
        EXPECT_EQ(windowVisible(), s.shown) << "right after the step";
        sim().runFrames(5);
        EXPECT_EQ(windowVisible(), s.shown) << "five frames later";
    }
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

TEST_F(PluginLifecycleTest,
       WorkRunsInAFlightLoop_noDrawCallback_andStopEndsTheClientThreadPromptly) {
    // The client thread names itself as it starts; threads it starts inherit
    // the name, hence at least one.
    const auto nameDeadline = std::chrono::steady_clock::now() + 5s;
    while (clientThreads() == 0 && std::chrono::steady_clock::now() < nameDeadline) {
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_GE(clientThreads(), 1u) << "no thread named quelby-client";
    // Draw callbacks are deprecated and not called while X-Plane draws
    // nothing; the flight loop is.
    EXPECT_EQ(sim().drawCallbackCount(), 0);
    ASSERT_EQ(sim().flightLoopCount(), 1);
    ASSERT_TRUE(sim().clickMenuItem("Quelby", "Show Client"));
    sim().setDrawing(false);
    const auto framesBefore = sim().pluginFrameDurations().size();
    sim().runFrames(10);
    EXPECT_EQ(sim().pluginFrameDurations().size(), framesBefore + 10);
    EXPECT_TRUE(sim().lastFrameTexts().empty()) << "nothing is drawn while X-Plane draws nothing";
    sim().setDrawing(true);
    EXPECT_TRUE(sim().runUntil([] { return !sim().lastFrameTexts().empty(); }, 5000ms))
        << "the window's texts are drawn again";

    sim().unloadPlugin();
    // The client thread sleeps 10 ms per pass; stop waits at most for one.
    EXPECT_LT(sim().lastStopDuration(), 2000ms);
    EXPECT_EQ(clientThreads(), 0u) << "the client thread outlived the plug-in";
    EXPECT_TRUE(sim().widgets().empty()) << "the window outlived the plug-in";
    EXPECT_TRUE(std::regex_search(
        log(), std::regex("Debug: \\[CPlugin\\] Simulator thread: [0-9]+ jobs in [0-9]+ frames, "
                          "mean [0-9]+\\.[0-9] us a frame, longest [0-9]+\\.[0-9] us\n")))
        << log();
}

TEST_F(PluginLifecycleTest, EachRun_startsTheLogAfreshWithAHeader_keepingThePreviousRunBesideIt) {
    // The client thread writes the first lines; start itself writes none.
    ASSERT_TRUE(
        sim().runUntil([&] { return log().find("Init: CClient") != std::string::npos; }, 5000ms));
    EXPECT_TRUE(std::regex_search(
        log(), std::regex("^\\d\\d\\.\\d\\d\\.\\d\\d - \\d\\d:\\d\\d:\\d\\d -{34}\n")))
        << log();
    EXPECT_NE(log().find("---------Quelby Log-----------"), std::string::npos) << log();
    EXPECT_NE(log().find("- Version: v2.0.10b"), std::string::npos) << log();

    sim().unloadPlugin();
    const std::string firstRun = log();
    std::string error;
    ASSERT_TRUE(sim().loadPlugin(quelby_test::pluginPath(), &error)) << error;
    ASSERT_TRUE(sim().runUntil(
        [&] {
            const std::string again = log();
            return again != firstRun && again.find("Init: CClient") != std::string::npos;
        },
        5000ms))
        << log();
    EXPECT_EQ(quelby_test::readFile(root.file("quelby_debug.old.txt")), firstRun);
    const std::string secondRun = log();
    EXPECT_EQ(secondRun.find("---------Quelby Log-----------"),
              secondRun.rfind("---------Quelby Log-----------"))
        << "one header, one run: " << secondRun;
    EXPECT_EQ(secondRun.find("Simulator thread: "), std::string::npos)
        << "the first run's stop is in the previous log";
}

// The log's header names the website in use: the primary unless the
// settings ask for the alternate, which is the "Alternate" host when one is
// named and the built-in alternate otherwise.
TEST(PluginServerSettingsTest, LogHeader_namesTheWebsiteInUse) {
    const std::pair<const char*, const char*> cases[] = {
        {"[server]\nPrimary = 127.0.0.1:8123\n", "http://127.0.0.1:8123/client_interface2.php5"},
        {"[settings]\nAltServer = 1\n[server]\nPrimary = 127.0.0.1:8123\n"
         "Alternate = https://127.0.0.1:8124/\n",
         "https://127.0.0.1:8124/client_interface2.php5"},
        {"[settings]\nAltServer = 1\n", "http://alt.quelby.net/client_interface2.php5"},
        {"[settings]\nAltServer = 0\n[server]\nAlternate = 127.0.0.1:8124\n",
         "http://www.quelby.net/client_interface2.php5"},
    };
    for (const auto& [settings, server] : cases) {
        SCOPED_TRACE(settings);
        quelby_test::ScratchFolder root("quelby-root");
        quelby_test::writeFile(root.file("quelby.ini"), settings);
        sim().reset();
        sim().setRootFolder(root.path());
        std::string error;
        ASSERT_TRUE(sim().loadPlugin(quelby_test::pluginPath(), &error)) << error;
        const std::string logFile = root.file("quelby_debug.txt");
        const bool logged = sim().runUntil(
            [&] { return quelby_test::readFile(logFile).find("- Max Data") != std::string::npos; },
            5000ms);
        sim().unloadPlugin();
        ASSERT_TRUE(logged);
        EXPECT_NE(quelby_test::readFile(logFile).find("- Server: " + std::string(server) + "\n"),
                  std::string::npos)
            << quelby_test::readFile(logFile);
    }
}

}  // namespace
