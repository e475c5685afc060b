// A control of the client's window bound to an X-Plane widget.
//
// Threads: built on the simulator's thread; its widget calls are made on the
// simulator's thread or on the client thread inside the handshake.
#pragma once

#include <optional>

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
    // X-Plane greys an inactive control out and sends it no clicks.
    void activate() override;
    void deactivate() override;

    XPWidgetID getXpId() const { return m_xpId; }

    // The handshake the client thread's widget calls go through; without one
    // (the window used on the simulator's thread alone) calls go straight.
    static void setThreadSync(CThreadSync* threadSync) { s_pThreadSync = threadSync; }

    // Widget access for the calling thread: a bracket of the handshake on
    // the client thread, nothing on the simulator's thread or inside a
    // bracket already held. Not granted once the plug-in stops.
    class CAccess {
    public:
        CAccess() {
            if (s_pThreadSync != nullptr) m_bracket.emplace(s_pThreadSync);
        }
        bool granted() const { return !m_bracket || m_bracket->granted(); }

    private:
        std::optional<CSimulatorBracket> m_bracket;
    };

private:
    void setEnabled(bool enabled);

    static CThreadSync* s_pThreadSync;
    XPWidgetID m_xpId = nullptr;
};
