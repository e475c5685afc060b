// The client module's mailbox: the simulator's thread only posts; every
// effect happens on the client thread.
#include "CClientModule.h"

#include "CLogger.h"
#include "CObjectManager.h"
#include "CUserInterface.h"
#include "CUserInterfaceObject.h"

CClientModule::CClientModule(CUserInterface& ui, void* parentWindow)
    : m_ui(ui),
      m_pParentWindow(parentWindow),
      m_pLogger(std::make_unique<CLogger>("CClientModule")) {
    (void)m_pParentWindow;
}

CClientModule::~CClientModule() = default;

void CClientModule::buttonEvent(int id) {
    boost::lock_guard<boost::mutex> lock(m_lock);
    m_nButtonEvent = id;
}

void CClientModule::setAircraftCrashed() {
    boost::lock_guard<boost::mutex> lock(m_lock);
    m_bAircraftCrashed = true;
}

void CClientModule::repaint() {
    boost::lock_guard<boost::mutex> lock(m_lock);
    m_bRepaint = true;
}

void CClientModule::autoText() {
    boost::lock_guard<boost::mutex> lock(m_lock);
    m_bAutoText = true;
}

void CClientModule::invalidateRect() {
    boost::lock_guard<boost::mutex> lock(m_lock);
    m_bInvalidate = true;
}

int CClientModule::pendingButtonEvent() const {
    boost::lock_guard<boost::mutex> lock(m_lock);
    return m_nButtonEvent;
}

void CClientModule::checkMessages() { checkButtonEvent(); }

void CClientModule::checkButtonEvent() {
    int id;
    {
        boost::lock_guard<boost::mutex> lock(m_lock);
        if (m_nButtonEvent == -1) {
            return;
        }
        id = m_nButtonEvent;
    }
    // The handler runs without the lock so that the simulator's thread can
    // post meanwhile; an event posted while it runs is dropped below.
    CUserInterfaceObject* pObject = m_ui.getObjectManager().getObjectWithId(id);
    if (pObject == nullptr || pObject->isActive()) {
        m_ui.buttonEvent(id);
    }
    boost::lock_guard<boost::mutex> lock(m_lock);
    m_nButtonEvent = -1;
}

bool CClientModule::takeAircraftCrashed() {
    boost::lock_guard<boost::mutex> lock(m_lock);
    const bool crashed = m_bAircraftCrashed;
    m_bAircraftCrashed = false;
    return crashed;
}

bool CClientModule::checkInvalidateRect() {
    boost::lock_guard<boost::mutex> lock(m_lock);
    m_bInvalidate = false;
    return true;  // the caller redraws every time it asks
}
