// One pass of the client's main loop: the flight block while a flight is in
// progress, the simulator's upkeep, the loop-time watch and the sleep.
#include "CClient.h"

#include <chrono>
#include <cstdlib>
#include <thread>

#include "CBlackbox.h"
#include "CCheatDetector.h"
#include "CClientInterface.h"
#include "CFlightSimulatorInterface.h"
#include "CLogger.h"
#include "CReport.h"
#include "CUserInterface.h"

namespace {

constexpr int kEndFlightEvent = 9;
constexpr int kLoginEvent = 3;
constexpr int kOutOfFuelPenalty = 8;
constexpr int kEngines = 4;

bool isRestrictedLayer(int layer) {
    return layer == 11 || layer == 13 || layer == 14 || layer == CClient::kFlyingLayer;
}

}  // namespace

CClient::CClient(CUserInterface& ui, void* parentWindow, CTimer::ClockFn clock)
    : m_timer(clock),
      m_ui(ui),
      m_pLogger(std::make_unique<CLogger>("CClient")),
      m_pParentWindow(parentWindow) {}

CClient::~CClient() = default;

void CClient::repaintTextarea() { m_ui.repaintTextarea(); }

int32_t CClient::checkIntervalForHeight(int heightAglFt) {
    int32_t intervalMs = 100;
    if (heightAglFt <= 100) intervalMs = 50;
    if (heightAglFt >= 101 && heightAglFt <= 500) intervalMs = 100;
    if (heightAglFt >= 501 && heightAglFt <= 2000) intervalMs = 500;
    if (heightAglFt >= 2001 && heightAglFt <= 10000) intervalMs = 2000;
    if (heightAglFt > 10000) intervalMs = 10000;
    return intervalMs;
}

void CClient::run() {
    runPass();
    // The sleep ends at an absolute time, so a late wake-up does not add up.
    std::this_thread::sleep_until(std::chrono::steady_clock::now() +
                                  std::chrono::milliseconds(kPassSleepMs));
}

void CClient::runPass() {
    CFlightSimulatorInterface* simulator = m_ui.getSimulator();
    if (simulator == nullptr) {
        return;  // the subsystems are not made yet
    }
    const bool flying = m_ui.getLayer() == kFlyingLayer;
    if (flying) {
        runFlightBlock();
    }
    recordFlight(flying);

    // The simulator's upkeep, whatever the screen.
    if (simulator->isRunning()) {
        simulator->checkFrequently();
        if (isRestrictedLayer(m_ui.getLayer()) &&
            m_timer.GetTime() - m_lastRestrictionMs > kRestrictionIntervalMs) {
            simulator->setMenuRestrictions();
            m_lastRestrictionMs = m_timer.GetTime();
        }
    }

    // The screens with live figures are composed again a few times a second.
    const int layer = m_ui.getLayer();
    const bool live = layer == kFlyingLayer || isRestrictedLayer(layer);
    const bool liveDue = live && m_timer.GetTime() - m_lastTextMs > kLiveTextMs;
    m_ui.autoText();
    if (liveDue) {
        m_lastTextMs = m_timer.GetTime();
    }
    m_ui.refreshText(liveDue);

    m_nLoopTimeMs = static_cast<int32_t>(m_timer.GetTime() - m_loopStartMs);
    if (m_nLoopTimeMs > kLoopTimeWarningMs) {
        m_pLogger->warn("Loop time: " + std::to_string(m_nLoopTimeMs) + "ms" +
                        " / T1: " + std::to_string(m_t1) + " T2: " + std::to_string(m_t2) +
                        " T3: " + std::to_string(m_t3) + " T4: " + std::to_string(m_t4));
    }
    m_loopStartMs = m_timer.GetTime();
}

void CClient::recordFlight(bool flying) {
    // The recorder also sees the pass in which the flight left the flying
    // screen (on block, a crash, or "End flight" pressed since the last
    // pass), so that a rule on those states fires; an aborted flight has
    // been reset and records nothing more.
    const bool lastFlightPass = flying || m_bFlyingLastPass;
    m_bFlyingLastPass = flying;
    if (!lastFlightPass || !m_ui.isFlightStarted()) {
        return;
    }
    if (Blackbox::CBlackbox* blackbox = m_ui.getBlackbox()) {
        blackbox->check();
    }
}

void CClient::runFlightBlock() {
    CReport* report = m_ui.getReport();

    m_t1 = m_timer.GetTime();
    if (m_timer.GetTime() - m_lastConnectionCheckMs > kConnectionCheckMs) {
        checkConnection();
        m_lastConnectionCheckMs = m_timer.GetTime();
        if (m_ui.getLayer() != kFlyingLayer) {
            return;  // the flight was abandoned
        }
    }

    m_t2 = m_timer.GetTime();
    if (m_timer.GetTime() - m_lastTrackerMs > kTrackerIntervalMs) {
        if (m_ui.getTracker()) {
            report->uploadTrackerData();
        }
        m_lastTrackerMs = m_timer.GetTime();
    }

    m_t3 = m_timer.GetTime();
    const uint32_t sinceChoiceMs = m_timer.GetTime() - m_lastIntervalChoiceMs;
    if (sinceChoiceMs > 1000 || sinceChoiceMs > static_cast<uint32_t>(m_nCheckInterval + 150)) {
        m_nCheckInterval = checkIntervalForHeight(m_ui.getSimulator()->m_aircraftData.nHeightAglFt);
        m_lastIntervalChoiceMs = m_timer.GetTime();
    }

    if (std::abs(static_cast<int32_t>(m_timer.GetTime() - m_lastCheckMs)) >= m_nCheckInterval) {
        runFlightChecks();
        m_lastCheckMs = m_timer.GetTime();
        if (m_ui.getLayer() != kFlyingLayer) {
            return;  // the flight ended or was aborted in the checks
        }
    }

    m_t4 = m_timer.GetTime();
    if (std::abs(static_cast<int32_t>(m_timer.GetTime() - m_lastFailureCheckMs)) >
        kFailureCheckMs) {
        if (m_ui.isFlightStarted()) {
            m_ui.getFailureManager().check(m_ui.getFlightSeconds());
        }
        m_lastFailureCheckMs = m_timer.GetTime();
    }

    if (m_timer.GetTime() - m_lastPositionLogMs > kPositionLogIntervalMs) {
        m_lastPositionLogMs = m_timer.GetTime();
        report->uploadPositionLog();
    }
}

void CClient::checkConnection() {
    repaintTextarea();
    CFlightSimulatorInterface* simulator = m_ui.getSimulator();
    if (simulator->isRunning() || simulator->connect()) {
        return;
    }
    m_pLogger->error("Lost connection to Flight Simulator, flight aborted!");
    MessageBox(m_pParentWindow, "Lost Connection to Flight Simulator, flight aborted!",
               "Flight Aborted", CUserInterface::kWarningBox);
    m_ui.resetAllClasses();
    m_ui.buttonEvent(kLoginEvent);
    m_ui.setMenuLayer(CUserInterface::kLayerHome);
}

void CClient::runFlightChecks() {
    CFlightSimulatorInterface* simulator = m_ui.getSimulator();
    CReport* report = m_ui.getReport();
    // One job for both: near the ground this runs 20 times a second.
    simulator->readSnapshotAndTanks();
    if (CCheatDetector* detector = m_ui.getCheatDetector()) {
        detector->doChecks();
        if (m_ui.getLayer() != kFlyingLayer) {
            return;  // the detector aborted the flight
        }
    }
    if (!m_ui.checkFlightState()) {
        m_ui.buttonEvent(kEndFlightEvent);
    }
    // Out of fuel: once per flight, and only when the tanks are known.
    float capacityKg = 0.0f;
    float quantityKg = 0.0f;
    for (int i = 0; i < tTanksFloat::kNumSlots; ++i) {
        capacityKg += simulator->m_tankCapacityKg.tank[i];
        quantityKg += simulator->m_tankQuantityKg.tank[i];
    }
    if (!report->isPenalty(kOutOfFuelPenalty) && capacityKg > 0.0f && quantityKg == 0.0f) {
        report->addPenalty(kOutOfFuelPenalty);
        for (int engine = 0; engine < kEngines; ++engine) {
            simulator->setFailure(engine, true);
        }
    }
}
