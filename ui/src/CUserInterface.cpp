// Ownership of the window's controls and the entry of the button workflow.
#include "CUserInterface.h"

#include "CUserInterfaceObject.h"

CUserInterface::CUserInterface() = default;
CUserInterface::~CUserInterface() = default;

void CUserInterface::buttonEvent(int) {}

void CUserInterface::text() {}

CUserInterfaceObject* CUserInterface::addObject(std::unique_ptr<CUserInterfaceObject> object) {
    CUserInterfaceObject* raw = object.get();
    m_objects.push_back(std::move(object));
    m_objectManager.newObject(raw);
    return raw;
}
