// X-Plane's widget library: the widget tree, properties, descriptors,
// visibility, callbacks and the messages the library sends on its own.
#include <algorithm>
#include <cstring>

#include "SimulatorState.h"
#include "XPWidgets.h"

namespace testbed::detail {

namespace {

// The callbacks to try for one widget, newest first, copied so that no lock
// is held while they run; empty when the widget is gone.
std::vector<XPWidgetFunc_t> callbacksNewestFirst(XPWidgetID widget) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    const auto found = s.widgets.find(widget);
    if (found == s.widgets.end()) {
        return {};
    }
    return {found->second.callbacks.rbegin(), found->second.callbacks.rend()};
}

}  // namespace

bool dispatchDirect(XPWidgetID widget, int message, intptr_t param1, intptr_t param2) {
    for (XPWidgetFunc_t callback : callbacksNewestFirst(widget)) {
        PluginCodeScope inPluginCode;
        if (callback(message, widget, param1, param2) != 0) {
            return true;
        }
    }
    return false;
}

bool dispatchUpChain(XPWidgetID widget, int message, intptr_t param1, intptr_t param2) {
    XPWidgetID current = widget;
    while (current != nullptr) {
        if (dispatchDirect(current, message, param1, param2)) {
            return true;
        }
        State& s = state();
        std::lock_guard<std::mutex> lock(s.mutex);
        const auto found = s.widgets.find(current);
        // A callback may have destroyed the widget: the chain ends there.
        current = found == s.widgets.end() ? nullptr : found->second.parent;
    }
    return false;
}

void dispatchDirectAllCallbacks(XPWidgetID widget, int message, intptr_t param1, intptr_t param2) {
    for (XPWidgetFunc_t callback : callbacksNewestFirst(widget)) {
        PluginCodeScope inPluginCode;
        callback(message, widget, param1, param2);
    }
}

Widget* findWidget(State& s, XPWidgetID widget, const char* function) {
    const auto found = s.widgets.find(widget);
    if (found == s.widgets.end()) {
        recordSdkMisuse(s, std::string(function) + ": unknown widget " + handleText(widget));
        return nullptr;
    }
    return &found->second;
}

void eraseWidget(State& s, XPWidgetID widget) {
    const auto found = s.widgets.find(widget);
    if (found == s.widgets.end()) {
        return;
    }
    const auto parent = s.widgets.find(found->second.parent);
    if (parent != s.widgets.end()) {
        auto& siblings = parent->second.children;
        siblings.erase(std::remove(siblings.begin(), siblings.end(), widget), siblings.end());
    }
    // Children that stay behind lose their container, as in X-Plane.
    for (XPWidgetID child : found->second.children) {
        const auto orphan = s.widgets.find(child);
        if (orphan != s.widgets.end()) {
            orphan->second.parent = nullptr;
        }
    }
    s.widgets.erase(found);
}

}  // namespace testbed::detail

using namespace testbed::detail;

namespace {

void collectDescendants(const State& s, XPWidgetID widget, std::vector<XPWidgetID>& out) {
    const auto found = s.widgets.find(widget);
    if (found == s.widgets.end()) {
        return;
    }
    for (XPWidgetID child : found->second.children) {
        out.push_back(child);
        collectDescendants(s, child, out);
    }
}

}  // namespace

extern "C" {

WIDGET_API XPWidgetID XPCreateWidget(int inLeft, int inTop, int inRight, int inBottom,
                                     int inVisible, const char* inDescriptor, int inIsRoot,
                                     XPWidgetID inContainer, XPWidgetClass inClass) {
    SdkCall call("XPCreateWidget");
    State& s = call.s;
    Widget widget;
    widget.widgetClass = inClass;
    widget.descriptor = inDescriptor != nullptr ? inDescriptor : "";
    widget.left = inLeft;
    widget.top = inTop;
    widget.right = inRight;
    widget.bottom = inBottom;
    widget.visible = inVisible != 0;
    widget.isRoot = inIsRoot != 0;
    widget.ownedByPlugin = s.pluginActive;
    if (inContainer != nullptr && findWidget(s, inContainer, "XPCreateWidget") != nullptr) {
        widget.parent = inContainer;
    }
    widget.native = widget.parent == nullptr && makesNativeWindow(s);
    XPWidgetID id = newHandle(s);
    if (widget.parent != nullptr) {
        s.widgets[widget.parent].children.push_back(id);
    }
    s.widgets.emplace(id, std::move(widget));
    return id;
}

WIDGET_API XPWidgetID XPCreateCustomWidget(int inLeft, int inTop, int inRight, int inBottom,
                                           int inVisible, const char* inDescriptor, int inIsRoot,
                                           XPWidgetID inContainer, XPWidgetFunc_t inCallback) {
    if (inCallback == nullptr) {
        SdkCall call("XPCreateCustomWidget");
        recordSdkMisuse(call.s, "XPCreateCustomWidget: null callback");
        return nullptr;
    }
    XPWidgetID id = XPCreateWidget(inLeft, inTop, inRight, inBottom, inVisible, inDescriptor,
                                   inIsRoot, inContainer, testbed::kCustomWidgetClass);
    {
        SdkCall call("XPCreateCustomWidget");
        call.s.widgets[id].callbacks.push_back(inCallback);
    }
    // The class function hears of its widget's creation first.
    PluginCodeScope inPluginCode;
    inCallback(kMsgCreate, id, 0, 0);
    return id;
}

WIDGET_API void XPDestroyWidget(XPWidgetID inWidget, int inDestroyChildren) {
    SdkCall call("XPDestroyWidget");
    if (findWidget(call.s, inWidget, "XPDestroyWidget") == nullptr) {
        return;
    }
    std::vector<XPWidgetID> children;
    if (inDestroyChildren != 0) {
        collectDescendants(call.s, inWidget, children);
    }
    call.lock.unlock();

    // Every callback hears of the destruction while the widget still exists;
    // param1 tells an explicit destruction (0) from one through a parent (1).
    dispatchDirectAllCallbacks(inWidget, kMsgDestroy, 0, 0);
    for (XPWidgetID child : children) {
        dispatchDirectAllCallbacks(child, kMsgDestroy, 1, 0);
    }

    std::lock_guard<std::mutex> lock(call.s.mutex);
    for (auto child = children.rbegin(); child != children.rend(); ++child) {
        eraseWidget(call.s, *child);
    }
    eraseWidget(call.s, inWidget);
}

WIDGET_API void XPSetWidgetProperty(XPWidgetID inWidget, XPWidgetPropertyID inProperty,
                                    intptr_t inValue) {
    SdkCall call("XPSetWidgetProperty");
    Widget* widget = findWidget(call.s, inWidget, "XPSetWidgetProperty");
    if (widget == nullptr) {
        return;
    }
    widget->properties[inProperty] = inValue;
    call.lock.unlock();
    dispatchDirect(inWidget, kMsgPropertyChanged, inProperty, inValue);
}

WIDGET_API intptr_t XPGetWidgetProperty(XPWidgetID inWidget, XPWidgetPropertyID inProperty,
                                        int* inExists) {
    SdkCall call("XPGetWidgetProperty");
    if (inExists != nullptr) {
        *inExists = 0;
    }
    const Widget* widget = findWidget(call.s, inWidget, "XPGetWidgetProperty");
    if (widget == nullptr) {
        return 0;
    }
    const auto found = widget->properties.find(inProperty);
    if (found == widget->properties.end()) {
        return 0;
    }
    if (inExists != nullptr) {
        *inExists = 1;
    }
    return found->second;
}

WIDGET_API void XPGetWidgetGeometry(XPWidgetID inWidget, int* outLeft, int* outTop, int* outRight,
                                    int* outBottom) {
    SdkCall call("XPGetWidgetGeometry");
    const Widget* widget = findWidget(call.s, inWidget, "XPGetWidgetGeometry");
    if (widget == nullptr) {
        return;
    }
    if (outLeft != nullptr) *outLeft = widget->left;
    if (outTop != nullptr) *outTop = widget->top;
    if (outRight != nullptr) *outRight = widget->right;
    if (outBottom != nullptr) *outBottom = widget->bottom;
}

WIDGET_API int XPGetWidgetDescriptor(XPWidgetID inWidget, char* outDescriptor,
                                     int inMaxDescLength) {
    SdkCall call("XPGetWidgetDescriptor");
    const Widget* widget = findWidget(call.s, inWidget, "XPGetWidgetDescriptor");
    if (widget == nullptr) {
        return 0;
    }
    const int length = static_cast<int>(widget->descriptor.size());
    if (outDescriptor != nullptr && inMaxDescLength > 0) {
        // strncpy semantics, as X-Plane documents: the whole buffer is written,
        // and a descriptor that fills it is not terminated.
        std::strncpy(outDescriptor, widget->descriptor.c_str(),
                     static_cast<size_t>(inMaxDescLength));
    }
    return length;
}

WIDGET_API void XPSetWidgetDescriptor(XPWidgetID inWidget, const char* inDescriptor) {
    SdkCall call("XPSetWidgetDescriptor");
    Widget* widget = findWidget(call.s, inWidget, "XPSetWidgetDescriptor");
    if (widget == nullptr) {
        return;
    }
    widget->descriptor = inDescriptor != nullptr ? inDescriptor : "";
    call.lock.unlock();
    dispatchDirect(inWidget, kMsgDescriptorChanged, 0, 0);
}

WIDGET_API void XPAddWidgetCallback(XPWidgetID inWidget, XPWidgetFunc_t inNewCallback) {
    SdkCall call("XPAddWidgetCallback");
    Widget* widget = findWidget(call.s, inWidget, "XPAddWidgetCallback");
    if (widget == nullptr) {
        return;
    }
    if (inNewCallback == nullptr) {
        recordSdkMisuse(call.s, "XPAddWidgetCallback: null callback");
        return;
    }
    widget->callbacks.push_back(inNewCallback);
    call.lock.unlock();
    // A function attached to an existing widget hears of it as a subclass.
    PluginCodeScope inPluginCode;
    inNewCallback(kMsgCreate, inWidget, 1, 0);
}

WIDGET_API void XPShowWidget(XPWidgetID inWidget) {
    SdkCall call("XPShowWidget");
    Widget* widget = findWidget(call.s, inWidget, "XPShowWidget");
    if (widget == nullptr || widget->visible) {
        return;
    }
    widget->visible = true;
    call.lock.unlock();
    dispatchUpChain(inWidget, kMsgShown, reinterpret_cast<intptr_t>(inWidget), 0);
}

WIDGET_API void XPHideWidget(XPWidgetID inWidget) {
    SdkCall call("XPHideWidget");
    Widget* widget = findWidget(call.s, inWidget, "XPHideWidget");
    if (widget == nullptr || !widget->visible) {
        return;
    }
    widget->visible = false;
    call.lock.unlock();
    dispatchUpChain(inWidget, kMsgHidden, reinterpret_cast<intptr_t>(inWidget), 0);
}

WIDGET_API int XPIsWidgetVisible(XPWidgetID inWidget) {
    SdkCall call("XPIsWidgetVisible");
    const Widget* widget = findWidget(call.s, inWidget, "XPIsWidgetVisible");
    return widget != nullptr && widget->visible ? 1 : 0;
}

}  // extern "C"
