// The pilot's window as X-Plane shows it: a main window widget with its three
// areas, in a modern window where X-Plane has native widget windows (it then
// follows the pilot's UI size, pops out into an OS window of its own and
// goes into the VR headset), in a legacy one elsewhere.
//
// Threads: the simulator's thread only.
#pragma once

#include "XPLMDataAccess.h"
#include "XPLMDisplay.h"
#include "XPWidgetDefs.h"

class CPluginWindow {
public:
    // Switches native widget windows on where X-Plane has them, then makes
    // the main window (hidden) and its areas.
    XPWidgetID create();
    // Destroys the window with its areas and controls.
    void destroy();
    XPWidgetID widget() const { return m_window; }

    void show();
    void hide();
    void toggle();
    bool isVisible() const;

    // Whether the window can leave X-Plane's screen (native widget windows).
    bool canPopOut() const { return m_underlying != nullptr; }
    bool isPoppedOut() const { return m_mode == xplm_WindowPopOut; }
    // Into an OS window of its own, shown, or back onto X-Plane's screen.
    // Nothing happens in VR or where the window cannot pop out.
    void togglePopOut();
    // X-Plane says when VR begins and before it ends: a shown window goes
    // into the headset, and one there comes back onto the screen.
    void enteredVr();
    void exitingVr();

private:
    void setMode(int mode);

    XPWidgetID m_window = nullptr;
    XPLMWindowID m_underlying = nullptr;
    XPLMDataRef m_vrEnabled = nullptr;
    int m_mode = xplm_WindowPositionFree;
};
