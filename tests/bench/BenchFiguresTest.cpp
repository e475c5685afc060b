// The benchmark's sums and readings, the targets, and the long flight's length
// and fuel against the test bed's flight model.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <future>
#include <random>
#include <thread>
#include <vector>

#include "BenchFigures.h"
#include "CThreadSync.h"
#include "LongHaulFlight.h"
#include "testbed/Flight.h"
#include "testbed/FlightModel.h"
#include "testbed/Simulator.h"

using namespace std::chrono_literals;

namespace {

int currentTid() { return static_cast<int>(syscall(SYS_gettid)); }

TEST(LatencyHistogramTest, PercentilesMeanAndMax_matchTheExactFiguresWithinABucket) {
    std::mt19937 random(7);
    // Mostly a few microseconds, now and then a millisecond or more, as frames go.
    std::lognormal_distribution<double> microseconds(1.5, 1.2);
    std::vector<double> values;
    bench::LatencyHistogram histogram;
    double sum = 0.0;
    for (int i = 0; i < 20000; ++i) {
        const double us = std::min(microseconds(random), 50000.0);
        values.push_back(us);
        sum += us;
        histogram.record(std::chrono::nanoseconds(static_cast<long long>(us * 1000.0)));
    }
    std::sort(values.begin(), values.end());
    EXPECT_EQ(histogram.count(), values.size());
    EXPECT_NEAR(histogram.meanUs(), sum / values.size(), 0.01);
    EXPECT_NEAR(histogram.maxUs(), values.back(), 0.001);
    for (double p : {50.0, 90.0, 99.0, 99.9}) {
        // Nearest rank: the smallest value with at least p % of all at or below it.
        const auto rank = static_cast<std::size_t>(std::ceil(p / 100.0 * values.size()));
        const double exact = values[rank - 1];
        // 0.1 us steps below 1 ms, 10 us above.
        const double step = exact < 1000.0 ? 0.1 : 10.0;
        EXPECT_NEAR(histogram.percentileUs(p), exact, step + 1e-9) << "p" << p;
    }
    EXPECT_DOUBLE_EQ(histogram.percentileUs(100.0), histogram.maxUs());
}

TEST(LatencyHistogramTest, OneSlowFrameInAHundred_isTheMaxButNotTheP99) {
    bench::LatencyHistogram histogram;
    for (int i = 0; i < 99; ++i) histogram.record(5us);
    histogram.record(3ms);
    EXPECT_NEAR(histogram.percentileUs(99.0), 5.1, 1e-9);
    EXPECT_DOUBLE_EQ(histogram.maxUs(), 3000.0);
    histogram.record(6ms);
    EXPECT_NEAR(histogram.percentileUs(99.0), 3010.0, 1e-9);
}

TEST(LatencyHistogramTest, CountAbove2ms_countsOnlyLongerFrames_evenBeyondTheLastBucket) {
    bench::LatencyHistogram histogram;
    histogram.record(1999us);
    histogram.record(std::chrono::nanoseconds(1999999));
    histogram.record(2001us);
    histogram.record(150ms);
    histogram.record(std::chrono::nanoseconds(-5));  // a clock that stepped back counts as 0
    EXPECT_EQ(histogram.countAbove(2000.0), 2u);
    EXPECT_EQ(bench::figuresOf(histogram).over2ms, 2u);
    EXPECT_DOUBLE_EQ(histogram.maxUs(), 150000.0);
    EXPECT_DOUBLE_EQ(histogram.percentileUs(100.0), 150000.0);

    histogram.clear();
    EXPECT_EQ(histogram.count(), 0u);
    EXPECT_EQ(histogram.countAbove(0.0), 0u);
    EXPECT_EQ(histogram.percentileUs(99.0), 0.0);
    EXPECT_EQ(histogram.meanUs(), 0.0);
}

TEST(HandshakeLineTest, ReadsTheLineThePluginWrites_lastOneWins) {
    CThreadSync sync;
    const std::string written = "Debug: [CPlugin] Simulator thread: " + sync.heldSummary();
    const auto fresh = bench::parseHandshakeLine(written);
    ASSERT_TRUE(fresh.has_value()) << written;
    EXPECT_EQ(fresh->jobs, 0u);
    EXPECT_EQ(fresh->frames, 0u);

    const std::string log =
        "12.03.25 - 10:00:00 Debug: [CPlugin] Simulator thread: 12 jobs in 10 frames, mean 3.5 us "
        "a frame, longest 40.0 us\n"
        "12.03.25 - 10:05:00 Init: CClient\n"
        "12.03.25 - 10:09:00 Debug: [CPlugin] Simulator thread: 1234 jobs in 1200 frames, mean "
        "12.3 us a frame, longest 456.7 us\n";
    const auto last = bench::parseHandshakeLine(log);
    ASSERT_TRUE(last.has_value());
    EXPECT_EQ(last->jobs, 1234u);
    EXPECT_EQ(last->frames, 1200u);
    EXPECT_DOUBLE_EQ(last->meanUs, 12.3);
    EXPECT_DOUBLE_EQ(last->longestUs, 456.7);
    EXPECT_FALSE(bench::parseHandshakeLine("Init: CClient\n").has_value());
}

TEST(ProcReadingTest, TaskStat_nameWithSpacesAndParentheses_givesUtimePlusStime) {
    // Fields 14 and 15 (utime, stime) are 1234 and 56.
    const std::string line =
        "4242 (quelby (x) y) S 1 4242 4242 0 -1 4194560 100 0 0 0 1234 56 0 0 20 0 3 0 100 "
        "1000000 200 18446744073709551615";
    EXPECT_EQ(bench::parseTaskCpuTicks(line), 1290u);
    EXPECT_FALSE(bench::parseTaskCpuTicks("4242 quelby S 1").has_value());
    EXPECT_FALSE(bench::parseTaskCpuTicks("4242 (quelby) S 1 2 3").has_value());
    EXPECT_FALSE(bench::parseTaskCpuTicks("").has_value());
}

TEST(ProcReadingTest, ThreadFoundByExactName_andItsCpuTimeAdvancesWhileItWorks) {
    std::promise<int> tidOf;
    std::atomic<bool> stop{false};
    std::thread worker([&] {
        pthread_setname_np(pthread_self(), "bench-probe");
        tidOf.set_value(currentTid());
        volatile unsigned long spin = 0;
        while (!stop) ++spin;
    });
    const int tid = tidOf.get_future().get();
    EXPECT_EQ(bench::tasksNamed("bench-probe"), std::vector<int>{tid});
    EXPECT_TRUE(bench::tasksNamed("bench-prob").empty());

    const double before = bench::taskCpuSeconds(tid).value_or(-1.0);
    ASSERT_GE(before, 0.0);
    // The reading moves in clock ticks; a busy thread passes a few of them soon.
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    double now = before;
    while (now < before + 0.05 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(10ms);
        now = bench::taskCpuSeconds(tid).value_or(-1.0);
    }
    stop = true;
    worker.join();
    EXPECT_GE(now, before + 0.05);
    EXPECT_FALSE(bench::taskCpuSeconds(tid).has_value()) << "the thread has ended";
}

TEST(ProcReadingTest, ResidentMemory_readFromStatus_andGrowsWithTouchedPages) {
    EXPECT_EQ(bench::parseResidentKb("Name:\tx\nVmHWM:\t  900 kB\nVmRSS:\t  812 kB\n"), 812);
    EXPECT_FALSE(bench::parseResidentKb("Name:\tx\nVmHWM:\t  900 kB\n").has_value());

    const long before = bench::residentKb();
    ASSERT_GT(before, 0);
    std::vector<char> block(64 << 20);
    std::memset(block.data(), 1, block.size());
    EXPECT_GE(bench::residentKb(), before + 60 * 1024);
    EXPECT_EQ(block[block.size() / 2], 1);
}

TEST(TargetsTest, EachTargetIsMissedJustBeyondItsLimit) {
    bench::CostFigures empty;
    empty.meanUs = 1.0;
    empty.p99Us = 3.0;
    bench::CostFigures plugin;
    plugin.meanUs = 10.9;
    plugin.p99Us = 102.9;
    EXPECT_TRUE(bench::missedTargets(plugin, empty, 0.99).empty());
    EXPECT_TRUE(bench::missedTargets(plugin, empty, -1.0).empty()) << "unknown CPU is not judged";

    bench::CostFigures slowMean = plugin;
    slowMean.meanUs = 11.0;
    EXPECT_EQ(bench::missedTargets(slowMean, empty, 0.5).size(), 1u);
    bench::CostFigures slowTail = plugin;
    slowTail.p99Us = 103.0;
    EXPECT_EQ(bench::missedTargets(slowTail, empty, 0.5).size(), 1u);
    bench::CostFigures oneLongFrame = plugin;
    oneLongFrame.over2ms = 1;
    EXPECT_EQ(bench::missedTargets(oneLongFrame, empty, 0.5).size(), 1u);
    // The plug-in did not hold the frame: not held against it.
    oneLongFrame.over2msElsewhere = 1;
    EXPECT_TRUE(bench::missedTargets(oneLongFrame, empty, 0.5).empty());
    oneLongFrame.over2ms = 3;
    EXPECT_EQ(bench::missedTargets(oneLongFrame, empty, 0.5).size(), 1u);
    EXPECT_EQ(bench::missedTargets(plugin, empty, 1.0).size(), 1u);
}

TEST(TargetsTest, SlowFrame_isTheHostsOrTheSystemsOnlyWhenThePluginNeitherWorkedNorWaited) {
    struct Case {
        const char* situation;
        bench::SlowFrameAccount account;
        bool elsewhere;
    };
    const Case cases[] = {
        {"switched out for another thread", {3500.0, 0, 1}, true},
        {"switched out after a wait", {200.0, 2, 1}, true},
        {"little work, no wait: the host held the processor", {1348.0, 0, 0}, true},
        {"blocked on a lock or a read", {300.0, 1, 0}, false},
        {"worked the whole time", {4600.0, 0, 0}, false},
        {"worked exactly 2 ms", {2000.0, 0, 0}, false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(bench::heldElsewhere(c.account), c.elsewhere) << c.situation;
    }
}

// Flies the description with the test bed's model, without a plug-in, and
// returns the simulated seconds gate to gate.
double flyOffline(const testbed::FlightDescription& flight) {
    testbed::Simulator::instance().reset();
    testbed::FlightModel model(flight);
    model.attach();
    for (int step = 0; step < 200000 && !model.hasArrived(); ++step) model.step(0.5);
    EXPECT_TRUE(model.hasArrived()) << model.progressLine();
    const double seconds = model.progress().simulatedSeconds;
    model.detach();
    return seconds;
}

TEST(LongHaulFlightTest, TenHours_areFlownInAboutTenHours_insideTheClientsRules) {
    const testbed::FlightDescription flight = bench::longHaulFlight(10.0);
    EXPECT_FALSE(testbed::checkFlight(flight).has_value()) << testbed::checkFlight(flight)->message;
    EXPECT_LE(flight.timeScale, testbed::maxTimeScale(testbed::topGroundSpeedKts(flight)));
    EXPECT_GE(flight.timeScale, 30.0) << "the full run would take too long";
    EXPECT_NEAR(bench::plannedSimulatedSeconds(flight), 10 * 3600.0, 60.0);
    const double flown = flyOffline(flight);
    EXPECT_NEAR(flown, 10 * 3600.0, 0.02 * 10 * 3600.0);
}

TEST(LongHaulFlightTest, FuelLoaded_lastsTheWholeFlight_andFitsTheTanks) {
    for (double hours : {0.1, 2.0, 10.0, 16.0}) {
        SCOPED_TRACE(hours);
        testbed::FlightDescription flight = bench::longHaulFlight(hours);
        const double loadedKg = bench::longHaulFuelKg(flight);
        EXPECT_LE(loadedKg, 17600.0) << "more than the test bed's tanks hold";
        // Loaded as the client does, spread over the three tanks.
        flight.tanksKg = {loadedKg / 3, loadedKg / 3, loadedKg / 3};
        testbed::Simulator::instance().reset();
        testbed::FlightModel model(flight);
        model.attach();
        double leastKg = loadedKg;
        for (int step = 0; step < 200000 && !model.hasArrived(); ++step) {
            model.step(0.5);
            leastKg = std::min(leastKg, model.progress().fuelKg);
        }
        model.detach();
        EXPECT_TRUE(model.hasArrived());
        EXPECT_GT(leastKg, 500.0) << "the tanks ran nearly dry";
    }
}

TEST(LongHaulFlightTest, ATenthOfAnHour_isAShortHopThatStillLeavesTheGround) {
    const testbed::FlightDescription flight = bench::longHaulFlight(0.1);
    EXPECT_FALSE(testbed::checkFlight(flight).has_value()) << testbed::checkFlight(flight)->message;
    EXPECT_EQ(flight.arrival.icao, bench::kLongHaulArrivalIcao);
    const double flown = flyOffline(flight);
    EXPECT_LT(flown, 0.3 * 3600.0);
    EXPECT_NEAR(flown, bench::plannedSimulatedSeconds(flight),
                0.25 * bench::plannedSimulatedSeconds(flight));
}

}  // namespace
