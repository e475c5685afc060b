// The main window's widgets and where X-Plane keeps its window: on the
// screen, popped out, or in the VR headset.
#include "CPluginWindow.h"

#include <initializer_list>

#include "XPLMPlugin.h"
#include "XPStandardWidgets.h"
#include "XPWidgets.h"

namespace {

constexpr const char* kNativeWidgetWindows = "XPLM_USE_NATIVE_WIDGET_WINDOWS";

XPWidgetID createArea(XPWidgetID window, const char* descriptor, int left, int top, int right,
                      int bottom) {
    return XPCreateWidget(left, top, right, bottom, 1, descriptor, 0, window,
                          xpWidgetClass_SubWindow);
}

}  // namespace

XPWidgetID CPluginWindow::create() {
    // Only windows made after this follow the UI scale and can leave the
    // screen; X-Plane before 11.50 has legacy windows only.
    const bool native = XPLMHasFeature(kNativeWidgetWindows) != 0;
    if (native) {
        XPLMEnableFeature(kNativeWidgetWindows, 1);
    }
    m_window =
        XPCreateWidget(0, 380, 600, 0, 1, "Quelby Client", 1, nullptr, xpWidgetClass_MainWindow);
    XPSetWidgetProperty(m_window, xpProperty_MainWindowHasCloseBoxes, 1);
    XPHideWidget(m_window);

    XPWidgetID infoArea = createArea(m_window, "Info Area", 15, 305, 183, 160);
    XPWidgetID buttonArea = createArea(m_window, "Button Area", 15, 150, 183, 15);
    XPWidgetID mainArea = createArea(m_window, "Main Area", 193, 305, 585, 15);
    for (XPWidgetID area : {infoArea, buttonArea, mainArea}) {
        XPSetWidgetProperty(area, xpProperty_Refcon, 1);
    }
    m_underlying = native ? XPGetWidgetUnderlyingWindow(m_window) : nullptr;
    m_vrEnabled = XPLMFindDataRef("sim/graphics/VR/enabled");
    m_mode = xplm_WindowPositionFree;
    return m_window;
}

void CPluginWindow::destroy() {
    if (m_window != nullptr) {
        XPDestroyWidget(m_window, 1);
    }
    m_window = nullptr;
    m_underlying = nullptr;
    m_vrEnabled = nullptr;
    m_mode = xplm_WindowPositionFree;
}

void CPluginWindow::show() {
    if (m_window != nullptr) {
        XPShowWidget(m_window);
        // A window shown with the headset on goes there at once.
        if (canPopOut() && m_vrEnabled != nullptr && XPLMGetDatai(m_vrEnabled) != 0) {
            enteredVr();
        }
    }
}

void CPluginWindow::hide() {
    if (m_window != nullptr) {
        XPHideWidget(m_window);
    }
}

void CPluginWindow::toggle() {
    if (isVisible()) {
        hide();
    } else {
        show();
    }
}

bool CPluginWindow::isVisible() const { return m_window != nullptr && XPIsWidgetVisible(m_window); }

void CPluginWindow::togglePopOut() {
    if (!canPopOut() || m_mode == xplm_WindowVR) {
        return;
    }
    if (m_mode == xplm_WindowPopOut) {
        setMode(xplm_WindowPositionFree);
        return;
    }
    XPShowWidget(m_window);
    setMode(xplm_WindowPopOut);
}

// No frame reads the VR dataref: X-Plane's messages come when it matters.
void CPluginWindow::enteredVr() {
    if (canPopOut() && m_mode != xplm_WindowVR && isVisible()) {
        setMode(xplm_WindowVR);
    }
}

void CPluginWindow::exitingVr() {
    // The dataref still says VR here: X-Plane leaves it after this message.
    if (m_mode == xplm_WindowVR) {
        setMode(xplm_WindowPositionFree);
    }
}

void CPluginWindow::setMode(int mode) {
    XPLMSetWindowPositioningMode(m_underlying, mode, -1);
    m_mode = mode;
}
