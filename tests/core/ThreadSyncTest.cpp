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

TEST_F(ThreadSyncTest, ThousandsOfJobsAndBracketsInTurn_loseNoWakeupAndNeverDeadlock) {
    constexpr int kCycles = 6000;
    std::atomic<int> done{0};
    int jobsRun = 0;
    std::thread client([&] {
        for (int i = 0; i < kCycles; ++i) {
            if (i % 3 == 0) {
                ASSERT_TRUE(sync.runOnSimulator([&] { ++jobsRun; }));
            } else {
                ASSERT_TRUE(sync.wait());
                // Quick and slightly delayed releases, so that wakeup() lands
                // both before and after the simulator's thread sleeps.
                if (i % 3 == 1) std::this_thread::yield();
                sync.wakeup();
            }
            done = i + 1;
        }
    });
    const bool finished = sim().runUntil([&] { return done.load() == kCycles; }, 60000ms);
    EXPECT_TRUE(finished) << "only " << done.load() << " of " << kCycles << " cycles completed";
    if (!finished) sync.shutdown();
    client.join();
    EXPECT_EQ(jobsRun, kCycles / 3);
    EXPECT_EQ(sync.grantCount(), static_cast<unsigned long>(kCycles));
    // One request is served per frame at most.
    EXPECT_GE(sim().frameCount(), static_cast<uint64_t>(kCycles));
}

TEST_F(ThreadSyncTest, HeldTime_advancesWithRealBrackets_andStaysPutWithoutRequests) {
    // Without a request, frames run back to back.
    sim().runFrames(50);
    EXPECT_EQ(sim().frameCount(), 50u);
    EXPECT_EQ(sync.grantCount(), 0u);
    EXPECT_EQ(sync.heldTotal().count(), 0);
    EXPECT_EQ(sync.heldLongest().count(), 0);

    // Three brackets of which the last holds the frame longest.
    std::atomic<int> done{0};
    std::thread client([&] {
        for (auto hold : {2ms, 2ms, 8ms}) {
            ASSERT_TRUE(sync.wait());
            std::this_thread::sleep_for(hold);
            sync.wakeup();
            ++done;
        }
    });
    const bool finished = sim().runUntil([&] { return done.load() == 3; }, 10000ms);
    if (!finished) sync.shutdown();
    client.join();
    ASSERT_TRUE(finished);
    EXPECT_EQ(sync.grantCount(), 3u);
    EXPECT_GE(sync.heldTotal(), 12ms);
    EXPECT_GE(sync.heldLongest(), 8ms);
    EXPECT_LT(sync.heldLongest(), sync.heldTotal());
    EXPECT_EQ(sync.heldSummary().rfind("3 brackets, mean ", 0), 0u) << sync.heldSummary();

    const auto total = sync.heldTotal();
    const auto longest = sync.heldLongest();
    sim().runFrames(50);
    EXPECT_EQ(sync.grantCount(), 3u);
    EXPECT_EQ(sync.heldTotal(), total);
    EXPECT_EQ(sync.heldLongest(), longest);
}

TEST_F(ThreadSyncTest, Job_runsOnTheSimulatorsThreadInTheNextFrame_andCountsAsAccess) {
    sim().setInt("sim/time/sim_speed", 4);
    std::atomic<bool> ran{false};
    std::atomic<int> rate{0};
    std::thread::id ranOn;
    std::promise<bool> result;
    std::thread client([&] {
        result.set_value(sync.runOnSimulator([&] {
            ranOn = std::this_thread::get_id();
            rate = XPLMGetDatai(XPLMFindDataRef("sim/time/sim_speed"));
            ran = true;
        }));
    });
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(ran.load()) << "the job ran without a frame";
    ASSERT_TRUE(sim().runUntil([&] { return ran.load(); }, 5000ms));
    client.join();
    EXPECT_TRUE(result.get_future().get());
    EXPECT_EQ(ranOn, std::this_thread::get_id());
    EXPECT_EQ(rate.load(), 4);
    EXPECT_EQ(sync.grantCount(), 1u);
    EXPECT_GT(sync.heldTotal().count(), 0);
    EXPECT_TRUE(sim().threadViolations().empty());
}

TEST_F(ThreadSyncTest, JobOnTheSimulatorsThreadOrInsideABracket_runsAtOnce) {
    bool ranHere = false;
    EXPECT_TRUE(sync.runOnSimulator([&] { ranHere = true; }));
    EXPECT_TRUE(ranHere);
    EXPECT_EQ(sim().frameCount(), 0u);

    // Inside its bracket the client has access already; passing the job on
    // would wait for the frame its bracket holds.
    std::atomic<bool> done{false};
    std::thread::id ranOn;
    std::thread::id clientId;
    std::thread client([&] {
        clientId = std::this_thread::get_id();
        CSimulatorBracket bracket(&sync);
        ASSERT_TRUE(bracket.granted());
        EXPECT_TRUE(sync.runOnSimulator([&] { ranOn = std::this_thread::get_id(); }));
        done = true;
    });
    ASSERT_TRUE(sim().runUntil([&] { return done.load(); }, 5000ms));
    client.join();
    EXPECT_EQ(ranOn, clientId);
    EXPECT_EQ(sync.grantCount(), 1u) << "the bracket only";
}

// A client blocked in wait() (false) or runOnSimulator() (true) without a frame.
class ThreadSyncShutdownTest : public ThreadSyncTest, public ::testing::WithParamInterface<bool> {};

TEST_P(ThreadSyncShutdownTest, ReleasesTheWaitingClient_andLaterRequestsGiveUp) {
    std::atomic<bool> ran{false};
    const auto request = [&] {
        return GetParam() ? sync.runOnSimulator([&] { ran = true; }) : sync.wait();
    };
    std::promise<bool> result;
    std::thread client([&] { result.set_value(request()); });
    auto future = result.get_future();
    EXPECT_EQ(future.wait_for(50ms), std::future_status::timeout) << "returned without a frame";
    sync.shutdown();
    ASSERT_EQ(future.wait_for(2000ms), std::future_status::ready) << "shutdown did not release it";
    EXPECT_FALSE(future.get());
    client.join();
    // A frame after shutdown does not block: the withdrawn request is gone.
    sim().runFrames(1);
    EXPECT_EQ(sim().frameCount(), 1u);
    std::thread later([&] { EXPECT_FALSE(request()); });
    later.join();
    EXPECT_FALSE(ran.load()) << "a withdrawn job ran";
}

INSTANTIATE_TEST_SUITE_P(WaitOrJob, ThreadSyncShutdownTest, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& param) {
                             return param.param ? "runOnSimulator" : "wait";
                         });

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
