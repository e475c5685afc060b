// Ownership of the window's controls and the entry of the button workflow.
#include "CUserInterface.h"

#include "CLogger.h"
#include "CUserInterfaceObject.h"

CUserInterface::CUserInterface() = default;
CUserInterface::~CUserInterface() = default;

void CUserInterface::buttonEvent(int) {}

void CUserInterface::text() {}

void CUserInterface::abortFlight(std::string& reason) {
    // Made on first use: the plug-in's user interface is a static object,
    // built before the log knows where to write.
    if (!m_pLogger) {
        m_pLogger = std::make_unique<CLogger>("CUserInterface");
    }
    m_pLogger->warn(reason);
}

CUserInterfaceObject* CUserInterface::addObject(std::unique_ptr<CUserInterfaceObject> object) {
    CUserInterfaceObject* raw = object.get();
    m_objects.push_back(std::move(object));
    m_objectManager.newObject(raw);
    return raw;
}
