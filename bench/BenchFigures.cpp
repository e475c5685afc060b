// The benchmark's sums and its readings of /proc.
#include "BenchFigures.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <regex>
#include <sstream>

namespace bench {

namespace {

constexpr std::int64_t kFineStepNs = 100;
constexpr std::int64_t kFineEndNs = 1000 * 1000;
constexpr std::int64_t kCoarseStepNs = 10 * 1000;
constexpr std::int64_t kCoarseEndNs = 100 * 1000 * 1000;
constexpr std::size_t kFineBuckets = kFineEndNs / kFineStepNs;
constexpr std::size_t kCoarseBuckets = (kCoarseEndNs - kFineEndNs) / kCoarseStepNs;
// The last bucket holds everything from 100 ms on.
constexpr std::size_t kBuckets = kFineBuckets + kCoarseBuckets + 1;

std::string readWhole(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

}  // namespace

LatencyHistogram::LatencyHistogram() : m_buckets(kBuckets, 0) {}

std::size_t LatencyHistogram::bucketOf(std::int64_t ns) {
    if (ns < kFineEndNs) {
        return static_cast<std::size_t>(ns / kFineStepNs);
    }
    if (ns < kCoarseEndNs) {
        return kFineBuckets + static_cast<std::size_t>((ns - kFineEndNs) / kCoarseStepNs);
    }
    return kBuckets - 1;
}

double LatencyHistogram::lowerEdgeUs(std::size_t bucket) {
    if (bucket < kFineBuckets) {
        return static_cast<double>(bucket) * kFineStepNs / 1000.0;
    }
    return static_cast<double>(kFineEndNs +
                               static_cast<std::int64_t>(bucket - kFineBuckets) * kCoarseStepNs) /
           1000.0;
}

double LatencyHistogram::upperEdgeUs(std::size_t bucket) {
    return bucket + 1 < kBuckets ? lowerEdgeUs(bucket + 1) : HUGE_VAL;
}

void LatencyHistogram::record(std::chrono::nanoseconds duration) {
    const std::int64_t ns = std::max<std::int64_t>(0, duration.count());
    ++m_buckets[bucketOf(ns)];
    ++m_count;
    m_sumNs += ns;
    m_maxNs = std::max(m_maxNs, ns);
}

void LatencyHistogram::clear() {
    std::fill(m_buckets.begin(), m_buckets.end(), 0);
    m_count = 0;
    m_sumNs = 0;
    m_maxNs = 0;
}

double LatencyHistogram::meanUs() const {
    return m_count == 0 ? 0.0 : static_cast<double>(m_sumNs / m_count) / 1000.0;
}

double LatencyHistogram::maxUs() const { return static_cast<double>(m_maxNs) / 1000.0; }

double LatencyHistogram::percentileUs(double p) const {
    if (m_count == 0) {
        return 0.0;
    }
    const auto rank = static_cast<std::size_t>(
        std::ceil(std::clamp(p, 0.0, 100.0) / 100.0 * static_cast<double>(m_count)));
    std::size_t seen = 0;
    for (std::size_t bucket = 0; bucket < kBuckets; ++bucket) {
        seen += m_buckets[bucket];
        if (seen >= std::max<std::size_t>(rank, 1)) {
            return std::min(upperEdgeUs(bucket), maxUs());
        }
    }
    return maxUs();
}

std::size_t LatencyHistogram::countAbove(double limitUs) const {
    std::size_t above = 0;
    for (std::size_t bucket = 0; bucket < kBuckets; ++bucket) {
        if (lowerEdgeUs(bucket) >= limitUs) {
            above += m_buckets[bucket];
        }
    }
    return above;
}

CostFigures figuresOf(const LatencyHistogram& histogram) {
    CostFigures figures;
    figures.frames = histogram.count();
    figures.meanUs = histogram.meanUs();
    figures.p99Us = histogram.percentileUs(99.0);
    figures.maxUs = histogram.maxUs();
    figures.over2ms = histogram.countAbove(2000.0);
    return figures;
}

std::optional<HandshakeSummary> parseHandshakeLine(const std::string& logText) {
    static const std::regex line(
        "Simulator thread: ([0-9]+) jobs in ([0-9]+) frames, mean ([0-9.]+) us a frame, "
        "longest ([0-9.]+) us");
    std::optional<HandshakeSummary> last;
    for (auto it = std::sregex_iterator(logText.begin(), logText.end(), line);
         it != std::sregex_iterator(); ++it) {
        HandshakeSummary summary;
        summary.jobs = std::stoul((*it)[1].str());
        summary.frames = std::stoul((*it)[2].str());
        summary.meanUs = std::stod((*it)[3].str());
        summary.longestUs = std::stod((*it)[4].str());
        last = summary;
    }
    return last;
}

std::optional<std::uint64_t> parseTaskCpuTicks(const std::string& statLine) {
    // The name is the one field that may hold anything; it ends at the last
    // ')'. After it: state (field 3) ... utime (14), stime (15).
    const std::size_t nameEnd = statLine.rfind(')');
    if (nameEnd == std::string::npos) {
        return std::nullopt;
    }
    std::istringstream fields(statLine.substr(nameEnd + 1));
    std::string field;
    std::uint64_t utime = 0;
    std::uint64_t stime = 0;
    for (int number = 3; number <= 15; ++number) {
        if (!(fields >> field)) {
            return std::nullopt;
        }
        if (number == 14 || number == 15) {
            char* end = nullptr;
            const unsigned long long value = std::strtoull(field.c_str(), &end, 10);
            if (end == field.c_str() || *end != '\0') {
                return std::nullopt;
            }
            (number == 14 ? utime : stime) = value;
        }
    }
    return utime + stime;
}

std::optional<long> parseResidentKb(const std::string& statusText) {
    static const std::regex line("(^|\n)VmRSS:[ \t]*([0-9]+) kB");
    std::smatch match;
    if (!std::regex_search(statusText, match, line)) {
        return std::nullopt;
    }
    return std::stol(match[2].str());
}

std::vector<int> tasksNamed(const std::string& name) {
    std::vector<int> tids;
    DIR* tasks = opendir("/proc/self/task");
    if (tasks == nullptr) {
        return tids;
    }
    while (const dirent* entry = readdir(tasks)) {
        char* end = nullptr;
        const long tid = std::strtol(entry->d_name, &end, 10);
        if (end == entry->d_name || *end != '\0') {
            continue;
        }
        std::string comm = readWhole("/proc/self/task/" + std::string(entry->d_name) + "/comm");
        if (!comm.empty() && comm.back() == '\n') {
            comm.pop_back();
        }
        if (comm == name) {
            tids.push_back(static_cast<int>(tid));
        }
    }
    closedir(tasks);
    std::sort(tids.begin(), tids.end());
    return tids;
}

std::optional<double> taskCpuSeconds(int tid) {
    const std::string stat = readWhole("/proc/self/task/" + std::to_string(tid) + "/stat");
    const auto ticks = parseTaskCpuTicks(stat);
    const long ticksPerSecond = sysconf(_SC_CLK_TCK);
    if (!ticks || ticksPerSecond <= 0) {
        return std::nullopt;
    }
    return static_cast<double>(*ticks) / static_cast<double>(ticksPerSecond);
}

long residentKb() { return parseResidentKb(readWhole("/proc/self/status")).value_or(0); }

bool heldElsewhere(const SlowFrameAccount& account) {
    if (account.preempted > 0) return true;
    return account.waits == 0 && account.frameCpuUs < 2000.0;
}

std::vector<std::string> missedTargets(const CostFigures& plugin, const CostFigures& empty,
                                       double clientCorePercent, const Targets& targets) {
    std::vector<std::string> missed;
    char text[160];
    const double meanAbove = plugin.meanUs - empty.meanUs;
    if (meanAbove >= targets.meanAboveEmptyUs) {
        std::snprintf(text, sizeof(text), "mean %.1f us above empty (target < %.0f)", meanAbove,
                      targets.meanAboveEmptyUs);
        missed.emplace_back(text);
    }
    const double p99Above = plugin.p99Us - empty.p99Us;
    if (p99Above >= targets.p99AboveEmptyUs) {
        std::snprintf(text, sizeof(text), "p99 %.1f us above empty (target < %.0f)", p99Above,
                      targets.p99AboveEmptyUs);
        missed.emplace_back(text);
    }
    const std::size_t slowOwn = plugin.over2ms - std::min(plugin.over2ms, plugin.over2msElsewhere);
    if (slowOwn > 0) {
        std::snprintf(text, sizeof(text), "%zu frames over 2 ms held by the plug-in (target none)",
                      slowOwn);
        missed.emplace_back(text);
    }
    if (clientCorePercent >= targets.clientCorePercent) {
        std::snprintf(text, sizeof(text), "client thread %.2f %% of a core (target < %.0f %%)",
                      clientCorePercent, targets.clientCorePercent);
        missed.emplace_back(text);
    }
    return missed;
}

}  // namespace bench
