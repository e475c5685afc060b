// quelby-testbed: loads the plug-in into the emulated X-Plane, runs frames or
// flies a described flight, optionally opens its window, and reports timings,
// progress and any misbehaviour.
#include <stdlib.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "XPStandardWidgets.h"
#include "testbed/Flight.h"
#include "testbed/FlightModel.h"
#include "testbed/Simulator.h"
#include "testbed/WindowDriver.h"

namespace fs = std::filesystem;

namespace {

struct Options {
    std::string pluginPath;
    std::string rootFolder;
    int frames = 100;
    double framesPerSecond = 60.0;
    bool show = false;
    std::string flightPath;
    double timeScale = 0.0;  // 0: the flight's own
    double progressEverySeconds = 5.0;
    double timeoutSeconds = 900.0;
    std::string loginUser;  // empty: no login
    std::string loginPassword;
    int xplane = 12;
};

const char* const kUsage =
    "usage: quelby-testbed [--plugin PATH] [--root DIR] [--frames N] [--rate HZ] [--show]\n"
    "                      [--flight FILE [--time-scale X] [--progress S] [--timeout S]]\n"
    "                      [--login USER:PASSWORD] [--xplane 11|12]\n"
    "  --plugin PATH   plug-in binary (default: Quelby/lin_x64/Quelby.xpl of this build)\n"
    "  --root DIR      X-Plane root folder (default: a fresh temporary folder, removed at exit)\n"
    "  --frames N      frames to run (default 100; with --flight, until arrived)\n"
    "  --rate HZ       frame rate, 0 = back to back (default 60)\n"
    "  --show          click \"Show Client\" in the \"Quelby\" menu and report the window\n"
    "  --flight FILE   fly the flight described in FILE (see testbed/flights/) gate to gate\n"
    "  --time-scale X  simulated seconds per real second instead of the file's\n"
    "  --progress S    print the flight's progress every S real seconds (default 5)\n"
    "  --timeout S     give up when not arrived after S real seconds (default 900)\n"
    "  --login U:P     show the window and log in as U with password P; fails unless\n"
    "                  the home screen follows (the website is the one quelby.ini\n"
    "                  in the root folder names)\n"
    "  --xplane 11|12  the X-Plane played (default 12; 11 has no mixer for plug-ins and\n"
    "                  no native widget windows)\n";

// The executable lands in <build>/testbed/simulator/, the plug-in in
// <build>/Quelby/lin_x64/.
std::string defaultPluginPath() {
    std::error_code ec;
    const fs::path executable = fs::read_symlink("/proc/self/exe", ec);
    if (ec) {
        return "Quelby/lin_x64/Quelby.xpl";
    }
    return (executable.parent_path() / ".." / ".." / "Quelby" / "lin_x64" / "Quelby.xpl")
        .lexically_normal()
        .string();
}

bool parseNumber(const char* text, double& out) {
    char* end = nullptr;
    errno = 0;
    out = std::strtod(text, &end);
    return errno == 0 && end != text && *end == '\0';
}

// Returns 0 to go on, otherwise the exit code.
int parseOptions(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const auto value = [&]() -> const char* { return i + 1 < argc ? argv[++i] : nullptr; };
        if (arg == "--help" || arg == "-h") {
            std::cout << kUsage;
            return -1;
        } else if (arg == "--show") {
            options.show = true;
        } else if (arg == "--xplane") {
            const char* text = value();
            if (text == nullptr || (std::strcmp(text, "11") != 0 && std::strcmp(text, "12") != 0)) {
                std::cerr << "quelby-testbed: --xplane takes 11 or 12\n" << kUsage;
                return 2;
            }
            options.xplane = std::atoi(text);
        } else if (arg == "--login") {
            const char* text = value();
            const char* colon = text != nullptr ? std::strchr(text, ':') : nullptr;
            if (colon == nullptr || colon == text) {
                std::cerr << "quelby-testbed: --login needs USER:PASSWORD\n" << kUsage;
                return 2;
            }
            options.loginUser.assign(text, colon);
            options.loginPassword = colon + 1;
            options.show = true;
        } else if (arg == "--plugin" || arg == "--root" || arg == "--flight") {
            const char* text = value();
            if (text == nullptr) {
                std::cerr << "quelby-testbed: " << arg << " needs a value\n" << kUsage;
                return 2;
            }
            (arg == "--plugin" ? options.pluginPath
             : arg == "--root" ? options.rootFolder
                               : options.flightPath) = text;
        } else if (arg == "--time-scale" || arg == "--progress" || arg == "--timeout") {
            const char* text = value();
            double number = 0.0;
            if (text == nullptr || !parseNumber(text, number) || number <= 0.0) {
                std::cerr << "quelby-testbed: " << arg << " needs a positive number\n" << kUsage;
                return 2;
            }
            (arg == "--time-scale" ? options.timeScale
             : arg == "--progress" ? options.progressEverySeconds
                                   : options.timeoutSeconds) = number;
        } else if (arg == "--frames" || arg == "--rate") {
            const char* text = value();
            double number = 0.0;
            if (text == nullptr || !parseNumber(text, number) || number < 0.0 ||
                (arg == "--frames" && (number != static_cast<int>(number)))) {
                std::cerr << "quelby-testbed: " << arg << " needs a non-negative "
                          << (arg == "--frames" ? "whole number" : "number") << "\n"
                          << kUsage;
                return 2;
            }
            if (arg == "--frames") {
                options.frames = static_cast<int>(number);
            } else {
                options.framesPerSecond = number;
            }
        } else {
            std::cerr << "quelby-testbed: unknown option " << arg << "\n" << kUsage;
            return 2;
        }
    }
    if (options.pluginPath.empty()) {
        options.pluginPath = defaultPluginPath();
    }
    return 0;
}

double milliseconds(std::chrono::nanoseconds duration) { return duration.count() / 1e6; }

void printDrawTimes(const std::vector<std::chrono::nanoseconds>& durations) {
    if (durations.empty()) {
        std::printf("draw callback:  no calls\n");
        return;
    }
    std::vector<std::chrono::nanoseconds> sorted = durations;
    std::sort(sorted.begin(), sorted.end());
    std::chrono::nanoseconds total{0};
    for (auto d : sorted) {
        total += d;
    }
    // Nearest-rank 99th percentile.
    const size_t p99Index = (sorted.size() * 99 + 99) / 100 - 1;
    std::printf("draw callback:  %zu calls, mean %.3f ms, p99 %.3f ms, max %.3f ms\n",
                sorted.size(), milliseconds(total) / static_cast<double>(sorted.size()),
                milliseconds(sorted[p99Index]), milliseconds(sorted.back()));
}

// A fresh X-Plane root with the plug-in installed where X-Plane keeps it, so
// that it finds its data at Resources/plugins/<folder>/. Returns the
// installed binary, or the given one when it does not sit in a lin_x64 folder.
std::string installIntoFreshRoot(const std::string& root, const std::string& pluginPath) {
    const fs::path plugins = fs::path(root) / "Resources" / "plugins";
    fs::create_directories(plugins);
    const fs::path binary = fs::absolute(pluginPath);
    if (binary.parent_path().filename() != "lin_x64") {
        return pluginPath;
    }
    const fs::path pluginFolder = binary.parent_path().parent_path();
    const fs::path installed = plugins / pluginFolder.filename();
    fs::copy(pluginFolder, installed, fs::copy_options::recursive);
    return (installed / "lin_x64" / binary.filename()).string();
}

// The flight to fly, or null without --flight. Throws with a message that
// names the file and line of a bad flight.
std::unique_ptr<testbed::FlightModel> prepareFlight(const Options& options) {
    if (options.flightPath.empty()) {
        return nullptr;
    }
    testbed::FlightDescription flight = testbed::loadFlightFile(options.flightPath);
    if (options.timeScale > 0.0) {
        flight.timeScale = options.timeScale;
        if (const auto problem = testbed::checkFlight(flight)) {
            throw std::invalid_argument("--time-scale: " + problem->message);
        }
    }
    return std::make_unique<testbed::FlightModel>(flight);
}

// Flies until arrived or timed out, printing progress; returns whether it arrived.
bool fly(testbed::Simulator& sim, testbed::FlightModel& model, const Options& options) {
    const auto& flight = model.flight();
    std::printf("flight:         %s: %s -> %s at time scale %g\n", flight.name.c_str(),
                flight.departure.icao.c_str(), flight.arrival.icao.c_str(), flight.timeScale);
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    const auto seconds = [](double s) {
        return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(s));
    };
    const auto deadline = start + seconds(options.timeoutSeconds);
    auto nextReport = start;
    while (!model.hasArrived() && Clock::now() < deadline) {
        if (Clock::now() >= nextReport) {
            std::printf("  %s\n", model.progressLine().c_str());
            std::fflush(stdout);
            nextReport += seconds(options.progressEverySeconds);
        }
        sim.runFrames(1);
    }
    std::printf("  %s\n", model.progressLine().c_str());
    const double realSeconds = std::chrono::duration<double>(Clock::now() - start).count();
    if (!model.hasArrived()) {
        std::printf("flight:         not arrived after %.1f s (%s)\n", realSeconds,
                    testbed::flightPhaseName(model.phase()));
        return false;
    }
    std::printf("flight:         arrived at %s after %.1f real s, %.0f simulated s\n",
                flight.arrival.icao.c_str(), realSeconds, model.progress().simulatedSeconds);
    return true;
}

// Logs in at the window as a pilot does; true once the home screen shows.
bool logIn(testbed::Simulator& sim, const Options& options) {
    using std::chrono::seconds;
    testbed::WindowDriver window(sim, "Quelby Client");
    if (!window.waitForText("Login", seconds(20)) || !window.type(340, 195, options.loginUser) ||
        !window.type(340, 220, options.loginPassword) || !window.press("Login", seconds(10))) {
        std::printf("login:          no login screen; the window shows: %s\n",
                    window.drawnTextsLine().c_str());
        return false;
    }
    if (!window.waitForText("Home - News", seconds(60))) {
        std::printf("login:          failed; the window shows: %s\n",
                    window.drawnTextsLine().c_str());
        return false;
    }
    std::printf("login:          logged in as %s, home screen shown\n", options.loginUser.c_str());
    return true;
}

int run(const Options& options) {
    testbed::Simulator& sim = testbed::Simulator::instance();
    std::error_code ec;
    if (!fs::is_regular_file(options.pluginPath, ec)) {
        std::cerr << "quelby-testbed: plug-in not found: " << options.pluginPath << "\n";
        return 1;
    }
    std::unique_ptr<testbed::FlightModel> model;
    try {
        model = prepareFlight(options);
    } catch (const std::exception& e) {
        std::cerr << "quelby-testbed: " << e.what() << "\n";
        return 2;
    }

    std::string root = options.rootFolder;
    std::string pluginToLoad = options.pluginPath;
    bool removeRoot = false;
    if (root.empty()) {
        std::string pattern = (fs::temp_directory_path() / "quelby-testbed-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            std::cerr << "quelby-testbed: cannot create a temporary root folder: "
                      << std::strerror(errno) << "\n";
            return 1;
        }
        root = pattern;
        removeRoot = true;
        pluginToLoad = installIntoFreshRoot(root, options.pluginPath);
    } else {
        fs::create_directories(fs::path(root) / "Resources" / "plugins");
    }
    // Removes the temporary root however this function ends.
    struct RootRemover {
        std::string path;
        ~RootRemover() {
            if (!path.empty()) {
                std::error_code ignored;
                fs::remove_all(path, ignored);
            }
        }
    } remover{removeRoot ? root : std::string()};

    std::printf("plug-in:        %s\n", pluginToLoad.c_str());
    std::printf("root folder:    %s%s\n", root.c_str(), removeRoot ? " (removed at exit)" : "");
    sim.setRootFolder(root);
    sim.setXPlaneVersion(options.xplane);
    sim.setFrameRate(options.framesPerSecond);
    if (model) {
        // At the gate before the plug-in starts, as X-Plane loads the aircraft first.
        model->attach();
    }
    std::string error;
    if (!sim.loadPlugin(pluginToLoad, &error)) {
        std::cerr << "quelby-testbed: " << error << "\n";
        return 1;
    }
    std::printf("name:           %s\n", sim.pluginName().c_str());
    std::printf("signature:      %s\n", sim.pluginSignature().c_str());
    std::printf("description:    %s\n", sim.pluginDescription().c_str());
    std::printf("XPluginStart:   %.3f ms\n", milliseconds(sim.lastStartDuration()));

    bool failed = false;
    if (options.show && !sim.clickMenuItem("Quelby", "Show Client")) {
        std::cerr << "quelby-testbed: no menu item \"Show Client\" in menu \"Quelby\"\n";
        failed = true;
    }
    if (!options.loginUser.empty() && !failed) {
        failed = !logIn(sim, options);
    }
    if (model) {
        failed = !fly(sim, *model, options) || failed;
    } else {
        sim.runFrames(options.frames);
    }
    std::printf("frames:         %llu at %g Hz\n",
                static_cast<unsigned long long>(sim.frameCount()), options.framesPerSecond);
    if (options.show) {
        XPWidgetID window = nullptr;
        for (const testbed::WidgetInfo& info : sim.widgets()) {
            if (info.widgetClass == xpWidgetClass_MainWindow) {
                window = info.id;
                break;
            }
        }
        std::printf(
            "main window:    %s\n",
            window == nullptr ? "none" : (sim.isWidgetVisible(window) ? "visible" : "hidden"));
        const auto texts = sim.lastFrameTexts();
        std::printf("texts drawn in the last frame: %zu\n", texts.size());
        for (const testbed::DrawnText& text : texts) {
            std::printf("  (%d, %d) font %d rgb(%.2f, %.2f, %.2f) \"%s\"\n", text.x, text.y,
                        text.font, text.rgb[0], text.rgb[1], text.rgb[2], text.text.c_str());
        }
    }
    printDrawTimes(sim.pluginFrameDurations());

    sim.unloadPlugin();
    std::printf("XPluginStop:    %.3f ms\n", milliseconds(sim.lastStopDuration()));
    // What a pilot would send with a support request.
    std::printf("X-Plane's Log.txt:\n");
    std::istringstream xplaneLog(sim.xplaneLog());
    for (std::string line; std::getline(xplaneLog, line);) {
        std::printf("  %s\n", line.c_str());
    }

    const auto misuses = sim.dataRefMisuses();
    std::printf("dataref misuses: %zu\n", misuses.size());
    for (const testbed::DataRefMisuse& misuse : misuses) {
        std::printf("  %s on %s: %s\n", misuse.accessor.c_str(), misuse.dataRef.c_str(),
                    misuse.reason.c_str());
    }
    const auto violations = sim.threadViolations();
    std::printf("thread violations: %zu\n", violations.size());
    for (const std::string& function : violations) {
        std::printf("  %s called off the simulator's thread outside a callback\n",
                    function.c_str());
    }
    // Calls X-Plane ignores are reported but do not fail the run.
    for (const std::string& note : sim.sdkMisuses()) {
        std::printf("note: %s\n", note.c_str());
    }
    if (!misuses.empty() || !violations.empty()) {
        std::cerr << "quelby-testbed: the plug-in misused the SDK (see above)\n";
        failed = true;
    }
    return failed ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    const int parsed = parseOptions(argc, argv, options);
    if (parsed != 0) {
        return parsed < 0 ? 0 : parsed;
    }
    try {
        return run(options);
    } catch (const std::exception& e) {
        std::cerr << "quelby-testbed: " << e.what() << "\n";
        return 1;
    }
}
