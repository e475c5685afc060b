// The simulator-access handshake under real threads, driven by the test bed's
// frame loop, and the millisecond timer.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "CThreadSync.h"
#include "CTimer.h"
#include "XPLMDataAccess.h"
#include "XPLMDisplay.h"
#include "testbed/Simulator.h"

using namespace std::chrono_literals;

namespace {

// A draw callback that performs the handshake, as the plug-in's does.
int handshakeDrawCallback(XPLMDrawingPhase, int, void* refcon) {
    static_cast<CThreadSync*>(refcon)->trywait();
    return 1;
}

class ThreadSyncTest : public ::testing::Test {
protected:
    void SetUp() override {
        sim().reset();
        sim().setFrameRate(0);
        ASSERT_TRUE(XPLMRegisterDrawCallback(handshakeDrawCallback, xplm_Phase_Window, 0, &sync));
    }
    void TearDown() override {
        XPLMUnregisterDrawCallback(handshakeDrawCallback, xplm_Phase_Window, 0, &sync);
    }
    static testbed::Simulator& sim() { return testbed::Simulator::instance(); }

    CThreadSync sync;
};

TEST_F(ThreadSyncTest, Trywait_withoutRequest_returnsAtOnce) {
    // No client asks: frames run back to back without blocking.
    sim().runFrames(100);
    EXPECT_EQ(sim().frameCount(), 100u);
}

TEST_F(ThreadSyncTest, Request_isGrantedOnlyByNextFrame_andFrameWaitsForWakeup) {
    std::atomic<bool> granted{false};
    std::atomic<bool> released{false};
    std::promise<void> mayRelease;
    std::thread client([&] {
        ASSERT_TRUE(sync.wait());
        granted = true;
        mayRelease.get_future().wait();
        released = true;
        sync.wakeup();
    });
    // Without a frame the request is not served.
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(granted.load()) << "access was granted without a drawn frame";

    // The next frame grants access and does not end until wakeup().
    std::thread releaser([&] {
        while (!granted) std::this_thread::sleep_for(1ms);
        std::this_thread::sleep_for(30ms);
        mayRelease.set_value();
    });
    const auto frameStart = std::chrono::steady_clock::now();
    sim().runFrames(1);
    const auto frameTime = std::chrono::steady_clock::now() - frameStart;
    EXPECT_TRUE(granted.load());
    EXPECT_TRUE(released.load()) << "the frame ended before the client gave access back";
    EXPECT_GE(frameTime, 30ms);
    client.join();
    releaser.join();
}

TEST_F(ThreadSyncTest, ClientCallsSdkInsideBracket_isNoThreadViolation) {
    sim().setInt("sim/time/sim_speed", 3);
    std::atomic<int> rate{0};
    std::thread client([&] {
        ASSERT_TRUE(sync.wait());
        rate = XPLMGetDatai(XPLMFindDataRef("sim/time/sim_speed"));
        sync.wakeup();
    });
    ASSERT_TRUE(sim().runUntil([&] { return rate.load() != 0; }, 5000ms));
    client.join();
    EXPECT_EQ(rate.load(), 3);
    EXPECT_TRUE(sim().threadViolations().empty());
}

TEST_F(ThreadSyncTest, ThousandsOfCycles_loseNoWakeupAndNeverDeadlock) {
    constexpr int kCycles = 5000;
    std::atomic<int> done{0};
    std::thread client([&] {
        for (int i = 0; i < kCycles; ++i) {
            ASSERT_TRUE(sync.wait());
            // Alternate quick and slightly delayed releases so that wakeup()
            // lands both before and after the simulator's thread sleeps.
            if (i % 3 == 0) std::this_thread::yield();
            sync.wakeup();
            done = i + 1;
        }
    });
    const bool finished = sim().runUntil([&] { return done.load() == kCycles; }, 60000ms);
    EXPECT_TRUE(finished) << "only " << done.load() << " of " << kCycles << " cycles completed";
    if (!finished) {
        sync.shutdown();
    }
    client.join();
    // One request is served per frame at most.
    EXPECT_GE(sim().frameCount(), static_cast<uint64_t>(kCycles));
}

TEST_F(ThreadSyncTest, Shutdown_releasesWaitingClient_andLaterWaitsGiveUp) {
    std::promise<bool> result;
    std::thread client([&] { result.set_value(sync.wait()); });
    auto future = result.get_future();
    EXPECT_EQ(future.wait_for(50ms), std::future_status::timeout)
        << "wait() returned without a frame";
    sync.shutdown();
    ASSERT_EQ(future.wait_for(2000ms), std::future_status::ready)
        << "shutdown did not release wait()";
    EXPECT_FALSE(future.get());
    client.join();
    EXPECT_FALSE(sync.wait());
    // A frame after shutdown does not block: the withdrawn request is gone.
    sim().runFrames(1);
    EXPECT_EQ(sim().frameCount(), 1u);
}

// CTimer over a clock the test controls.
uint32_t g_fakeNowMs = 0;
uint32_t fakeClock() { return g_fakeNowMs; }

TEST(TimerTest, CountsMillisecondsFromConstructionAndReset_acrossWrap) {
    g_fakeNowMs = 0xFFFFFF00u;
    CTimer timer(&fakeClock);
    EXPECT_EQ(timer.GetTime(), 0u);
    g_fakeNowMs += 0x100;  // the clock wraps past 2^32
    EXPECT_EQ(timer.GetTime(), 0x100u);
    g_fakeNowMs += 50;
    // Reset returns the new start: the clock's reading.
    EXPECT_EQ(timer.Reset(), g_fakeNowMs);
    EXPECT_EQ(timer.GetTime(), 0u);
    g_fakeNowMs += 7;
    EXPECT_EQ(timer.GetTime(), 7u);
}

TEST(TimerTest, RealClock_startsNearZeroAndCountsUp) {
    CTimer timer;
    EXPECT_LT(timer.GetTime(), 50u);
    std::this_thread::sleep_for(20ms);
    const uint32_t elapsed = timer.GetTime();
    EXPECT_GE(elapsed, 20u);
    EXPECT_LT(elapsed, 2000u);
}

}  // namespace
