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

    // The screen shown: one of the menu layers 0 to 16.
    int getLayer() const { return m_nLayer; }
    // Stores the layer and shows its controls, every other screen's hidden;
    // layer 4 and layers above 16 hide nothing. Ends with a repaint.
    virtual void setMenuLayer(int layer);
    // Set on the fuel screens (layers 11, 13, 14).
    bool isFuelScreenActive() const { return m_bFuelScreenActive; }
    // Whether the logged-in pilot may fly (the pilot's Status at most 1).
    bool pilotMayFly() const;
    // Asks for the window to be drawn again. X-Plane draws the window every
    // frame, so there is nothing to ask for on this platform.
    virtual void repaint() {}

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
    int m_nLayer = 0;
    bool m_bFuelScreenActive = false;
};
