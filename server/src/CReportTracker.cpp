// The position tracker: the live map's current position and phase, and the
// numbered position log kept with the flight.
#include <cmath>
#include <cstdio>
#include <string>

#include "CBlackbox.h"
#include "CClientConfig.h"
#include "CClientInterface.h"
#include "CFlightSimulatorInterface.h"
#include "CLogger.h"
#include "CNumberText.h"
#include "CPendingUploads.h"
#include "CReport.h"

namespace {

// Indexed by the flight state machine's phase number.
const char* const kPhaseNames[] = {"Boarding", "Taxi",  "Take Off", "Landed",
                                   "On Block", "Climb", "Cruise",   "Descent"};
constexpr int kNumPhaseNames = sizeof(kPhaseNames) / sizeof(kPhaseNames[0]);
constexpr int kPhaseTakeOff = 2;
constexpr int kPhaseOnBlock = 4;
constexpr int kBadConnectionMessageSeconds = 20;

}  // namespace

int CReport::uploadTrackerData() {
    if (m_pSimulator == nullptr || m_pClient == nullptr) {
        return 0;
    }
    m_pSimulator->getEverything();
    if (!m_bTrackerEnabled) {
        return 1;
    }
    const tagAircraftData& data = m_pSimulator->m_aircraftData;
    tTarvex_Logs& log = m_pClient->m_log;
    const CNumberText::CClassicFormatting classic;
    char number[64];
    std::snprintf(number, sizeof(number), "%.6f", data.dLatitude);
    setRecordText(log.Lat, number);
    std::snprintf(number, sizeof(number), "%.6f", data.dLongitude);
    setRecordText(log.Lon, number);
    const int phase = data.nFlightState;
    const char* const phaseName = phase >= 0 && phase < kNumPhaseNames ? kPhaseNames[phase] : "";
    setRecordText(log.FlightState, phaseName);

    if (phase != kPhaseOnBlock && m_pClient->writeLog() != 1) {
        m_pLogger->debug("Failed to upload tracker data!");
        if (++m_trackerFailures >= kMaxTrackerFailures) {
            m_bTrackerEnabled = false;
            m_pLogger->warn("Bad connection to server! Position uploads deactivated!");
            m_pSimulator->displayText("Bad internet connection! Position uploads deactivated!",
                                      kBadConnectionMessageSeconds, false);
        }
        return 0;
    }
    m_pLogger->debug(std::string("Upload Tracker Data! (") + phaseName + ")");
    return 1;
}

int CReport::uploadPositionLog() {
    if (m_pSimulator == nullptr || m_pClient == nullptr) {
        return 0;
    }
    const tagAircraftData& data = m_pSimulator->m_aircraftData;
    tquelby_position_logs& entry = m_pClient->m_position;
    entry.Timestamp = m_pSimulator->getFlightTime();
    entry.Longitude = static_cast<float>(data.dLongitude);
    entry.Latitude = static_cast<float>(data.dLatitude);
    entry.Heading = static_cast<int32_t>(data.fHeading);
    entry.Altitude = data.nHeightAglFt + data.nGroundElevationFt;
    entry.GroundElevation = data.nGroundElevationFt;
    entry.GroundSpeed = data.nGroundSpeedKts;
    entry.Fuel = m_pSimulator->getTotalFuelKg();
    entry.SimulationRate = data.nSimulationRate;
    entry.PositionId = m_nextPositionId++;

    // Near the ground only an airborne aircraft goes on the map at once: the
    // taxi and the wait at the gate can go up after the report.
    const bool sendNow = data.nHeightAglFt >= kPositionLogMinHeightFt ||
                         m_pSimulator->isAirborne() || data.nFlightState == kPhaseTakeOff;
    if (m_bTrackerEnabled && sendNow) {
        if (m_pClient->writePositionLog() == 1) {
            m_pLogger->debug("Successfully uploaded position data");
            return 1;
        }
        m_pLogger->warn("Failed to upload position data");
    }
    m_failedPositionLogs.push_back(entry);
    return 0;
}

void CReport::uploadFailedPositionLogs() {
    if (m_pClient == nullptr) {
        return;
    }
    for (const tquelby_position_logs& entry : m_failedPositionLogs) {
        m_pClient->m_position = entry;
        m_pClient->writePositionLog();
    }
}

CPendingUploads& CReport::pendingUploads() {
    if (!m_pendingUploads) {
        m_pendingUploads = std::make_unique<CPendingUploads>(
            CClientConfig::instance()->getIniPath() + "quelby_pending.ini");
    }
    return *m_pendingUploads;
}

void CReport::uploadAfterReport() {
    std::vector<Blackbox::tDataRecord> events;
    if (m_pBlackbox != nullptr) {
        events = m_pBlackbox->getFlightData();
        m_pBlackbox->clearFlightData();
    }
    pendingUploads().add(*m_pClient, m_failedPositionLogs, events);
    // Theirs now: each goes up once.
    m_failedPositionLogs.clear();
}

void CReport::resumePendingUploads() {
    if (m_pClient != nullptr) {
        pendingUploads().resume(*m_pClient);
    }
}

std::size_t CReport::countPendingUploads() { return pendingUploads().countPending(); }

bool CReport::waitForPendingUploads(std::chrono::milliseconds limit) {
    return !m_pendingUploads || m_pendingUploads->waitUntilIdle(limit);
}

void CReport::resetPositionLog() {
    if (m_pClient != nullptr) {
        m_pClient->resetPositionLog();
    }
    m_failedPositionLogs.clear();
    m_nextPositionId = 0;
}
