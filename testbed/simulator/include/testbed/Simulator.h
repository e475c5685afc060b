// The emulated X-Plane host: it implements the SDK functions the plug-in
// calls, loads the real plug-in binary with dlopen and drives it with a frame
// loop, the way X-Plane does. Tests and the command-line front end steer it
// through this class.
//
// Threads: everything here runs on the thread that constructed the simulator
// (the "simulator's thread"), except that SDK functions may also be called by
// another thread while the simulator's thread is inside a plug-in callback,
// parked there as the plug-in's handshake parks it in the draw callback. SDK
// calls from another thread at any other time are recorded as violations.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "XPWidgetDefs.h"

namespace testbed {

struct DrawnText {
    int x = 0;
    int y = 0;
    std::string text;
    int font = 0;
    float rgb[3] = {0, 0, 0};
    // The root widget whose window drew it; null for a draw callback, which
    // draws onto X-Plane's main screen only.
    XPWidgetID window = nullptr;
};

struct CommandInfo {
    std::string name;
    std::string description;
    int handlers = 0;
};

// The class the test bed gives a widget made with XPCreateCustomWidget: its
// callback is its class, and it draws what the plug-in draws.
constexpr int kCustomWidgetClass = -1;

struct HotKeyInfo {
    char virtualKey = 0;
    int flags = 0;
    std::string description;
};

struct WidgetInfo {
    XPWidgetID id = nullptr;
    int widgetClass = 0;
    std::string descriptor;
    int left = 0, top = 0, right = 0, bottom = 0;
    bool visible = false;  // the widget's own flag, as XPIsWidgetVisible reports it
    bool isRoot = false;
    XPWidgetID parent = nullptr;
};

// A read or write of a dataref with an accessor whose type the dataref does
// not have (X-Plane returns 0 or ignores the write), or of an unknown handle.
struct DataRefMisuse {
    std::string dataRef;   // name, or "<invalid handle>"
    std::string accessor;  // e.g. "XPLMGetDataf"
    // "wrong type", "read-only", "out of range" or "invalid handle".
    std::string reason;
};

// A sound the plug-in handed to X-Plane's mixer with XPLMPlayPCMOnBus.
struct PlayedSound {
    enum End { kNotEnded, kCompleted, kStopped, kRefused, kDroppedAtUnload };
    int bus = 0;
    int format = 0;
    int rateHz = 0;
    int channels = 0;
    bool loop = false;
    uint32_t bytes = 0;
    // pcmChecksum() of the bytes as handed over: tells which file it was.
    uint32_t checksum = 0;
    // The frame whose audio update started it; 0 while it waits.
    uint64_t startFrame = 0;
    End end = kNotEnded;
    // The status its completion callback was given.
    int status = 0;
};

// FNV-1a over the bytes: the checksum of a played sound.
uint32_t pcmChecksum(const void* data, size_t bytes);

class Simulator {
public:
    // There is one simulated X-Plane per process, as there is one X-Plane.
    static Simulator& instance();

    // Resets every piece of simulator state (datarefs to their initial
    // values and all found again, widgets, menus, hot keys, captured texts,
    // Log.txt, features, violations, frame rate 0); the root folder stays.
    // Throws std::logic_error when a plug-in is loaded.
    void reset();

    // The X-Plane root folder, which XPLMGetSystemPath names. Created when
    // missing. Unset, the process's working folder at the load is X-Plane's.
    void setRootFolder(const std::string& path);
    const std::string& rootFolder() const;
    // The working folder while a plug-in runs: never the root, since X-Plane
    // does not promise its own folder (on macOS it is "/"), but a fresh,
    // empty folder made at each load. It stays after the unload, for a test
    // to look into, until the next load or the end of the process; the
    // process's own working folder comes back at the unload.
    std::string workingFolder() const;

    // What the plug-in enabled with XPLMEnableFeature since it was loaded.
    // The features X-Plane knows: "XPLM_USE_NATIVE_PATHS" and
    // "XPLM_USE_NATIVE_WIDGET_WINDOWS".
    bool isFeatureEnabled(const std::string& name) const;
    // Everything XPLMDebugString wrote to X-Plane's Log.txt since reset().
    std::string xplaneLog() const;

    // Loads the plug-in binary (dlopen), calls XPluginStart and then
    // XPluginEnable. On failure returns false and says why in *error.
    bool loadPlugin(const std::string& xplPath, std::string* error = nullptr);
    // XPluginDisable, XPluginStop, then dlclose. Everything the plug-in left
    // registered is dropped, and its widgets are destroyed, as X-Plane does.
    void unloadPlugin();
    bool isPluginLoaded() const;
    // How long the last XPluginStart / XPluginStop call held the simulator.
    std::chrono::nanoseconds lastStartDuration() const;
    std::chrono::nanoseconds lastStopDuration() const;
    std::string pluginName() const;
    std::string pluginSignature() const;
    std::string pluginDescription() const;

    // Frame loop. A rate of 0 runs frames back to back; otherwise each frame
    // starts at least 1/rate seconds after the previous one.
    void setFrameRate(double framesPerSecond);
    void runFrames(int count);
    // Runs frames until the condition holds or the time-out passes; returns
    // whether the condition held.
    bool runUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout);
    uint64_t frameCount() const;
    // Called once per frame on the simulator's thread, before the draw
    // callbacks, with the real seconds the frame stands for: the time since
    // the previous frame started (1/rate, or 0 without a rate, for the first
    // frame), or the fixed value below. One hook at a time; an empty function
    // removes it; reset() removes it too.
    void setFrameHook(std::function<void(double realSeconds)> hook);
    // Makes every frame stand for exactly this many real seconds in the
    // frame hook, whatever the wall clock says, so that tests run simulated
    // time frame by frame and back to back. 0 (the default) measures.
    void setFixedFrameSeconds(double seconds);
    // Duration of every draw-callback call, in call order (one entry per
    // callback per frame).
    const std::vector<std::chrono::nanoseconds>& drawCallbackDurations() const;
    void clearDrawCallbackDurations();
    // What each frame spent in the plug-in's code: its flight loops, draw
    // callbacks and the drawing of its windows, one entry per frame.
    const std::vector<std::chrono::nanoseconds>& pluginFrameDurations() const;
    void clearPluginFrameDurations();
    // Called at the very end of every frame on the simulator's thread, after
    // the frame's entry in pluginFrameDurations(). One hook at a time; an
    // empty function removes it; reset() removes it too.
    void setFrameEndHook(std::function<void()> hook);
    // Simulator seconds since reset(): the sum of the frames' seconds.
    double simulatorSeconds() const;

    // Display. X-Plane's UI size (1.0 to 2.0): a native widget window is
    // drawn that much larger on the screen, a legacy one is not.
    void setUiScale(double scale);
    double uiScale() const;
    // False while X-Plane draws nothing (a modal dialog, a loading screen):
    // flight loops still run, but no draw callback and no window drawing.
    void setDrawing(bool drawing);

    // Whether a root widget lives in a modern window (native widget windows
    // were enabled when it was made).
    bool isNativeWindow(XPWidgetID root) const;
    // The positioning mode of a root widget's window (xplm_WindowPositionFree,
    // xplm_WindowPopOut, xplm_WindowVR...).
    int windowPositioningMode(XPWidgetID root) const;
    // The pilot drags a window on X-Plane's screen: it and its widgets move.
    void moveWindow(XPWidgetID root, int dx, int dy);
    int flightLoopCount() const;

    // Commands, as X-Plane's keyboard and joystick settings list them.
    std::vector<CommandInfo> commands() const;
    // A key or button bound to the command is pressed and released: its
    // handlers run for the begin and the end phase. False for an unknown
    // command.
    bool runCommand(const std::string& name);

    // Datarefs. The table holds what the plug-in reads and writes, with
    // X-Plane's types (a bit mask of xplmType_*).
    bool hasDataRef(const std::string& name) const;
    int dataRefTypes(const std::string& name) const;
    std::vector<std::pair<std::string, int>> dataRefTable() const;
    // Number of elements of an array dataref (bytes for a data dataref), 0
    // for a scalar.
    int dataRefArraySize(const std::string& name) const;
    // Whether X-Plane takes writes from plug-ins to this dataref.
    bool isDataRefWritable(const std::string& name) const;
    void setInt(const std::string& name, int value);
    void setFloat(const std::string& name, float value);
    void setDouble(const std::string& name, double value);
    void setFloatArray(const std::string& name, const std::vector<float>& values);
    void setBytes(const std::string& name, const std::string& bytes);
    int getInt(const std::string& name) const;
    float getFloat(const std::string& name) const;
    double getDouble(const std::string& name) const;
    std::vector<float> getFloatArray(const std::string& name) const;
    std::string getBytes(const std::string& name) const;
    std::vector<DataRefMisuse> dataRefMisuses() const;
    // XPLMFindDataRef no longer finds the name, as in an older X-Plane that
    // lacks it; the calls above still reach it. Until reset().
    void hideDataRef(const std::string& name);
    // Whether the part behind a failure dataref ("sim/operation/failures/
    // rel_...") is failed now. X-Plane reads these as a failure mode: only
    // 6 (inoperative) fails the part at once; 1 (mean time until failure)
    // leaves it to X-Plane's mean time between failures, which no flight of
    // the test bed reaches, and 2 to 5 wait for a time, speed, height or key.
    bool isFailed(const std::string& failureDataRef) const;
    // SDK calls made from another thread while the simulator's thread was
    // not parked in a callback: each entry names the function.
    std::vector<std::string> threadViolations() const;
    // Other calls X-Plane would ignore: unknown widget, menu or hot-key ids,
    // XPLMDestroyWindow on something that is not a window, drawing outside a
    // draw callback. Each entry names the function and what was wrong.
    std::vector<std::string> sdkMisuses() const;

    // Widgets.
    std::vector<WidgetInfo> widgets() const;
    XPWidgetID findWidgetByDescriptor(const std::string& descriptor) const;
    bool isWidgetVisible(XPWidgetID widget) const;        // own flag
    bool isWidgetShownOnScreen(XPWidgetID widget) const;  // it and all its parents visible
    intptr_t widgetProperty(XPWidgetID widget, int property, bool* exists = nullptr) const;
    // Clicks the visible, enabled button with this caption, as clickButton
    // does. Returns false when no such button is shown and enabled (a person
    // cannot press a greyed-out button, nor type into a greyed-out field
    // below).
    bool pressButton(const std::string& caption);
    // Clicks this button; for buttons that share a caption.
    bool pressButton(XPWidgetID button);
    // A mouse click on a button, as X-Plane's button behaviour (1301) makes
    // it: a push button (0) sends 1300 up its parents and keeps its state; a
    // check box (1) flips its state (1302) and sends 1301 with the new state;
    // a radio button (2) turns on and sends 1301 unless it was on already.
    // Returns false unless the button is shown and enabled.
    bool clickButton(XPWidgetID button);
    // Replaces a text field's text, as typing into it does: the field gets
    // its descriptor-changed message and 1400 goes up its parents. Returns
    // false unless it is a text field shown on screen.
    bool typeInto(XPWidgetID textField, const std::string& text);
    // Clicks the close box of a main window: message 1200 to that window.
    // Returns false unless the window is shown and has close boxes (1200).
    bool pushCloseBox(XPWidgetID mainWindow);

    // Menus and hot keys.
    std::vector<std::string> menuNames() const;
    std::vector<std::string> menuItems(const std::string& menuName) const;
    // False for an item that is greyed out (XPLMEnableMenuItem), as a
    // person cannot choose it.
    bool clickMenuItem(const std::string& menuName, const std::string& itemName);
    bool isMenuItemEnabled(const std::string& menuName, const std::string& itemName) const;
    // Whether the item carries a lit check mark (XPLMCheckMenuItem).
    bool isMenuItemChecked(const std::string& menuName, const std::string& itemName) const;
    std::vector<HotKeyInfo> hotKeys() const;
    bool pressHotKey(char virtualKey, int flags);
    int drawCallbackCount() const;

    // Messages to the plug-in (XPluginReceiveMessage), e.g. 101 plane crashed.
    void sendMessage(int message, void* param = nullptr);
    // Every message sendMessage was given since reset(), oldest first,
    // whether or not a plug-in was loaded to receive it.
    std::vector<int> messagesSent() const;
    // The pilot puts the VR headset on or takes it off, told as X-Plane
    // tells its plug-ins: XPLM_MSG_ENTERED_VR right after
    // sim/graphics/VR/enabled becomes 1, XPLM_MSG_EXITING_VR while it is
    // still 1, just before it becomes 0. Nothing is said if nothing changes.
    void setVr(bool on);

    // What the plug-in said and drew.
    std::vector<std::string> spokenTexts() const;
    // Texts drawn during the last complete frame.
    std::vector<DrawnText> lastFrameTexts() const;

    // The X-Plane played, by major version: 12 (the default, and again after
    // reset()) offers its mixer to plug-ins (XPLMPlayPCMOnBus and
    // XPLMStopAudio, found through XPLMFindSymbol) and native widget
    // windows; 11 does neither.
    void setXPlaneVersion(int major);
    int xplaneVersion() const;
    // Every sound handed to the mixer since reset(), oldest first.
    std::vector<PlayedSound> playedSounds() const;
    // How many sounds the mixer holds now, waiting to start or playing.
    int soundsHeld() const;

private:
    Simulator();
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;
};

}  // namespace testbed
