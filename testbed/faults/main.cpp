// quelby-faults: the real plug-in in the test-bed simulator against a
// website that fails in each of its ways at each step of a flight, a stop
// in the middle of saving, damaged settings, a missing data folder, a disk
// that refuses writes and a report that cannot be saved until later. Each
// case runs in a process of its own, so a crash is a row of the table and
// not the end of the suite.
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <boost/program_options.hpp>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "testbed/CommandLine.h"
#include "testbed/Flight.h"
#include "testbed/FlightModel.h"
#include "testbed/PluginFolder.h"
#include "testbed/Simulator.h"
#include "testbed/Website.h"
#include "testbed/WindowDriver.h"

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

const char* const kUsage =
    "usage: quelby-faults [--short] [--out DIR] [--plugin PATH] [--strict-frames]\n"
    "  --short          a few failure kinds of the website instead of all (for CI)\n"
    "  --out DIR        where each case's X-Plane folder goes (default: faults)\n"
    "  --plugin PATH    plug-in binary (default: the one of this build)\n"
    "  --strict-frames  a frame over 2 ms fails its case (timing needs a quiet machine)\n"
    "  --only TEXT      only the cases whose name or fault contains TEXT\n"
    "  --part K/N       only every N-th case, from the K-th on (N runs side by side)\n";

constexpr const char* kWindow = "Quelby Client";
constexpr double kFrameLimitMs = 2.0;
constexpr auto kCaseTimeLimit = 300s;

struct Options {
    fs::path out = "faults";
    fs::path plugin;
    bool shortRun = false;
    bool strictFrames = false;
    std::string only;
    // --part K/N: the cases numbered K, K+N, K+2N... (1-based).
    int part = 1;
    int parts = 1;
};

// One line of the table.
struct Row {
    std::string scenario;
    std::string fault;
    double longestFrameMs = 0.0;
    std::string logLine;
    std::string report;
    bool passed = false;
    std::string why;
};

class CaseFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// The website's ways of failing, by name.
struct FailureKind {
    const char* name;
    testbed::Failure failure;
};

std::vector<FailureKind> failureKinds(bool shortRun) {
    std::vector<FailureKind> kinds = {
        {"no connection", testbed::Failure::refuse()},
        {"HTTP 503", testbed::Failure::httpError(503)},
        {"no answer", testbed::Failure::noAnswer()},
        {"garbage", testbed::Failure::garbage()},
        {"answer \"ERROR\"", testbed::Failure::answerWord("ERROR")},
        {"no data end", testbed::Failure::missingDataEnd()},
        {"oversized", testbed::Failure::oversized()},
        {"slow (3 s)", testbed::Failure::delay(3000)},
    };
    if (shortRun) {
        kinds = {kinds[0], kinds[2], kinds[3]};
    }
    return kinds;
}

// One case: a fresh X-Plane folder, website and simulator, and the pilot's
// hands on the window.
class Case {
public:
    Case(const Options& options, Row& row, const std::string& folder)
        : m_options(options), m_row(row), m_root(fs::absolute(options.out) / folder) {}

    ~Case() {
        if (sim().isPluginLoaded()) sim().unloadPlugin();
        if (m_model) m_model->detach();
    }

    testbed::Simulator& sim() { return testbed::Simulator::instance(); }
    testbed::Website& site() { return m_site; }
    testbed::WindowDriver& window() { return m_window; }
    const fs::path& root() const { return m_root; }

    [[noreturn]] void fail(const std::string& why) { throw CaseFailure(why); }

    // The website with the demo airline, the plug-in installed, the aircraft
    // at the gate. beforeLoad may damage the folder first.
    void start(const std::string& settings = "",
               const std::function<void()>& beforeLoad = std::function<void()>()) {
        if (!m_site.start()) fail("the website cannot listen");
        m_site.seedDemo();
        m_site.setNoAnswerLimit(3s);
        fs::remove_all(m_root);
        fs::create_directories(m_root);
        m_installed = testbed::installPluginFolder(m_options.plugin, m_root);
        testbed::writeClientSettings(m_root, m_site.url(), settings);
        if (beforeLoad) beforeLoad();

        testbed::FlightDescription flight = testbed::loadFlightFile(QUELBY_FLIGHT_FILE);
        flight.timeScale = 45.0;
        flight.parkedSeconds = 10.0;
        flight.taxiOutSeconds = 150.0;
        flight.taxiInSeconds = 90.0;
        if (const auto problem = testbed::checkFlight(flight)) fail(problem->message);
        m_model = std::make_unique<testbed::FlightModel>(flight);
        sim().reset();
        sim().setRootFolder(m_root.string());
        sim().setFrameRate(60.0);
        m_model->attach();
        m_model->holdAtGate(true);
        load();
    }

    void load() {
        std::string error;
        if (!sim().loadPlugin(m_installed.string(), &error)) fail(error);
        if (!sim().clickMenuItem("Quelby", "Show Client")) fail("no Quelby menu");
    }

    void expectText(const std::string& text, std::chrono::milliseconds timeout = 20s) {
        if (!m_window.waitForText(text, timeout)) {
            fail("never drew \"" + text + "\"; drew:" + m_window.drawnTextsLine());
        }
    }
    void press(const std::string& caption) {
        if (!m_window.press(caption, 10s)) fail("no button \"" + caption + "\"");
    }
    void typeLogin() {
        expectText("Login");
        if (!m_window.type(340, 195, "demo") || !m_window.type(340, 220, "demo")) {
            fail("the login fields are not shown");
        }
    }
    bool onSavedReportScreen() {
        return m_window.drawsBeginning("Your most recent flight report could not be");
    }
    // Logs in and waits for home or, with a report kept, the saved-report screen.
    void logIn() {
        typeLogin();
        press("Login");
        if (!sim().runUntil([&] { return m_window.draws("Home - News") || onSavedReportScreen(); },
                            30s)) {
            fail("the login did not get through; drew:" + m_window.drawnTextsLine());
        }
    }

    void fuelAndStart() {
        press("Fly!");
        expectText("Fuel Up", 30s);
        press("Fuel Up!");
        expectText("Confirm Flight", 30s);
        press("Fly!");
        expectText("Flying", 30s);
    }
    // Runs frames until condition, flying meanwhile.
    void flyUntil(const std::function<bool()>& condition, std::chrono::seconds timeout,
                  const std::string& what) {
        m_model->holdAtGate(false);
        if (!sim().runUntil(condition, timeout)) {
            fail(what + " did not happen: " + m_model->progressLine());
        }
    }
    void flyToTheGate() {
        flyUntil([&] { return m_model->hasArrived(); }, 150s, "the arrival at the gate");
        // The client opens the comment screen once the brake is set.
        if (!sim().runUntil([&] { return !m_window.draws("Flying"); }, 30s)) {
            fail("the flight did not end at the gate");
        }
    }
    testbed::FlightModel& model() { return *m_model; }

    // Ends the flight at the comment screen and follows the report to the
    // website: straight away, or kept and uploaded from the saved-report
    // screen once the website works again.
    void endFlightAndDeliverTheReport() {
        const std::size_t before = m_site.reports().size();
        press("End flight");
        if (!sim().runUntil(
                [&] { return m_window.draws("Report - Route") || onSavedReportScreen(); }, 60s)) {
            fail("neither the report pages nor the saved report after End flight; drew:" +
                 m_window.drawnTextsLine());
        }
        if (m_window.draws("Report - Route")) {
            m_row.report = "uploaded";
            for (int page = 0; page < 3 && !m_window.draws("Home - News"); ++page) {
                std::string title;
                for (const char* pageTitle :
                     {"Report - Route", "Report - Finances", "Report - Penalties"})
                    if (m_window.draws(pageTitle)) title = pageTitle;
                press("Next");
                // The next page, or home through a new login, which saves the
                // settings: on a disk that refuses them that takes a second.
                sim().runUntil(
                    [&] {
                        return m_window.draws("Home - News") ||
                               (m_window.buttonShown("Next") && !m_window.draws(title));
                    },
                    20s);
                m_window.settle();
            }
        } else if (m_site.reports().size() == before + 1) {
            // The website took the report but its answer was lost: the kept
            // copy is answered "ALREADY UPLOADED" and the pilot deletes it.
            m_site.clearFailures();
            press("Upload saved Report");
            if (!sim().runUntil([&] { return m_site.requests("writereport").size() >= 2; }, 20s)) {
                fail("the kept copy was not sent again");
            }
            m_window.settle();
            if (!onSavedReportScreen()) fail("the saved-report screen closed on ALREADY UPLOADED");
            press("Delete saved Report");
            expectText("Home - News", 30s);
            m_row.report = "stored, answer lost; copy deleted";
        } else {
            uploadKeptReport();
            m_row.report = "kept, uploaded later";
        }
        if (m_site.reports().size() != before + 1) {
            fail("the website holds " + std::to_string(m_site.reports().size() - before) +
                 " new reports instead of one");
        }
        if (m_site.reports().back().at("Arr") != "EDDS")
            fail("the uploaded report is not the flight");
    }
    void uploadKeptReport() {
        m_site.clearFailures();
        press("Upload saved Report");
        expectText("Home - News", 30s);
        if (readFile(m_root / "quelby_report.ini").find("Tarvex_Reports") != std::string::npos) {
            fail("the kept report is still there after its upload");
        }
    }

    // The log from a mark on, and the first line in it that tells of
    // trouble.
    std::size_t logMark() { return readFile(m_root / "quelby_debug.txt").size(); }
    std::string troubleSince(std::size_t mark) {
        const std::string log = readFile(m_root / "quelby_debug.txt");
        std::istringstream lines(log.substr(std::min(mark, log.size())));
        std::string line;
        static const char* const kSigns[] = {"Error:",  "Warning:", "Could not", "Not able",
                                             "failed",  "Failed",   "Wrong",     "could not",
                                             "refused", "modified"};
        while (std::getline(lines, line)) {
            for (const char* sign : kSigns) {
                if (line.find(sign) != std::string::npos) {
                    // Without the date and time.
                    const std::size_t text = line.find(' ', line.find(" - ") + 3);
                    return text == std::string::npos ? line : line.substr(text + 1);
                }
            }
        }
        return "";
    }
    void noteTrouble(std::size_t mark) {
        if (m_row.logLine.empty()) m_row.logLine = troubleSince(mark);
    }
    // While no file may grow the debug log stays silent: X-Plane's Log.txt
    // then tells of the trouble, in the line that holds the text.
    void noteXPlaneLogLine(const std::string& text) {
        std::istringstream lines(sim().xplaneLog());
        std::string line;
        while (m_row.logLine.empty() && std::getline(lines, line)) {
            if (line.find(text) != std::string::npos) m_row.logLine = "Log.txt: " + line;
        }
    }

    double longestFrameMs() {
        double longest = 0.0;
        for (const auto duration : sim().pluginFrameDurations()) {
            longest =
                std::max(longest, std::chrono::duration<double, std::milli>(duration).count());
        }
        return longest;
    }

private:
    const Options& m_options;
    Row& m_row;
    fs::path m_root;
    fs::path m_installed;
    testbed::Website m_site;
    std::unique_ptr<testbed::FlightModel> m_model;
    testbed::WindowDriver m_window{testbed::Simulator::instance(), kWindow};
};

// --- the cases ---------------------------------------------------------------

void websiteFailsAtLogin(Case& c, Row& row, const testbed::Failure& failure) {
    c.start();
    c.typeLogin();
    c.site().injectFailure("", failure);
    const std::size_t mark = c.logMark();
    c.press("Login");
    c.sim().runUntil([&] { return c.window().draws("Home - News"); }, 8s);
    c.noteTrouble(mark);
    c.site().clearFailures();
    if (!c.window().draws("Home - News")) {
        c.logIn();
    }
    row.report = "no flight yet";
}

void websiteFailsAtRoute(Case& c, Row& row, const testbed::Failure& failure) {
    c.start();
    c.logIn();
    c.site().injectFailure("getroute", failure);
    const std::size_t mark = c.logMark();
    c.press("Fly!");
    c.sim().runUntil([&] { return c.window().draws("Checklist") || c.window().draws("Fuel Up"); },
                     20s);
    c.noteTrouble(mark);
    c.site().clearFailures();
    if (!c.window().draws("Fuel Up")) {
        c.press("Fly!");
        c.expectText("Fuel Up", 30s);
    }
    row.report = "no flight yet";
}

void websiteFailsDuringTheFlight(Case& c, Row&, const testbed::Failure& failure) {
    c.start();
    c.logIn();
    // At the start: the fuel price and the first position entries.
    for (const char* function : {"getfuelprice", "resetpositionlog", "writepositionlog"}) {
        c.site().injectFailure(function, failure, 1);
    }
    const std::size_t mark = c.logMark();
    c.fuelAndStart();
    // In flight: every request for a while.
    c.flyUntil([&] { return c.model().progress().altitudeFt > 3000.0; }, 120s, "the climb");
    c.site().clearFailures();
    c.site().injectFailure("", failure, 8);
    c.flyToTheGate();
    // At the end: the report upload.
    c.site().clearFailures();
    c.site().injectFailure("writereport", failure, 1);
    c.endFlightAndDeliverTheReport();
    c.noteTrouble(mark);
}

// The website takes the report and then goes silent: every position entry
// and event after it is held unanswered. The window shows the report pages
// at once and answers each press while the entries wait; the series stops
// at its first failure, and the next run's login sends what it kept, each
// entry once.
void websiteSilentAfterTheReport(Case& c, Row& row) {
    using Ms = std::chrono::duration<double, std::milli>;
    c.start();
    // Longer than the plug-in's own low-speed limit: the plug-in gives up first.
    c.site().setNoAnswerLimit(60s);
    c.logIn();
    c.fuelAndStart();
    c.flyToTheGate();
    for (const char* function : {"writepositionlog", "writeeventlog"}) {
        c.site().injectFailure(function, testbed::Failure::noAnswer());
    }
    const std::size_t mark = c.logMark();
    const std::size_t sentBefore =
        c.site().requests("writepositionlog").size() + c.site().requests("writeeventlog").size();
    const auto pressed = Clock::now();
    c.press("End flight");
    if (!c.sim().runUntil([&] { return c.window().draws("Report - Route"); }, 10s)) {
        c.fail("no report pages within 10 s of End flight; drew:" + c.window().drawnTextsLine());
    }
    const double waitedMs = Ms(Clock::now() - pressed).count();
    if (c.site().reports().empty()) c.fail("the website holds no report");
    // Each page answers its press while the series waits on the website,
    // and "Exit" closes the window.
    double slowestPressMs = 0.0;
    for (const char* next : {"Report - Finances", "Home - News"}) {
        c.press("Next");
        const auto at = Clock::now();
        if (!c.sim().runUntil([&] { return c.window().draws(next); }, 2s)) {
            c.fail(std::string("\"") + next +
                   "\" not within 2 s of Next; drew:" + c.window().drawnTextsLine());
        }
        slowestPressMs = std::max(slowestPressMs, Ms(Clock::now() - at).count());
    }
    c.press("Exit");
    const auto exited = Clock::now();
    if (!c.sim().runUntil([&] { return !c.window().draws("Home - News"); }, 2s)) {
        c.fail("the window stayed after Exit");
    }
    slowestPressMs = std::max(slowestPressMs, Ms(Clock::now() - exited).count());
    // The series meets the silent website once and stops.
    const auto waiting = [&] {
        return readFile(c.root() / "quelby_debug.txt").find("wait for the next contact", mark) !=
               std::string::npos;
    };
    if (!c.sim().runUntil(waiting, 60s)) c.fail("the series never gave up on the silent website");
    const std::size_t tried = c.site().requests("writepositionlog").size() +
                              c.site().requests("writeeventlog").size() - sentBefore;
    if (tried != 1) c.fail(std::to_string(tried) + " requests met the silent website, not 1");
    if (!fs::exists(c.root() / "quelby_pending.ini")) c.fail("nothing was kept for later");
    c.noteTrouble(mark);

    // The next run's login sends what was kept.
    c.site().clearFailures();
    const std::size_t positionsBefore = c.site().requests("writepositionlog").size();
    const std::size_t eventsBefore = c.site().requests("writeeventlog").size();
    c.sim().unloadPlugin();
    c.load();
    c.logIn();
    if (!c.sim().runUntil([&] { return !fs::exists(c.root() / "quelby_pending.ini"); }, 30s)) {
        c.fail("the kept entries did not go up at the next login");
    }
    c.sim().runFrames(30);
    const std::size_t positions = c.site().requests("writepositionlog").size() - positionsBefore;
    const std::size_t events = c.site().requests("writeeventlog").size() - eventsBefore;
    const std::string reportId = c.site().reports().back().at("ReportId");
    std::size_t storedEvents = 0;
    for (const testbed::Record& event : c.site().eventLogs()) {
        storedEvents += event.at("reportid") == reportId ? 1 : 0;
    }
    if (storedEvents != events) {
        c.fail(std::to_string(storedEvents) + " events stored for " + std::to_string(events) +
               " sent: one went twice or got lost");
    }
    if (positions + events == 0) c.fail("nothing was delivered later");
    row.report = "uploaded; " + std::to_string(positions) + " entries and " +
                 std::to_string(events) + " events sent at the next login";
    char figures[160];
    std::snprintf(figures, sizeof(figures),
                  "window waited %.0f ms for the report pages, a press at most %.0f ms", waitedMs,
                  slowestPressMs);
    row.why = figures;
}

// The website goes silent for every request at the end of the flight: the
// report cannot go up and is kept, and the login after it fails too. Each
// request gives up at the plug-in's low-speed limit, not at its whole
// time-out.
void websiteSilentAtTheEnd(Case& c, Row& row) {
    using Seconds = std::chrono::duration<double>;
    c.start();
    c.site().setNoAnswerLimit(90s);
    c.logIn();
    c.fuelAndStart();
    c.flyToTheGate();
    c.site().injectFailure("", testbed::Failure::noAnswer());
    const std::size_t mark = c.logMark();
    const std::size_t before = c.site().requests().size();
    const auto pressed = Clock::now();
    c.press("End flight");
    // The report's connection check fails, the report is kept, and the
    // login after it fails as well.
    if (!c.sim().runUntil([&] { return c.window().draws("No connection to the website."); },
                          240s)) {
        c.fail("the kept report and the login did not give up within 240 s; drew:" +
               c.window().drawnTextsLine());
    }
    const double waitedS = Seconds(Clock::now() - pressed).count();
    const std::size_t silent = c.site().requests().size() - before;
    if (readFile(c.root() / "quelby_report.ini").find("Tarvex_Reports") == std::string::npos) {
        c.fail("the report was not kept");
    }
    c.noteTrouble(mark);
    c.site().clearFailures();
    c.logIn();
    if (!c.onSavedReportScreen()) c.fail("no saved report at the next login");
    c.uploadKeptReport();
    row.report = "kept, uploaded later";
    char figures[160];
    std::snprintf(figures, sizeof(figures), "window waited %.1f s for %zu silent requests", waitedS,
                  silent);
    row.why = figures;
}

void stopWhileSaving(Case& c, Row& row) {
    c.start();
    c.logIn();
    c.fuelAndStart();
    c.flyToTheGate();
    c.site().setNoAnswerLimit(30s);
    c.site().injectFailure("writereport", testbed::Failure::noAnswer());
    const std::size_t mark = c.logMark();
    c.press("End flight");
    c.site().waitForRequests("writereport", 1, 10s);
    c.sim().runFrames(10);
    const auto stopStart = Clock::now();
    c.sim().unloadPlugin();
    const double stopMs =
        std::chrono::duration<double, std::milli>(Clock::now() - stopStart).count();
    c.noteTrouble(mark);
    c.site().clearFailures();
    c.site().setNoAnswerLimit(3s);
    c.load();
    c.logIn();
    if (!c.onSavedReportScreen()) c.fail("no saved report after the restart");
    c.uploadKeptReport();
    row.report = "kept, uploaded after restart";
    char stop[64];
    std::snprintf(stop, sizeof(stop), "stop took %.0f ms", stopMs);
    row.why = stop;
    if (stopMs > 1000.0) c.fail(std::string("the stop was held up: ") + stop);
}

void damagedSettings(Case& c, Row& row) {
    c.start(
        "AutoLogin = yes please\n\x01\x02\xff garbage without a key\n[[[broken\nSound=\n"
        "[report]\nBackup = 1\nCode = 12ab\n",
        [&] {
            std::ofstream kept(c.root() / "quelby_report.ini", std::ios::trunc);
            kept << "[Tarvex_Reports]\nNumber=QLB1\nDep=ED";  // cut off mid-write
        });
    const std::size_t mark = c.logMark();
    c.logIn();
    if (c.onSavedReportScreen()) {
        // The damaged copy is refused and can be thrown away.
        c.press("Upload saved Report");
        c.sim().runFrames(60);
        c.press("Delete saved Report");
        c.expectText("Home - News", 30s);
    }
    c.noteTrouble(mark);
    c.fuelAndStart();
    c.flyToTheGate();
    c.endFlightAndDeliverTheReport();
    (void)row;
}

void dataFolderMissing(Case& c, Row&) {
    c.start("", [&] {
        const fs::path data = c.root() / "Resources" / "plugins" / "Quelby";
        fs::remove(data / "blackbox.xml");
        fs::remove_all(data / "sound");
    });
    const std::size_t mark = 0;
    c.logIn();
    c.fuelAndStart();
    c.flyToTheGate();
    c.endFlightAndDeliverTheReport();
    c.noteTrouble(mark);
}

// No file may grow while the limit holds: the settings, the log and a kept
// report all fail to write.
class WritesRefused {
public:
    WritesRefused() {
        signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_old);
        rlimit none = m_old;
        none.rlim_cur = 0;
        setrlimit(RLIMIT_FSIZE, &none);
    }
    ~WritesRefused() { setrlimit(RLIMIT_FSIZE, &m_old); }

private:
    rlimit m_old{};
};

const char* const kHeldNotice = "The flight report could not be saved in X-Plane's folder";

// The upload fails while no file may grow: the report is held in memory,
// and the window says so over a "Retry" button.
// Returns the log's mark from before the flight's end.
std::size_t endFlightWhileWritesFail(Case& c) {
    c.start();
    c.logIn();
    c.fuelAndStart();
    c.flyToTheGate();
    c.site().injectFailure("writereport", testbed::Failure::httpError(503), 1);
    const std::size_t mark = c.logMark();
    const WritesRefused refused;
    c.press("End flight");
    if (!c.sim().runUntil(
            [&] { return c.window().buttonShown("Retry") && c.window().draws(kHeldNotice); },
            60s)) {
        c.fail("no notice and \"Retry\" for the report held in memory; drew:" +
               c.window().drawnTextsLine());
    }
    return mark;
}

void keptReportMustBeOnDisk(Case& c) {
    if (readFile(c.root() / "quelby_report.ini").find("Tarvex_Reports") == std::string::npos) {
        c.fail("the report held in memory is not on the disk");
    }
}

void heldReportSavedByRetry(Case& c, Row& row) {
    const std::size_t mark = endFlightWhileWritesFail(c);
    // Writes work again; the pilot presses "Retry".
    c.press("Retry");
    if (!c.sim().runUntil([&] { return !c.window().buttonShown("Retry"); }, 20s)) {
        c.fail("\"Retry\" did not save the report");
    }
    if (c.window().draws(kHeldNotice)) c.fail("the notice stayed after the report was saved");
    keptReportMustBeOnDisk(c);
    c.noteTrouble(mark);
    c.noteXPlaneLogLine("could not be saved");
    c.uploadKeptReport();
    row.report = "held in memory, saved by Retry, uploaded";
}

void heldReportSavedAtStop(Case& c, Row& row) {
    const std::size_t mark = endFlightWhileWritesFail(c);
    // Writes work again; X-Plane quits before the pilot does anything.
    const auto stopStart = Clock::now();
    c.sim().unloadPlugin();
    const double stopMs =
        std::chrono::duration<double, std::milli>(Clock::now() - stopStart).count();
    keptReportMustBeOnDisk(c);
    c.noteTrouble(mark);
    c.noteXPlaneLogLine("could not be saved");
    c.load();
    c.logIn();
    if (!c.onSavedReportScreen()) c.fail("no saved report after the restart");
    if (c.window().buttonShown("Retry")) c.fail("\"Retry\" offered for a report on disk");
    c.uploadKeptReport();
    row.report = "held in memory, saved at stop, uploaded after restart";
    char stop[64];
    std::snprintf(stop, sizeof(stop), "stop took %.0f ms", stopMs);
    row.why = stop;
}

void diskRefusesWrites(Case& c, Row& row) {
    c.start();
    {
        const WritesRefused refused;
        c.logIn();
        c.fuelAndStart();
        c.flyToTheGate();
        c.endFlightAndDeliverTheReport();
    }
    // Writing works again: the log takes the next lines.
    const std::size_t mark = c.logMark();
    c.press("Options");
    c.expectText("General Client Settings");
    c.press("Save changes");
    c.expectText("Home - News");
    if (c.logMark() <= mark) c.fail("the log stayed silent once writes worked again");
    row.logLine = "(nothing can be logged while writes fail; the log resumes after)";
}

// Whatever went wrong, the pilot's password travels only as its digest, and
// no file holds that digest: not the log, not the kept report, not the
// settings (which keep the password itself, for the automatic login).
void passwordInNoFile(Case& c) {
    // MD5 of "demo", the demo pilot's password.
    const std::string digest = "fe01ce2a7fbac8fafaed7c982a04e229";
    for (const auto& entry : fs::recursive_directory_iterator(c.root())) {
        if (entry.is_regular_file() && readFile(entry.path()).find(digest) != std::string::npos) {
            c.fail("the password's digest is in " + entry.path().string());
        }
    }
}

// --- running ----------------------------------------------------------------

std::string escape(const std::string& text) {
    std::string out = text;
    std::replace(out.begin(), out.end(), '\x1f', ' ');
    std::replace(out.begin(), out.end(), '\n', ' ');
    return out;
}

// Runs one case in a child process and fills the row from what it reports.
void runCase(const Options& options, Row& row, const std::string& folder,
             const std::function<void(Case&, Row&)>& body) {
    std::printf("  %-26s %-22s ...", row.scenario.c_str(), row.fault.c_str());
    std::fflush(stdout);
    int channel[2];
    if (pipe(channel) != 0) {
        row.why = "cannot make a pipe";
        return;
    }
    const pid_t child = fork();
    if (child == 0) {
        close(channel[0]);
        Row result = row;
        try {
            Case c(options, result, folder);
            body(c, result);
            passwordInNoFile(c);
            result.longestFrameMs = c.longestFrameMs();
            result.passed = true;
            if (options.strictFrames && result.longestFrameMs > kFrameLimitMs) {
                result.passed = false;
                result.why = "a frame took over 2 ms";
            }
        } catch (const std::exception& e) {
            result.passed = false;
            result.why = e.what();
            result.longestFrameMs = 0.0;
        }
        std::ostringstream line;
        line << result.longestFrameMs << '\x1f' << escape(result.logLine) << '\x1f'
             << escape(result.report) << '\x1f' << (result.passed ? 1 : 0) << '\x1f'
             << escape(result.why);
        const std::string text = line.str();
        if (write(channel[1], text.data(), text.size()) < 0) _exit(3);
        close(channel[1]);
        _exit(0);
    }
    close(channel[1]);
    std::string answer;
    char buffer[4096];
    const auto deadline = Clock::now() + kCaseTimeLimit;
    int status = 0;
    bool ended = false;
    while (!ended) {
        const pid_t done = waitpid(child, &status, WNOHANG);
        if (done == child) {
            ended = true;
        } else if (Clock::now() > deadline) {
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            row.why = "hung: killed after 300 s";
            close(channel[0]);
            std::printf(" HUNG\n");
            return;
        } else {
            std::this_thread::sleep_for(50ms);
        }
    }
    ssize_t got = 0;
    while ((got = read(channel[0], buffer, sizeof(buffer))) > 0) {
        answer.append(buffer, static_cast<std::size_t>(got));
    }
    close(channel[0]);
    if (WIFSIGNALED(status)) {
        row.why = std::string("crashed: ") + strsignal(WTERMSIG(status));
    } else if (answer.empty()) {
        row.why =
            "the case ended without a result (exit " + std::to_string(WEXITSTATUS(status)) + ")";
    } else {
        std::vector<std::string> fields;
        std::size_t start = 0;
        for (std::size_t at; (at = answer.find('\x1f', start)) != std::string::npos;
             start = at + 1) {
            fields.push_back(answer.substr(start, at - start));
        }
        fields.push_back(answer.substr(start));
        if (fields.size() == 5) {
            row.longestFrameMs = std::stod(fields[0]);
            row.logLine = fields[1];
            row.report = fields[2];
            row.passed = fields[3] == "1";
            row.why = fields[4];
        }
    }
    std::printf(" %s\n", row.passed ? "held" : "FAILED");
}

std::string cut(const std::string& text, std::size_t width) {
    return text.size() <= width ? text : text.substr(0, width - 3) + "...";
}

void printTable(const std::vector<Row>& rows) {
    std::printf("\n| case | fault | longest frame | log | report | result |\n");
    std::printf("|---|---|---|---|---|---|\n");
    for (const Row& row : rows) {
        char frame[32];
        std::snprintf(frame, sizeof(frame), "%.2f ms%s", row.longestFrameMs,
                      row.longestFrameMs > kFrameLimitMs ? " (over 2 ms)" : "");
        std::printf("| %s | %s | %s | %s | %s | %s%s%s |\n", row.scenario.c_str(),
                    row.fault.c_str(), row.passed || row.longestFrameMs > 0 ? frame : "-",
                    cut(row.logLine, 70).c_str(), row.report.c_str(),
                    row.passed ? "held" : "FAILED", row.why.empty() ? "" : ": ",
                    cut(row.why, 90).c_str());
    }
}

bool parseOptions(int argc, char** argv, Options& options) {
    namespace po = boost::program_options;
    std::string out = options.out.string(), plugin = QUELBY_PLUGIN_PATH, part = "1/1";
    po::options_description known;
    known.add_options()("short", po::bool_switch(&options.shortRun))(
        "strict-frames", po::bool_switch(&options.strictFrames))("only", po::value(&options.only))(
        "out", po::value(&out))("plugin", po::value(&plugin))("part", po::value(&part));
    po::variables_map given;
    if (!testbed::readCommandLine(argc, argv, known, given)) return false;
    options.out = out;
    options.plugin = plugin;
    char rest = 0;
    if (std::sscanf(part.c_str(), "%d/%d%c", &options.part, &options.parts, &rest) != 2 ||
        options.parts < 1 || options.part < 1 || options.part > options.parts) {
        std::cerr << "quelby-faults: --part wants K/N with 1 <= K <= N, not \"" << part << "\"\n";
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parseOptions(argc, argv, options)) {
        std::cerr << kUsage;
        return 2;
    }
    if (!fs::is_regular_file(options.plugin)) {
        std::cerr << "quelby-faults: the plug-in is not built: " << options.plugin << "\n";
        return 1;
    }
    setenv("ALSOFT_DRIVERS", "null", 0);

    struct Planned {
        Row row;
        std::string folder;
        std::function<void(Case&, Row&)> body;
    };
    std::vector<Planned> plan;
    int number = 0;
    const auto add = [&](const std::string& scenario, const std::string& fault,
                         std::function<void(Case&, Row&)> body) {
        ++number;
        if ((number - 1) % options.parts != options.part - 1) {
            return;
        }
        if (!options.only.empty() && scenario.find(options.only) == std::string::npos &&
            fault.find(options.only) == std::string::npos) {
            return;
        }
        Planned planned;
        planned.row.scenario = scenario;
        planned.row.fault = fault;
        planned.folder = "case-" + std::to_string(number);
        planned.body = std::move(body);
        plan.push_back(std::move(planned));
    };
    for (const FailureKind& kind : failureKinds(options.shortRun)) {
        const testbed::Failure failure = kind.failure;
        add("website at login", kind.name,
            [failure](Case& c, Row& row) { websiteFailsAtLogin(c, row, failure); });
        add("website at the route", kind.name,
            [failure](Case& c, Row& row) { websiteFailsAtRoute(c, row, failure); });
        add("website at start, in flight, at upload", kind.name,
            [failure](Case& c, Row& row) { websiteFailsDuringTheFlight(c, row, failure); });
    }
    add("website silent after the report", "no answer to entries and events",
        websiteSilentAfterTheReport);
    add("website silent at the end of the flight", "no answer to any request",
        websiteSilentAtTheEnd);
    add("plug-in stopped while saving", "stop during the upload", stopWhileSaving);
    add("settings damaged", "garbage in quelby.ini, cut-off report", damagedSettings);
    add("data folder missing", "no blackbox.xml, no sounds", dataFolderMissing);
    add("disk refuses writes", "no file may grow", diskRefusesWrites);
    add("report unsaved, then Retry", "no file may grow at the upload", heldReportSavedByRetry);
    add("report unsaved, then the stop", "no file may grow at the upload", heldReportSavedAtStop);

    std::printf("quelby-faults: %zu cases, each in its own process\n", plan.size());
    std::vector<Row> rows;
    for (Planned& planned : plan) {
        runCase(options, planned.row, planned.folder, planned.body);
        rows.push_back(planned.row);
    }
    printTable(rows);
    const auto failed =
        std::count_if(rows.begin(), rows.end(), [](const Row& r) { return !r.passed; });
    std::printf("\n%zu cases, %ld held, %ld failed\n", rows.size(),
                static_cast<long>(rows.size()) - failed, static_cast<long>(failed));
    return failed == 0 ? 0 : 1;
}
