// A control of the client's window bound to an X-Plane widget.
//
// Threads: built on the simulator's thread. Called on the client thread, a
// change is handed to the simulator's thread and a read waits for its answer
// from there; on the simulator's thread both happen at once.
#pragma once

#include <atomic>
#include <functional>
#include <string>

#include "CThreadSync.h"
#include "CUserInterfaceObject.h"
#include "XPWidgetDefs.h"

class CUserInterfaceObjectXp : public CUserInterfaceObject {
public:
    // Option 32 makes a text field a password field.
    static constexpr int kPasswordOption = 32;

    CUserInterfaceObjectXp(int x, int y, int width, int height, int kind, const char* caption,
                           int option, XPWidgetID parentWindow, int id, int layer, int unused);
    ~CUserInterfaceObjectXp() override;

    const char* getText() override;
    void setText(const char* text) override;
    double getValue() override;
    bool getCheckBox() override;
    void setCheckBox(bool checked) override;
    void show() override;
    void hide() override;
    bool readText(std::string& text) override;
    bool readCheckBox(bool& checked) override;
    void acceptPilotEdits() override;
    // The pilot changed the field's text (X-Plane's text-field message); on
    // the simulator's thread. A text the client set before it saw this
    // change is then not written over it.
    void notePilotEdit();
    // X-Plane greys an inactive control out and sends it no clicks.
    void activate() override;
    void deactivate() override;

    XPWidgetID getXpId() const { return m_xpId; }

    // The handshake the client thread's widget calls go through; without one
    // (the window used on the simulator's thread alone) calls go straight.
    static void setThreadSync(CThreadSync* threadSync) { s_pThreadSync = threadSync; }
    static CThreadSync* threadSync() { return s_pThreadSync; }

private:
    void setEnabled(bool enabled);
    // A change: handed over, or made at once where it may be. False once the
    // plug-in stops.
    static bool change(std::function<void()> job);
    // A read: made on the simulator's thread while the caller waits. False,
    // without reading, once the plug-in stops.
    static bool read(const std::function<void()>& job);

    static CThreadSync* s_pThreadSync;
    // True while the plug-in itself sets a field's text, in case X-Plane
    // reports that change as typing too; the simulator's thread only.
    static bool s_bSettingText;
    XPWidgetID m_xpId = nullptr;
    // The pilot's changes to the text, counted on the simulator's thread,
    // and the count the client had seen when it last read the field or
    // took the pilot's edits as known (the client thread's).
    std::atomic<unsigned> m_pilotEdits{0};
    unsigned m_editsSeen = 0;
};
