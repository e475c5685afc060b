// The client module: the mailbox through which the simulator's thread hands
// button presses and the crash message to the client thread.
//
// Threads: the posting operations (buttonEvent, setAircraftCrashed, repaint,
// autoText, invalidateRect) may be called from any thread, in practice the
// simulator's; checkMessages() and the other consuming operations run on the
// client thread.
#pragma once

#include <memory>
#include <mutex>

#include "CClient.h"

class CUserInterface;

class CClientModule : public CClient {
public:
    CClientModule(CUserInterface& ui, void* parentWindow);
    ~CClientModule();
    CClientModule(const CClientModule&) = delete;
    CClientModule& operator=(const CClientModule&) = delete;

    // Posting. The mailbox holds one button event: a second press before the
    // client thread has taken the first replaces it.
    void buttonEvent(int id);
    void setAircraftCrashed();
    void repaint();
    void autoText();
    void invalidateRect();

    // Consuming, on the client thread.
    void checkMessages();
    // Plays the click for an active control and runs the workflow step.
    void checkButtonEvent();
    // A posted crash marks the aircraft record as crashed.
    void checkAircraftCrashed();
    bool checkInvalidateRect();
    // Nothing to do on this platform.
    void checkRepaint() {}
    void checkAutoText() {}
    void checkDrawObject() {}
    void drawObject(long*) {}

    int pendingButtonEvent() const;

private:
    mutable std::mutex m_lock;  // guards the fields below
    int m_nButtonEvent = -1;
    bool m_bRepaint = false;
    bool m_bAutoText = false;
    bool m_bAircraftCrashed = false;
    bool m_bInvalidate = false;
};
