// The client's user interface, independent of the platform: it owns the
// window's controls through the object manager and turns the pilot's button
// presses into the flight workflow.
//
// Threads: buttonEvent() and everything it starts run on the client thread;
// text() runs on the simulator's thread inside the draw callback.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "CObjectManager.h"

class CClientInterface;
class CLogger;
class CUserInterfaceObject;

class CUserInterface {
public:
    CUserInterface();
    virtual ~CUserInterface();
    CUserInterface(const CUserInterface&) = delete;
    CUserInterface& operator=(const CUserInterface&) = delete;

    CObjectManager& getObjectManager() { return m_objectManager; }

    // A pressed control or hot-key event, by object id.
    virtual void buttonEvent(int id);
    // Draws the text panel of the current screen into the window.
    virtual void text();
    // Ends the flight from outside the button flow (the cheat detector): the
    // reason is logged as a warning.
    virtual void abortFlight(std::string& reason);

    // The booked flight's records; not owned, null until set.
    CClientInterface* getClientInterface() const { return m_pClient; }
    void setClientInterface(CClientInterface* client) { m_pClient = client; }

protected:
    // Takes ownership and registers the control with the object manager.
    CUserInterfaceObject* addObject(std::unique_ptr<CUserInterfaceObject> object);

    std::unique_ptr<CLogger> m_pLogger;
    CObjectManager m_objectManager;
    std::vector<std::unique_ptr<CUserInterfaceObject>> m_objects;
    CClientInterface* m_pClient = nullptr;
};
