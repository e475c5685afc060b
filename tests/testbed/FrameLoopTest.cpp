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
int g_frame = 0;

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
int drawFrameNumber(XPLMDrawingPhase, int, void*) {
    float white[3] = {1, 1, 1};
    const std::string text = "frame " + std::to_string(++g_frame);
    XPLMDrawString(white, 10, 20, text.c_str(), nullptr, xplmFont_Proportional);
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
        g_frame = 0;
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

TEST_F(FrameLoopTest, FrameRate_spacesFrameStarts_zeroRunsBackToBack) {
    sim().setFrameRate(50.0);
    auto begin = std::chrono::steady_clock::now();
    sim().runFrames(6);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 100ms) << "five intervals of 20 ms";

    sim().setFrameRate(0.0);
    begin = std::chrono::steady_clock::now();
    sim().runFrames(100);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 100ms);
}

TEST_F(FrameLoopTest, LastFrameTexts_holdOnlyTheLastCompleteFrame) {
    XPLMRegisterDrawCallback(drawFrameNumber, xplm_Phase_Window, 0, nullptr);
    sim().runFrames(3);
    const auto texts = sim().lastFrameTexts();
    ASSERT_EQ(texts.size(), 1u);
    EXPECT_EQ(texts[0].text, "frame 3");
    EXPECT_EQ(texts[0].x, 10);
    EXPECT_EQ(texts[0].y, 20);
    EXPECT_EQ(texts[0].font, xplmFont_Proportional);
    EXPECT_EQ(texts[0].rgb[2], 1.0f);
}

TEST_F(FrameLoopTest, DrawString_outsideADrawCallback_isRecordedAndNotShown) {
    float black[3] = {0, 0, 0};
    XPLMDrawString(black, 0, 0, "nowhere", nullptr, xplmFont_Proportional);
    sim().runFrames(1);
    EXPECT_TRUE(sim().lastFrameTexts().empty());
    EXPECT_EQ(sim().sdkMisuses().size(), 1u);
}

TEST_F(FrameLoopTest, RunUntil_stopsWhenTheConditionHoldsOrTimesOut) {
    EXPECT_TRUE(
        sim().runUntil([] { return testbed::Simulator::instance().frameCount() >= 5; }, 5s));
    EXPECT_EQ(sim().frameCount(), 5u);
    EXPECT_FALSE(sim().runUntil([] { return false; }, 30ms));
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

TEST_F(FrameLoopTest, FrameHook_withoutFixedSeconds_getsTheTimeBetweenFrameStarts) {
    std::vector<double> seconds;
    sim().setFrameRate(50.0);
    sim().setFrameHook([&](double realSeconds) { seconds.push_back(realSeconds); });
    sim().runFrames(4);
    ASSERT_EQ(seconds.size(), 4u);
    EXPECT_DOUBLE_EQ(seconds[0], 0.02) << "the first frame counts one period";
    for (size_t i = 1; i < seconds.size(); ++i) {
        EXPECT_GE(seconds[i], 0.02);
        EXPECT_LT(seconds[i], 0.5);
    }
}

TEST_F(FrameLoopTest, Reset_removesTheFrameHookAndTheSentMessages) {
    int calls = 0;
    sim().setFrameHook([&](double) { ++calls; });
    sim().sendMessage(101);
    EXPECT_EQ(sim().messagesSent(), (std::vector<int>{101})) << "recorded without a plug-in";
    sim().reset();
    sim().runFrames(3);
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(sim().messagesSent().empty());
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

TEST_F(FrameLoopTest, DrivingTheSimulator_fromAnotherThread_throws) {
    bool threw = false;
    std::thread other([&] {
        try {
            sim().runFrames(1);
        } catch (const std::logic_error&) {
            threw = true;
        }
    });
    other.join();
    EXPECT_TRUE(threw);
}

}  // namespace
