// Fuel planning: the entry fields filled from the aircraft's tanks and taken
// back into them, by tank or as one figure on top of the initial fuel.
#include <cmath>
#include <cstdio>
#include <cstring>

#include "CFlightSimulatorInterface.h"
#include "CUserInterface.h"

namespace {

constexpr int kAdditionalFuelField = 114;
// This field's enable state follows the record's float at 184 rather than
// the tank's capacity; screens have always shown it that way.
constexpr int kQuirkField = 113;

std::string wholeNumber(float value) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.0f", static_cast<double>(value));
    return text;
}

}  // namespace

void CUserInterface::setFuelEditBox(bool loadInitial, bool readTanks) {
    if (m_pSimulator == nullptr) {
        return;
    }
    if (readTanks) {
        m_pSimulator->getAircraftTanks();
    }
    if (loadInitial && !m_bInitialFuelLoaded) {
        m_pSimulator->setStandardFuel(getInitialFuelKg());
        m_bInitialFuelLoaded = true;
    }
    const std::unique_ptr<CWidgetBatch> batch = beginWidgetBatch();
    if (m_bSimpleFuel) {
        const float additionalKg =
            static_cast<float>(m_pSimulator->getTotalFuelKg() - getInitialFuelKg());
        m_objectManager.setText(kAdditionalFuelField,
                                wholeNumber(m_units.getWeight(additionalKg)).c_str());
        return;
    }
    const bool wasActive = m_bFuelScreenActive;
    m_bFuelScreenActive = false;
    for (std::size_t tank = 0; tank < kTankFields.size(); ++tank) {
        const int field = kTankFields[tank];
        m_objectManager.setText(
            field,
            wholeNumber(m_units.getWeight(m_pSimulator->m_tankQuantityKg.tank[tank])).c_str());
        float capacityKg = m_pSimulator->m_tankCapacityKg.tank[tank];
        if (field == kQuirkField) {
            std::memcpy(&capacityKg, &m_pSimulator->m_aircraftData.nReserved184,
                        sizeof(capacityKg));
        }
        // A capacity that is not a number enables the field too.
        if (capacityKg != 0.0f) {
            m_objectManager.enable(field);
        } else {
            m_objectManager.disable(field);
        }
    }
    m_bFuelScreenActive = wasActive;
}

void CUserInterface::readEnteredFuel() {
    if (m_pSimulator == nullptr) {
        return;
    }
    const std::unique_ptr<CWidgetBatch> batch = beginWidgetBatch();
    if (m_bSimpleFuel) {
        const int entered = static_cast<int>(m_objectManager.getValue(kAdditionalFuelField));
        const int targetKg = m_units.getKg(entered) + getInitialFuelKg();
        if (targetKg != m_pSimulator->getTotalFuelKg()) {
            m_pSimulator->setStandardFuel(targetKg);
        }
        return;
    }
    for (std::size_t tank = 0; tank < kTankFields.size(); ++tank) {
        const float entered = static_cast<float>(m_objectManager.getValue(kTankFields[tank]));
        m_pSimulator->m_tankQuantityKg.tank[tank] = m_units.getKg(entered);
    }
}
