// The aircraft snapshot that the simulator adapter fills and everyone else
// reads, the per-tank fuel figures and the kilogram/pound conversions.
#pragma once

#include <boost/circular_buffer.hpp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

// Threads: filled by the simulator adapter between the handshake's wait and
// wakeup, read by the client thread's monitoring and report code; all of it
// runs on the client thread, so the record takes no lock.
//
// The record is saved whole into the report backup and read back when a
// flight is resumed, so its layout is a file format: 192 bytes, little-endian,
// doubles on 4-byte boundaries so that 32- and 64-bit builds share one file, every
// gap spelled out so that reset() and a backup cover each byte. Nothing here
// may move; the static_asserts below pin every offset.
#pragma pack(push, 4)
struct tagAircraftData {
    // The flight phase lives in the first field so that every reader of the
    // record sees the phase the flight state machine keeps.
    int32_t nFlightState;  // 0
    // The flight's status flags. Set by the flight workflow, never read
    // from the simulator.
    bool bEmergency;    // 4, the pilot declared an emergency
    bool bDamaged;      // 5, the aircraft took damage in flight
    uint8_t flags6[2];  // 6
    double dLatitude;   // 8, degrees
    double dLongitude;  // 16, degrees
    // The position the cheat detector last accepted; the flight's start
    // position when the flight starts.
    double dLastCheckedLatitude;   // 24, degrees
    double dLastCheckedLongitude;  // 32, degrees
    float fHeading;                // 40, degrees
    // How hard the aircraft was damaged, in tenths of a percentage point
    // taken off each part's condition (1000 takes it all); counts only
    // while bDamaged is set.
    float fDamageAmount;            // 44
    bool bParkingBrake;             // 48
    bool bOnGround;                 // 49
    uint8_t pad50[2];               // 50
    double dAltitudeFt;             // 52
    int32_t nHeightAglFt;           // 60, height above ground
    int32_t nGroundElevationFt;     // 64
    int32_t nIndicatedAirspeedKts;  // 68
    int32_t nGroundSpeedKts;        // 72
    int32_t nVerticalSpeedFpm;      // 76
    int32_t nPrevVerticalSpeedFpm;  // 80, the value of the preceding read
    bool bCrashed;                  // 84, from the simulator's crash message
    uint8_t pad85[3];               // 85
    bool bLandingLights;            // 88
    bool bGearDown;                 // 89
    uint8_t pad90[2];               // 90
    float fFlapsRatio;              // 92, handle ratio 0..1
    // The load as flown, set when the booked flight is confirmed.
    int32_t nPassengers;               // 96
    int32_t nCargoKg;                  // 100
    int32_t nFuelDepartureKg;          // 104, fuel on board at flight start
    int32_t nReserved108;              // 108, -1 after reset()
    int32_t nReserved112;              // 112, -1 after reset()
    int32_t nFuelTakeOffKg;            // 116, fuel on board at take-off
    int32_t nFuelLandingKg;            // 120, fuel on board at landing
    int32_t nLandingVerticalSpeedFpm;  // 124, at touchdown, negative descending
    int32_t nSimulationRate;           // 128, factor
    // ICAO code of the nearest airport (up to 4 letters and the terminator),
    // filled by the simulator adapter from the closest-airport query; it
    // takes the first 5 of the 12 bytes that were spare here.
    char closestAirport[5];      // 132
    uint8_t reserved137[7];      // 137
    char textTime[5];            // 144
    char zuluTime[5];            // 149, "HHMM"
    char localTime[5];           // 154, "HHMM"
    uint8_t pad159[1];           // 159
    double dFlightTimeS;         // 160, from the flight timer
    int32_t nFlightTimeOffsetS;  // 168, subtracted by getFlightTime
    int32_t nMaxWeightKg;        // 172
    int32_t nEmptyWeightKg;      // 176
    int32_t nNumEngines;         // 180
    int32_t nReserved184;        // 184
    int32_t nReserved188;        // 188

    // Every byte 0, except the two reserved fields at 108 and 112 which are -1.
    void reset();
    // The whole record as one struct value, section "Report", key
    // "AircraftData" of the report store. Reaches the disk with the store's
    // next save.
    bool backup() const;
    // Reads the record back from the same key. False, with the record left as
    // it was, when the report store holds no such value.
    bool load();
};
#pragma pack(pop)

static_assert(sizeof(bool) == 1 && sizeof(float) == 4 && sizeof(double) == 8,
              "the saved record needs 1-byte bools and IEEE floats");
static_assert(std::is_standard_layout<tagAircraftData>::value &&
                  std::is_trivially_copyable<tagAircraftData>::value,
              "the record is saved byte for byte");
static_assert(sizeof(tagAircraftData) == 192, "saved record size");
static_assert(offsetof(tagAircraftData, nFlightState) == 0, "saved record layout");
static_assert(offsetof(tagAircraftData, bEmergency) == 4, "saved record layout");
static_assert(offsetof(tagAircraftData, bDamaged) == 5, "saved record layout");
static_assert(offsetof(tagAircraftData, flags6) == 6, "saved record layout");
static_assert(offsetof(tagAircraftData, dLatitude) == 8, "saved record layout");
static_assert(offsetof(tagAircraftData, dLongitude) == 16, "saved record layout");
static_assert(offsetof(tagAircraftData, dLastCheckedLatitude) == 24, "saved record layout");
static_assert(offsetof(tagAircraftData, dLastCheckedLongitude) == 32, "saved record layout");
static_assert(offsetof(tagAircraftData, fHeading) == 40, "saved record layout");
static_assert(offsetof(tagAircraftData, fDamageAmount) == 44, "saved record layout");
static_assert(offsetof(tagAircraftData, bParkingBrake) == 48, "saved record layout");
static_assert(offsetof(tagAircraftData, bOnGround) == 49, "saved record layout");
static_assert(offsetof(tagAircraftData, pad50) == 50, "saved record layout");
static_assert(offsetof(tagAircraftData, dAltitudeFt) == 52, "saved record layout");
static_assert(offsetof(tagAircraftData, nHeightAglFt) == 60, "saved record layout");
static_assert(offsetof(tagAircraftData, nGroundElevationFt) == 64, "saved record layout");
static_assert(offsetof(tagAircraftData, nIndicatedAirspeedKts) == 68, "saved record layout");
static_assert(offsetof(tagAircraftData, nGroundSpeedKts) == 72, "saved record layout");
static_assert(offsetof(tagAircraftData, nVerticalSpeedFpm) == 76, "saved record layout");
static_assert(offsetof(tagAircraftData, nPrevVerticalSpeedFpm) == 80, "saved record layout");
static_assert(offsetof(tagAircraftData, bCrashed) == 84, "saved record layout");
static_assert(offsetof(tagAircraftData, pad85) == 85, "saved record layout");
static_assert(offsetof(tagAircraftData, bLandingLights) == 88, "saved record layout");
static_assert(offsetof(tagAircraftData, bGearDown) == 89, "saved record layout");
static_assert(offsetof(tagAircraftData, pad90) == 90, "saved record layout");
static_assert(offsetof(tagAircraftData, fFlapsRatio) == 92, "saved record layout");
static_assert(offsetof(tagAircraftData, nPassengers) == 96, "saved record layout");
static_assert(offsetof(tagAircraftData, nCargoKg) == 100, "saved record layout");
static_assert(offsetof(tagAircraftData, nFuelDepartureKg) == 104, "saved record layout");
static_assert(offsetof(tagAircraftData, nReserved108) == 108, "saved record layout");
static_assert(offsetof(tagAircraftData, nReserved112) == 112, "saved record layout");
static_assert(offsetof(tagAircraftData, nFuelTakeOffKg) == 116, "saved record layout");
static_assert(offsetof(tagAircraftData, nFuelLandingKg) == 120, "saved record layout");
static_assert(offsetof(tagAircraftData, nLandingVerticalSpeedFpm) == 124, "saved record layout");
static_assert(offsetof(tagAircraftData, nSimulationRate) == 128, "saved record layout");
static_assert(offsetof(tagAircraftData, closestAirport) == 132, "saved record layout");
static_assert(offsetof(tagAircraftData, reserved137) == 137, "saved record layout");
static_assert(offsetof(tagAircraftData, textTime) == 144, "saved record layout");
static_assert(offsetof(tagAircraftData, zuluTime) == 149, "saved record layout");
static_assert(offsetof(tagAircraftData, localTime) == 154, "saved record layout");
static_assert(offsetof(tagAircraftData, pad159) == 159, "saved record layout");
static_assert(offsetof(tagAircraftData, dFlightTimeS) == 160, "saved record layout");
static_assert(offsetof(tagAircraftData, nFlightTimeOffsetS) == 168, "saved record layout");
static_assert(offsetof(tagAircraftData, nMaxWeightKg) == 172, "saved record layout");
static_assert(offsetof(tagAircraftData, nEmptyWeightKg) == 176, "saved record layout");
static_assert(offsetof(tagAircraftData, nNumEngines) == 180, "saved record layout");
static_assert(offsetof(tagAircraftData, nReserved184) == 184, "saved record layout");
static_assert(offsetof(tagAircraftData, nReserved188) == 188, "saved record layout");

// The vertical speeds of the latest airborne reads, oldest first; the adapter
// appends the current vertical speed on every read in the air and the phase
// reactions average it once landed. Kept beside the record, never in it: the
// record is a file format and this is a working list.
using tVerticalSpeedHistory = boost::circular_buffer<int>;
// Near the ground the aircraft is read every 50 ms, so 10 reads hold the last
// half second before the wheels touch: the flare, not the approach before it
// nor the roll-out after it.
constexpr std::size_t kVerticalSpeedHistoryCapacity = 10;

// Threads: as tagAircraftData (client thread).
//
// Fuel figures per tank in kilograms. Slots 0 to 8 are the simulator's nine
// tanks; the others stay 0.
struct tTanksFloat {
    static constexpr int kNumSlots = 12;
    float tank[kNumSlots] = {};

    // The number of slots 0 to 10 holding more than 0.
    int getNumUsedTanks() const;
};

// kg <-> lbs with the single-precision factor every conversion uses.
float kgtolbs(float kg);
float lbstokg(float lbs);
// a is a fixed-point fraction in which 2^23 stands for 1, b a quantity in
// pounds; the result is a times b in kilograms.
float lbstokgFS(float a, float b);

// Threads: the client thread.
//
// The pilot's weight unit for showing and entering weights: 0 kilograms,
// 1 pounds. Any other value shows "n/a" and converts nothing.
class CUnitConversion {
public:
    void setWeightUnit(int unit) { m_nWeightUnit = unit; }
    // "kg", "lbs" or "n/a".
    std::string getWeightUnit() const;
    // Kilograms to the display unit; the int version truncates.
    int getWeight(int kg) const;
    float getWeight(float kg) const;
    // An entered display value back to kilograms; the int version truncates.
    int getKg(int value) const;
    float getKg(float value) const;

private:
    int m_nWeightUnit = 0;
};
