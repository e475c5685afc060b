// The flight phases from boarding to on-block, read from the aircraft record,
// and the penalties that depend on phase, height, speed and landing lights.
#pragma once

#include <memory>
#include <string>

#include "CTimer.h"

struct tagAircraftData;
class CReport;
class CSound;
class CLogger;

// Threads: the client thread only (the flight supervision calls check() on
// every flight check; the workflow calls set()).
//
// Phases: 0 Boarding, 1 Taxi, 2 Take Off, 3 Landed, 4 On Block, 5 Climb,
// 6 Cruise, 7 Descent, 8 Crashed. On Block and Crashed are final.
class CFlightState {
public:
    // None of the three is owned; the phase is kept in the record itself. The
    // clock drives both timers (tests pass one they can move by hand).
    CFlightState(tagAircraftData* pData, CReport* pReport, CSound* pSound,
                 CTimer::ClockFn clock = &CTimer::monotonicMs);
    ~CFlightState();
    CFlightState(const CFlightState&) = delete;
    CFlightState& operator=(const CFlightState&) = delete;

    int get() const;
    // Sets the phase and starts the taxi count afresh: a new flight, or the
    // workflow forcing a phase, must not inherit a count from before.
    void set(int phase);

    // One phase step and the penalty rules; plays "penalty.wav" once when any
    // penalty was added. Returns whether the phase changed.
    bool check();
    // At most one transition; true when the phase changed.
    bool checkFlightState();
    // Each rule at most once per flight; true when a penalty was added.
    bool checkPenalties();

    // Milliseconds since the phase last changed.
    uint32_t getTimeInPhaseMs() const { return m_phaseTimer.GetTime(); }

    // "Boarding" ... "Crashed", "Undefined" for any other value.
    static std::string stateToString(int phase);
    // The lower-case key of a phase ("boarding", "taxi", "takeoff", "landed",
    // "climb", "cruise", "descent"), or -1. On Block and Crashed have none.
    static int stringToState(const std::string& key);

private:
    // Raises the penalty unless it already stands; true when it was added.
    bool raise(int kind);

    CSound* m_pSound;
    CReport* m_pReport;
    tagAircraftData* m_pData;
    CTimer m_phaseTimer;
    // Counts continuous fast movement on the ground (penalty 0).
    CTimer m_taxiTimer;
    std::unique_ptr<CLogger> m_pLogger;
};
