// Random failures drawn from the aircraft's condition: which parts fail in a
// flight and when, and setting them off in the simulator at their time.
#pragma once

#include <memory>
#include <vector>

class CClientInterface;
class CFlightSimulatorInterface;
class CLogger;

namespace Blackbox {
class CBlackbox;
}

namespace Failures {

// The source of the draws: rand() unless a test sets another.
using RandomFn = int (*)();

// Threads: the client thread only (flight start and the client loop).
//
// One part that may fail in this flight: unarmed, armed with a trigger time
// by a draw that beats its condition, then active for the rest of the flight.
class CFailureBase {
public:
    CFailureBase(float condition, CFlightSimulatorInterface* simulator,
                 Blackbox::CBlackbox* blackbox);
    virtual ~CFailureBase();
    CFailureBase(const CFailureBase&) = delete;
    CFailureBase& operator=(const CFailureBase&) = delete;

    // Sets the failure off in the simulator and logs it.
    virtual void activate() = 0;
    // Keeps an active failure set, every check.
    virtual void run() = 0;

    // Accepts a draw (arms the failure at a random second of the planned
    // duration) when not armed yet and the part exists and the draw is above
    // its condition.
    bool init(float chance, int durationMinutes, RandomFn random);
    void check(long flightTimeS);

    long getTriggerTime() const { return m_triggerTime; }
    bool isActive() const { return m_bActive; }
    float getCondition() const { return m_condition; }

protected:
    // Logs the failure into the flight's event log.
    void logEvent(const char* text);

    long m_triggerTime = 0;  // flight time, s; 0 = not armed
    bool m_bActive = false;
    float m_condition;  // 0 to 100; 0 = the part does not exist
    CFlightSimulatorInterface* m_pSimulator;
    Blackbox::CBlackbox* m_pBlackbox;
};

// An engine fire, set once.
class CEngineFailure : public CFailureBase {
public:
    CEngineFailure(int engine, float condition, CFlightSimulatorInterface* simulator,
                   Blackbox::CBlackbox* blackbox);
    void activate() override;
    void run() override;
    int getEngine() const { return m_engine; }

private:
    int m_engine;  // 1 to 4
};

// The gear stuck; set again on every check so that it cannot be cleared.
class CGearFailure : public CFailureBase {
public:
    using CFailureBase::CFailureBase;
    void activate() override;
    void run() override;
};

// The flaps stuck (taken from the hull's condition); set again on every check.
class CFlapsFailure : public CFailureBase {
public:
    using CFailureBase::CFailureBase;
    void activate() override;
    void run() override;
};

// Threads: the client thread only.
//
// Draws the flight's failures at its start and runs them during it.
class CFailureManager {
public:
    CFailureManager();
    ~CFailureManager();
    CFailureManager(const CFailureManager&) = delete;
    CFailureManager& operator=(const CFailureManager&) = delete;

    // At flight start: the previous flight's failures go, six new ones are
    // offered the draws.
    void init(CClientInterface* client, CFlightSimulatorInterface* simulator,
              Blackbox::CBlackbox* blackbox);
    // flightTimeS: seconds since the flight's start.
    void check(long flightTimeS);

    const std::vector<std::unique_ptr<CFailureBase>>& getFailures() const { return m_failures; }
    // For tests: the draws come from here instead of rand().
    void setRandomForTests(RandomFn random) { m_random = random; }

private:
    std::unique_ptr<CLogger> m_pLogger;
    std::vector<std::unique_ptr<CFailureBase>> m_failures;
    RandomFn m_random;
};

}  // namespace Failures
