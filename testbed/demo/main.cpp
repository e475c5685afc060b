// quelby-demo: one booked flight from login to the uploaded report, flown by
// the test bed's flight model with the real plug-in in the emulated
// simulator and the stand-in website on loopback (in this process, or a
// quelby-website running elsewhere). It pictures every screen it passes,
// prints the flight's progress and the report, and says which step failed
// when one does.
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "DemoSite.h"
#include "XPLMDisplay.h"
#include "XPLMSound.h"
#include "testbed/Flight.h"
#include "testbed/FlightModel.h"
#include "testbed/PluginFolder.h"
#include "testbed/Simulator.h"
#include "testbed/WindowDriver.h"
#include "testbed/WindowText.h"
#ifdef QUELBY_DEMO_PICTURES
#include "testbed/WindowPicture.h"
#endif

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace {

const char* const kUsage =
    "usage: quelby-demo [--out DIR] [--plugin PATH] [--flight FILE] [--time-scale X]\n"
    "                   [--upload-works] [--website HOST:PORT] [--no-pictures]\n"
    "                   [--xplane 11|12]\n"
    "  --out DIR         where the simulator folder and the pictures go (default: demo)\n"
    "  --plugin PATH     plug-in binary (default: the one of this build)\n"
    "  --flight FILE     the flight to fly (default: the test bed's EDDF-EDDS hop)\n"
    "  --time-scale X    simulated seconds per real second (default 30)\n"
    "  --upload-works    the website takes the first upload (by default it refuses it once,\n"
    "                    to show how the plug-in keeps a report and uploads it later)\n"
    "  --website HOST:PORT\n"
    "                    fly against a \"quelby-website --demo\" already running there\n"
    "                    (default: the website runs inside this program)\n"
    "  --no-pictures     take no pictures of the window\n"
    "  --xplane 11|12    the X-Plane to fly in (default 12: UI size 200 %, the window popped\n"
    "                    out once, VR on from the top of the climb, nothing drawn for 10 s\n"
    "                    in the cruise; 11: legacy window, no VR)\n";

constexpr const char* kWindow = "Quelby Client";

struct Options {
    fs::path out = "demo";
    fs::path plugin;
    fs::path flight;
    double timeScale = 30.0;
    bool refuseFirstUpload = true;
    std::string website;  // "HOST:PORT"; empty: the website in this process
    bool pictures = true;
    int xplane = 12;
};

// A step that did not happen: what was being done and what came instead.
class DemoFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// "HOST:PORT" with a port number.
bool isHostAndPort(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 == text.size()) return false;
    char* end = nullptr;
    const long port = std::strtol(text.c_str() + colon + 1, &end, 10);
    return *end == '\0' && port > 0 && port <= 65535;
}

// Takes "--name value" and "--name=value"; false for an unknown option, a
// missing or bad value.
bool parseOptions(int argc, char** argv, Options& options) {
    options.plugin = QUELBY_PLUGIN_PATH;
    options.flight = QUELBY_DEMO_FLIGHT;
    for (int i = 1; i < argc; ++i) {
        std::string name = argv[i];
        std::string value;
        bool hasValue = false;
        const std::size_t equals = name.find('=');
        if (name.rfind("--", 0) == 0 && equals != std::string::npos) {
            value = name.substr(equals + 1);
            name.erase(equals);
            hasValue = true;
        }
        auto takeValue = [&]() {
            if (!hasValue && i + 1 < argc) {
                value = argv[++i];
                hasValue = true;
            }
            return hasValue;
        };
        if (name == "--upload-works" && !hasValue) {
            options.refuseFirstUpload = false;
        } else if (name == "--no-pictures" && !hasValue) {
            options.pictures = false;
        } else if (name == "--out" && takeValue()) {
            options.out = value;
        } else if (name == "--plugin" && takeValue()) {
            options.plugin = value;
        } else if (name == "--flight" && takeValue()) {
            options.flight = value;
        } else if (name == "--website" && takeValue() && isHostAndPort(value)) {
            options.website = value;
        } else if (name == "--xplane" && takeValue() && (value == "11" || value == "12")) {
            options.xplane = std::stoi(value);
        } else if (name == "--time-scale" && takeValue()) {
            char* end = nullptr;
            options.timeScale = std::strtod(value.c_str(), &end);
            if (value.empty() || *end != '\0' || !(options.timeScale > 0.0)) return false;
        } else {
            return false;
        }
    }
    return true;
}

// Sets an environment variable unless it is set already.
void setEnvironmentDefault(const char* name, const char* value) {
#ifdef _WIN32
    if (std::getenv(name) == nullptr) _putenv_s(name, value);
#else
    setenv(name, value, 0);
#endif
}

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Prints a block of text with a margin, so that a screen stands out from the
// narration.
void printIndented(const std::string& text) {
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) std::printf("    | %s\n", line.c_str());
}

class Demo {
public:
    Demo(const Options& options, std::unique_ptr<quelby_demo::DemoSite> site)
        : m_options(options),
          m_site(std::move(site)),
          m_root(fs::absolute(options.out) / "xplane"),
          m_pictures(fs::absolute(options.out) / "pictures") {}
    // A step that failed leaves the plug-in loaded, its client thread
    // running; it must stop before the process takes down what it uses.
    ~Demo() {
        if (sim().isPluginLoaded()) sim().unloadPlugin();
    }
    Demo(const Demo&) = delete;
    Demo& operator=(const Demo&) = delete;

    void run() {
        try {
            prepare();
            loginAndLookAround();
            checklistWithoutABooking();
            fuelUp();
            fly();
            endFlightAndReport();
            finish();
        } catch (const DemoFailure&) {
            throw;
        } catch (const std::exception& e) {
            // A website in another process that stops answering, for one.
            fail(e.what());
        }
    }

    // Where the pilot's files are, for the closing lines and after a failure.
    void printWhereThingsAre() const {
        std::printf("\nfiles:\n");
        std::printf("  pictures of the window: %s\n",
                    m_picturesOn ? m_pictures.string().c_str() : "off");
        std::printf("  debug log:              %s\n",
                    (m_root / "quelby_debug.txt").string().c_str());
        std::printf("  settings:               %s\n", (m_root / "quelby.ini").string().c_str());
        std::printf("  kept report (if any):   %s\n",
                    (m_root / "quelby_report.ini").string().c_str());
    }
    void printLogTail() const {
        const std::string log = readFile(m_root / "quelby_debug.txt");
        if (log.empty()) return;
        std::printf("\nthe plug-in's log ends with:\n");
        printIndented(log.substr(log.size() > 3000 ? log.size() - 3000 : 0));
    }

private:
    testbed::Simulator& sim() { return testbed::Simulator::instance(); }

    void step(const std::string& what) {
        m_step = what;
        std::printf("\n== %s\n", what.c_str());
        std::fflush(stdout);
    }
    [[noreturn]] void fail(const std::string& why) const { throw DemoFailure(m_step + ": " + why); }
    void expectText(const std::string& text, std::chrono::milliseconds timeout = 20s) {
        if (!m_window.waitForText(text, timeout)) {
            fail("the window never showed \"" + text + "\"; it shows:" + m_window.drawnTextsLine());
        }
    }
    void expectSavedReportScreen() {
        if (!m_window.waitForTextBeginning("Your most recent flight report could not be", 30s)) {
            fail("the saved-report screen never opened; the window shows:" +
                 m_window.drawnTextsLine());
        }
    }
    void press(const std::string& caption) {
        std::printf("  press \"%s\"\n", caption.c_str());
        if (!m_window.press(caption, 10s)) fail("no button \"" + caption + "\" is shown");
    }
    void type(int x, int y, const std::string& text, const std::string& what) {
        std::printf("  type %s\n", what.c_str());
        if (!m_window.type(x, y, text)) fail("the field for " + what + " is not shown");
    }
    // Pictures the window as it is now, once the screen has settled.
    void picture(const std::string& name) {
        m_window.settle();
        char number[16];
        std::snprintf(number, sizeof(number), "%02d-", ++m_pictureCount);
        const fs::path file = m_pictures / (number + name + ".png");
        if (!m_picturesOn) {
            std::printf("  picture: %s (pictures are off)\n", file.filename().string().c_str());
            return;
        }
#ifdef QUELBY_DEMO_PICTURES
        std::string error;
        // One picture pixel per screen pixel at 200 %; a legacy window at
        // 100 % is pictured twice as large, so that both read alike.
        testbed::PictureOptions options;
        options.scale = xplane12() ? 1.0 : 2.0;
        if (!testbed::saveWindowPicture(sim(), kWindow, file.string(), &error, options)) {
            fail("cannot picture the window: " + error);
        }
        std::printf("  picture: %s\n", file.filename().string().c_str());
#endif
    }
    std::string screenText() { return testbed::windowTextAsLines(sim(), kWindow); }

    void prepare() {
        step("Setting up the stand-in website and the simulator folder");
        if (!fs::is_regular_file(m_options.plugin)) {
            fail("the plug-in is not built: " + m_options.plugin.string());
        }
        std::string why;
        if (!m_site->open(why)) fail(why);
        m_site->seedDemo();
        // The pilot first meets the window before the dispatcher books the
        // flight, so that the checklist has something to say.
        m_site->cancelBookings("demo");
        m_site->addNews("Welcome aboard Quelby Air",
                        "Dispatch is booking your first flight, QLB101 from Frankfurt to "
                        "Stuttgart. Look at the flight information before you fly!");
        std::printf("  website: http://%s (pilot \"demo\", password \"demo\")\n",
                    m_site->url().c_str());
        // A website in another process may hold earlier flights; only what
        // arrives from now on is this flight's.
        m_storedBefore = {m_site->reports().size(), m_site->positionLogs().size(),
                          m_site->eventLogs().size()};

        fs::remove_all(m_root);
        fs::remove_all(m_pictures);
        fs::create_directories(m_root / "Resources" / "plugins");
        if (m_picturesOn) fs::create_directories(m_pictures);
        // Installed as a person installs it: the plug-in's folder, binary and
        // data, copied into Resources/plugins.
        const fs::path installed = testbed::installPluginFolder(m_options.plugin, m_root);
        testbed::writeClientSettings(m_root, m_site->url());
        std::printf("  simulator folder: %s\n", m_root.string().c_str());

        testbed::FlightDescription flight = testbed::loadFlightFile(m_options.flight.string());
        flight.timeScale = m_options.timeScale;
        // A pilot who leaves the landing lights on all the way: one penalty
        // (lights on above FL100) for the report's last page.
        flight.landingLights = testbed::LandingLightUse::AlwaysOn;
        if (const auto problem = testbed::checkFlight(flight)) {
            fail("the flight cannot be flown: " + problem->message);
        }
        m_model = std::make_unique<testbed::FlightModel>(flight);

        sim().setRootFolder(m_root.string());
        sim().setFrameRate(60.0);
        sim().setXPlaneVersion(m_options.xplane);
        if (xplane12()) {
            // A 4K screen at X-Plane 12's UI size of 200 %.
            sim().setUiScale(2.0);
        }
        std::printf("  X-Plane %d%s\n", m_options.xplane,
                    xplane12() ? ", UI size 200 %" : ", legacy windows");
        m_model->attach();
        m_model->holdAtGate(true);
        std::string error;
        if (!sim().loadPlugin(installed.string(), &error)) fail(error);
        std::printf("  plug-in loaded: %s\n", sim().pluginName().c_str());
        if (!sim().clickMenuItem("Quelby", "Show Client")) fail("no \"Quelby\" menu");
    }

    void loginAndLookAround() {
        step("Logging in, first with a mistyped password");
        expectText("Login");
        picture("login");
        type(340, 195, "demo", "the pilot's name");
        type(340, 220, "dmeo", "the password");
        press("Login");
        expectText("Wrong user name or password.");
        picture("login-failed");
        type(340, 220, "demo", "the password");
        press("Login");
        expectText("Home - News");
        picture("home");
        printIndented(screenText());
        if (xplane12()) popOutAndBack();

        step("Looking at the options");
        press("Options");
        expectText("General Client Settings");
        picture("options");
        press("Home");
        expectText("Home - News");
    }

    void checklistWithoutABooking() {
        step("Pressing \"Fly!\" before a flight is booked");
        press("Fly!");
        expectText("Checklist");
        expectText("no");
        picture("checklist");
        printIndented(screenText());

        step("The dispatcher books QLB101 Frankfurt - Stuttgart");
        if (m_site->bookDemoFlight() <= 0) fail("the website did not take the booking");
        press("Flight Information");
        expectText("Route");
        picture("flight-information");
        printIndented(screenText());
    }

    void fuelUp() {
        step("Fuelling tank by tank");
        press("Fly!");
        expectText("TANK 1");
        picture("fuel-tanks");
        press("Back");
        expectText("Home - News");

        step("Fuelling the simple way: 500 kg more");
        press("Options");
        expectText("General Client Settings");
        if (!m_window.setCheckBox(500, 165, true)) fail("no \"simple fueling\" check box");
        press("Save changes");
        expectText("Home - News");
        press("Fly!");
        expectText("Additional Fuel:");
        type(313, 205, "500", "500 kg of additional fuel");
        picture("fuel-simple");
        press("Fuel Up!");
        expectText("Confirm Flight");
        picture("confirm-flight");
        printIndented(screenText());
    }

    // The plug-in's own view of the flight, from its flying screen.
    std::string drawnValue(const std::string& label) {
        for (const std::string& text : m_window.drawnTexts()) {
            if (text.rfind(label, 0) == 0) return text.substr(label.size());
        }
        return "?";
    }

    bool xplane12() const { return m_options.xplane >= 12; }
    XPWidgetID mainWindow() { return sim().findWidgetByDescriptor(kWindow); }

    // Into an OS window of its own, for a second monitor, and back.
    void popOutAndBack() {
        step("Popping the window out and back");
        if (!sim().clickMenuItem("Quelby", "Pop Out Window")) fail("no \"Pop Out Window\" item");
        sim().runFrames(2);
        if (sim().windowPositioningMode(mainWindow()) != xplm_WindowPopOut) {
            fail("the window did not pop out");
        }
        expectText("Home - News");
        picture("popped-out");
        if (!sim().clickMenuItem("Quelby", "Pop Out Window")) fail("no \"Pop Out Window\" item");
        sim().runFrames(2);
        if (sim().windowPositioningMode(mainWindow()) != xplm_WindowPositionFree) {
            fail("the window did not come back onto the screen");
        }
        std::printf("  popped out and back\n");
    }

    // The pilot puts the headset on, and the window goes with it; takes it
    // off, and the window comes back onto the screen.
    void wearHeadset(bool on) {
        sim().setVr(on);
        sim().runFrames(2);
        const int mode = sim().windowPositioningMode(mainWindow());
        if (mode != (on ? xplm_WindowVR : xplm_WindowPositionFree)) {
            fail(on ? "the window did not go into the headset"
                    : "the window did not come back from the headset");
        }
        std::printf(on ? "  VR on: the window is in the headset\n"
                       : "  VR off: the window is back on the screen\n");
    }

    // A loading screen or a dialog for ten seconds: X-Plane draws nothing,
    // the flight goes on, and so must the plug-in's work.
    void drawNothingFor(std::chrono::seconds pause) {
        const std::string before = drawnValue("Altitude (std): ");
        const double modelBefore = m_model->progress().altitudeFt;
        sim().setDrawing(false);
        const auto until = std::chrono::steady_clock::now() + pause;
        while (std::chrono::steady_clock::now() < until) sim().runFrames(1);
        sim().setDrawing(true);
        sim().runFrames(1);
        const std::string after = drawnValue("Altitude (std): ");
        std::printf(
            "  nothing drawn for %lld s: the aircraft went from %.0f ft to %.0f ft; the "
            "window showed %s before and %s in its first frame after\n",
            static_cast<long long>(pause.count()), modelBefore, m_model->progress().altitudeFt,
            before.c_str(), after.c_str());
        if (after == before && std::abs(m_model->progress().altitudeFt - modelBefore) > 500.0) {
            fail("the plug-in did not follow the flight while nothing was drawn");
        }
    }

    void fly() {
        step("Flying");
        press("Fly!");
        expectText("Flying");
        m_model->holdAtGate(false);
        std::printf("  %-8s %-10s %14s %12s %10s\n", "time", "phase", "altitude", "speed (IAS)",
                    "fuel");
        using Clock = std::chrono::steady_clock;
        const auto start = Clock::now();
        auto nextLine = start;
        bool pictured = false;
        bool paused = false;
        while (!m_model->hasArrived()) {
            if (Clock::now() - start > 300s) {
                fail("the aircraft did not reach the gate: " + m_model->progressLine());
            }
            sim().runFrames(1);
            const std::string phase = drawnValue("Flight State: ");
            if (Clock::now() >= nextLine) {
                const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
                std::printf("  %5.0f s  %-10s %14s %12s %10s\n", seconds, phase.c_str(),
                            drawnValue("Altitude (std): ").c_str(),
                            drawnValue("Speed (IAS): ").c_str(), drawnValue("Fuel: ").c_str());
                std::fflush(stdout);
                nextLine += 5s;
            }
            // Pictured at the top of the climb, with the most on the screen.
            if (!pictured && m_model->progress().altitudeFt > 10000.0) {
                picture("flying");
                pictured = true;
                if (xplane12()) wearHeadset(true);
            }
            if (xplane12() && !paused &&
                m_model->progress().distanceFlownNm > m_model->progress().distanceToGoNm) {
                drawNothingFor(10s);
                paused = true;
            }
        }
        if (xplane12()) wearHeadset(false);
        std::printf("  at the gate in Stuttgart after %.0f s\n",
                    std::chrono::duration<double>(Clock::now() - start).count());
    }

    void endFlightAndReport() {
        step("Leaving a comment and ending the flight");
        // The comment screen is its field alone.
        if (!sim().runUntil([&] { return m_window.fieldShownAt(215, 120); }, 30s)) {
            fail("the comment field never opened; the window shows:" + m_window.drawnTextsLine());
        }
        type(215, 120, "Smooth ride. Forgot the landing lights in cruise.", "a comment");
        picture("comment");
        if (m_options.refuseFirstUpload) {
            std::printf("  (the website will refuse this upload, to show the kept report)\n");
            m_site->injectFailure("writereport", testbed::Failure::httpError(503), 1);
        }
        press("End flight");

        if (m_options.refuseFirstUpload) {
            step("The upload failed: the report is kept and offered at the next login");
            expectSavedReportScreen();
            picture("saved-report");
            press("Show saved Report");
        }
        step("The report pages");
        const char* const pages[] = {"Report - Route", "Report - Finances", "Report - Penalties"};
        const char* const names[] = {"report-route", "report-finances", "report-penalties"};
        for (int page = 0; page < 3; ++page) {
            expectText(pages[page]);
            picture(names[page]);
            printIndented(screenText());
            press("Next");
        }
        if (m_options.refuseFirstUpload) {
            step("Uploading the kept report");
            expectSavedReportScreen();
            press("Upload saved Report");
        }
        expectText("Home - News", 30s);
    }

    void finish() {
        step("What the website stored");
        const std::vector<testbed::Record> reports = m_site->reports();
        if (reports.size() <= m_storedBefore.reports) fail("the website holds no report");
        const testbed::Record& report = reports.back();
        const char* const keys[] = {"ReportId",  "Number",       "Dep",         "Arr",
                                    "PAX",       "Cargo_kg",     "FlightState", "Fuel_TakeOff",
                                    "Fuel_Land", "VS",           "Rating",      "Profit",
                                    "Salary",    "ManualUpload", "Interface",   "SimVersion"};
        for (const char* key : keys) {
            const auto found = report.find(key);
            std::printf("  %-13s %s\n", key, found == report.end() ? "-" : found->second.c_str());
        }
        std::printf("  position entries: %zu, events: %zu\n",
                    m_site->positionLogs().size() - m_storedBefore.positionLogs,
                    m_site->eventLogs().size() - m_storedBefore.eventLogs);
        if (fs::exists(m_root / "quelby_report.ini") &&
            readFile(m_root / "quelby_report.ini").find("Tarvex_Reports") != std::string::npos) {
            fail("the kept report is still there after its upload");
        }

        // The sounds went the way this X-Plane offers: its own mixer in 12,
        // OpenAL in 11 (which the test bed has not).
        std::size_t mixed = 0;
        for (const testbed::PlayedSound& sound : sim().playedSounds()) {
            mixed += sound.bus == xplm_AudioInterior ? 1 : 0;
        }
        const std::string log = readFile(m_root / "quelby_debug.txt");
        const bool saysOpenAl = log.find("Sounds play through OpenAL") != std::string::npos ||
                                log.find("init alure:") != std::string::npos;
        std::printf("  sounds through X-Plane's mixer, on the cockpit's bus: %zu%s\n", mixed,
                    saysOpenAl ? "; the plug-in's log names OpenAL" : "");
        if (xplane12() ? mixed == 0 || saysOpenAl : mixed != 0 || !saysOpenAl) {
            fail(xplane12() ? "no sound went through X-Plane 12's mixer"
                            : "a sound took a way X-Plane 11 does not have");
        }

        sim().unloadPlugin();
        std::printf("  X-Plane's Log.txt:\n");
        printIndented(sim().xplaneLog());
        const auto misuses = sim().dataRefMisuses();
        const auto violations = sim().threadViolations();
        if (!misuses.empty() || !violations.empty()) {
            fail("the plug-in misused the simulator: " + std::to_string(misuses.size()) +
                 " dataref misuses, " + std::to_string(violations.size()) +
                 " calls off the simulator's thread");
        }
        std::printf("  the plug-in stopped cleanly (XPluginStop %.1f ms)\n",
                    std::chrono::duration<double, std::milli>(sim().lastStopDuration()).count());
    }

    struct Stored {
        std::size_t reports = 0;
        std::size_t positionLogs = 0;
        std::size_t eventLogs = 0;
    };

    const Options& m_options;
    std::unique_ptr<quelby_demo::DemoSite> m_site;
    Stored m_storedBefore;
    std::unique_ptr<testbed::FlightModel> m_model;
    testbed::WindowDriver m_window{testbed::Simulator::instance(), kWindow};
    fs::path m_root;
    fs::path m_pictures;
#ifdef QUELBY_DEMO_PICTURES
    const bool m_picturesOn = m_options.pictures;
#else
    const bool m_picturesOn = false;
#endif
    int m_pictureCount = 0;
    std::string m_step = "starting";
};

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parseOptions(argc, argv, options)) {
        std::cerr << kUsage;
        return 2;
    }
    std::unique_ptr<quelby_demo::DemoSite> site =
        options.website.empty() ? quelby_demo::makeLocalSite()
                                : quelby_demo::makeRemoteSite(options.website);
    if (!site) {
        std::cerr << "quelby-demo: this build has no website of its own; give --website "
                     "HOST:PORT\n"
                  << kUsage;
        return 2;
    }
    // The demo has no use for a sound card, and a machine without one must
    // not stop it.
    setEnvironmentDefault("ALSOFT_DRIVERS", "null");
    const auto start = std::chrono::steady_clock::now();
    Demo demo(options, std::move(site));
    int result = 0;
    try {
        demo.run();
        std::printf(
            "\nThe demo flight is complete (%.0f s).\n",
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    } catch (const std::exception& e) {
        std::printf("\nThe demo FAILED while %s\n", e.what());
        demo.printLogTail();
        result = 1;
    }
    demo.printWhereThingsAre();
    return result;
}
