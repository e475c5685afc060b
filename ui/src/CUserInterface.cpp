// Ownership of the window's controls and the entry of the button workflow.
#include "CUserInterface.h"

#include "CClientInterface.h"
#include "CLogger.h"
#include "CNumberText.h"
#include "CUserInterfaceObject.h"
#include "CUserInterfaceUtilities.h"

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

bool CUserInterface::pilotMayFly() const {
    return m_pClient != nullptr &&
           CNumberText::toInt(recordText(m_pClient->m_pilot.Status).c_str()) <= 1;
}

void CUserInterface::setMenuLayer(int layer) {
    m_nLayer = layer;
    m_bFuelScreenActive = false;
    if (layer == 4 || layer > 16) {
        repaint();
        return;
    }
    CObjectManager& objects = m_objectManager;
    CUserInterfaceUtilities::hideAllObjects(objects);
    // The home screen's navigation, for the screens that share it.
    const auto showNavigation = [&objects, this] {
        objects.show(4, true);
        objects.show(5, true);
        if (pilotMayFly()) {
            objects.show(6, true);
            objects.show(8, true);
        }
        objects.show(0, true);
    };
    switch (layer) {
        case 0:
            objects.show(3, true);
            objects.show(101, true);
            objects.show(102, true);
            break;
        case 1:
        case 3:
        case 6:
            showNavigation();
            break;
        case 2:
            showNavigation();
            objects.show(11, true);
            for (int checkBox = 201; checkBox <= 205; ++checkBox) {
                objects.show(checkBox, true);
            }
            break;
        case 5:
            objects.show(14, true);
            break;
        case 7:
        case 8:
        case 9:
            objects.show(10, true);
            break;
        case 10:
            objects.show(19, true);
            objects.show(0, true);
            break;
        case 11:
            objects.showLayer(11, false);
            objects.show(17, true);
            m_bFuelScreenActive = true;
            break;
        case 12:
            objects.show(21, true);
            objects.show(22, true);
            objects.show(23, true);
            break;
        case 13:
            objects.showLayer(13, false);
            objects.show(15, true);
            objects.show(18, true);
            m_bFuelScreenActive = true;
            break;
        case 14:
            objects.showLayer(14, false);
            objects.show(8, true);
            objects.show(17, true);
            m_bFuelScreenActive = true;
            break;
        case 15:
            objects.show(115, true);
            objects.show(9, true);
            objects.show(10, true);
            break;
        case 16:
            objects.show(401, true);
            objects.show(20, true);
            break;
        default:
            break;
    }
    repaint();
}
