// The simulator as the rest of the client sees it: the aircraft snapshot and
// tank figures, and the operations that read and write the simulator.
//
// Threads: the client thread only. Implementations reach the simulator
// through the handshake, one job on the simulator's thread per operation.
#pragma once

#include <string>

#include "AircraftData.h"

class CBookedFlight;

class CFlightSimulatorInterface {
public:
    // The record comes first so that every holder of the interface reaches the
    // same snapshot.
    tagAircraftData m_aircraftData;
    tTanksFloat m_tankCapacityKg;
    tTanksFloat m_tankQuantityKg;
    tVerticalSpeedHistory m_verticalSpeedHistory{kVerticalSpeedHistoryCapacity};
    // The fuel the cheat detector last accepted: it only ever moves down
    // during a flight. The flight start sets it to the departure fuel.
    tTanksFloat m_lastTankQuantityKg;
    int m_nLastFuelKg = 0;
    // The fuel on board at the detector's last check.
    int m_nCurrentFuelKg = 0;
    // In-flight refuellings taken back in this flight.
    int m_nRefuelCount = 0;
    // X-Plane's ground-speed multiplier at the last read (1 when off): the
    // aircraft covers that many times the distance, which is time
    // acceleration as much as the simulation rate. Kept beside the record,
    // which is a file format with no room for it.
    int m_nGroundSpeedMultiplier = 1;

    CFlightSimulatorInterface();
    virtual ~CFlightSimulatorInterface();
    CFlightSimulatorInterface(const CFlightSimulatorInterface&) = delete;
    CFlightSimulatorInterface& operator=(const CFlightSimulatorInterface&) = delete;

    virtual bool connect() = 0;
    virtual void disconnect() = 0;
    // Reads the tanks; returns the fuel on board in kg.
    virtual int getAircraftTanks() = 0;
    // Writes the tank quantities into the simulator.
    virtual bool setAircraftTanks() = 0;
    // Reads the whole snapshot.
    virtual bool getEverything() = 0;
    // Updates the clock texts and the flight timer.
    virtual bool getZuluTime() = 0;
    // What a flight check reads: getEverything() and getAircraftTanks().
    // The simulator's own interface reads both in one access, so that a
    // check costs the simulator one frame's reads, not two.
    virtual bool readSnapshotAndTanks() {
        const bool read = getEverything();
        getAircraftTanks();
        return read;
    }
    virtual bool setFailure(int which, bool silent) = 0;
    virtual bool checkFailure(int which) = 0;
    virtual bool setSimulationRate(int rate) = 0;
    virtual bool setGroundSpeedMultiplier(int multiplier) = 0;
    virtual int setMenuRestrictions() = 0;
    virtual bool enableTextMessages(bool enabled) = 0;
    virtual bool displayText(const char* text, int seconds, bool flag) = 0;
    virtual bool isRunning() = 0;
    // Spreads kg over the tanks' quantities (the simulator is not written).
    virtual void setStandardFuel(int kg) = 0;
    virtual std::string getInterfaceVersion() = 0;
    virtual int getRequiredVersion() = 0;
    virtual bool checkInterfaceVersion() = 0;
    virtual int getFlightSimulatorVersion() = 0;
    virtual void checkFrequently() = 0;
    virtual void resetFlightTimer() = 0;

    const std::string& getInterfaceName() const { return m_interfaceName; }
    tagAircraftData* getAircraftData() { return &m_aircraftData; }
    // The flight timer in whole seconds, less the record's stored offset.
    int getFlightTime() const;
    // Flips the landing lights as the client sees them (the simulator's own
    // lights stay as they are) and from then on ignores the simulator's.
    void toggleLandingLights();
    bool isLandingLightOverride() const { return m_bLandingLightOverride; }

    // The booked flight these checks compare against; not owned.
    void setBookedFlight(CBookedFlight* bookedFlight) { m_pBookedFlight = bookedFlight; }
    // 5: fewer engines than the booked type; 4: more than 20 % lighter than the
    // booked type's maximum take-off weight; 0: acceptable.
    int checkAircraftType();
    // Fills the record's closest-airport code from the website's
    // nearest-airport query at the aircraft's position.
    bool getNearestAirport();
    // Take-off weight (fuel on board, dry operating weight, 102 kg per
    // passenger, cargo) minus the booked maximum take-off weight, in kg; above
    // 0 the aircraft is overweight.
    int getOverweight() const;

    // The fuel on board: the sum of all tank quantities, rounded to whole kg.
    int getTotalFuelKg() const;

    // The flight-data status that lets a position entry below 1500 ft go to
    // the website at once: the aircraft is off the ground (the approach and
    // the climb-out, not the taxi).
    bool isAirborne() const { return !m_aircraftData.bOnGround; }
    // The simulator reported a crash: the wreck is damaged beyond repair, so
    // the report takes every part's condition to 0.
    void setCrashed();
    // Damage amount of a total loss, in the record's tenths of a percentage point.
    static constexpr float kTotalLossDamage = 1000.0f;

protected:
    std::string m_interfaceName;
    bool m_bLandingLightOverride = false;
    CBookedFlight* m_pBookedFlight = nullptr;
};
