// The pilot's window in X-Plane 12 and 11: a native window that follows the
// UI scale, pops out and goes into the headset, with its texts drawn as part
// of it; commands a pilot can bind; work that goes on while nothing is drawn.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "PilotAtTheWindow.h"
#include "XPLMDisplay.h"

namespace {

using namespace std::chrono_literals;

constexpr const char* kNativeWidgetWindows = "XPLM_USE_NATIVE_WIDGET_WINDOWS";

class ModernWindowTest : public quelby_test::PilotAtTheWindow {
protected:
    XPWidgetID mainWindow() const { return sim().findWidgetByDescriptor("Quelby Client"); }

    testbed::WidgetInfo geometry() const {
        for (const testbed::WidgetInfo& info : sim().widgets()) {
            if (info.id == mainWindow()) return info;
        }
        return {};
    }

    // Where the last frame drew a text, from the window's top-left corner,
    // and which window drew it.
    struct tPlace {
        int dx = 0;
        int dy = 0;
        XPWidgetID window = nullptr;
    };
    std::optional<tPlace> placeOf(const std::string& text) const {
        const testbed::WidgetInfo frame = geometry();
        for (const testbed::DrawnText& drawn : sim().lastFrameTexts()) {
            if (drawn.text == text) {
                return tPlace{drawn.x - frame.left, frame.top - drawn.y, drawn.window};
            }
        }
        return std::nullopt;
    }

    int mode() const { return sim().windowPositioningMode(mainWindow()); }
};

TEST_F(ModernWindowTest, AsXPlane12_theWindowIsNative_andItsTextsGoWhereverItGoes) {
    writeSettings();
    loadPlugin();
    ASSERT_TRUE(waitForText("Login"));
    EXPECT_TRUE(sim().isFeatureEnabled(kNativeWidgetWindows));
    EXPECT_TRUE(sim().isNativeWindow(mainWindow()));
    EXPECT_TRUE(sim().isMenuItemEnabled("Quelby", "Pop Out Window"));

    const std::optional<tPlace> first = placeOf("Login");
    ASSERT_TRUE(first.has_value());
    EXPECT_EQ(first->window, mainWindow()) << "drawn by the window, not onto the screen";
    const testbed::WidgetInfo onScreen = geometry();

    struct Step {
        const char* what;
        std::function<void()> act;
        int mode;
    };
    const Step steps[] = {
        {"dragged", [&] { sim().moveWindow(mainWindow(), 240, -120); }, xplm_WindowPositionFree},
        {"popped out", [&] { ASSERT_TRUE(sim().clickMenuItem("Quelby", "Pop Out Window")); },
         xplm_WindowPopOut},
        {"back on the screen",
         [&] { ASSERT_TRUE(sim().clickMenuItem("Quelby", "Pop Out Window")); },
         xplm_WindowPositionFree},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.what);
        const testbed::WidgetInfo before = geometry();
        step.act();
        sim().runFrames(2);
        EXPECT_EQ(mode(), step.mode);
        EXPECT_EQ(sim().isMenuItemChecked("Quelby", "Pop Out Window"),
                  step.mode == xplm_WindowPopOut);
        const testbed::WidgetInfo after = geometry();
        EXPECT_TRUE(after.left != before.left || after.top != before.top)
            << "the window did not move";
        const std::optional<tPlace> place = placeOf("Login");
        ASSERT_TRUE(place.has_value());
        EXPECT_EQ(place->dx, first->dx);
        EXPECT_EQ(place->dy, first->dy);
        EXPECT_EQ(place->window, mainWindow());
    }
    // Back where the pilot had dragged it, not where it started.
    EXPECT_EQ(geometry().left, onScreen.left + 240);
    EXPECT_EQ(geometry().top, onScreen.top - 120);
    EXPECT_TRUE(sim().sdkMisuses().empty()) << sim().sdkMisuses().front();
}

TEST_F(ModernWindowTest, AsXPlane11_theWindowIsLegacy_thePopOutItemGreyed_andTheLoginWorks) {
    sim().setXPlaneVersion(11);
    writeSettings();
    loadPlugin();
    EXPECT_FALSE(sim().isNativeWindow(mainWindow()));
    EXPECT_FALSE(sim().isMenuItemEnabled("Quelby", "Pop Out Window"));
    EXPECT_FALSE(sim().clickMenuItem("Quelby", "Pop Out Window"));
    // No headset either: the window stays where legacy windows live.
    sim().setVr(true);
    logIn();
    ASSERT_TRUE(waitForText("Home - News"));
    EXPECT_EQ(mode(), xplm_WindowPositionFree);
    const std::optional<tPlace> place = placeOf("Home - News");
    ASSERT_TRUE(place.has_value());
    EXPECT_EQ(place->window, mainWindow());
    EXPECT_TRUE(sim().sdkMisuses().empty()) << sim().sdkMisuses().front();
}

TEST_F(ModernWindowTest, WithVrOn_theShownWindowGoesToTheHeadset_worksThere_andComesBack) {
    writeSettings();
    loadPlugin();
    ASSERT_TRUE(waitForText("Login"));
    // A popped-out window goes too, no longer popped out; X-Plane's message
    // moves it at once.
    ASSERT_TRUE(sim().clickMenuItem("Quelby", "Pop Out Window"));
    ASSERT_TRUE(sim().isMenuItemChecked("Quelby", "Pop Out Window"));
    sim().setVr(true);
    ASSERT_EQ(mode(), xplm_WindowVR);
    EXPECT_FALSE(sim().isMenuItemChecked("Quelby", "Pop Out Window"));

    // In the headset the pilot logs in with the same fields and buttons.
    logIn();
    ASSERT_TRUE(waitForText("Home - News"));
    EXPECT_EQ(placeOf("Home - News")->window, mainWindow());

    // X-Plane says so while its VR dataref still reads 1.
    sim().setVr(false);
    EXPECT_EQ(mode(), xplm_WindowPositionFree) << "VR ended: back on the screen";
    ASSERT_TRUE(waitForText("Home - News"));

    // Hidden, it stays out of the headset; shown with the headset on, it
    // goes there at once.
    ASSERT_TRUE(sim().clickMenuItem("Quelby", "Hide Client"));
    sim().setVr(true);
    sim().runFrames(3);
    EXPECT_EQ(mode(), xplm_WindowPositionFree);
    ASSERT_TRUE(sim().runCommand("quelby/toggle_window"));
    EXPECT_TRUE(sim().isWidgetVisible(mainWindow()));
    EXPECT_EQ(mode(), xplm_WindowVR);
    EXPECT_TRUE(sim().sdkMisuses().empty()) << sim().sdkMisuses().front();
}

TEST_F(ModernWindowTest, Commands_toggleTheWindowAndTheLights_andLoseTheirHandlersAtStop) {
    writeSettings();
    loadPlugin();
    ASSERT_TRUE(waitForText("Login"));
    const auto handlersOf = [](const std::string& name) {
        for (const testbed::CommandInfo& command : sim().commands()) {
            if (command.name == name) return std::make_pair(command.description, command.handlers);
        }
        return std::make_pair(std::string("<no command>"), -1);
    };
    EXPECT_EQ(handlersOf("quelby/toggle_window"), std::make_pair(std::string("Toggle Window"), 1));
    EXPECT_EQ(handlersOf("quelby/toggle_landing_lights"),
              std::make_pair(std::string("Toggle Landing Lights"), 1));

    ASSERT_TRUE(sim().runCommand("quelby/toggle_window"));
    EXPECT_FALSE(sim().isWidgetVisible(mainWindow()));
    ASSERT_TRUE(sim().runCommand("quelby/toggle_window"));
    EXPECT_TRUE(sim().isWidgetVisible(mainWindow()));

    // The lights' command goes the hot key's way, through the client thread.
    ASSERT_TRUE(sim().runCommand("quelby/toggle_landing_lights"));
    EXPECT_TRUE(sim().runUntil(
        [&] { return said("Landing Lights turned ON!") || said("Landing Lights turned OFF!"); },
        10s));

    sim().unloadPlugin();
    // X-Plane keeps a command; nothing of the unloaded plug-in handles it.
    EXPECT_EQ(handlersOf("quelby/toggle_window").second, 0);
    EXPECT_EQ(handlersOf("quelby/toggle_landing_lights").second, 0);
}

TEST_F(ModernWindowTest, WhileNothingIsDrawn_theClientGoesOnWorking) {
    writeSettings();
    loadPlugin();
    logIn();
    // A loading screen or a dialog: X-Plane draws nothing, its flight loops
    // still run, and so do the client's simulator jobs.
    sim().setDrawing(false);
    ASSERT_TRUE(sim().runUntil([&] { return buttonShown("Fly!"); }, 20s))
        << "the home screen never came while nothing was drawn";
    EXPECT_TRUE(sim().lastFrameTexts().empty());
    sim().setDrawing(true);
    EXPECT_TRUE(waitForText("Home - News"));
}

}  // namespace
