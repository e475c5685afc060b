// Resetting, saving and loading the aircraft record; tank counting and the
// kilogram/pound conversions.
#include "AircraftData.h"

#include <climits>
#include <cstddef>
#include <cstring>
#include <string>

#include "CIniParser.h"
#include "CLogger.h"
#include "CNumberText.h"

namespace {

// Single precision on purpose: every weight the pilot sees was converted with it.
constexpr float kLbsPerKg = 2.2046225f;
// 2^23 stands for 1 in the simulator's fixed-point fractions.
constexpr float kFixedPointOne = 8388608.0f;

const char* const kBackupSection = "Report";
const char* const kBackupKey = "AircraftData";

}  // namespace

void tagAircraftData::reset() {
    std::memset(static_cast<void*>(this), 0, sizeof(*this));
    nReserved108 = -1;
    nReserved112 = -1;
}

bool tagAircraftData::backup() const {
    return CIniParser::instance()->writeStructToReport(kBackupSection, kBackupKey, this,
                                                       sizeof(*this));
}

bool tagAircraftData::load() {
    CIniParser* parser = CIniParser::instance();
    // The parser reads a missing value as all zeros; a resumed flight must not
    // mistake that for a record, so look for the text first.
    char probe[4] = {};
    if (!parser->getStringFromReport(kBackupSection, kBackupKey, probe, sizeof(probe)) ||
        probe[0] == '\0') {
        return false;
    }
    // Decoded as bytes first: a damaged file can hold any byte where a flag
    // is kept, and a bool holding anything but 0 or 1 is undefined to read.
    unsigned char bytes[sizeof(tagAircraftData)];
    if (!parser->getStructFromReport(kBackupSection, kBackupKey, bytes, sizeof(bytes))) {
        return false;
    }
    static const std::size_t kFlagOffsets[] = {
        offsetof(tagAircraftData, bEmergency),    offsetof(tagAircraftData, bDamaged),
        offsetof(tagAircraftData, bParkingBrake), offsetof(tagAircraftData, bOnGround),
        offsetof(tagAircraftData, bCrashed),      offsetof(tagAircraftData, bLandingLights),
        offsetof(tagAircraftData, bGearDown)};
    for (const std::size_t offset : kFlagOffsets) {
        if (bytes[offset] > 1) {
            CLogger("tagAircraftData", false)
                .warn("Report-Backup flag at byte " + std::to_string(offset) + " holds " +
                      std::to_string(bytes[offset]) + "; read as set");
            bytes[offset] = 1;
        }
    }
    std::memcpy(static_cast<void*>(this), bytes, sizeof(bytes));
    return true;
}

int tTanksFloat::getNumUsedTanks() const {
    int used = 0;
    for (int slot = 0; slot <= 10; ++slot) {
        if (tank[slot] > 0.0f) {
            ++used;
        }
    }
    return used;
}

float kgtolbs(float kg) { return kg * kLbsPerKg; }

float lbstokg(float lbs) { return lbs / kLbsPerKg; }

float lbstokgFS(float a, float b) { return a * b / kFixedPointOne / kLbsPerKg; }

std::string CUnitConversion::getWeightUnit() const {
    switch (m_nWeightUnit) {
        case 0:
            return "kg";
        case 1:
            return "lbs";
        default:
            return "n/a";
    }
}

namespace {

// A weight cut toward zero; one beyond int's range (pounds of an absurd
// figure from the website) is shown as the nearest int, not as whatever an
// undefined conversion gives.
int wholeWeight(float weight) {
    int whole = 0;
    if (CNumberText::truncateToInt(weight, whole)) {
        return whole;
    }
    return weight > 0.0f ? INT_MAX : weight < 0.0f ? INT_MIN : 0;
}

}  // namespace

int CUnitConversion::getWeight(int kg) const {
    return wholeWeight(getWeight(static_cast<float>(kg)));
}

float CUnitConversion::getWeight(float kg) const { return m_nWeightUnit == 1 ? kgtolbs(kg) : kg; }

int CUnitConversion::getKg(int value) const {
    return wholeWeight(getKg(static_cast<float>(value)));
}

float CUnitConversion::getKg(float value) const {
    return m_nWeightUnit == 1 ? lbstokg(value) : value;
}
