// The test bed as X-Plane 11.50 and 12 behave: flight loops on their
// schedules whether or not anything is drawn, widgets drawn by X-Plane each
// drawn frame, the modern window behind a root widget and its modes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestbedFixture.h"
#include "XPLMDisplay.h"
#include "XPLMGraphics.h"
#include "XPLMPlugin.h"
#include "XPLMProcessing.h"
#include "XPStandardWidgets.h"
#include "XPWidgets.h"

namespace {

std::vector<std::string> g_calls;
float g_nextInterval = -1.0f;

float loopA(float, float, int counter, void*) {
    g_calls.push_back("A" + std::to_string(counter));
    return g_nextInterval;
}

int drawCallback(XPLMDrawingPhase, int, void*) {
    g_calls.push_back("draw");
    return 1;
}

// Records the messages it gets; handles Paint when asked to.
bool g_handlePaint = false;
int widgetCallback(XPWidgetMessage message, XPWidgetID, intptr_t, intptr_t) {
    if (message == xpMsg_Paint) {
        g_calls.push_back("paint");
        return g_handlePaint ? 1 : 0;
    }
    if (message == xpMsg_Draw) {
        g_calls.push_back("draw widget");
        float white[3] = {1, 1, 1};
        XPLMDrawString(white, 10, 10, "drawn by the widget", nullptr, xplmFont_Proportional);
        return 1;
    }
    return 0;
}

class ModernSdkTest : public TestbedTest {
protected:
    void SetUp() override {
        TestbedTest::SetUp();
        g_calls.clear();
        g_nextInterval = -1.0f;
        g_handlePaint = false;
    }
    XPLMFlightLoopID makeLoop() {
        XPLMCreateFlightLoop_t params{static_cast<int>(sizeof(XPLMCreateFlightLoop_t)),
                                      xplm_FlightLoop_Phase_AfterFlightModel, loopA, nullptr};
        return XPLMCreateFlightLoop(&params);
    }
    std::size_t count(const std::string& call) const {
        std::size_t n = 0;
        for (const std::string& c : g_calls) n += c.rfind(call, 0) == 0;
        return n;
    }
};

TEST_F(ModernSdkTest, FlightLoop_runsOnItsSchedule_drawnOrNot_andNotOnceDestroyed) {
    XPLMFlightLoopID loop = makeLoop();
    XPLMRegisterDrawCallback(drawCallback, xplm_Phase_Window, 0, nullptr);
    sim().runFrames(3);
    EXPECT_EQ(count("A"), 0u) << "a loop is made unscheduled";
    g_calls.clear();

    XPLMScheduleFlightLoop(loop, -1.0f, 1);
    sim().setDrawing(false);
    sim().runFrames(4);
    EXPECT_EQ(g_calls, (std::vector<std::string>{"A1", "A2", "A3", "A4"}))
        << "every frame, and no draw callback while nothing is drawn";

    g_calls.clear();
    sim().setDrawing(true);
    g_nextInterval = -2.0f;  // every other loop
    XPLMScheduleFlightLoop(loop, -2.0f, 1);
    sim().runFrames(6);
    EXPECT_EQ(count("A"), 3u);
    EXPECT_EQ(count("draw"), 6u);

    g_calls.clear();
    sim().setFixedFrameSeconds(0.1);
    g_nextInterval = 0.35f;  // seconds of simulator time
    XPLMScheduleFlightLoop(loop, 0.35f, 1);
    sim().runFrames(10);
    EXPECT_EQ(count("A"), 2u) << "at 0.4 s and at 0.8 s";

    g_calls.clear();
    g_nextInterval = 0.0f;  // rests until scheduled again
    XPLMScheduleFlightLoop(loop, -1.0f, 1);
    sim().runFrames(5);
    EXPECT_EQ(count("A"), 1u);

    g_calls.clear();
    XPLMScheduleFlightLoop(loop, -1.0f, 1);
    XPLMDestroyFlightLoop(loop);
    sim().runFrames(2);
    EXPECT_EQ(count("A"), 0u);
    EXPECT_EQ(sim().flightLoopCount(), 0);
    EXPECT_TRUE(sim().sdkMisuses().empty());
}

TEST_F(ModernSdkTest, Widgets_areDrawnEachDrawnFrame_intoTheirWindow_paintLeavingChildrenToIt) {
    XPWidgetID window =
        XPCreateWidget(0, 380, 600, 0, 1, "Window", 1, nullptr, xpWidgetClass_MainWindow);
    XPWidgetID custom =
        XPCreateCustomWidget(0, 380, 600, 0, 1, "Custom", 0, window, widgetCallback);
    ASSERT_NE(custom, nullptr);
    g_calls.clear();

    sim().runFrames(1);
    EXPECT_EQ(g_calls, (std::vector<std::string>{"paint", "draw widget"}));
    ASSERT_EQ(sim().lastFrameTexts().size(), 1u);
    EXPECT_EQ(sim().lastFrameTexts()[0].window, window);

    g_calls.clear();
    g_handlePaint = true;
    sim().runFrames(1);
    EXPECT_EQ(g_calls, (std::vector<std::string>{"paint"})) << "a painted widget draws itself";

    g_calls.clear();
    sim().setDrawing(false);
    sim().runFrames(2);
    EXPECT_TRUE(g_calls.empty());
    EXPECT_TRUE(sim().lastFrameTexts().empty());

    sim().setDrawing(true);
    XPHideWidget(window);
    sim().runFrames(1);
    EXPECT_TRUE(g_calls.empty()) << "a hidden window is not drawn";
    EXPECT_TRUE(sim().sdkMisuses().empty());
}

TEST_F(ModernSdkTest, UnderlyingWindow_popsOutAndGoesToVr_onlyWhenNative) {
    struct Case {
        const char* what;
        int version;
        bool enable;
        bool native;
    };
    const Case cases[] = {
        {"X-Plane 12, feature on", 12, true, true},
        {"X-Plane 12, feature left off", 12, false, false},
        {"X-Plane 11", 11, true, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        sim().reset();
        sim().setXPlaneVersion(c.version);
        const bool exists = XPLMHasFeature("XPLM_USE_NATIVE_WIDGET_WINDOWS") != 0;
        EXPECT_EQ(exists, c.version >= 12);
        if (c.enable && exists) XPLMEnableFeature("XPLM_USE_NATIVE_WIDGET_WINDOWS", 1);
        XPWidgetID root =
            XPCreateWidget(100, 500, 700, 120, 1, "Window", 1, nullptr, xpWidgetClass_MainWindow);
        XPWidgetID child =
            XPCreateWidget(110, 480, 200, 460, 1, "Child", 0, root, xpWidgetClass_Button);
        EXPECT_EQ(sim().isNativeWindow(root), c.native);
        XPLMWindowID window = XPGetWidgetUnderlyingWindow(root);
        ASSERT_NE(window, nullptr);

        XPLMSetWindowPositioningMode(window, xplm_WindowPopOut, -1);
        EXPECT_EQ(XPLMWindowIsPoppedOut(window) != 0, c.native);
        int left = 0, top = 0, right = 0, bottom = 0;
        XPGetWidgetGeometry(child, &left, &top, &right, &bottom);
        EXPECT_EQ(left, c.native ? 10 : 110) << "an OS window of its own starts at its origin";
        EXPECT_EQ(top, c.native ? 360 : 480);

        XPLMSetWindowPositioningMode(window, xplm_WindowPositionFree, -1);
        XPGetWidgetGeometry(child, &left, &top, &right, &bottom);
        EXPECT_EQ(left, 110) << "back where it was";
        EXPECT_EQ(top, 480);

        if (c.native) {
            XPLMSetWindowPositioningMode(window, xplm_WindowVR, -1);
            EXPECT_FALSE(XPLMWindowIsInVR(window)) << "no headset, no VR";
            EXPECT_EQ(sim().sdkMisuses().size(), 1u);
            sim().setInt("sim/graphics/VR/enabled", 1);
            XPLMSetWindowPositioningMode(window, xplm_WindowVR, -1);
            EXPECT_TRUE(XPLMWindowIsInVR(window));
            EXPECT_EQ(sim().windowPositioningMode(root), xplm_WindowVR);
        }
    }
}

}  // namespace
