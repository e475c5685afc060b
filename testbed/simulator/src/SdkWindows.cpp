// X-Plane's windows as a pilot meets them: the modern window behind a root
// widget (native widget windows), its positioning modes (on the screen,
// popped out into an OS window of its own, in the VR headset), the UI scale,
// and the drawing of every shown window's widgets each drawn frame.
#include <algorithm>

#include "SimulatorState.h"
#include "XPLMDisplay.h"
#include "XPWidgets.h"

namespace testbed::detail {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kNativeWidgetWindows = "XPLM_USE_NATIVE_WIDGET_WINDOWS";
// Moves a widget and everything inside it. Lock held.
void shiftTree(State& s, XPWidgetID widget, int dx, int dy) {
    const auto found = s.widgets.find(widget);
    if (found == s.widgets.end()) {
        return;
    }
    Widget& w = found->second;
    w.left += dx;
    w.right += dx;
    w.top += dy;
    w.bottom += dy;
    for (XPWidgetID child : w.children) {
        shiftTree(s, child, dx, dy);
    }
}

bool vrOn(const State& s) {
    const auto found = s.dataRefsByName.find("sim/graphics/VR/enabled");
    return found != s.dataRefsByName.end() && found->second->value.intValue != 0;
}

// Sends Paint, else Draw, to one shown widget, then draws its shown children
// in creation order, each on top of the ones before. Lock not held.
void paint(XPWidgetID widget, XPWidgetID window) {
    State& s = state();
    std::vector<XPWidgetFunc_t> callbacks;
    std::vector<XPWidgetID> children;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        const auto found = s.widgets.find(widget);
        if (found == s.widgets.end() || !found->second.visible) {
            return;
        }
        callbacks.assign(found->second.callbacks.rbegin(), found->second.callbacks.rend());
        children = found->second.children;
    }
    const auto send = [&](int message) {
        for (XPWidgetFunc_t callback : callbacks) {
            const auto start = Clock::now();
            int handled = 0;
            {
                PluginCodeScope inDrawing(true);
                handled = callback(message, widget, 0, 0);
            }
            countPluginTime(
                std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - start));
            if (handled != 0) {
                return true;
            }
        }
        return false;
    };
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.paintingWindow = window;
    }
    // A widget that handles Paint has drawn its children itself.
    if (send(xpMsg_Paint)) {
        return;
    }
    send(xpMsg_Draw);
    for (XPWidgetID child : children) {
        paint(child, window);
    }
}

}  // namespace

bool makesNativeWindow(const State& s) {
    return s.enabledFeatures.count(kNativeWidgetWindows) != 0;
}

void drawWidgetWindows() {
    State& s = state();
    std::vector<XPWidgetID> roots;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        const bool vr = vrOn(s);
        for (const auto& [id, widget] : s.widgets) {
            if (widget.parent != nullptr || !widget.visible) {
                continue;
            }
            // A window left in the headset is seen by nobody once VR is off.
            const auto window =
                std::find_if(s.windows.begin(), s.windows.end(),
                             [&](const auto& entry) { return entry.second.root == id; });
            if (window != s.windows.end() && window->second.positioningMode == xplm_WindowVR &&
                !vr) {
                continue;
            }
            roots.push_back(id);
        }
    }
    for (XPWidgetID root : roots) {
        paint(root, root);
    }
    std::lock_guard<std::mutex> lock(s.mutex);
    s.paintingWindow = nullptr;
}

}  // namespace testbed::detail

using namespace testbed::detail;

namespace testbed {

void Simulator::setUiScale(double scale) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().uiScale = std::clamp(scale, 1.0, 2.0);
}

double Simulator::uiScale() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().uiScale;
}

void Simulator::setDrawing(bool drawing) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().drawing = drawing;
}

bool Simulator::isNativeWindow(XPWidgetID root) const {
    std::lock_guard<std::mutex> lock(state().mutex);
    const auto found = state().widgets.find(root);
    return found != state().widgets.end() && found->second.native;
}

int Simulator::windowPositioningMode(XPWidgetID root) const {
    std::lock_guard<std::mutex> lock(state().mutex);
    for (const auto& [id, window] : state().windows) {
        if (window.root == root) {
            return window.positioningMode;
        }
    }
    return xplm_WindowPositionFree;
}

void Simulator::moveWindow(XPWidgetID root, int dx, int dy) {
    std::lock_guard<std::mutex> lock(state().mutex);
    shiftTree(state(), root, dx, dy);
}

int Simulator::flightLoopCount() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return static_cast<int>(state().flightLoops.size());
}

const std::vector<std::chrono::nanoseconds>& Simulator::pluginFrameDurations() const {
    // Appended only by the simulator's thread inside runFrames.
    return state().pluginFrameDurations;
}

void Simulator::clearPluginFrameDurations() {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().pluginFrameDurations.clear();
}

void Simulator::setFrameEndHook(std::function<void()> hook) {
    std::lock_guard<std::mutex> lock(state().mutex);
    state().frameEndHook = std::move(hook);
}

double Simulator::simulatorSeconds() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().simulatorSeconds;
}

}  // namespace testbed

extern "C" {

WIDGET_API XPLMWindowID XPGetWidgetUnderlyingWindow(XPWidgetID inWidget) {
    SdkCall call("XPGetWidgetUnderlyingWindow");
    const Widget* widget = findWidget(call.s, inWidget, "XPGetWidgetUnderlyingWindow");
    if (widget == nullptr) {
        return nullptr;
    }
    if (widget->parent != nullptr) {
        recordSdkMisuse(call.s, "XPGetWidgetUnderlyingWindow: " + handleText(inWidget) +
                                    " is not a root widget");
        return nullptr;
    }
    for (const auto& [id, window] : call.s.windows) {
        if (window.root == inWidget) {
            return id;
        }
    }
    XPLMWindowID id = newHandle(call.s);
    UnderlyingWindow window;
    window.root = inWidget;
    call.s.windows.emplace(id, window);
    return id;
}

XPLM_API void XPLMSetWindowPositioningMode(XPLMWindowID inWindowID,
                                           XPLMWindowPositioningMode inPositioningMode,
                                           int /*inMonitorIndex*/) {
    SdkCall call("XPLMSetWindowPositioningMode");
    const auto found = call.s.windows.find(inWindowID);
    if (found == call.s.windows.end()) {
        recordSdkMisuse(call.s,
                        "XPLMSetWindowPositioningMode: unknown window " + handleText(inWindowID));
        return;
    }
    UnderlyingWindow& window = found->second;
    const auto root = call.s.widgets.find(window.root);
    if (root == call.s.widgets.end() || !root->second.native) {
        // A legacy window stays where it is, whatever it is asked.
        return;
    }
    if (inPositioningMode == xplm_WindowVR && !vrOn(call.s)) {
        recordSdkMisuse(call.s, "XPLMSetWindowPositioningMode: xplm_WindowVR while VR is off");
        return;
    }
    const int before = window.positioningMode;
    if (before == inPositioningMode) {
        return;
    }
    Widget& w = root->second;
    if (before == xplm_WindowPositionFree) {
        // Out of X-Plane's screen: in its own OS window or the headset, with
        // its bottom-left corner at that surface's origin.
        window.screenLeft = w.left;
        window.screenTop = w.top;
        shiftTree(call.s, window.root, -w.left, -w.bottom);
    } else if (inPositioningMode == xplm_WindowPositionFree) {
        shiftTree(call.s, window.root, window.screenLeft - w.left, window.screenTop - w.top);
    }
    window.positioningMode = inPositioningMode;
}

XPLM_API int XPLMWindowIsPoppedOut(XPLMWindowID inWindowID) {
    SdkCall call("XPLMWindowIsPoppedOut");
    const auto found = call.s.windows.find(inWindowID);
    return found != call.s.windows.end() && found->second.positioningMode == xplm_WindowPopOut;
}

XPLM_API int XPLMWindowIsInVR(XPLMWindowID inWindowID) {
    SdkCall call("XPLMWindowIsInVR");
    const auto found = call.s.windows.find(inWindowID);
    return found != call.s.windows.end() && found->second.positioningMode == xplm_WindowVR;
}

}  // extern "C"
