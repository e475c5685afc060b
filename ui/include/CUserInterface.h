// The client's user interface, independent of the platform: it owns the
// window's controls through the object manager and turns the pilot's button
// presses into the flight workflow.
//
// Threads: buttonEvent() and everything it starts run on the client thread;
// text() runs on the simulator's thread inside the draw callback.
#pragma once

#include <memory>
#include <vector>

#include "CObjectManager.h"

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

protected:
    // Takes ownership and registers the control with the object manager.
    CUserInterfaceObject* addObject(std::unique_ptr<CUserInterfaceObject> object);

    CObjectManager m_objectManager;
    std::vector<std::unique_ptr<CUserInterfaceObject>> m_objects;
};
