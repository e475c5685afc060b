// The simulator-independent part of the simulator interface: the flight
// time, the landing-light override and the checks against the booked flight.
#include "CFlightSimulatorInterface.h"

#include <cstring>

#include "CBookedFlight.h"

namespace {
// Every passenger counts 102 kg with baggage.
constexpr int kPassengerMassKg = 102;
// A simulator aircraft more than this much lighter than the booked type is
// the wrong aircraft.
constexpr double kMaxLighterFraction = -0.2;
}  // namespace

CFlightSimulatorInterface::CFlightSimulatorInterface() { m_aircraftData.reset(); }

CFlightSimulatorInterface::~CFlightSimulatorInterface() = default;

int CFlightSimulatorInterface::getFlightTime() const {
    return static_cast<int>(m_aircraftData.dFlightTimeS) - m_aircraftData.nFlightTimeOffsetS;
}

void CFlightSimulatorInterface::toggleLandingLights() {
    const bool wasOn = m_aircraftData.bLandingLights;
    m_aircraftData.bLandingLights = !wasOn;
    displayText(wasOn ? "Landing Lights turned OFF!" : "Landing Lights turned ON!", 10, false);
    m_bLandingLightOverride = true;
}

int CFlightSimulatorInterface::checkAircraftType() {
    if (m_pBookedFlight == nullptr) {
        return 0;
    }
    if (m_aircraftData.nNumEngines < m_pBookedFlight->getBookedEngines()) {
        return 5;
    }
    const int bookedMtowKg = m_pBookedFlight->getBookedMtowKg();
    // A booked type without a maximum weight cannot be compared by weight.
    if (bookedMtowKg > 0) {
        const double difference =
            static_cast<double>(m_aircraftData.nMaxWeightKg - bookedMtowKg) / bookedMtowKg;
        if (difference < kMaxLighterFraction) {
            return getFlightSimulatorVersion() == 6 ? 0 : 4;
        }
    }
    return 0;
}

bool CFlightSimulatorInterface::getNearestAirport() {
    if (m_pBookedFlight == nullptr) {
        return false;
    }
    char icao[5] = {0};
    if (!m_pBookedFlight->findNearestAirport(m_aircraftData.dLatitude, m_aircraftData.dLongitude,
                                             icao)) {
        return false;
    }
    icao[4] = '\0';
    std::memcpy(m_aircraftData.closestAirport, icao, sizeof(m_aircraftData.closestAirport));
    return true;
}

int CFlightSimulatorInterface::getOverweight() const {
    if (m_pBookedFlight == nullptr) {
        return 0;
    }
    const int takeOffWeightKg = getTotalFuelKg() + m_pBookedFlight->getDryOperatingWeightKg() +
                                kPassengerMassKg * m_pBookedFlight->getPassengers() +
                                m_pBookedFlight->getCargoKg();
    return takeOffWeightKg - m_pBookedFlight->getBookedMtowKg();
}

int CFlightSimulatorInterface::getTotalFuelKg() const {
    float totalKg = 0.0f;
    for (float quantityKg : m_tankQuantityKg.tank) {
        totalKg += quantityKg;
    }
    return static_cast<int>(totalKg + 0.5f);
}

void CFlightSimulatorInterface::setCrashed() {
    m_aircraftData.bCrashed = true;
    m_aircraftData.bDamaged = true;
    m_aircraftData.fDamageAmount = kTotalLossDamage;
}
