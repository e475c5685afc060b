// The benchmark's sums and readings: frame durations in fixed memory, the
// plug-in's handshake line, threads' CPU time and resident memory from /proc.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace bench {

// Frame durations, one record per frame, without allocating while it
// records: the long flight measures the process's memory around it, and a
// growing list of samples would show up there. 0.1 us steps up to 1 ms, 10 us
// steps up to 100 ms, beyond that one bucket; mean and max are exact.
class LatencyHistogram {
public:
    LatencyHistogram();

    void record(std::chrono::nanoseconds duration);
    void clear();

    std::size_t count() const { return m_count; }
    double meanUs() const;
    double maxUs() const;
    // The p-th percentile (0 < p <= 100) by nearest rank, to the bucket's
    // upper edge and never above the maximum; 0 without records.
    double percentileUs(double p) const;
    // Records above limitUs; exact for limits on a bucket edge (whole
    // microseconds up to 1 ms, multiples of 10 us above).
    std::size_t countAbove(double limitUs) const;

private:
    static std::size_t bucketOf(std::int64_t ns);
    static double upperEdgeUs(std::size_t bucket);
    static double lowerEdgeUs(std::size_t bucket);

    std::vector<std::uint32_t> m_buckets;
    std::size_t m_count = 0;
    long double m_sumNs = 0;
    std::int64_t m_maxNs = 0;
};

// One row's figures, in microseconds.
struct CostFigures {
    std::size_t frames = 0;
    double meanUs = 0.0;
    double p99Us = 0.0;
    double maxUs = 0.0;
    std::size_t over2ms = 0;
    // Of those, frames the plug-in did not hold (see heldElsewhere). Counted
    // by the one who times the frames.
    std::size_t over2msElsewhere = 0;
};
CostFigures figuresOf(const LatencyHistogram& histogram);

// The simulator's thread's own account of a frame whose plug-in callback took
// over 2 ms.
struct SlowFrameAccount {
    double frameCpuUs = 0.0;  // the thread's CPU time in the whole frame
    long waits = 0;           // voluntary switches: it blocked, on a lock or a read
    long preempted = 0;       // involuntary switches: the system gave its processor away
};
// Whether the time went elsewhere than to the plug-in: the thread was switched
// out for another thread, or it neither worked 2 ms nor waited in the whole
// frame, so that its processor was held by the machine's host.
bool heldElsewhere(const SlowFrameAccount& account);

// The line the plug-in logs at stop: "Simulator thread: <n> jobs in <f>
// frames, mean <x> us a frame, longest <y> us". The last one in the log wins.
struct HandshakeSummary {
    unsigned long jobs = 0;
    unsigned long frames = 0;
    double meanUs = 0.0;
    double longestUs = 0.0;
};
std::optional<HandshakeSummary> parseHandshakeLine(const std::string& logText);

// utime + stime, in clock ticks, from a /proc/<pid>/task/<tid>/stat line.
// The thread's name may hold spaces and parentheses.
std::optional<std::uint64_t> parseTaskCpuTicks(const std::string& statLine);
// "VmRSS:" of /proc/<pid>/status, in kB.
std::optional<long> parseResidentKb(const std::string& statusText);

// This process's threads whose name is exactly name, oldest (lowest id) first.
std::vector<int> tasksNamed(const std::string& name);
// CPU time of one of this process's threads; nothing once it has ended.
std::optional<double> taskCpuSeconds(int tid);
// This process's resident memory in kB, 0 when /proc cannot tell.
long residentKb();

// What the targets say about a run, measured against the empty plug-in.
struct Targets {
    double meanAboveEmptyUs = 10.0;
    double p99AboveEmptyUs = 100.0;
    double clientCorePercent = 1.0;
};
// The targets a run misses, one short phrase each; empty when it meets all.
// clientCorePercent is left out of the judgement when unknown (negative); a
// frame over 2 ms counts against the plug-in unless it was held elsewhere.
std::vector<std::string> missedTargets(const CostFigures& plugin, const CostFigures& empty,
                                       double clientCorePercent, const Targets& targets = {});

}  // namespace bench
