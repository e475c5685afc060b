// The emulated X-Plane's state, shared by the exported SDK functions and the
// Simulator API, and the guards every SDK function and plug-in call go through.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "XPLMDataAccess.h"
#include "XPLMDefs.h"
#include "XPLMDisplay.h"
#include "XPLMMenus.h"
#include "XPLMProcessing.h"
#include "XPLMSound.h"
#include "XPLMUtilities.h"
#include "XPStandardWidgets.h"
#include "XPWidgetDefs.h"
#include "testbed/Simulator.h"

namespace testbed::detail {

// The widget messages X-Plane's widget library sends on its own (the
// plug-in handles none of them, so they are not among its declarations).
enum : int {
    kMsgCreate = 1,
    kMsgDestroy = 2,
    kMsgShown = 16,
    kMsgHidden = 17,
    kMsgDescriptorChanged = 18,
    kMsgPropertyChanged = 19,
    kMsgTextFieldChanged = 1400,
};

// X-Plane's plug-in id for messages that come from the simulator itself.
constexpr XPLMPluginID kXPlanePluginId = 0;

// Recording stops here so that a plug-in misbehaving every frame cannot eat
// the test process's memory; one entry is enough to fail a test.
constexpr size_t kMaxRecords = 10000;

struct DataRefValue {
    int intValue = 0;
    double realValue = 0.0;     // float and double datarefs share it
    std::vector<float> floats;  // float arrays
    std::string bytes;          // data datarefs, arraySize bytes
};

struct DataRef {
    std::string name;
    // The name X-Plane 12 lists as replaced by this one, which still answers
    // with the same value; empty when none.
    std::string formerName;
    int types = 0;
    bool writable = false;
    int arraySize = 0;  // 0 for scalars
    DataRefValue value;
    DataRefValue initial;
};

// The datarefs the plug-in uses, in the order its adapter looks them up, with
// the values of an airliner parked at its gate.
std::vector<std::unique_ptr<DataRef>> makeDataRefTable();

struct Widget {
    int widgetClass = 0;
    std::string descriptor;
    int left = 0, top = 0, right = 0, bottom = 0;
    bool visible = false;
    bool isRoot = false;
    XPWidgetID parent = nullptr;
    std::vector<XPWidgetID> children;
    std::map<int, intptr_t> properties;
    std::vector<XPWidgetFunc_t> callbacks;  // oldest first
    bool ownedByPlugin = false;
    // A root widget made while native widget windows were enabled lives in a
    // modern window: it follows the UI scale and may pop out or go to VR.
    bool native = false;
};

// The window behind a root widget, as XPGetWidgetUnderlyingWindow gives it.
struct UnderlyingWindow {
    XPWidgetID root = nullptr;
    int positioningMode = xplm_WindowPositionFree;
    // Where the window stood on X-Plane's screen before it left it.
    int screenLeft = 0, screenTop = 0;
};

struct FlightLoop {
    XPLMFlightLoop_f callback = nullptr;
    int phase = xplm_FlightLoop_Phase_BeforeFlightModel;
    void* refcon = nullptr;
    bool ownedByPlugin = false;
    // Not scheduled until XPLMScheduleFlightLoop says when.
    bool scheduled = false;
    // Due at this loop number or at this simulator time.
    bool dueByFrames = false;
    uint64_t dueFrame = 0;
    double dueSeconds = 0.0;
    double lastCallSeconds = -1.0;
    int counter = 0;
};

struct CommandHandler {
    XPLMCommandCallback_f callback = nullptr;
    int before = 1;
    void* refcon = nullptr;
    bool ownedByPlugin = false;
};

// A command outlives the plug-in that made it, as in X-Plane; its handlers
// do not.
struct Command {
    std::string name;
    std::string description;
    std::vector<CommandHandler> handlers;
};

struct MenuItem {
    std::string name;
    void* itemRef = nullptr;
    bool enabled = true;
    int check = 0;  // xplm_Menu_NoCheck, Unchecked or Checked
};

struct Menu {
    std::string name;
    XPLMMenuID parent = nullptr;
    int parentItem = 0;
    XPLMMenuHandler_f handler = nullptr;
    void* menuRef = nullptr;
    std::vector<MenuItem> items;
    bool ownedByPlugin = false;
};

struct HotKey {
    char virtualKey = 0;
    int flags = 0;
    std::string description;
    XPLMHotKey_f callback = nullptr;
    void* refcon = nullptr;
    bool ownedByPlugin = false;
};

struct DrawCallback {
    XPLMDrawCallback_f callback = nullptr;
    int phase = 0;
    int wantsBefore = 0;
    void* refcon = nullptr;
    bool ownedByPlugin = false;
    uint64_t serial = 0;  // tells a re-registration from the original
};

// A sound X-Plane's mixer holds, from XPLMPlayPCMOnBus until its end.
struct SoundChannel {
    const unsigned char* buffer = nullptr;
    uint32_t bytes = 0;
    int rateHz = 0;
    int channels = 0;
    bool loop = false;
    XPLMPCMComplete_f callback = nullptr;
    void* refcon = nullptr;
    bool started = false;
    double playedSeconds = 0.0;
    size_t record = 0;  // its entry in playedSounds
    bool ownedByPlugin = false;
};

using PluginStartFn = int (*)(char*, char*, char*);
using PluginVoidFn = void (*)();
using PluginEnableFn = int (*)();
using PluginMessageFn = void (*)(XPLMPluginID, int, void*);

struct State {
    // Guards everything below except the atomics. Never held while plug-in
    // code runs: callbacks call SDK functions, and the plug-in's handshake
    // parks this thread in a callback while another thread calls them.
    mutable std::mutex mutex;

    std::thread::id simulatorThread;
    // How deeply the simulator's thread is inside plug-in code (entry points
    // and callbacks), and inside draw callbacks in particular.
    std::atomic<int> pluginCodeDepth{0};
    std::atomic<int> drawCallbackDepth{0};

    std::vector<std::unique_ptr<DataRef>> dataRefs;  // handles are these addresses
    std::unordered_map<std::string, DataRef*> dataRefsByName;
    // Names XPLMFindDataRef does not find, as an older X-Plane lacks them.
    std::set<std::string> hiddenDataRefs;

    // Handles of widgets, menus and hot keys come from one counter and are
    // never reused, so a stale or mixed-up id is always recognised.
    uintptr_t nextHandle = 0x10000;
    std::map<XPWidgetID, Widget> widgets;  // ids grow, so this is creation order
    std::map<XPLMMenuID, Menu> menus;
    std::map<XPLMHotKeyID, HotKey> hotKeys;
    std::vector<DrawCallback> drawCallbacks;  // registration order
    uint64_t nextDrawSerial = 1;
    std::map<XPLMFlightLoopID, FlightLoop> flightLoops;  // creation order
    std::map<XPLMCommandRef, Command> commands;
    std::map<XPLMWindowID, UnderlyingWindow> windows;

    // The plug-in. While pluginActive, registrations belong to it and are
    // dropped when it is unloaded.
    void* library = nullptr;
    bool pluginLoaded = false;
    bool pluginActive = false;
    bool pluginEnabled = false;
    PluginStartFn start = nullptr;
    PluginVoidFn stop = nullptr;
    PluginEnableFn enable = nullptr;
    PluginVoidFn disable = nullptr;
    PluginMessageFn receiveMessage = nullptr;
    std::string pluginName, pluginSignature, pluginDescription;
    std::string rootFolder;
    std::string workingFolderBeforeLoad;
    std::chrono::nanoseconds startDuration{0};
    std::chrono::nanoseconds stopDuration{0};

    // Display. The UI scale is X-Plane's "UI size" setting; X-Plane draws
    // nothing at all while a modal dialog or a loading screen is up.
    double uiScale = 1.0;
    bool drawing = true;
    // The root widget whose window is being drawn; null in draw callbacks.
    XPWidgetID paintingWindow = nullptr;

    // Frames.
    double framesPerSecond = 0.0;
    // Simulator time in seconds, the sum of the frames' seconds.
    double simulatorSeconds = 0.0;
    // Counts the frames' flight-loop passes: a loop scheduled -n runs n
    // passes after the current one.
    uint64_t loopNumber = 0;
    // The time each frame spent in the plug-in's flight loops, draw
    // callbacks and windows.
    std::vector<std::chrono::nanoseconds> pluginFrameDurations;
    std::chrono::nanoseconds currentPluginFrame{0};
    std::function<void()> frameEndHook;
    uint64_t frameCount = 0;
    bool haveFrameStart = false;
    std::chrono::steady_clock::time_point lastFrameStart;
    std::vector<std::chrono::nanoseconds> drawDurations;
    // The texts drawn, the first ...Count of each list: the entries behind
    // them keep their strings' room for the frames to come, so that the
    // recording costs a plug-in that draws no allocation of its own.
    std::vector<DrawnText> currentFrameTexts;
    std::vector<DrawnText> lastFrameTexts;
    size_t currentFrameCount = 0;
    size_t lastFrameCount = 0;
    std::vector<std::string> spokenTexts;
    std::function<void(double)> frameHook;
    double fixedFrameSeconds = 0.0;
    std::vector<int> messagesSent;

    // The X-Plane played: 12 by default; 11 has no mixer for plug-ins and no
    // native widget windows.
    int xplaneVersion = 12;
    // Sounds (SdkSound.cpp), by channel handle, and every sound played.
    std::map<void*, SoundChannel> soundChannels;
    std::vector<PlayedSound> playedSounds;
    // X-Plane's system services (SdkSystem.cpp): its folder while a plug-in
    // runs, the plug-in's file, the features it enabled, its Log.txt, and
    // the plug-in's working folder, which is never X-Plane's.
    std::string systemFolder;
    std::string pluginFile;
    std::set<std::string> enabledFeatures;
    std::string xplaneLog;
    std::string workingFolder;

    // What went wrong.
    std::vector<DataRefMisuse> dataRefMisuses;
    std::vector<std::string> threadViolations;
    std::vector<std::string> sdkMisuses;
};

// The one state of the process. Never destroyed: a plug-in thread that
// outlives main() still finds it.
State& state();

bool onSimulatorThread();
std::string handleText(const void* handle);

// Records with the state lock held.
void recordDataRefMisuse(State& s, const std::string& dataRef, const char* accessor,
                         const char* reason);
void recordSdkMisuse(State& s, const std::string& text);

// Every exported SDK function starts with one of these: it takes the state
// lock and records a call from another thread made while the simulator's
// thread is not inside plug-in code.
class SdkCall {
public:
    explicit SdkCall(const char* function);
    State& s;
    std::unique_lock<std::mutex> lock;
};

// Marks the simulator's thread as inside plug-in code while it calls an
// entry point or a callback. Other threads calling back into the SDK from
// there (X-Plane dispatches widget messages on the caller's thread) are not
// counted.
class PluginCodeScope {
public:
    explicit PluginCodeScope(bool drawCallback = false);
    ~PluginCodeScope();
    PluginCodeScope(const PluginCodeScope&) = delete;
    PluginCodeScope& operator=(const PluginCodeScope&) = delete;

private:
    bool m_counted;
    bool m_drawCallback;
};

// Widget message dispatch, called without the state lock. Each widget's
// callbacks run from the most recently added to the oldest until one returns
// 1. Returns whether a callback handled the message.
bool dispatchDirect(XPWidgetID widget, int message, intptr_t param1, intptr_t param2);
bool dispatchUpChain(XPWidgetID widget, int message, intptr_t param1, intptr_t param2);
// Every callback of the widget, handled or not.
void dispatchDirectAllCallbacks(XPWidgetID widget, int message, intptr_t param1, intptr_t param2);

// The frame's work, called without the state lock: the flight loops of
// one phase, and the drawing of every shown window's widgets.
void runFlightLoops(int phase, double frameSeconds);
void drawWidgetWindows();
// Whether a root widget made now lives in a modern window. Lock held.
bool makesNativeWindow(const State& s);
// Adds the time spent in plug-in code to the frame's total. Lock not held.
void countPluginTime(std::chrono::nanoseconds spent);

// The widget behind an id, or null (recorded as a misuse of the function).
Widget* findWidget(State& s, XPWidgetID widget, const char* function);
// Removes one widget from the tree; its children stay, without a container.
void eraseWidget(State& s, XPWidgetID widget);

// A fresh handle for a widget, menu or hot key.
void* newHandle(State& s);

// X-Plane's audio update at the start of a frame: sounds handed over since
// the last one start, the others play on for the frame's seconds, and those
// that have played out report their end. Lock not held.
void updateSound(double frameSeconds);
// The mixer's state back to X-Plane 12 with nothing played. Lock held.
void resetSound(State& s);
// Sounds the plug-in left playing when it is unloaded: recorded as misuses
// and dropped, their ends never reported. Lock held.
void dropPluginSounds(State& s);
// A fresh, empty folder under the system's temporary folder for the plug-in
// to run in; the one made before is removed, and the last one at exit.
// Empty, with why in *error, when none can be made.
std::string makeWorkingFolder(std::string* error);
// Forgets the features, the log and the plug-in's file; the lock held.
void resetSystemServices(State& s);

// Throws std::logic_error when the caller is not the simulator's thread:
// driving the simulator from elsewhere would run plug-in callbacks on a thread
// X-Plane never uses for them.
void requireSimulatorThread(const char* operation);

}  // namespace testbed::detail
