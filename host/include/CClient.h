// The client thread's scheduler: one run() is one pass of the main loop. While
// a flight is in progress a pass reads the aircraft, runs the cheat detector,
// the flight supervision and the random failures, uploads tracker and
// position data on their own intervals and records blackbox events.
//
// Threads: the client thread only.
#pragma once

#include <cstdint>
#include <memory>

#include "CTimer.h"

class CLogger;
class CUserInterface;

class CClient {
public:
    // Menu layer of a flight in progress.
    static constexpr int kFlyingLayer = 5;
    static constexpr uint32_t kConnectionCheckMs = 5000;
    static constexpr uint32_t kTrackerIntervalMs = 60000;
    static constexpr uint32_t kPositionLogIntervalMs = 180000;
    static constexpr uint32_t kRestrictionIntervalMs = 8000;
    static constexpr int32_t kFailureCheckMs = 99;
    static constexpr int32_t kLoopTimeWarningMs = 20000;
    static constexpr uint32_t kPassSleepMs = 10;
    // How often a screen with live figures (flying, fuel) is composed again.
    static constexpr uint32_t kLiveTextMs = 250;

    CClient(CUserInterface& ui, void* parentWindow, CTimer::ClockFn clock = &CTimer::monotonicMs);
    virtual ~CClient();
    CClient(const CClient&) = delete;
    CClient& operator=(const CClient&) = delete;

    // One pass, ending with the sleep of the pass.
    void run();
    // The pass without its sleep (tests step it with their own clock).
    void runPass();
    virtual void repaintTextarea();
    void checkKeyCombinations() {}

    // The check interval for a height above the ground: near the ground the
    // aircraft is sampled 20 times a second, in cruise once in 10 s.
    static int32_t checkIntervalForHeight(int heightAglFt);
    int32_t getCheckInterval() const { return m_nCheckInterval; }

protected:
    CTimer m_timer;
    CUserInterface& m_ui;
    std::unique_ptr<CLogger> m_pLogger;
    void* m_pParentWindow;

private:
    void runFlightBlock();
    void recordFlight(bool flying);
    void checkConnection();
    void runFlightChecks();

    uint32_t m_lastRestrictionMs = 0;
    uint32_t m_lastIntervalChoiceMs = 0;
    uint32_t m_lastCheckMs = 0;
    uint32_t m_lastTrackerMs = 0;
    uint32_t m_lastConnectionCheckMs = 0;
    uint32_t m_lastFailureCheckMs = 0;
    uint32_t m_lastPositionLogMs = 0;
    int32_t m_nCheckInterval = 100;
    bool m_bFlyingLastPass = false;
    uint32_t m_loopStartMs = 0;
    uint32_t m_t1 = 0, m_t2 = 0, m_t3 = 0, m_t4 = 0;
    int32_t m_nLoopTimeMs = 0;
    uint32_t m_lastTextMs = 0;
};
