// The simulator's life: loading and unloading the plug-in as X-Plane does,
// the frame loop that calls the draw callbacks, and reset.
#include "testbed/Simulator.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include "PluginModule.h"
#include "SimulatorState.h"
#include "XPLMDisplay.h"
#include "XPLMPlugin.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace testbed {

using namespace detail;

namespace {

// X-Plane hands XPluginStart three buffers of 256 bytes.
constexpr size_t kPluginTextBytes = 256;
// Bytes after each buffer that tell an overrun.
constexpr size_t kGuardBytes = 64;
constexpr unsigned char kGuardPattern = 0xA5;

// X-Plane tears down what an unloaded plug-in left behind. Lock held.
void dropPluginRegistrations(State& s) {
    std::vector<XPWidgetID> widgets;
    for (const auto& [id, widget] : s.widgets) {
        if (widget.ownedByPlugin) {
            widgets.push_back(id);
        }
    }
    for (XPWidgetID id : widgets) {
        eraseWidget(s, id);
    }
    if (s.library != nullptr) {
        for (auto& [id, widget] : s.widgets) {
            auto& callbacks = widget.callbacks;
            callbacks.erase(std::remove_if(callbacks.begin(), callbacks.end(),
                                           [&](XPWidgetFunc_t callback) {
                                               return isInModule(
                                                   reinterpret_cast<const void*>(callback),
                                                   s.library);
                                           }),
                            callbacks.end());
        }
    }
    for (auto menu = s.menus.begin(); menu != s.menus.end();) {
        menu = menu->second.ownedByPlugin ? s.menus.erase(menu) : std::next(menu);
    }
    for (auto key = s.hotKeys.begin(); key != s.hotKeys.end();) {
        key = key->second.ownedByPlugin ? s.hotKeys.erase(key) : std::next(key);
    }
    dropPluginSounds(s);
    auto& draws = s.drawCallbacks;
    draws.erase(std::remove_if(draws.begin(), draws.end(),
                               [](const DrawCallback& c) { return c.ownedByPlugin; }),
                draws.end());
    for (auto loop = s.flightLoops.begin(); loop != s.flightLoops.end();) {
        loop = loop->second.ownedByPlugin ? s.flightLoops.erase(loop) : std::next(loop);
    }
    for (auto& [ref, command] : s.commands) {
        auto& handlers = command.handlers;
        handlers.erase(std::remove_if(handlers.begin(), handlers.end(),
                                      [](const CommandHandler& h) { return h.ownedByPlugin; }),
                       handlers.end());
    }
    for (auto window = s.windows.begin(); window != s.windows.end();) {
        window =
            s.widgets.count(window->second.root) == 0 ? s.windows.erase(window) : std::next(window);
    }
}

// Undoes a load that did not complete. Lock not held.
void abandonLoad(void* library, const std::string& workingFolder) {
    State& s = state();
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.library = library;
        dropPluginRegistrations(s);
        s.library = nullptr;
    }
    if (library != nullptr) {
        closePluginModule(library);
    }
    {
        // Static destructors ran inside dlclose; what they registered would
        // point into unmapped code.
        std::lock_guard<std::mutex> lock(s.mutex);
        dropPluginRegistrations(s);
        s.pluginActive = false;
    }
    if (!workingFolder.empty()) {
        // The folder may have gone; the process then stays in the plug-in's.
        std::error_code ec;
        fs::current_path(fs::u8path(workingFolder), ec);
    }
}

template <typename Function>
Function resolve(void* library, const char* name, std::vector<std::string>& missing) {
    void* symbol = pluginSymbol(library, name);
    if (symbol == nullptr) {
        missing.emplace_back(name);
    }
    return reinterpret_cast<Function>(symbol);
}

void runOneFrame() {
    State& s = state();
    Clock::time_point due{};
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        if (s.framesPerSecond > 0.0 && s.haveFrameStart) {
            due = s.lastFrameStart + std::chrono::duration_cast<Clock::duration>(
                                         std::chrono::duration<double>(1.0 / s.framesPerSecond));
        }
    }
    if (due != Clock::time_point{}) {
        std::this_thread::sleep_until(due);
    }

    std::vector<DrawCallback> order;
    std::function<void(double)> hook;
    double frameSeconds = 0.0;
    bool drawing = true;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        const auto now = Clock::now();
        if (s.fixedFrameSeconds > 0.0) {
            frameSeconds = s.fixedFrameSeconds;
        } else if (s.haveFrameStart) {
            frameSeconds = std::chrono::duration<double>(now - s.lastFrameStart).count();
        } else if (s.framesPerSecond > 0.0) {
            frameSeconds = 1.0 / s.framesPerSecond;
        }
        hook = s.frameHook;
        drawing = s.drawing;
        s.lastFrameStart = now;
        s.haveFrameStart = true;
        s.currentFrameCount = 0;
        // X-Plane calls the "before" callbacks of a phase, draws the phase,
        // then calls the "after" ones, each group in registration order.
        for (int wantsBefore : {1, 0}) {
            for (const DrawCallback& c : s.drawCallbacks) {
                if (c.phase == xplm_Phase_Window && c.wantsBefore == wantsBefore) {
                    order.push_back(c);
                }
            }
        }
    }

    // X-Plane's frame: the flight loops that come before the flight model,
    // the flight model (the hook moves the simulated world; it calls back
    // into the API, so without the lock), the flight loops after it, then
    // drawing, which sees this frame's state. Nothing is drawn while a
    // dialog or a loading screen holds the simulator; the loops still run.
    runFlightLoops(xplm_FlightLoop_Phase_BeforeFlightModel, frameSeconds);
    if (hook) {
        hook(frameSeconds);
    }
    runFlightLoops(xplm_FlightLoop_Phase_AfterFlightModel, frameSeconds);
    // X-Plane's audio update: sounds start and end here, drawn or not.
    updateSound(frameSeconds);
    if (!drawing) {
        order.clear();
    }

    for (const DrawCallback& c : order) {
        {
            // A callback earlier in this frame may have unregistered this one.
            std::lock_guard<std::mutex> lock(s.mutex);
            const bool registered =
                std::any_of(s.drawCallbacks.begin(), s.drawCallbacks.end(),
                            [&](const DrawCallback& r) { return r.serial == c.serial; });
            if (!registered) {
                continue;
            }
        }
        const auto callStart = Clock::now();
        {
            PluginCodeScope inDrawCallback(true);
            c.callback(c.phase, c.wantsBefore, c.refcon);
        }
        const auto callDuration = Clock::now() - callStart;
        const auto spent = std::chrono::duration_cast<std::chrono::nanoseconds>(callDuration);
        std::lock_guard<std::mutex> lock(s.mutex);
        s.drawDurations.push_back(spent);
        if (c.ownedByPlugin) {
            s.currentPluginFrame += spent;
        }
    }
    if (drawing) {
        drawWidgetWindows();
    }

    std::function<void()> endHook;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.pluginFrameDurations.push_back(s.currentPluginFrame);
        s.currentPluginFrame = std::chrono::nanoseconds{0};
        endHook = s.frameEndHook;
    }
    if (endHook) {
        endHook();
    }
    std::lock_guard<std::mutex> lock(s.mutex);
    // Swapped, not moved: the next frame records into a list that keeps its
    // room, so that the recording does not add its own allocations to the
    // cost of a plug-in that draws.
    s.lastFrameTexts.swap(s.currentFrameTexts);
    s.lastFrameCount = s.currentFrameCount;
    s.currentFrameCount = 0;
    ++s.frameCount;
}

}  // namespace

Simulator::Simulator() { state().simulatorThread = std::this_thread::get_id(); }

Simulator& Simulator::instance() {
    // Never destroyed, like the state: plug-in threads may outlive main().
    static Simulator* const simulator = new Simulator;
    return *simulator;
}

void Simulator::reset() {
    requireSimulatorThread("reset");
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (s.pluginLoaded) {
        throw std::logic_error(
            "testbed::Simulator::reset while a plug-in is loaded; unload it first");
    }
    for (auto& ref : s.dataRefs) {
        ref->value = ref->initial;
    }
    s.hiddenDataRefs.clear();
    s.widgets.clear();
    s.menus.clear();
    s.hotKeys.clear();
    s.drawCallbacks.clear();
    s.flightLoops.clear();
    s.commands.clear();
    s.windows.clear();
    s.uiScale = 1.0;
    s.drawing = true;
    s.paintingWindow = nullptr;
    s.simulatorSeconds = 0.0;
    s.loopNumber = 0;
    s.pluginFrameDurations.clear();
    s.currentPluginFrame = std::chrono::nanoseconds{0};
    s.frameEndHook = nullptr;
    s.framesPerSecond = 0.0;
    s.frameCount = 0;
    s.haveFrameStart = false;
    s.drawDurations.clear();
    s.currentFrameTexts.clear();
    s.lastFrameTexts.clear();
    s.currentFrameCount = 0;
    s.lastFrameCount = 0;
    s.spokenTexts.clear();
    s.frameHook = nullptr;
    s.fixedFrameSeconds = 0.0;
    s.messagesSent.clear();
    resetSound(s);
    s.dataRefMisuses.clear();
    s.threadViolations.clear();
    s.sdkMisuses.clear();
    s.startDuration = s.stopDuration = std::chrono::nanoseconds{0};
    s.pluginName.clear();
    s.pluginSignature.clear();
    s.pluginDescription.clear();
    resetSystemServices(s);
}

void Simulator::setRootFolder(const std::string& path) {
    fs::create_directories(fs::u8path(path));
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.rootFolder = fs::absolute(fs::u8path(path)).u8string();
    // X-Plane's folder, also for a plug-in built into the test program.
    s.systemFolder = s.rootFolder;
}

const std::string& Simulator::rootFolder() const { return state().rootFolder; }

bool Simulator::loadPlugin(const std::string& xplPath, std::string* error) {
    requireSimulatorThread("loadPlugin");
    State& s = state();
    const auto fail = [&](const std::string& why) {
        if (error != nullptr) {
            *error = why;
        }
        return false;
    };
    std::string root;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        if (s.pluginLoaded) {
            return fail("a plug-in is already loaded (" + s.pluginName + "); unload it first");
        }
        root = s.rootFolder;
    }
    std::error_code ec;
    // Paths are UTF-8 here, whatever the system's own code page.
    if (!fs::is_regular_file(fs::u8path(xplPath), ec)) {
        return fail("plug-in not found: " + xplPath);
    }
    // Made absolute before the working folder changes under it.
    const std::string absolutePath = fs::absolute(fs::u8path(xplPath), ec).u8string();
    const std::string previousFolder = fs::current_path(ec).u8string();
    // Unset, the folder the simulator was started in is X-Plane's.
    const std::string systemFolder = root.empty() ? previousFolder : root;
    if (!root.empty()) {
        fs::create_directories(fs::u8path(root), ec);
        if (ec) {
            return fail("cannot make the root folder " + root);
        }
    }
    // X-Plane promises no working folder (on macOS it is "/"): the plug-in
    // runs in a fresh one of its own, so that a file it finds through the
    // working folder is never in X-Plane's.
    std::string why;
    const std::string workingFolder = makeWorkingFolder(&why);
    if (workingFolder.empty()) {
        return fail(why);
    }
    fs::current_path(fs::u8path(workingFolder), ec);
    if (ec) {
        return fail("cannot enter the working folder " + workingFolder);
    }

    {
        // From here on, whatever is registered belongs to the plug-in: its
        // static constructors run inside dlopen.
        std::lock_guard<std::mutex> lock(s.mutex);
        s.pluginActive = true;
        s.systemFolder = systemFolder;
        s.pluginFile = absolutePath;
        s.workingFolder = workingFolder;
        // Features are the plug-in's own: a new start has none enabled.
        s.enabledFeatures.clear();
        s.pluginName.clear();
        s.pluginSignature.clear();
        s.pluginDescription.clear();
    }
    void* library = openPluginModule(absolutePath, why);
    if (library == nullptr) {
        abandonLoad(nullptr, previousFolder);
        return fail("cannot load the plug-in: " + why);
    }
    std::vector<std::string> missing;
    const auto start = resolve<PluginStartFn>(library, "XPluginStart", missing);
    const auto stop = resolve<PluginVoidFn>(library, "XPluginStop", missing);
    const auto enable = resolve<PluginEnableFn>(library, "XPluginEnable", missing);
    const auto disable = resolve<PluginVoidFn>(library, "XPluginDisable", missing);
    const auto receive = resolve<PluginMessageFn>(library, "XPluginReceiveMessage", missing);
    if (!missing.empty()) {
        std::string names;
        for (const std::string& name : missing) {
            names += (names.empty() ? "" : ", ") + name;
        }
        abandonLoad(library, previousFolder);
        return fail(absolutePath + " is not an X-Plane plug-in: missing entry point(s) " + names);
    }

    // Guard bytes after each buffer reveal a plug-in writing past 256 bytes.
    std::vector<unsigned char> buffers(3 * (kPluginTextBytes + kGuardBytes), kGuardPattern);
    char* texts[3];
    for (size_t i = 0; i < 3; ++i) {
        auto* buffer = buffers.data() + i * (kPluginTextBytes + kGuardBytes);
        std::memset(buffer, 0, kPluginTextBytes);
        texts[i] = reinterpret_cast<char*>(buffer);
    }
    const auto startBegin = Clock::now();
    int started = 0;
    {
        PluginCodeScope inPluginCode;
        started = start(texts[0], texts[1], texts[2]);
    }
    const auto startDuration = Clock::now() - startBegin;

    std::string strings[3];
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        static const char* const kBufferNames[3] = {"name", "signature", "description"};
        for (size_t i = 0; i < 3; ++i) {
            const auto* guard = reinterpret_cast<unsigned char*>(texts[i]) + kPluginTextBytes;
            if (std::any_of(guard, guard + kGuardBytes,
                            [](unsigned char b) { return b != kGuardPattern; })) {
                recordSdkMisuse(s, std::string("XPluginStart wrote past the 256-byte ") +
                                       kBufferNames[i] + " buffer");
            }
            strings[i].assign(texts[i], strnlen(texts[i], kPluginTextBytes));
        }
        s.startDuration = std::chrono::duration_cast<std::chrono::nanoseconds>(startDuration);
    }
    if (started == 0) {
        // X-Plane unloads a plug-in that fails to start without calling it again.
        abandonLoad(library, previousFolder);
        return fail(absolutePath + ": XPluginStart returned 0");
    }

    int enabled = 0;
    {
        PluginCodeScope inPluginCode;
        enabled = enable();
    }

    std::lock_guard<std::mutex> lock(s.mutex);
    s.library = library;
    s.start = start;
    s.stop = stop;
    s.enable = enable;
    s.disable = disable;
    s.receiveMessage = receive;
    // A plug-in that refuses to be enabled stays loaded, disabled.
    s.pluginEnabled = enabled != 0;
    s.pluginLoaded = true;
    s.pluginName = strings[0];
    s.pluginSignature = strings[1];
    s.pluginDescription = strings[2];
    s.workingFolderBeforeLoad = previousFolder;
    return true;
}

void Simulator::unloadPlugin() {
    requireSimulatorThread("unloadPlugin");
    State& s = state();
    PluginVoidFn disable = nullptr;
    PluginVoidFn stop = nullptr;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        if (!s.pluginLoaded) {
            return;
        }
        disable = s.pluginEnabled ? s.disable : nullptr;
        stop = s.stop;
    }
    if (disable != nullptr) {
        PluginCodeScope inPluginCode;
        disable();
    }
    const auto stopBegin = Clock::now();
    {
        PluginCodeScope inPluginCode;
        stop();
    }
    const auto stopDuration = Clock::now() - stopBegin;

    void* library = nullptr;
    std::string workingFolder;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.stopDuration = std::chrono::duration_cast<std::chrono::nanoseconds>(stopDuration);
        library = s.library;
        workingFolder = s.workingFolderBeforeLoad;
        s.pluginLoaded = false;
        s.pluginEnabled = false;
        s.start = nullptr;
        s.stop = nullptr;
        s.enable = nullptr;
        s.disable = nullptr;
        s.receiveMessage = nullptr;
    }
    // Drops the registrations, closes the binary, restores the working folder.
    abandonLoad(library, workingFolder);
}

bool Simulator::isPluginLoaded() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().pluginLoaded;
}

std::chrono::nanoseconds Simulator::lastStartDuration() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().startDuration;
}

std::chrono::nanoseconds Simulator::lastStopDuration() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().stopDuration;
}

std::string Simulator::pluginName() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().pluginName;
}

std::string Simulator::pluginSignature() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().pluginSignature;
}

std::string Simulator::pluginDescription() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().pluginDescription;
}

void Simulator::setFrameRate(double framesPerSecond) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().framesPerSecond = framesPerSecond > 0.0 ? framesPerSecond : 0.0;
}

void Simulator::runFrames(int count) {
    requireSimulatorThread("runFrames");
    for (int frame = 0; frame < count; ++frame) {
        runOneFrame();
    }
}

bool Simulator::runUntil(const std::function<bool()>& condition,
                         std::chrono::milliseconds timeout) {
    requireSimulatorThread("runUntil");
    const auto deadline = Clock::now() + timeout;
    while (!condition()) {
        if (Clock::now() >= deadline) {
            return false;
        }
        runOneFrame();
    }
    return true;
}

uint64_t Simulator::frameCount() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().frameCount;
}

void Simulator::setFrameHook(std::function<void(double realSeconds)> hook) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().frameHook = std::move(hook);
}

void Simulator::setFixedFrameSeconds(double seconds) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().fixedFrameSeconds = seconds > 0.0 ? seconds : 0.0;
}

const std::vector<std::chrono::nanoseconds>& Simulator::drawCallbackDurations() const {
    // Only the simulator's thread appends, and only inside runFrames, so the
    // caller on that thread reads a stable vector.
    return state().drawDurations;
}

void Simulator::clearDrawCallbackDurations() {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().drawDurations.clear();
}

void Simulator::sendMessage(int message, void* param) {
    requireSimulatorThread("sendMessage");
    PluginMessageFn receive = nullptr;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        if (state().messagesSent.size() < kMaxRecords) {
            state().messagesSent.push_back(message);
        }
        receive = state().pluginLoaded ? state().receiveMessage : nullptr;
    }
    if (receive != nullptr) {
        PluginCodeScope inPluginCode;
        receive(kXPlanePluginId, message, param);
    }
}

void Simulator::setVr(bool on) {
    requireSimulatorThread("setVr");
    constexpr const char* kVrEnabled = "sim/graphics/VR/enabled";
    if ((getInt(kVrEnabled) != 0) == on) {
        return;
    }
    if (on) {
        setInt(kVrEnabled, 1);
        sendMessage(XPLM_MSG_ENTERED_VR);
    } else {
        sendMessage(XPLM_MSG_EXITING_VR);
        setInt(kVrEnabled, 0);
    }
}

std::vector<int> Simulator::messagesSent() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().messagesSent;
}

}  // namespace testbed
