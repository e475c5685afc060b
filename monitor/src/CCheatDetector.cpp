// The cheat detector's three checks: fuel raised in flight, a position jump
// and the time acceleration (simulation rate times X-Plane's ground-speed
// multiplier), with the quiet corrections and the aborts.
#include "CCheatDetector.h"

#include <algorithm>
#include <boost/format.hpp>
#include <cmath>

#include "CClientInterface.h"
#include "CFlightSimulatorInterface.h"
#include "CLogger.h"
#include "CNumberText.h"
#include "CUserInterface.h"

namespace {

constexpr double kRadiansPerDegree = 0.017453292519943295;
constexpr double kNmPerRadian = 3437.7467707849396;
// Fuel rises above this many kg are refuelling whatever the tolerance.
constexpr int kMaxFuelRiseKg = 100;
// Otherwise a rise above 1 % of the reference (at least 10 kg) is.
constexpr int kMinToleranceKg = 10;
constexpr int kPositioningFlightType = 2;

int roundedTotalKg(const tTanksFloat& tanks) {
    float sumKg = 0.0f;
    for (float kg : tanks.tank) {
        sumKg += kg;
    }
    return static_cast<int>(sumKg + 0.5f);
}

double haversineNm(double lat1Deg, double lon1Deg, double lat2Deg, double lon2Deg) {
    const double lat1 = lat1Deg * kRadiansPerDegree;
    const double lat2 = lat2Deg * kRadiansPerDegree;
    const double lon1 = lon1Deg * kRadiansPerDegree;
    const double lon2 = lon2Deg * kRadiansPerDegree;
    const double sinLat = std::sin((lat1 - lat2) / 2.0);
    const double sinLon = std::sin((lon1 - lon2) / 2.0);
    return 2.0 *
           std::asin(
               std::sqrt(sinLat * sinLat + std::cos(lat1) * std::cos(lat2) * sinLon * sinLon)) *
           kNmPerRadian;
}

}  // namespace

CCheatDetector::CCheatDetector(CFlightSimulatorInterface* simulator, CUserInterface* userInterface)
    : m_pLogger(std::make_unique<CLogger>("CCheatDetector")),
      m_pSimulator(simulator),
      m_pUserInterface(userInterface) {}

CCheatDetector::~CCheatDetector() = default;

void CCheatDetector::setClockForTests(CTimer::ClockFn clock) { m_checkTimer = CTimer(clock); }

void CCheatDetector::startFlight() {
    if (m_pSimulator == nullptr) {
        return;
    }
    CFlightSimulatorInterface& sim = *m_pSimulator;
    sim.m_lastTankQuantityKg = sim.m_tankQuantityKg;
    sim.m_nCurrentFuelKg = roundedTotalKg(sim.m_tankQuantityKg);
    sim.m_nLastFuelKg = sim.m_nCurrentFuelKg;
    sim.m_nRefuelCount = 0;
    // Each flight is judged on its own: an earlier flight's rate
    // violations do not count against this one.
    m_simRateViolations = 0;
    sim.m_aircraftData.dLastCheckedLatitude = sim.m_aircraftData.dLatitude;
    sim.m_aircraftData.dLastCheckedLongitude = sim.m_aircraftData.dLongitude;
    m_checkTimer.Reset();
}

void CCheatDetector::abort(const char* reason) {
    m_abortReason = reason;
    if (m_pUserInterface != nullptr) {
        m_pUserInterface->abortFlight(m_abortReason);
    }
}

void CCheatDetector::doChecks() {
    const int timeDiffMs = static_cast<int>(m_checkTimer.GetTime());
    m_checkTimer.Reset();
    if (m_pSimulator == nullptr) {
        return;
    }
    if (checkFuelRaised() && !setLastFuel()) {
        abort("Inflight refueling recognized, flight aborted!");
    }
    if (checkPositionChange(timeDiffMs)) {
        abort("Inflight position change recognized, flight aborted!");
    }
    if (checkSimrate()) {
        abort("The maximum allowed simrate has been exceeded too many times, flight aborted!");
    }
}

bool CCheatDetector::checkFuelRaised() {
    CFlightSimulatorInterface& sim = *m_pSimulator;
    sim.m_nCurrentFuelKg = roundedTotalKg(sim.m_tankQuantityKg);
    const int riseKg = sim.m_nCurrentFuelKg - sim.m_nLastFuelKg;
    if (riseKg > kMaxFuelRiseKg) {
        return true;
    }
    const int toleranceKg = std::max(kMinToleranceKg, static_cast<int>(sim.m_nLastFuelKg / 100.0));
    if (riseKg > toleranceKg) {
        return true;
    }
    if (sim.m_nCurrentFuelKg >= sim.m_nLastFuelKg) {
        // A small rise is tolerated but never becomes the reference.
        return false;
    }
    sim.m_nLastFuelKg = sim.m_nCurrentFuelKg;
    sim.m_lastTankQuantityKg = sim.m_tankQuantityKg;
    const int tankSumKg = roundedTotalKg(sim.m_lastTankQuantityKg);
    if (tankSumKg != sim.m_nLastFuelKg) {
        m_pLogger->warn((boost::format("Last tank and last fuel don't match: %d != %d") %
                         tankSumKg % sim.m_nLastFuelKg)
                            .str());
    }
    return false;
}

bool CCheatDetector::setLastFuel() {
    CFlightSimulatorInterface& sim = *m_pSimulator;
    if (sim.m_nRefuelCount > kMaxRefuelings - 1) {
        return false;
    }
    ++sim.m_nRefuelCount;
    m_pLogger->debug((boost::format("Inflight refueling #%d: %d -> %d") % sim.m_nRefuelCount %
                      sim.m_nLastFuelKg % sim.m_nCurrentFuelKg)
                         .str());
    sim.m_tankQuantityKg = sim.m_lastTankQuantityKg;
    sim.setAircraftTanks();
    return true;
}

bool CCheatDetector::checkPositionChange(int timeDiffMs) {
    if (timeDiffMs < 0) {
        m_pLogger->warn("nTimeDiff: " + std::to_string(timeDiffMs));
        return false;
    }
    tagAircraftData& data = m_pSimulator->m_aircraftData;
    const double distanceNm = haversineNm(data.dLastCheckedLatitude, data.dLastCheckedLongitude,
                                          data.dLatitude, data.dLongitude);
    int rate = std::max(m_lastSimRate, timeAcceleration());
    if (rate < 2) {
        rate = 1;
    }
    const double allowedNm = timeDiffMs * kMaxNmPerSecond / 1000.0 * rate;
    if (distanceNm > allowedNm) {
        const CNumberText::CClassicFormatting classic;
        m_pLogger->warn(
            (boost::format("Inflight position change: %f, %f -> %f, %f | Dist: %f > %f | "
                           "TimeDiff: %i LastSR: %i SR: %i") %
             data.dLastCheckedLongitude % data.dLastCheckedLatitude % data.dLongitude %
             data.dLatitude % distanceNm % allowedNm % timeDiffMs % m_lastSimRate %
             timeAcceleration())
                .str());
        return true;
    }
    data.dLastCheckedLatitude = data.dLatitude;
    data.dLastCheckedLongitude = data.dLongitude;
    m_lastSimRate = timeAcceleration();
    return false;
}

int CCheatDetector::timeAcceleration() const {
    // A multiplier below 1 (a broken reading) slows nothing down.
    const int groundSpeed = std::max(1, m_pSimulator->m_nGroundSpeedMultiplier);
    return m_pSimulator->m_aircraftData.nSimulationRate * groundSpeed;
}

bool CCheatDetector::checkSimrate() {
    CClientInterface* client =
        m_pUserInterface != nullptr ? m_pUserInterface->getClientInterface() : nullptr;
    if (client == nullptr) {
        return false;
    }
    const int rate = timeAcceleration();
    const int allowedRate = client->m_route.Simrate;
    const bool limited = recordInt(client->m_log.FlightType) != kPositioningFlightType;
    // The report never shows more than the route allows.
    if (rate > client->m_report.Simrate) {
        client->m_report.Simrate = rate > allowedRate && limited ? allowedRate : rate;
    }
    if (rate > allowedRate && limited) {
        // The multiplier goes rather than a rate the pilot did not choose: at
        // 1x and 16x ground speed the rate stays 1.
        if (m_pSimulator->m_nGroundSpeedMultiplier > 1) {
            m_pSimulator->setGroundSpeedMultiplier(1);
        }
        if (m_pSimulator->m_aircraftData.nSimulationRate > allowedRate) {
            m_pSimulator->setSimulationRate(allowedRate);
        }
        ++m_simRateViolations;
    }
    return m_simRateViolations > kMaxSimRateViolations;
}
