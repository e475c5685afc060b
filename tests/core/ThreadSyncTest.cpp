// The simulator-access handshake under real threads, driven by the test bed's
// frame loop, and the millisecond timer.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include <stdexcept>

#include "CClientConfig.h"
#include "CLogger.h"
#include "CThreadSync.h"
#include "CTimer.h"
#include "TestSupport.h"
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

TEST_F(ThreadSyncTest, Job_runsOnTheSimulatorsThreadInTheNextFrame_whileTheCallerWaits) {
    std::atomic<bool> done{false};
    std::thread::id ranOn;
    std::thread client([&] {
        EXPECT_TRUE(sync.runOnSimulator([&] { ranOn = std::this_thread::get_id(); }));
        done = true;
    });
    // Without a frame the job does not run.
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(done.load()) << "the job ran without a drawn frame";
    ASSERT_TRUE(sim().runUntil([&] { return done.load(); }, 2000ms));
    client.join();
    EXPECT_EQ(ranOn, std::this_thread::get_id()) << "the frame loop's thread runs the job";
    EXPECT_EQ(sync.grantCount(), 1u);
}

TEST_F(ThreadSyncTest, PostedChanges_takeEffectInTheOrderHandedOver_andAReadSeesThemAll) {
    std::vector<int> effects;  // touched by the simulator's thread only
    std::vector<int> seen;
    std::atomic<bool> done{false};
    std::thread client([&] {
        for (int i = 0; i < 500; ++i) {
            EXPECT_TRUE(sync.post([&effects, i] { effects.push_back(i); }));
            if (i % 100 == 99) {
                // A read between the changes sees every change before it.
                EXPECT_TRUE(sync.runOnSimulator([&] { seen.push_back(static_cast<int>(effects.size())); }));
            }
        }
        done = true;
    });
    ASSERT_TRUE(sim().runUntil([&] { return done.load(); }, 10000ms));
    client.join();
    ASSERT_EQ(effects.size(), 500u);
    for (int i = 0; i < 500; ++i) ASSERT_EQ(effects[i], i) << "changes out of order";
    EXPECT_EQ(seen, (std::vector<int>{100, 200, 300, 400, 500}));
}

TEST_F(ThreadSyncTest, Frame_runsJobsOnlyWithinItsBudget_andNeverWaitsForTheClient) {
    // Each job takes longer than a frame's budget: one job a frame, however
    // many wait.
    const auto longJob = [] {
        const auto until = std::chrono::steady_clock::now() + 2 * CThreadSync::kFrameBudget;
        while (std::chrono::steady_clock::now() < until) {
        }
    };
    std::atomic<int> handedOver{0};
    std::thread client([&] {
        for (int i = 0; i < 5; ++i) {
            sync.post(longJob);
            ++handedOver;
        }
    });
    client.join();
    EXPECT_EQ(handedOver.load(), 5) << "handing over never waits for a frame";
    for (unsigned long frame = 1; frame <= 5; ++frame) {
        sim().runFrames(1);
        EXPECT_EQ(sync.grantCount(), frame);
    }
    // Quick jobs share frames. How many fit in one depends on the machine
    // (a sanitizer or a busy system makes each slower), so this asks only
    // that the twenty need fewer frames than there are jobs.
    std::thread quick([&] {
        for (int i = 0; i < 20; ++i) sync.post([] {});
    });
    quick.join();
    unsigned long framesForQuickJobs = 0;
    while (sync.grantCount() < 25u && framesForQuickJobs < 20u) {
        sim().runFrames(1);
        ++framesForQuickJobs;
    }
    EXPECT_EQ(sync.grantCount(), 25u);
    EXPECT_LT(framesForQuickJobs, 20u) << "quick jobs ran one a frame";
    // A frame with nothing handed over runs nothing.
    sim().runFrames(3);
    EXPECT_EQ(sync.grantCount(), 25u);
    EXPECT_GE(sync.heldLongest(), 2 * CThreadSync::kFrameBudget);
}

TEST_F(ThreadSyncTest, Batch_isHandedOverAsOneJobAtItsEnd_andAReadInsideItSeesItsChanges) {
    std::vector<std::string> effects;
    std::atomic<int> step{0};
    std::thread client([&] {
        {
            CSimulatorBatch screen(&sync);
            sync.post([&] { effects.push_back("hide"); });
            {
                CSimulatorBatch inner(&sync);
                sync.post([&] { effects.push_back("text"); });
            }
            sync.post([&] { effects.push_back("show"); });
            step = 1;
            while (step != 2) std::this_thread::sleep_for(1ms);
            std::size_t count = 0;
            EXPECT_TRUE(sync.runOnSimulator([&] { count = effects.size(); }));
            EXPECT_EQ(count, 3u) << "a read inside a batch sees the batch's changes";
            sync.post([&] { effects.push_back("check"); });
        }
        step = 3;
    });
    while (step != 1) std::this_thread::sleep_for(1ms);
    sim().runFrames(2);
    EXPECT_TRUE(effects.empty()) << "nothing of an open batch takes effect";
    step = 2;
    ASSERT_TRUE(sim().runUntil([&] { return step == 3; }, 2000ms));
    client.join();
    sim().runFrames(1);
    EXPECT_EQ(effects, (std::vector<std::string>{"hide", "text", "show", "check"}));
    EXPECT_EQ(sync.grantCount(), 3u) << "the batch's first part, the read, the batch's rest";
}

TEST_F(ThreadSyncTest, ThrowingJob_isLoggedWithItsText_itsReaderLearnsOfIt_andTheRestRun) {
    quelby_test::ScratchFolder folder{"quelby-sync"};
    CClientConfig::instance()->setLogPath(folder.path());
    CLogger::resetForTests();
    std::vector<std::string> effects;  // the simulator's thread only
    std::atomic<bool> done{false};
    bool readWorked = true;
    bool laterRead = false;
    std::thread client([&] {
        {
            CSimulatorBatch screen(&sync);
            sync.post([&] { effects.push_back("hide"); });
            sync.post([] { throw std::runtime_error("widget gone"); });
            sync.post([&] { effects.push_back("show"); });
        }
        readWorked = sync.runOnSimulator([] { throw std::runtime_error("dataref gone"); });
        laterRead = sync.runOnSimulator([&] { effects.push_back("read"); });
        done = true;
    });
    ASSERT_TRUE(sim().runUntil([&] { return done.load(); }, 2000ms));
    client.join();
    EXPECT_FALSE(readWorked) << "a read that threw was reported as done";
    EXPECT_TRUE(laterRead);
    EXPECT_EQ(effects, (std::vector<std::string>{"hide", "show", "read"}))
        << "a change that threw took the rest of its screen with it";
    EXPECT_TRUE(sync.runOnSimulator([] {})) << "on the simulator's thread too";
    EXPECT_FALSE(sync.runOnSimulator([] { throw 42; }));
    const std::string log = quelby_test::readFile(folder.file("quelby_debug.txt"));
    CClientConfig::instance()->restoreDefaults();
    CLogger::resetForTests();
    for (const char* text : {"widget gone", "dataref gone", "unknown exception"}) {
        EXPECT_NE(log.find(std::string("A job on the simulator's thread failed: ") + text),
                  std::string::npos)
            << text << " not logged:\n"
            << log;
    }
}

TEST_F(ThreadSyncTest, OnTheSimulatorsThread_jobsRunAtOnce) {
    int runs = 0;
    EXPECT_TRUE(sync.runOnSimulator([&] { ++runs; }));
    EXPECT_TRUE(sync.post([&] { ++runs; }));
    EXPECT_EQ(runs, 2);
    EXPECT_EQ(sync.grantCount(), 0u) << "nothing was handed over";
}

TEST_F(ThreadSyncTest, HeldTime_countsTheFramesWithJobs_andTheSummarySaysSo) {
    EXPECT_EQ(sync.heldSummary(), "0 jobs in 0 frames, mean 0.0 us a frame, longest 0.0 us");
    std::thread client([&] {
        for (int i = 0; i < 3; ++i) sync.post([] { std::this_thread::sleep_for(1ms); });
    });
    client.join();
    sim().runFrames(3);
    EXPECT_EQ(sync.grantCount(), 3u);
    EXPECT_GE(sync.heldTotal(), 3ms);
    EXPECT_GE(sync.heldLongest(), 1ms);
    EXPECT_EQ(sync.heldSummary().rfind("3 jobs in 3 frames, mean ", 0), 0u) << sync.heldSummary();
    const auto total = sync.heldTotal();
    sim().runFrames(5);
    EXPECT_EQ(sync.heldTotal(), total) << "frames without jobs cost nothing";
}

TEST_F(ThreadSyncTest, ThousandsOfReadsAndChanges_neverLoseOneNorDeadlock) {
    std::atomic<bool> done{false};
    int counter = 0;  // the simulator's thread's
    std::thread client([&] {
        for (int i = 0; i < 3000; ++i) {
            if (i % 3 == 0) {
                int value = -1;
                ASSERT_TRUE(sync.runOnSimulator([&] { value = counter; }));
                ASSERT_EQ(value, i - i / 3) << "a read saw a change missing";
            } else {
                sync.post([&] { ++counter; });
            }
        }
        done = true;
    });
    ASSERT_TRUE(sim().runUntil([&] { return done.load(); }, 20000ms));
    client.join();
    // The last changes may wait for a frame or two, if the system switched
    // this thread out while it ran them.
    EXPECT_TRUE(sim().runUntil([&] { return counter == 2000; }, 2000ms));
    EXPECT_EQ(counter, 2000);
}

TEST_F(ThreadSyncTest, Shutdown_releasesTheWaitingCaller_dropsWhatWaits_andRefusesTheRest) {
    std::atomic<bool> ran{false};
    std::promise<bool> result;
    std::thread client([&] {
        sync.post([&] { ran = true; });
        result.set_value(sync.runOnSimulator([&] { ran = true; }));
    });
    auto future = result.get_future();
    EXPECT_EQ(future.wait_for(50ms), std::future_status::timeout) << "returned without a frame";
    sync.shutdown();
    ASSERT_EQ(future.wait_for(2000ms), std::future_status::ready) << "shutdown did not release it";
    EXPECT_FALSE(future.get());
    client.join();
    EXPECT_TRUE(sync.isShutDown());
    sim().runFrames(1);
    std::thread later([&] {
        EXPECT_FALSE(sync.runOnSimulator([&] { ran = true; }));
        EXPECT_FALSE(sync.post([&] { ran = true; }));
        CSimulatorBatch batch(&sync);
        EXPECT_FALSE(sync.post([&] { ran = true; }));
    });
    later.join();
    sim().runFrames(1);
    EXPECT_FALSE(ran.load()) << "a dropped job ran";
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
