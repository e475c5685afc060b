// Ownership of the window's controls and the entry of the button workflow.
#include "CUserInterface.h"

#include "CClientInterface.h"
#include "CLogger.h"
#include "CNumberText.h"
#include "CReport.h"
#include "CUserInterfaceObject.h"
#include "CUserInterfaceUtilities.h"

const std::array<int, 11> CUserInterface::kTankFields = {105, 103, 104, 106, 107, 108,
                                                         109, 110, 111, 112, 113};

int MessageBox(void* parent, const char* text, const char* caption, unsigned int flags) {
    (void)parent;
    (void)text;
    (void)caption;
    (void)flags;
    return 0;
}

CUserInterface::CUserInterface() = default;
CUserInterface::~CUserInterface() = default;

CLogger& CUserInterface::logger() {
    // Made on first use: the plug-in's user interface is a static object,
    // built before the log knows where to write.
    if (!m_pLogger) {
        m_pLogger = std::make_unique<CLogger>("CUserInterface");
    }
    return *m_pLogger;
}

void CUserInterface::resetState() {
    m_bLoggedIn = false;
    m_bAutoLogin = false;
    m_bTracker = true;
    m_bFsMessages = false;
    m_bSimpleFuel = false;
    m_bSound = false;
    m_bInitialFuelLoaded = false;
    m_bFlightStarted = false;
    m_bReportJustHeld = false;
    m_flightStartS = 0.0;
    m_nFuelLoadedKg = 0;
    m_statusLine.clear();
    m_clientNotice.clear();
    m_clientNoticeMore.clear();
    m_units.setWeightUnit(0);
    m_composing.clear();
    {
        std::lock_guard<std::mutex> lock(m_publishedLock);
        m_published = std::make_shared<const std::vector<tPanelText>>();
        m_publishedGeneration.fetch_add(1, std::memory_order_release);
    }
    m_bRepaint = true;
}

void CUserInterface::setSubsystems(const tSubsystems& subsystems) {
    m_pClient = subsystems.client;
    m_pSimulator = subsystems.simulator;
    m_pSound = subsystems.sound;
    m_pCheatDetector = subsystems.cheatDetector;
    m_pBlackbox = subsystems.blackbox;
    m_pReport = subsystems.report;
    m_pFlightState = subsystems.flightState;
}

CUserInterfaceObject* CUserInterface::addObject(std::unique_ptr<CUserInterfaceObject> object) {
    CUserInterfaceObject* raw = object.get();
    m_objects.push_back(std::move(object));
    m_objectManager.newObject(raw);
    return raw;
}

void CUserInterface::autoText() {
    if (m_bFuelScreenActive) {
        repaint();
    }
}

bool CUserInterface::pilotMayFly() const {
    return m_pClient != nullptr && recordInt(m_pClient->m_pilot.Status) <= 1;
}

namespace {

// What a screen shows besides hiding every other screen's controls.
struct tScreen {
    int layer;
    // The home screen's navigation: Home, Options, and for a pilot who may
    // fly Flight Information and Fly!, and Exit.
    bool navigation;
    // The controls that belong to this layer, shown by layer.
    bool ownLayer;
    // The fuel screens.
    bool fuelScreen;
    std::vector<int> shown;
};

const tScreen kScreens[] = {
    {0, false, false, false, {3, 101, 102}},
    {1, true, false, false, {}},
    {2, true, false, false, {11, 201, 202, 203, 204, 205}},
    {3, true, false, false, {}},
    {5, false, false, false, {14}},
    {6, true, false, false, {}},
    {7, false, false, false, {10}},
    {8, false, false, false, {10}},
    {9, false, false, false, {10}},
    {10, false, false, false, {19, 0}},
    {11, false, true, true, {17}},
    {12, false, false, false, {21, 22, 23}},
    {13, false, true, true, {15, 18}},
    {14, false, true, true, {8, 17}},
    {15, false, false, false, {115, 9, 10}},
    {16, false, false, false, {401, 20}},
};

}  // namespace

void CUserInterface::setMenuLayer(int layer) {
    m_nLayer = layer;
    m_bFuelScreenActive = false;
    if (layer == 4 || layer > 16) {
        repaint();
        return;
    }
    // A read hands over what a batch holds so far: the fuel figures are read
    // before the screen's batch begins, so the screen appears with its
    // fields filled, never for a frame with the figures of before.
    const bool fuelScreen = layer == kLayerFuelTanks || layer == kLayerFuelSimple;
    const bool figuresReady = fuelScreen && prepareFuelFigures(true, true);
    const std::unique_ptr<CWidgetBatch> batch = beginWidgetBatch();
    CUserInterfaceUtilities::hideAllObjects(m_objectManager);
    for (const tScreen& screen : kScreens) {
        if (screen.layer != layer) {
            continue;
        }
        if (screen.navigation) {
            m_objectManager.show(4, true);
            m_objectManager.show(5, true);
            if (pilotMayFly()) {
                m_objectManager.show(6, true);
                m_objectManager.show(8, true);
            }
            m_objectManager.show(0, true);
        }
        if (screen.ownLayer) {
            m_objectManager.showLayer(layer, false);
        }
        for (int id : screen.shown) {
            m_objectManager.show(id, true);
        }
        m_bFuelScreenActive = screen.fuelScreen;
    }
    if ((layer == kLayerLogin || layer == kLayerSavedReport) && m_pReport != nullptr &&
        m_pReport->isBackupHeldInMemory()) {
        m_objectManager.show(kRetrySaveButton, true);
    }
    if (figuresReady) {
        fillFuelFields();
    }
    repaint();
}
