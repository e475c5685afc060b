// The client module's mailbox: the simulator's thread only posts; every
// effect happens on the client thread.
#include "CClientModule.h"

#include <string>

#include "CFlightSimulatorInterface.h"
#include "CLogger.h"
#include "CObjectManager.h"
#include "CSound.h"
#include "CUserInterface.h"
#include "CUserInterfaceObject.h"

CClientModule::CClientModule(CUserInterface& ui, void* parentWindow) : CClient(ui, parentWindow) {}

CClientModule::~CClientModule() = default;

void CClientModule::buttonEvent(int id) {
    std::lock_guard<std::mutex> lock(m_lock);
    m_nButtonEvent = id;
}

void CClientModule::setAircraftCrashed() {
    std::lock_guard<std::mutex> lock(m_lock);
    m_bAircraftCrashed = true;
}

void CClientModule::repaint() {
    std::lock_guard<std::mutex> lock(m_lock);
    m_bRepaint = true;
}

void CClientModule::autoText() {
    std::lock_guard<std::mutex> lock(m_lock);
    m_bAutoText = true;
}

void CClientModule::invalidateRect() {
    std::lock_guard<std::mutex> lock(m_lock);
    m_bInvalidate = true;
}

int CClientModule::pendingButtonEvent() const {
    std::lock_guard<std::mutex> lock(m_lock);
    return m_nButtonEvent;
}

void CClientModule::checkMessages() {
    checkButtonEvent();
    checkAircraftCrashed();
}

void CClientModule::checkButtonEvent() {
    int id;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        if (m_nButtonEvent == -1) {
            return;
        }
        id = m_nButtonEvent;
    }
    // The handler runs without the lock so that the simulator's thread can
    // post meanwhile; an event posted while it runs is dropped below.
    CUserInterfaceObject* pObject = m_ui.getObjectManager().getObjectWithId(id);
    // A press can arrive from a control that the client has hidden while the
    // simulator's thread has not yet taken it off the screen: a second click
    // on "Fly!" would otherwise act on the screen after it.
    const bool offScreen = pObject != nullptr && !m_ui.getObjectManager().isShown(id);
    if (offScreen) {
        m_pLogger->debug("Press on a control the screen no longer shows ignored (ID=" +
                         std::to_string(id) + ")");
    }
    if (pObject != nullptr && (!pObject->isActive() || offScreen)) {
        std::lock_guard<std::mutex> lock(m_lock);
        m_nButtonEvent = -1;
        return;
    }
    if (pObject != nullptr && m_ui.getSound() != nullptr) {
        m_ui.getSound()->play(0u);
    }
    // The pilot pressed after typing: what the press changes in the fields
    // (a fuel figure loaded, a screen filled) may replace the typing.
    m_ui.getObjectManager().acceptPilotEdits();
    m_ui.buttonEvent(id);
    std::lock_guard<std::mutex> lock(m_lock);
    m_nButtonEvent = -1;
}

void CClientModule::checkAircraftCrashed() {
    std::lock_guard<std::mutex> lock(m_lock);
    if (!m_bAircraftCrashed) {
        return;
    }
    // Without a simulator interface yet the crash waits in the mailbox.
    if (CFlightSimulatorInterface* simulator = m_ui.getSimulator()) {
        simulator->setCrashed();
        m_bAircraftCrashed = false;
    }
}

bool CClientModule::checkInvalidateRect() {
    std::lock_guard<std::mutex> lock(m_lock);
    m_bInvalidate = false;
    return true;  // the caller redraws every time it asks
}
