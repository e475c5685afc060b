// The user interface on X-Plane: builds the window's controls as widgets,
// maps widgets back to object ids and draws text into the main window.
//
// Threads: initialize(), getObjectWithXpId(), hideMainWindow() and the text
// drawing run on the simulator's thread; the rest as in CUserInterface.
#pragma once

#include <memory>
#include <string>

#include "CUserInterface.h"
#include "XPWidgetDefs.h"

class CThreadSync;
class CUserInterfaceObjectXp;

class CUserInterfaceXp : public CUserInterface {
public:
    // Object id of the "Exit" button: a press hides the window at once.
    static constexpr int kExitButtonId = 0;

    CUserInterfaceXp();
    ~CUserInterfaceXp() override;

    // Builds the controls inside the main window. Called once from the
    // plug-in's start, before the client thread exists.
    void initialize(XPWidgetID window, CThreadSync* threadSync);

    CUserInterfaceObjectXp* getObjectWithXpId(XPWidgetID widget) const;
    void hideMainWindow();
    XPWidgetID getMainWindow() const { return m_window; }
    CThreadSync* getThreadSync() const { return m_pThreadSync; }

    // Draws text at (x, y) from the window's top-left corner, y down; a
    // right-aligned text ends at x.
    void textOut(int x, int y, const char* text, bool rightAligned);
    void textOut(int x, int y, const std::string& text, bool rightAligned);

private:
    XPWidgetID m_window = nullptr;
    CThreadSync* m_pThreadSync = nullptr;
};
