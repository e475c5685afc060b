// Fuel planning: the entry fields filled from the aircraft's tanks and taken
// back into them, by tank or as one figure on top of the initial fuel.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "CFlightSimulatorInterface.h"
#include "CLogger.h"
#include "CNumberText.h"
#include "CUserInterface.h"

namespace {

constexpr int kAdditionalFuelField = 114;
// This field's enable state follows the record's float at 184 rather than
// the tank's capacity; screens have always shown it that way.
constexpr int kQuirkField = 113;

// The largest quantity a fuel field takes, in the pilot's unit.
constexpr float kMaxFuelEntry = 999999.0f;

// A fuel field's text as a quantity: blanks around it, digits with at most
// one decimal point between them, and nothing else; an empty field is 0.
// Anything else (a sign, an exponent, "inf", a word) is no quantity.
bool parseFuelEntry(const std::string& text, float& quantity) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string::npos) {
        quantity = 0.0f;
        return true;
    }
    const std::size_t last = text.find_last_not_of(" \t");
    const std::string entry = text.substr(first, last - first + 1);
    bool point = false;
    bool digit = false;
    for (char c : entry) {
        if (c >= '0' && c <= '9') {
            digit = true;
        } else if (c == '.' && !point) {
            point = true;
        } else {
            return false;
        }
    }
    if (!digit) {
        return false;
    }
    const double value = CNumberText::toDouble(entry.c_str());
    if (!(value <= kMaxFuelEntry)) {
        return false;
    }
    quantity = static_cast<float>(value);
    return true;
}

std::string wholeNumber(float value) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.0f", static_cast<double>(value));
    return text;
}

}  // namespace

void CUserInterface::setFuelEditBox(bool loadInitial, bool readTanks) {
    if (!prepareFuelFigures(loadInitial, readTanks)) {
        return;
    }
    const std::unique_ptr<CWidgetBatch> batch = beginWidgetBatch();
    fillFuelFields();
}

bool CUserInterface::prepareFuelFigures(bool loadInitial, bool readTanks) {
    if (m_pSimulator == nullptr) {
        return false;
    }
    if (readTanks) {
        m_pSimulator->getAircraftTanks();
    }
    if (loadInitial && !m_bInitialFuelLoaded) {
        m_pSimulator->setStandardFuel(getInitialFuelKg());
        m_bInitialFuelLoaded = true;
    }
    return true;
}

void CUserInterface::fillFuelFields() {
    if (m_pSimulator == nullptr) {
        return;
    }
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

bool CUserInterface::readEnteredFuel() {
    if (m_pSimulator == nullptr) {
        return false;
    }
    const std::unique_ptr<CWidgetBatch> batch = beginWidgetBatch();
    std::vector<int> fields;
    if (m_bSimpleFuel) {
        fields.push_back(kAdditionalFuelField);
    } else {
        fields.assign(kTankFields.begin(), kTankFields.end());
    }
    // Every field is checked before anything is written: a refused entry
    // leaves the tanks as they were.
    std::vector<float> entered;
    for (int field : fields) {
        std::string text;
        if (!m_objectManager.readText(field, text)) {
            // The window is going: nothing typed is known, nothing is written.
            return false;
        }
        float quantity = 0.0f;
        if (!parseFuelEntry(text, quantity)) {
            const std::string notice = "\"" + text.substr(0, 12) +
                                       "\" is no fuel quantity: enter 0 to " +
                                       wholeNumber(kMaxFuelEntry) + " " + m_units.getWeightUnit();
            if (notice != m_fuelNotice) {
                logger().warn("Fuel entry refused: " + notice);
                m_fuelNotice = notice;
                repaint();
            }
            return false;
        }
        entered.push_back(quantity);
    }
    if (!m_fuelNotice.empty()) {
        m_fuelNotice.clear();
        repaint();
    }
    if (m_bSimpleFuel) {
        const int targetKg = static_cast<int>(m_units.getKg(entered.front())) + getInitialFuelKg();
        if (targetKg != m_pSimulator->getTotalFuelKg()) {
            m_pSimulator->setStandardFuel(targetKg);
        }
        return true;
    }
    for (std::size_t tank = 0; tank < entered.size(); ++tank) {
        m_pSimulator->m_tankQuantityKg.tank[tank] = m_units.getKg(entered[tank]);
    }
    return true;
}
