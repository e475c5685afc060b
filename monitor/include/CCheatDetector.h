// Guards a booked flight against fuel added in the air, an aircraft moved
// faster than it can fly, and time accelerated beyond the route's limit
// (X-Plane's simulation rate times its ground-speed multiplier).
#pragma once

#include <memory>
#include <string>

#include "CTimer.h"

class CFlightSimulatorInterface;
class CLogger;
class CUserInterface;

// Threads: the client thread only (the client loop and the flight start);
// no lock of its own.
//
// Small and first offences are put right quietly (the fuel taken back, the
// rate set back); persistent ones abort the flight through the user
// interface. The fuel reference and the refuelling count live in the
// simulator interface, the highest rate used in the report record.
class CCheatDetector {
public:
    // Refuellings taken back before the next one aborts the flight.
    static constexpr int kMaxRefuelings = 10;
    // Rate violations tolerated; the next one aborts the flight.
    static constexpr int kMaxSimRateViolations = 6;
    // Nautical miles per second of real time per unit of simulation rate.
    static constexpr double kMaxNmPerSecond = 6.0;

    CCheatDetector(CFlightSimulatorInterface* simulator, CUserInterface* userInterface);
    ~CCheatDetector();
    CCheatDetector(const CCheatDetector&) = delete;
    CCheatDetector& operator=(const CCheatDetector&) = delete;

    // At flight start, with the tanks just read: the departure fuel becomes
    // the reference, no refuelling counted yet, and the position checks
    // start from where the aircraft stands.
    void startFlight();

    // All three checks, in this order, each aborting the flight on its own.
    void doChecks();

    // Whether the fuel on board rose beyond the tolerance since the last
    // check; a fall becomes the new reference.
    bool checkFuelRaised();
    // Takes a detected refuelling back. False once ten were taken back.
    bool setLastFuel();
    // Whether the aircraft moved farther than allowed in timeDiffMs.
    bool checkPositionChange(int timeDiffMs);
    // Holds the time acceleration to the route's limit (the rate set back to
    // it, the ground-speed multiplier to 1); true after too many violations.
    bool checkSimrate();
    // The simulation rate times the ground-speed multiplier.
    int timeAcceleration() const;

    const std::string& getAbortReason() const { return m_abortReason; }
    int getSimRateViolations() const { return m_simRateViolations; }

    // For tests: a check timer over another clock.
    void setClockForTests(CTimer::ClockFn clock);

private:
    void abort(const char* reason);

    std::unique_ptr<CLogger> m_pLogger;
    CFlightSimulatorInterface* m_pSimulator;
    CUserInterface* m_pUserInterface;
    std::string m_abortReason;
    CTimer m_checkTimer;
    int m_lastSimRate = 1;
    int m_simRateViolations = 0;
};
