// Lookup by id or caption and layer switching over the list of controls.
#include "CObjectManager.h"

#include <cstring>

#include "CUserInterfaceObject.h"

void CObjectManager::newObject(CUserInterfaceObject* object) {
    if (object == nullptr) {
        return;
    }
    object->setNext(nullptr);
    if (m_pFirst == nullptr) {
        m_pFirst = object;
    } else {
        m_pLast->setNext(object);
    }
    m_pLast = object;
}

CUserInterfaceObject* CObjectManager::getObjectWithId(int id) const {
    return getObjectWithIdSlave(m_pFirst, id);
}

CUserInterfaceObject* CObjectManager::getObjectWithIdSlave(CUserInterfaceObject* start,
                                                           int id) const {
    for (CUserInterfaceObject* object = start; object != nullptr; object = object->getNext()) {
        if (object->getId() == id) {
            return object;
        }
    }
    return nullptr;
}

CUserInterfaceObject* CObjectManager::getObjectWithCaption(const char* caption) const {
    return getObjectWithCaptionSlave(m_pFirst, caption);
}

CUserInterfaceObject* CObjectManager::getObjectWithCaptionSlave(CUserInterfaceObject* start,
                                                                const char* caption) const {
    if (caption == nullptr) {
        return nullptr;
    }
    for (CUserInterfaceObject* object = start; object != nullptr; object = object->getNext()) {
        if (std::strcmp(object->getCaption(), caption) == 0) {
            return object;
        }
    }
    return nullptr;
}

void CObjectManager::show(int id, bool visible) {
    for (CUserInterfaceObject* object = m_pFirst; object != nullptr; object = object->getNext()) {
        if (object->getId() == id) {
            visible ? object->show() : object->hide();
            object->setShown(visible);
        }
    }
}

bool CObjectManager::isShown(int id) const {
    for (CUserInterfaceObject* object = m_pFirst; object != nullptr; object = object->getNext()) {
        if (object->getId() == id && object->isShown()) {
            return true;
        }
    }
    return false;
}

void CObjectManager::showLayer(int layer, bool hideOthers) {
    for (CUserInterfaceObject* object = m_pFirst; object != nullptr; object = object->getNext()) {
        if (object->getLayer() == layer || object->getLayer() == kAlwaysShownLayer) {
            object->show();
            object->setShown(true);
        } else if (hideOthers) {
            object->hide();
            object->setShown(false);
        }
    }
}

// The forwarders are used with the fixed ids of the client's own screens; an
// unknown id is a programming error, but it must not take the simulator down.
namespace {
CUserInterfaceObject& orNull(CUserInterfaceObject* object) {
    static CUserInterfaceObject nullObject(0, 0, 0, 0, CUserInterfaceObject::PushButton, "", 0,
                                           nullptr, -1, -1, 0);
    return object != nullptr ? *object : nullObject;
}
}  // namespace

void CObjectManager::enable(int id) { orNull(getObjectWithId(id)).activate(); }
void CObjectManager::disable(int id) { orNull(getObjectWithId(id)).deactivate(); }
void CObjectManager::setText(int id, const char* text) {
    orNull(getObjectWithId(id)).setText(text);
}
const char* CObjectManager::getText(int id) { return orNull(getObjectWithId(id)).getText(); }
double CObjectManager::getValue(int id) { return orNull(getObjectWithId(id)).getValue(); }
void CObjectManager::setCheckBox(int id, bool checked) {
    orNull(getObjectWithId(id)).setCheckBox(checked);
}
bool CObjectManager::getCheckBox(int id) { return orNull(getObjectWithId(id)).getCheckBox(); }
bool CObjectManager::readText(int id, std::string& text) {
    CUserInterfaceObject* object = getObjectWithId(id);
    return object != nullptr && object->readText(text);
}
bool CObjectManager::readCheckBox(int id, bool& checked) {
    CUserInterfaceObject* object = getObjectWithId(id);
    return object != nullptr && object->readCheckBox(checked);
}
void CObjectManager::acceptPilotEdits() {
    for (CUserInterfaceObject* object = m_pFirst; object != nullptr; object = object->getNext()) {
        object->acceptPilotEdits();
    }
}
void CObjectManager::setComboBox(int id, const std::vector<std::string>& entries,
                                 const std::string& selected) {
    (void)selected;
    orNull(getObjectWithId(id)).setComboBox(entries);
}
std::string CObjectManager::getComboBox(int id) {
    return orNull(getObjectWithId(id)).getComboBox();
}
void CObjectManager::setProgressBar(int id, double fraction) {
    orNull(getObjectWithId(id)).setProgressBar(fraction);
}
int CObjectManager::getX(int id) { return orNull(getObjectWithId(id)).getX(); }
int CObjectManager::getY(int id) { return orNull(getObjectWithId(id)).getY(); }
