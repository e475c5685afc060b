// Stop while the client thread waits for simulator access: the simulator
// draws no frame while it joins the client thread, so the wait must give up.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "CPlugin.h"
#include "CThreadSync.h"
#include "TestSupport.h"
#include "testbed/Simulator.h"

using namespace std::chrono_literals;

TEST(PluginStopTest, Stop_whileClientWaitsForSimulator_endsWithinBound) {
    quelby_test::ScratchFolder root("quelby-stop");
    quelby_test::WorkingFolder cwd(root.path());
    testbed::Simulator::instance().reset();

    std::atomic<int> waitsStarted{0};
    std::atomic<int> waitsGivenUp{0};
    CPlugin::setPassHookForTests([&] {
        ++waitsStarted;
        if (!g_pThreadSync->runOnSimulator([] {})) {
            ++waitsGivenUp;
        }
    });
    char name[256], sig[256], desc[256];
    ASSERT_EQ(CPlugin::start(name, sig, desc), 1);

    // No frame is drawn: the client thread blocks in its first request (the
    // settings shown in the window, then the pass's own request).
    std::this_thread::sleep_for(200ms);
    EXPECT_LE(waitsStarted.load(), 1);
    EXPECT_EQ(g_pThreadSync->grantCount(), 0u) << "a request was served without a drawn frame";

    const auto stopStart = std::chrono::steady_clock::now();
    CPlugin::stop();
    const auto stopTime = std::chrono::steady_clock::now() - stopStart;
    CPlugin::setPassHookForTests(nullptr);

    EXPECT_LT(stopTime, std::chrono::milliseconds(CPlugin::kStopJoinBoundMs));
    EXPECT_EQ(waitsGivenUp.load(), waitsStarted.load());
    EXPECT_EQ(g_pThreadSync, nullptr);
    EXPECT_EQ(g_pClient.load(), nullptr);
}
