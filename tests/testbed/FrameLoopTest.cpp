// The frame loop and the thread rule: draw callbacks in X-Plane's order, timed
// and paced; texts of the last frame; SDK calls from another thread legal only
// while the simulator's thread is parked in a callback.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "TestbedFixture.h"
#include "XPLMDataAccess.h"
#include "XPLMDisplay.h"
#include "XPLMGraphics.h"
#include "XPLMUtilities.h"

using namespace std::chrono_literals;

namespace {

std::vector<std::string> g_calls;

int drawA(XPLMDrawingPhase, int isBefore, void*) {
    g_calls.push_back(std::string("A") + (isBefore ? "<" : ">"));
    return 1;
}
int drawB(XPLMDrawingPhase, int isBefore, void*) {
    g_calls.push_back(std::string("B") + (isBefore ? "<" : ">"));
    return 1;
}
// Unregisters B (after) the first time it runs.
int drawUnregisteringB(XPLMDrawingPhase, int, void*) {
    g_calls.push_back("U");
    XPLMUnregisterDrawCallback(drawB, xplm_Phase_Window, 0, nullptr);
    return 1;
}
int drawSlowly(XPLMDrawingPhase, int, void*) {
    std::this_thread::sleep_for(20ms);
    return 1;
}
// Parks the simulator's thread while a worker uses the SDK, as the plug-in's
// handshake does.
int drawParkedWhileWorkerCallsSdk(XPLMDrawingPhase, int, void*) {
    std::thread worker([] {
        XPLMDataRef speed = XPLMFindDataRef("sim/time/sim_speed");
        XPLMSetDatai(speed, 4);
        XPLMSpeakString("parked");
        float white[3] = {1, 1, 1};
        XPLMDrawString(white, 0, 0, "from worker", nullptr, xplmFont_Proportional);
    });
    worker.join();
    return 1;
}

class FrameLoopTest : public TestbedTest {
protected:
    void SetUp() override {
        TestbedTest::SetUp();
        g_calls.clear();
    }
};

TEST_F(FrameLoopTest, DrawCallbacks_beforeOnesFirst_eachGroupInRegistrationOrder) {
    XPLMRegisterDrawCallback(drawA, xplm_Phase_Window, 0, nullptr);
    XPLMRegisterDrawCallback(drawB, xplm_Phase_Window, 1, nullptr);
    XPLMRegisterDrawCallback(drawB, xplm_Phase_Window, 0, nullptr);
    XPLMRegisterDrawCallback(drawA, xplm_Phase_Window, 1, nullptr);
    XPLMRegisterDrawCallback(drawA, xplm_Phase_Window + 1, 0,
                             nullptr);  // another phase: not drawn here

    sim().runFrames(2);

    const std::vector<std::string> oneFrame{"B<", "A<", "A>", "B>"};
    std::vector<std::string> twoFrames = oneFrame;
    twoFrames.insert(twoFrames.end(), oneFrame.begin(), oneFrame.end());
    EXPECT_EQ(g_calls, twoFrames);
    EXPECT_EQ(sim().frameCount(), 2u);
    EXPECT_EQ(sim().drawCallbackDurations().size(), 8u);
}

TEST_F(FrameLoopTest, DrawCallback_unregisteredEarlierInTheFrame_isNotCalled) {
    XPLMRegisterDrawCallback(drawUnregisteringB, xplm_Phase_Window, 0, nullptr);
    XPLMRegisterDrawCallback(drawB, xplm_Phase_Window, 0, nullptr);
    sim().runFrames(1);
    EXPECT_EQ(g_calls, (std::vector<std::string>{"U"}));
    EXPECT_EQ(sim().drawCallbackCount(), 1);
    EXPECT_EQ(XPLMUnregisterDrawCallback(drawB, xplm_Phase_Window, 0, nullptr), 0);
}

TEST_F(FrameLoopTest, DrawCallbackDurations_coverTheTimeInsideTheCallback) {
    XPLMRegisterDrawCallback(drawSlowly, xplm_Phase_Window, 0, nullptr);
    sim().runFrames(2);
    ASSERT_EQ(sim().drawCallbackDurations().size(), 2u);
    for (auto duration : sim().drawCallbackDurations()) {
        EXPECT_GE(duration, 20ms);
        EXPECT_LT(duration, 1s);
    }
    sim().clearDrawCallbackDurations();
    EXPECT_TRUE(sim().drawCallbackDurations().empty());
}

TEST_F(FrameLoopTest, FrameHook_runsOncePerFrameBeforeTheDrawCallbacks_withTheFixedSeconds) {
    XPLMRegisterDrawCallback(drawA, xplm_Phase_Window, 1, nullptr);
    std::vector<double> seconds;
    sim().setFixedFrameSeconds(0.25);
    sim().setFrameHook([&](double realSeconds) {
        g_calls.push_back("hook");
        seconds.push_back(realSeconds);
    });
    sim().runFrames(2);
    EXPECT_EQ(g_calls, (std::vector<std::string>{"hook", "A<", "hook", "A<"}));
    EXPECT_EQ(seconds, (std::vector<double>{0.25, 0.25}));

    sim().setFrameHook(nullptr);
    sim().runFrames(1);
    EXPECT_EQ(seconds.size(), 2u);
}

TEST_F(FrameLoopTest, SdkCall_fromAnotherThreadWhileNotParked_isAViolation) {
    std::thread worker([] {
        XPLMFindDataRef("sim/time/sim_speed");
        XPLMSpeakString("too early");
    });
    worker.join();
    EXPECT_EQ(sim().threadViolations(),
              (std::vector<std::string>{"XPLMFindDataRef", "XPLMSpeakString"}));
    EXPECT_EQ(sim().spokenTexts(), (std::vector<std::string>{"too early"}))
        << "X-Plane still did it";
}

TEST_F(FrameLoopTest, SdkCalls_fromAnotherThreadWhileParkedInDrawCallback_areLegal) {
    XPLMRegisterDrawCallback(drawParkedWhileWorkerCallsSdk, xplm_Phase_Window, 0, nullptr);
    sim().runFrames(1);
    EXPECT_TRUE(sim().threadViolations().empty()) << sim().threadViolations().front();
    EXPECT_EQ(sim().getInt("sim/time/sim_speed"), 4);
    EXPECT_EQ(sim().spokenTexts(), (std::vector<std::string>{"parked"}));
    ASSERT_EQ(sim().lastFrameTexts().size(), 1u);
    EXPECT_TRUE(sim().sdkMisuses().empty());
}

}  // namespace
