// quelby-bench: what the plug-in costs the simulator's frames, threads and
// memory, measured against an empty plug-in in the test bed's frame loop.
#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <boost/program_options.hpp>
#include <chrono>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "BenchFigures.h"
#include "LongHaulFlight.h"
#include "XPLMDisplay.h"
#include "XPLMGraphics.h"
#include "testbed/CommandLine.h"
#include "testbed/Flight.h"
#include "testbed/FlightModel.h"
#include "testbed/Simulator.h"
#include "testbed/Website.h"
#include "testbed/WindowDriver.h"

extern char** environ;

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

const char* const kUsage =
    "usage: quelby-bench [--short] [--hours H] [--out DIR] [--plugin PATH] [--empty-plugin PATH]\n"
    "  --short              one booked flight, 10 s of each stalled website and a 0.1 h long\n"
    "                       flight (about 2 minutes); exits 0 unless something broke\n"
    "  --hours H            simulated hours of the long flight (default 10, 0.1 with --short)\n"
    "  --out DIR            where the simulator folders go (default: bench-run)\n"
    "  --plugin PATH        the plug-in binary (default: the one of this build)\n"
    "  --empty-plugin PATH  the baseline plug-in (default: the one of this build)\n"
    "Exit status: 0 all well, 1 something broke, 2 (full run only) a target was missed.\n";

constexpr const char* kWindow = "Quelby Client";
constexpr const char* kClientThread = "quelby-client";
// The line CCallbackGuard writes when a callback of the plug-in throws.
constexpr const char* kGuardMark = "[CCallbackGuard]";
// What the demo airline's aircraft is booked with (Website::seedDemo).
constexpr double kDemoAircraftFuelKg = 3000.0;

struct Options {
    bool quick = false;
    double hours = 10.0;
    fs::path out = "bench-run";
    fs::path plugin = QUELBY_BENCH_PLUGIN;
    fs::path emptyPlugin = QUELBY_BENCH_EMPTY_PLUGIN;
    fs::path flight = QUELBY_BENCH_FLIGHT;
    // Set in the child that serves the long flight's website.
    double serveLongHaulSiteHours = 0.0;
};

bool parseOptions(int argc, char** argv, Options& options) {
    namespace po = boost::program_options;
    std::string out = options.out.string(), plugin = options.plugin.string(),
                emptyPlugin = options.emptyPlugin.string();
    po::options_description known;
    known.add_options()("short", po::bool_switch(&options.quick))("hours", po::value<double>())(
        "out", po::value(&out))("plugin", po::value(&plugin))(
        "empty-plugin", po::value(&emptyPlugin))("serve-long-haul-site",
                                                 po::value(&options.serveLongHaulSiteHours));
    po::variables_map given;
    if (!testbed::readCommandLine(argc, argv, known, given)) return false;
    options.out = out;
    options.plugin = plugin;
    options.emptyPlugin = emptyPlugin;
    if (given.count("hours") != 0) {
        options.hours = given["hours"].as<double>();
    } else if (options.quick) {
        options.hours = 0.1;
    }
    return options.hours > 0.0 && options.serveLongHaulSiteHours >= 0.0;
}

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

testbed::Simulator& sim() { return testbed::Simulator::instance(); }

// Something that must work did not: the run's figures mean nothing.
class BenchFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The stand-in website of the long flight, in a process of its own, so that
// what it stores while the flight goes on does not count as the plug-in's
// memory. It ends when its standard input closes.
class ChildWebsite {
public:
    explicit ChildWebsite(double hours) {
        int toChild[2];
        int fromChild[2];
        if (pipe2(toChild, O_CLOEXEC) != 0 || pipe2(fromChild, O_CLOEXEC) != 0) {
            throw BenchFailure("cannot make pipes for the website's process");
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, toChild[0], 0);
        posix_spawn_file_actions_adddup2(&actions, fromChild[1], 1);
        const std::string self = fs::read_symlink("/proc/self/exe").string();
        // Every digit: the child plans the same flight from it.
        char hoursText[32];
        std::snprintf(hoursText, sizeof(hoursText), "%.17g", hours);
        char* const argv[] = {const_cast<char*>(self.c_str()),
                              const_cast<char*>("--serve-long-haul-site"), hoursText, nullptr};
        const int spawned = posix_spawn(&m_pid, self.c_str(), &actions, nullptr, argv, environ);
        posix_spawn_file_actions_destroy(&actions);
        close(toChild[0]);
        close(fromChild[1]);
        m_stdin = toChild[1];
        if (spawned != 0) {
            close(fromChild[0]);
            m_pid = -1;
            throw BenchFailure("cannot start the website's process");
        }
        // Its one line: the port it listens on.
        std::string line;
        char c = 0;
        while (read(fromChild[0], &c, 1) == 1 && c != '\n') line += c;
        close(fromChild[0]);
        m_port = std::atoi(line.c_str());
        if (m_port <= 0) throw BenchFailure("the website's process did not start: " + line);
    }
    ~ChildWebsite() {
        if (m_stdin >= 0) close(m_stdin);
        if (m_pid > 0) {
            int status = 0;
            waitpid(m_pid, &status, 0);
        }
    }
    ChildWebsite(const ChildWebsite&) = delete;
    ChildWebsite& operator=(const ChildWebsite&) = delete;
    std::string url() const { return "127.0.0.1:" + std::to_string(m_port); }

private:
    pid_t m_pid = -1;
    int m_stdin = -1;
    int m_port = 0;
};

// The demo airline plus a route and a booking for the long flight.
void bookLongHaul(testbed::Website& site, const testbed::FlightDescription& flight) {
    site.seedDemo();
    site.addAirport({bench::kLongHaulArrivalIcao, "Long-haul field", flight.arrival.latitudeDeg,
                     flight.arrival.longitudeDeg, 0, 0.80});
    testbed::Route route;
    route.airlineId = 1;
    route.airline = "QLB";
    route.number = "QLB900";
    route.departure = flight.departure.icao;
    route.arrival = bench::kLongHaulArrivalIcao;
    route.departureTime = "0600";
    route.arrivalTime = "1600";
    route.route = "DCT";
    route.price = "600";
    route.remarks = "Long haul";
    route.simrate = 4;
    route.aircraftTypeId = 1;
    testbed::Booking booking;
    booking.user = "demo";
    booking.routeId = site.addRoute(route);
    booking.aircraftId = 1;
    const double hours = bench::plannedSimulatedSeconds(flight) / 3600.0;
    booking.distanceNm = std::to_string(static_cast<int>(hours * flight.cruiseSpeedKts));
    booking.durationMin = std::to_string(static_cast<int>(hours * 60.0));
    booking.passengers = "120";
    booking.cargoKg = "2000";
    site.book(booking);
}

int serveLongHaulSite(double hours) {
    testbed::Website site;
    bookLongHaul(site, bench::longHaulFlight(hours));
    if (!site.start()) return 1;
    std::printf("%d\n", site.port());
    std::fflush(stdout);
    char c = 0;
    while (read(0, &c, 1) > 0) {
    }
    site.stop();
    return 0;
}

// The simulator's thread's own account of a stretch of time: a frame that
// took long either ran, waited (for a lock or the handshake), or was switched
// out by the system for another thread.
struct ThreadAccount {
    long voluntarySwitches = 0;
    long involuntarySwitches = 0;
    long pageFaults = 0;  // minor and major: memory touched for the first time, or again
    std::int64_t cpuNs = 0;

    static ThreadAccount now() {
        ThreadAccount account;
        rusage usage{};
        if (getrusage(RUSAGE_THREAD, &usage) == 0) {
            account.voluntarySwitches = usage.ru_nvcsw;
            account.involuntarySwitches = usage.ru_nivcsw;
            account.pageFaults = usage.ru_minflt + usage.ru_majflt;
        }
        timespec cpu{};
        if (clock_gettime(CLOCK_THREAD_CPUTIME_ID, &cpu) == 0) {
            account.cpuNs = static_cast<std::int64_t>(cpu.tv_sec) * 1000000000 + cpu.tv_nsec;
        }
        return account;
    }
};

// One frame in which the plug-in's work took over 2 ms.
struct SlowFrame {
    double secondsIntoRun = 0.0;
    double callbackUs = 0.0;
    double frameCpuUs = 0.0;  // the simulator's thread's CPU time in the whole frame
    long waited = 0;          // voluntary switches in the frame
    long preempted = 0;       // involuntary ones
    long pageFaults = 0;
};

// Times every frame: the plug-in's own time in it as the test bed measures it
// (its flight loop, draw callbacks and window drawing), and the frame's work
// from the frame hook (after the pacing sleep) to the end of the frame.
class FrameRecorder {
public:
    static constexpr std::size_t kSlowFramesKept = 20;

    // Room made before the plug-in loads: the long flight measures memory.
    FrameRecorder() { slowFrames.reserve(kSlowFramesKept); }

    // Installs the hook over the model's own; call after the model's attach().
    void attach(testbed::FlightModel& model) {
        m_model = &model;
        sim().setFrameHook([this](double realSeconds) {
            m_frameStart = Clock::now();
            m_frameAccount = ThreadAccount::now();
            m_model->step(realSeconds);
        });
    }
    // At the end of every frame, after all of the plug-in's work in it.
    void startRecording() {
        m_recordingSince = Clock::now();
        sim().clearPluginFrameDurations();
        sim().setFrameEndHook([this] { onFrameEnd(); });
        m_registered = true;
    }
    void stopRecording() {
        if (m_registered) {
            sim().setFrameEndHook(nullptr);
            m_registered = false;
        }
    }
    void detach() {
        stopRecording();
        sim().setFrameHook(nullptr);
        m_model = nullptr;
    }

    bench::LatencyHistogram plugin;
    // The same for the frames in which the system did not switch the
    // simulator's thread out: on a busy machine, what the plug-in itself
    // costs, without the time the machine gave to other threads.
    bench::LatencyHistogram pluginUnswitched;
    std::size_t switchedFrames = 0;
    bench::LatencyHistogram frame;
    std::size_t slowElsewhere = 0;
    std::vector<SlowFrame> slowFrames;  // the first kSlowFramesKept

private:
    // Only for the rare slow frame: reading the account costs a system call.
    void noteSlowFrame(std::chrono::nanoseconds callback) {
        const ThreadAccount end = ThreadAccount::now();
        SlowFrame slow;
        slow.secondsIntoRun = secondsSince(m_recordingSince);
        slow.callbackUs = static_cast<double>(callback.count()) / 1000.0;
        slow.frameCpuUs = static_cast<double>(end.cpuNs - m_frameAccount.cpuNs) / 1000.0;
        slow.waited = end.voluntarySwitches - m_frameAccount.voluntarySwitches;
        slow.preempted = end.involuntarySwitches - m_frameAccount.involuntarySwitches;
        slow.pageFaults = end.pageFaults - m_frameAccount.pageFaults;
        if (bench::heldElsewhere({slow.frameCpuUs, slow.waited, slow.preempted})) ++slowElsewhere;
        if (slowFrames.size() < kSlowFramesKept) slowFrames.push_back(slow);
    }

    void onFrameEnd() {
        // The frame's time in the plug-in's flight loop, draw callbacks and
        // window drawing. Emptied every frame, so that the test bed's list
        // does not grow with the flight.
        const auto& durations = sim().pluginFrameDurations();
        if (!durations.empty()) {
            plugin.record(durations.back());
            if (durations.back() > 2ms) noteSlowFrame(durations.back());
        }
        frame.record(Clock::now() - m_frameStart);
        // After the frame's own clock: the system call is the bench's cost.
        if (!durations.empty()) {
            rusage usage{};
            if (getrusage(RUSAGE_THREAD, &usage) == 0 &&
                usage.ru_nivcsw == m_frameAccount.involuntarySwitches) {
                pluginUnswitched.record(durations.back());
            } else {
                ++switchedFrames;
            }
        }
        sim().clearPluginFrameDurations();
    }

    testbed::FlightModel* m_model = nullptr;
    Clock::time_point m_frameStart = Clock::now();
    Clock::time_point m_recordingSince = Clock::now();
    ThreadAccount m_frameAccount;
    bool m_registered = false;
};

// What the test bed's XPLMDrawString costs per string: it keeps every text
// drawn for the tests, which X-Plane does not, and that recording is part of
// every frame a plug-in draws its window in. As many strings as the window
// draws in flight, once a frame, so that the caches are as cold as the
// plug-in finds them.
struct DrawProbe {
    static constexpr int kStrings = 13;
    bench::LatencyHistogram perFrame;

    static int onFrame(XPLMDrawingPhase, int, void* refcon) {
        auto* self = static_cast<DrawProbe*>(refcon);
        float white[3] = {1.0f, 1.0f, 1.0f};
        const auto start = Clock::now();
        for (int i = 0; i < kStrings; ++i) {
            XPLMDrawString(white, 20, 360 - 20 * i, "Altitude (std): 11000 ft", nullptr,
                           xplmFont_Proportional);
        }
        self->perFrame.record(Clock::now() - start);
        return 1;
    }
    double usPerString() const { return perFrame.meanUs() / kStrings; }
};

// What one run found.
struct RunResult {
    std::string name;
    bench::CostFigures plugin;
    // The frames the system did not switch the simulator's thread out in,
    // and how many it did.
    bench::CostFigures pluginUnswitched;
    std::size_t switchedFrames = 0;
    bench::CostFigures frame;
    std::optional<bench::HandshakeSummary> handshake;
    double sessionSeconds = 0.0;  // from load to stop
    double flightSeconds = 0.0;   // the flying window the client's CPU time covers
    double clientCpuSeconds = -1.0;
    double stopMs = 0.0;
    bool realPlugin = true;
    // Flown while every core was kept busy; judged against the empty
    // plug-in under the same load.
    bool busy = false;
    std::vector<std::string> problems;
    std::vector<std::string> notes;
    std::vector<SlowFrame> slowFrames;
    // Resident memory, kB, for the long flight.
    long rssBeforeLoadKb = 0, rssAtReleaseKb = 0, rssAtArrivalKb = 0, rssAfterStopKb = 0;
    std::vector<long> rssPerHourKb;
    double simulatedHours = 0.0;
    // Texts the window drew per frame, sampled once a second while flying.
    double stringsPerFrame = 0.0;
    // The empty run only: the test bed's cost of one drawn string.
    double testBedUsPerString = 0.0;

    double clientMsPerMinute() const {
        return clientCpuSeconds < 0 || flightSeconds <= 0
                   ? -1.0
                   : clientCpuSeconds * 1000.0 / (flightSeconds / 60.0);
    }
    double clientCorePercent() const {
        return clientCpuSeconds < 0 || flightSeconds <= 0
                   ? -1.0
                   : clientCpuSeconds / flightSeconds * 100.0;
    }
};

// One plug-in in a fresh simulator folder, with a flight model at the gate,
// driven through its window as a pilot would.
class PluginRun {
public:
    PluginRun(const Options& options, std::string name, fs::path binary,
              const testbed::FlightDescription& flight)
        : m_options(options), m_binary(std::move(binary)), m_model(flight) {
        m_result.name = std::move(name);
    }
    ~PluginRun() {
        if (sim().isPluginLoaded()) {
            m_recorder.detach();
            sim().unloadPlugin();
        }
        m_model.detach();
    }
    PluginRun(const PluginRun&) = delete;
    PluginRun& operator=(const PluginRun&) = delete;

    // siteUrl empty: no settings are written (the empty plug-in reads none).
    void load(const std::string& siteUrl, const std::string& folder) {
        m_root = fs::absolute(m_options.out) / folder;
        fs::remove_all(m_root);
        fs::create_directories(m_root / "Resources" / "plugins");
        // Installed as a pilot installs it: its folder, binary and data.
        const fs::path pluginFolder = m_binary.parent_path().parent_path();
        const fs::path installedFolder = m_root / "Resources" / "plugins" / pluginFolder.filename();
        fs::copy(pluginFolder, installedFolder, fs::copy_options::recursive);
        if (!siteUrl.empty()) {
            std::ofstream ini(m_root / "quelby.ini");
            ini << "[server]\nPrimary = " << siteUrl
                << "\n\n[settings]\nFSMessages = 1\nSimpleFuel = 1\n";
        }
        sim().reset();
        sim().setRootFolder(m_root.string());
        sim().setFrameRate(60.0);
        m_model.attach();
        m_model.holdAtGate(true);
        m_recorder.attach(m_model);

        m_result.rssBeforeLoadKb = bench::residentKb();
        std::string error;
        const fs::path installed = installedFolder / "lin_x64" / m_binary.filename();
        if (!sim().loadPlugin(installed.string(), &error)) {
            throw BenchFailure("cannot load " + installed.string() + ": " + error);
        }
        m_loadedAt = Clock::now();
        m_recorder.startRecording();
        if (m_result.realPlugin) {
            // The client thread names itself once it runs, a moment after
            // the start has returned.
            std::vector<int> tids = bench::tasksNamed(kClientThread);
            const auto namedBy = Clock::now() + std::chrono::seconds(5);
            while (tids.empty() && Clock::now() < namedBy) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
                tids = bench::tasksNamed(kClientThread);
            }
            if (tids.empty()) {
                throw BenchFailure("no thread named \"" + std::string(kClientThread) + "\"");
            }
            // Threads the client starts inherit its name; the client came first.
            m_clientTid = tids.front();
        }
    }
    void markEmptyPlugin() { m_result.realPlugin = false; }

    // The fuel screen adds additionalKg to what the booked aircraft has.
    void logInAndBoard(int additionalKg = 500) {
        if (!sim().clickMenuItem("Quelby", "Show Client")) fail("no \"Quelby\" menu");
        expectText("Login");
        type(340, 195, "demo", "the pilot's name");
        type(340, 220, "demo", "the password");
        press("Login");
        expectText("Home - News");
        press("Fly!");
        expectText("Additional Fuel:");
        type(313, 205, std::to_string(additionalKg), "the additional fuel");
        press("Fuel Up!");
        expectText("Confirm Flight");
        press("Fly!");
        expectText("Flying");
    }

    void release() {
        m_model.holdAtGate(false);
        m_releasedAt = Clock::now();
        m_cpuAtRelease = clientCpu();
        m_result.rssAtReleaseKb = bench::residentKb();
    }

    // Flies until the aircraft stands at the arrival gate. each(hours) runs
    // once per frame with the simulated hours flown.
    void flyToTheGate(std::chrono::seconds timeout,
                      const std::function<void(double)>& each = nullptr) {
        const auto start = Clock::now();
        while (!m_model.hasArrived()) {
            if (Clock::now() - start > timeout) {
                fail("the aircraft did not reach the gate in " + std::to_string(timeout.count()) +
                     " s: " + m_model.progressLine());
            }
            sim().runFrames(1);
            sampleDrawnTexts();
            if (each) each(m_model.progress().simulatedSeconds / 3600.0);
        }
        endFlyingWindow();
        m_result.rssAtArrivalKb = bench::residentKb();
        m_result.simulatedHours = m_model.progress().simulatedSeconds / 3600.0;
    }
    void flyFor(std::chrono::milliseconds span) {
        const auto end = Clock::now() + span;
        while (Clock::now() < end) {
            sim().runFrames(1);
            sampleDrawnTexts();
        }
        endFlyingWindow();
    }

    // The comment screen after the flight, a comment, and "End flight".
    // The client asks the website for the nearest airport before it opens
    // the comment screen: with a stalled website that takes its time-out.
    void endFlight(std::chrono::seconds commentScreenWithin = 30s) {
        if (!sim().runUntil([&] { return m_window.fieldShownAt(215, 120); }, commentScreenWithin)) {
            fail("the comment field never opened; the window shows:" + m_window.drawnTextsLine());
        }
        type(215, 120, "Benchmark flight.", "a comment");
        press("End flight");
    }
    void expectReport() { expectText("Report - Route", 60s); }
    // With the website stalled the upload gives up at the client's time-out
    // and the report is kept; false when the screen that says so did not
    // come within timeout.
    bool waitForKeptReportScreen(std::chrono::milliseconds timeout) {
        return m_window.waitForTextBeginning("Your most recent flight report could not be",
                                             timeout);
    }
    bool reportKept() const {
        std::error_code ec;
        return fs::file_size(m_root / "quelby_report.ini", ec) > 0 && !ec;
    }

    void run(int frames) { sim().runFrames(frames); }
    void stopRecording() { m_recorder.stopRecording(); }

    // Stops the plug-in and collects the figures.
    RunResult& unload() {
        if (m_result.realPlugin && m_result.flightSeconds == 0.0) endFlyingWindow();
        m_recorder.stopRecording();
        if (!sim().isPluginLoaded()) {
            m_recorder.detach();
            m_model.detach();
            return m_result;
        }
        m_result.sessionSeconds = secondsSince(m_loadedAt);
        sim().unloadPlugin();
        m_recorder.detach();
        m_model.detach();
        m_result.stopMs =
            std::chrono::duration<double, std::milli>(sim().lastStopDuration()).count();
        m_result.rssAfterStopKb = bench::residentKb();
        m_result.plugin = bench::figuresOf(m_recorder.plugin);
        m_result.plugin.over2msElsewhere = m_recorder.slowElsewhere;
        m_result.pluginUnswitched = bench::figuresOf(m_recorder.pluginUnswitched);
        m_result.switchedFrames = m_recorder.switchedFrames;
        m_result.slowFrames = m_recorder.slowFrames;
        m_result.frame = bench::figuresOf(m_recorder.frame);
        const std::string log = readFile(m_root / "quelby_debug.txt");
        if (m_result.realPlugin) {
            m_result.handshake = bench::parseHandshakeLine(log);
            if (!m_result.handshake) problem("the plug-in logged no handshake line at stop");
        }
        if (log.find(kGuardMark) != std::string::npos) {
            problem("a callback of the plug-in failed (see " +
                    (m_root / "quelby_debug.txt").string() + ")");
        }
        const auto misuses = sim().dataRefMisuses();
        const auto violations = sim().threadViolations();
        if (!misuses.empty() || !violations.empty()) {
            problem("the plug-in misused the simulator: " + std::to_string(misuses.size()) +
                    " dataref misuses, " + std::to_string(violations.size()) +
                    " calls off the simulator's thread");
        }
        return m_result;
    }

    RunResult& result() { return m_result; }
    testbed::FlightModel& model() { return m_model; }
    void problem(const std::string& what) { m_result.problems.push_back(what); }
    void note(const std::string& what) { m_result.notes.push_back(what); }

private:
    [[noreturn]] void fail(const std::string& why) const { throw BenchFailure(why); }
    void expectText(const std::string& text, std::chrono::milliseconds timeout = 20s) {
        if (!m_window.waitForText(text, timeout)) {
            fail("the window never showed \"" + text + "\"; it shows:" + m_window.drawnTextsLine());
        }
    }
    void press(const std::string& caption) {
        if (!m_window.press(caption, 10s)) fail("no button \"" + caption + "\" is shown");
    }
    void type(int x, int y, const std::string& text, const std::string& what) {
        if (!m_window.type(x, y, text)) fail("the field for " + what + " is not shown");
    }
    double clientCpu() const {
        if (m_clientTid <= 0) return -1.0;
        return bench::taskCpuSeconds(m_clientTid).value_or(-1.0);
    }
    // Outside the frame's timing: the copy of the texts is the bench's.
    void sampleDrawnTexts() {
        if (++m_framesSinceSample < 60) return;
        m_framesSinceSample = 0;
        m_stringsSeen += sim().lastFrameTexts().size();
        ++m_stringSamples;
        m_result.stringsPerFrame =
            static_cast<double>(m_stringsSeen) / static_cast<double>(m_stringSamples);
    }
    void endFlyingWindow() {
        if (m_releasedAt == Clock::time_point{}) return;
        m_result.flightSeconds = secondsSince(m_releasedAt);
        const double cpu = clientCpu();
        if (cpu >= 0.0 && m_cpuAtRelease >= 0.0) m_result.clientCpuSeconds = cpu - m_cpuAtRelease;
    }

    const Options& m_options;
    fs::path m_binary;
    testbed::FlightModel m_model;
    FrameRecorder m_recorder;
    testbed::WindowDriver m_window{sim(), kWindow};
    fs::path m_root;
    RunResult m_result;
    Clock::time_point m_loadedAt{};
    Clock::time_point m_releasedAt{};
    int m_clientTid = 0;
    double m_cpuAtRelease = -1.0;
    int m_framesSinceSample = 0;
    std::size_t m_stringsSeen = 0;
    std::size_t m_stringSamples = 0;
};

testbed::FlightDescription demoFlight(const Options& options) {
    testbed::FlightDescription flight = testbed::loadFlightFile(options.flight.string());
    flight.timeScale = 30.0;
    if (const auto problem = testbed::checkFlight(flight)) {
        throw BenchFailure("the demo flight cannot be flown: " + problem->message);
    }
    return flight;
}

void say(const char* format, ...) __attribute__((format(printf, 1, 2)));
void say(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
    std::fflush(stdout);
}

// Keeps every core of the machine busy while it lives, as X-Plane's own
// threads keep a pilot's machine busy: one thread per core that computes
// without pause, at the same priority as the simulator's thread.
class CpuLoad {
public:
    CpuLoad() {
        const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
        for (unsigned i = 0; i < cores; ++i) {
            m_threads.emplace_back([this, i] {
                std::uint64_t value = i + 1;
                while (!m_stop.load(std::memory_order_relaxed)) {
                    for (int k = 0; k < 10000; ++k) value = value * 6364136223846793005u + 1;
                }
                m_sink.fetch_add(value, std::memory_order_relaxed);
            });
        }
    }
    ~CpuLoad() {
        m_stop = true;
        for (std::thread& thread : m_threads) thread.join();
    }
    CpuLoad(const CpuLoad&) = delete;
    CpuLoad& operator=(const CpuLoad&) = delete;
    std::size_t threads() const { return m_threads.size(); }

private:
    std::atomic<bool> m_stop{false};
    std::atomic<std::uint64_t> m_sink{0};
    std::vector<std::thread> m_threads;
};

const char* busySuffix(bool busy) { return busy ? ", busy" : ""; }

RunResult emptyBaseline(const Options& options, bool busy = false) {
    const int frames = options.quick ? 600 : 3600;
    say("\n== Empty plug-in%s, %d frames at 60 Hz\n", busySuffix(busy), frames);
    PluginRun run(options, std::string("empty plug-in") + busySuffix(busy), options.emptyPlugin,
                  demoFlight(options));
    run.markEmptyPlugin();
    run.load("", "empty");
    run.model().holdAtGate(false);
    run.run(frames);
    // The probe's frames are not the baseline's.
    run.stopRecording();
    DrawProbe probe;
    XPLMRegisterDrawCallback(&DrawProbe::onFrame, xplm_Phase_Window, 0, &probe);
    run.run(frames / 4);
    XPLMUnregisterDrawCallback(&DrawProbe::onFrame, xplm_Phase_Window, 0, &probe);
    RunResult& result = run.unload();
    result.testBedUsPerString = probe.usPerString();
    result.busy = busy;
    return result;
}

RunResult demoFlightRun(const Options& options, bool busy = false) {
    say("\n== Booked flight EDDF-EDDS at time scale 30%s\n", busySuffix(busy));
    testbed::Website site;
    if (!site.start()) throw BenchFailure("the website cannot listen on 127.0.0.1");
    site.seedDemo();
    PluginRun run(options, std::string("booked flight") + busySuffix(busy), options.plugin,
                  demoFlight(options));
    run.result().busy = busy;
    try {
        run.load(site.url(), busy ? "flight-busy" : "flight");
        run.logInAndBoard();
        run.release();
        run.flyToTheGate(300s);
        say("  at the gate after %.0f s\n", run.result().flightSeconds);
        run.endFlight();
        run.expectReport();
    } catch (const BenchFailure& e) {
        run.problem(e.what());
    }
    return run.unload();
}

// The booked flight while every request waits for an answer that comes late
// or never.
RunResult stalledSiteRun(const Options& options, const std::string& name,
                         const testbed::Failure& failure, const std::string& folder) {
    say("\n== Booked flight, website %s\n", name.c_str());
    testbed::Website site;
    if (!site.start()) throw BenchFailure("the website cannot listen on 127.0.0.1");
    site.seedDemo();
    PluginRun run(options, "website " + name, options.plugin, demoFlight(options));
    try {
        run.load(site.url(), folder);
        run.logInAndBoard();
        site.injectFailure("", failure);
        run.release();
        if (options.quick) {
            run.flyFor(10s);
            say("  flew 10 s with the website stalled\n");
        } else {
            run.flyToTheGate(300s);
            say("  at the gate after %.0f s\n", run.result().flightSeconds);
            // The client gives up on a request after 60 s, and asks more
            // than once on the way to the comment screen and after it.
            const auto arrived = Clock::now();
            run.endFlight(200s);
            say("  comment screen %.0f s after arriving\n", secondsSince(arrived));
            if (run.waitForKeptReportScreen(200s)) {
                run.note("the upload gave up and the report was kept");
            } else {
                run.note("the upload was still waiting when the plug-in stopped");
            }
        }
    } catch (const BenchFailure& e) {
        run.problem(e.what());
    }
    RunResult& result = run.unload();
    // A late answer may still beat the client's time-out, and the site
    // stores what it answers late; a report neither kept nor stored is lost.
    if (!options.quick && result.problems.empty() && !run.reportKept() && site.reports().empty()) {
        result.problems.push_back("the report was neither kept nor uploaded");
    }
    return result;
}

RunResult longFlightRun(const Options& options) {
    const testbed::FlightDescription flight = bench::longHaulFlight(options.hours);
    const double plannedHours = bench::plannedSimulatedSeconds(flight) / 3600.0;
    const double realMinutes = plannedHours * 60.0 / flight.timeScale;
    say("\n== Long flight EDDF-%s: about %.1f simulated hours at time scale %.0f, %.1f real "
        "minutes\n",
        bench::kLongHaulArrivalIcao, plannedHours, flight.timeScale, realMinutes);
    ChildWebsite site(options.hours);
    PluginRun run(options, "long flight", options.plugin, flight);
    try {
        run.load(site.url(), "long");
        run.logInAndBoard(
            static_cast<int>(std::max(500.0, bench::longHaulFuelKg(flight) - kDemoAircraftFuelKg)));
        run.release();
        say("  resident memory at take-off: %.1f MB\n", run.result().rssAtReleaseKb / 1024.0);
        auto lastLine = Clock::now();
        int nextHour = 1;
        run.flyToTheGate(std::chrono::seconds(static_cast<long>(realMinutes * 60.0 * 1.5 + 300)),
                         [&](double hours) {
                             if (hours >= nextHour) {
                                 run.result().rssPerHourKb.push_back(bench::residentKb());
                                 ++nextHour;
                             }
                             if (Clock::now() - lastLine > 60s) {
                                 lastLine = Clock::now();
                                 say("  %.1f simulated hours, %.1f MB resident: %s\n", hours,
                                     bench::residentKb() / 1024.0,
                                     run.model().progressLine().c_str());
                             }
                         });
        say("  at the gate after %.1f simulated hours, %.0f real s\n", run.result().simulatedHours,
            run.result().flightSeconds);
        run.endFlight();
        run.expectReport();
    } catch (const BenchFailure& e) {
        run.problem(e.what());
    }
    return run.unload();
}

std::string difference(double value, const char* format) {
    char text[32];
    std::snprintf(text, sizeof(text), format, value);
    return text;
}

std::string number(double value, const char* format = "%.1f") {
    if (value < 0.0) return "-";
    char text[32];
    std::snprintf(text, sizeof(text), format, value);
    return text;
}

// The empty plug-in's run under the same load as r.
const RunResult& baselineOf(const std::vector<RunResult>& runs, const RunResult& r) {
    for (const RunResult& candidate : runs) {
        if (!candidate.realPlugin && candidate.busy == r.busy) return candidate;
    }
    return runs.front();
}

void printTables(const std::vector<RunResult>& runs) {
    say("\nPer-frame cost of the plug-in (flight loop and window drawing), us (60 Hz frames)\n");
    say("  %-26s %7s %7s %7s %8s %5s %8s | %10s %9s %9s\n", "run", "frames", "mean", "p99", "max",
        ">2ms", "not own", "mean-empty", "p99-empty", "max-empty");
    for (const RunResult& r : runs) {
        const bool base = !r.realPlugin;
        const RunResult& empty = baselineOf(runs, r);
        say("  %-26s %7zu %7.2f %7.1f %8.1f %5zu %8zu | %10s %9s %9s\n", r.name.c_str(),
            r.plugin.frames, r.plugin.meanUs, r.plugin.p99Us, r.plugin.maxUs, r.plugin.over2ms,
            r.plugin.over2msElsewhere,
            base ? "" : difference(r.plugin.meanUs - empty.plugin.meanUs, "%+.2f").c_str(),
            base ? "" : difference(r.plugin.p99Us - empty.plugin.p99Us, "%+.1f").c_str(),
            base ? "" : difference(r.plugin.maxUs - empty.plugin.maxUs, "%+.1f").c_str());
    }
    say("  (not own: of the frames over 2 ms, those the simulator's thread spent switched out, "
        "or neither working 2 ms nor waiting)\n");
    for (const RunResult& r : runs) {
        const RunResult& empty = baselineOf(runs, r);
        if (r.stringsPerFrame <= 0.0 || empty.testBedUsPerString <= 0.0) continue;
        say("  %-26s drew %.0f texts a frame; the test bed's own cost of them: about %.1f us\n",
            r.name.c_str(), r.stringsPerFrame, r.stringsPerFrame * empty.testBedUsPerString);
    }
    say("\nThe same in the frames the system did not switch the simulator's thread out in\n");
    say("  %-26s %7s %7s %7s %8s %8s | %10s %9s\n", "run", "frames", "mean", "p99", "max",
        "switched", "mean-empty", "p99-empty");
    for (const RunResult& r : runs) {
        const bool base = !r.realPlugin;
        const RunResult& empty = baselineOf(runs, r);
        const bench::CostFigures& f = r.pluginUnswitched;
        say("  %-26s %7zu %7.2f %7.1f %8.1f %8zu | %10s %9s\n", r.name.c_str(), f.frames, f.meanUs,
            f.p99Us, f.maxUs, r.switchedFrames,
            base ? "" : difference(f.meanUs - empty.pluginUnswitched.meanUs, "%+.2f").c_str(),
            base ? "" : difference(f.p99Us - empty.pluginUnswitched.p99Us, "%+.1f").c_str());
    }
    say("\nWhole frame, from the frame hook to the end of the frame, us\n");
    say("  %-26s %7s %7s %7s %8s %6s\n", "run", "frames", "mean", "p99", "max", ">2ms");
    for (const RunResult& r : runs) {
        say("  %-26s %7zu %7.2f %7.1f %8.1f %6zu\n", r.name.c_str(), r.frame.frames, r.frame.meanUs,
            r.frame.p99Us, r.frame.maxUs, r.frame.over2ms);
    }
    say("\nHandshake (the client's jobs, run by the simulator's thread) and the client thread\n");
    say("  %-26s %9s %10s %9s %11s %8s %8s %13s %7s\n", "run", "jobs", "frames", "mean us",
        "longest us", "stop ms", "flown s", "client ms/min", "% core");
    for (const RunResult& r : runs) {
        if (!r.realPlugin) continue;
        const auto& h = r.handshake;
        say("  %-26s %9s %10s %9s %11s %8.0f %8.0f %13s %7s\n", r.name.c_str(),
            h ? std::to_string(h->jobs).c_str() : "-", h ? std::to_string(h->frames).c_str() : "-",
            h ? number(h->meanUs).c_str() : "-", h ? number(h->longestUs).c_str() : "-", r.stopMs,
            r.flightSeconds, number(r.clientMsPerMinute()).c_str(),
            number(r.clientCorePercent(), "%.2f").c_str());
    }
    bool anySlow = false;
    for (const RunResult& r : runs) anySlow = anySlow || !r.slowFrames.empty();
    if (anySlow) {
        say("\nFrames whose plug-in callback took over 2 ms (the simulator's thread in the whole "
            "frame: CPU time, waits, switches by the system, page faults)\n");
        say("  %-26s %8s %12s %10s %6s %8s %7s\n", "run", "at s", "callback us", "CPU us", "waits",
            "preempt", "faults");
        for (const RunResult& r : runs) {
            for (const SlowFrame& s : r.slowFrames) {
                say("  %-26s %8.1f %12.0f %10.0f %6ld %8ld %7ld\n", r.name.c_str(),
                    s.secondsIntoRun, s.callbackUs, s.frameCpuUs, s.waited, s.preempted,
                    s.pageFaults);
            }
        }
    }
    say("\nResident memory of the process, MB (the long flight's website runs in a process "
        "of its own)\n");
    say("  %-26s %11s %11s %11s %11s %11s %14s\n", "run", "simulated h", "before load",
        "at take-off", "at the gate", "after stop", "kB/simulated h");
    for (const RunResult& r : runs) {
        if (r.rssAtArrivalKb == 0) continue;
        // Growth may be negative: the number() helper would hide it.
        char growth[32] = "-";
        if (r.simulatedHours > 0) {
            std::snprintf(
                growth, sizeof(growth), "%+.0f",
                static_cast<double>(r.rssAtArrivalKb - r.rssAtReleaseKb) / r.simulatedHours);
        }
        say("  %-26s %11.1f %11.1f %11.1f %11.1f %11.1f %14s\n", r.name.c_str(), r.simulatedHours,
            r.rssBeforeLoadKb / 1024.0, r.rssAtReleaseKb / 1024.0, r.rssAtArrivalKb / 1024.0,
            r.rssAfterStopKb / 1024.0, growth);
        if (!r.rssPerHourKb.empty()) {
            std::string hours;
            for (long kb : r.rssPerHourKb) hours += " " + number(kb / 1024.0);
            say("  %-26s after each simulated hour:%s\n", "", hours.c_str());
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parseOptions(argc, argv, options)) {
        std::fprintf(stderr, "%s", kUsage);
        return 2;
    }
    // No sound card needed, and a machine without one must not stop the run.
    setenv("ALSOFT_DRIVERS", "null", 0);
    if (options.serveLongHaulSiteHours > 0.0)
        return serveLongHaulSite(options.serveLongHaulSiteHours);

    for (const fs::path& binary : {options.plugin, options.emptyPlugin}) {
        if (!fs::is_regular_file(binary)) {
            std::fprintf(stderr, "quelby-bench: not built: %s\n", binary.c_str());
            return 1;
        }
    }
    double load[3] = {0, 0, 0};
    getloadavg(load, 3);
    say("quelby-bench (%s run), %u cores, load average %.2f %.2f %.2f\n",
        options.quick ? "short" : "full", std::thread::hardware_concurrency(), load[0], load[1],
        load[2]);
    const auto start = Clock::now();

    std::vector<RunResult> runs;
    try {
        runs.push_back(emptyBaseline(options));
        runs.push_back(demoFlightRun(options));
        runs.push_back(
            stalledSiteRun(options, "60 s late", testbed::Failure::delay(60000), "late"));
        runs.push_back(stalledSiteRun(options, "silent", testbed::Failure::noAnswer(), "silent"));
        runs.push_back(longFlightRun(options));
        // X-Plane keeps every core of a pilot's machine busy: the same
        // measure again with a load on every core, for the whole run.
        CpuLoad busyCores;
        say("\n== Every core busy from here on (%zu computing threads)\n", busyCores.threads());
        runs.push_back(emptyBaseline(options, true));
        runs.push_back(demoFlightRun(options, true));
    } catch (const std::exception& e) {
        say("\nquelby-bench FAILED: %s\n", e.what());
        return 1;
    }

    printTables(runs);

    getloadavg(load, 3);
    say("\nTargets (against the empty plug-in): mean < 10 us above, p99 < 100 us above, no frame "
        "over 2 ms, client thread < 1 %% of a core\n");
    bool broken = false;
    bool missed = false;
    for (const RunResult& r : runs) {
        for (const std::string& p : r.problems) {
            say("  %-26s BROKEN: %s\n", r.name.c_str(), p.c_str());
            broken = true;
        }
        for (const std::string& n : r.notes) say("  %-26s note: %s\n", r.name.c_str(), n.c_str());
        if (!r.realPlugin) continue;
        const RunResult& empty = baselineOf(runs, r);
        auto misses = bench::missedTargets(r.plugin, empty.plugin, r.clientCorePercent());
        if (r.busy && !misses.empty()) {
            // Under load the system switches the simulator's thread out for
            // the load's threads, inside any callback; the longer one runs,
            // the likelier. What the plug-in itself costs shows in the frames
            // it was not switched out in, against the empty plug-in's.
            for (const std::string& m : misses) {
                say("  %-26s all frames: %s\n", r.name.c_str(), m.c_str());
            }
            misses = bench::missedTargets(r.pluginUnswitched, empty.pluginUnswitched,
                                          r.clientCorePercent());
            if (misses.empty()) {
                say("  %-26s in the %zu frames the system did not switch the simulator's thread "
                    "out:\n",
                    r.name.c_str(), r.pluginUnswitched.frames);
            }
        }
        for (const std::string& m : misses) say("  %-26s MISSED: %s\n", r.name.c_str(), m.c_str());
        if (misses.empty()) say("  %-26s all targets met\n", r.name.c_str());
        missed = missed || !misses.empty();
        if (r.stopMs > 2000.0) say("  %-26s note: stop took %.0f ms\n", r.name.c_str(), r.stopMs);
    }
    say("\n%.0f s in all; load average now %.2f %.2f %.2f\n", secondsSince(start), load[0], load[1],
        load[2]);
    if (broken) return 1;
    return missed && !options.quick ? 2 : 0;
}
