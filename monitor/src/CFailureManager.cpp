// Drawing a flight's failures from the aircraft's condition and setting
// them off at their time.
#include "CFailureManager.h"

#include <cstdlib>
#include <ctime>
#include <mutex>
#include <string>

#include "CBlackbox.h"
#include "CClientInterface.h"
#include "CFlightSimulatorInterface.h"
#include "CLogger.h"
#include "CNumberText.h"

namespace Failures {

namespace {

constexpr int kMessageSeconds = 10;
// The simulator interface's failure numbers for the flaps and the gear.
constexpr int kFlapsFailure = 5;
constexpr int kGearFailure = 6;

// rand() is seeded once in the life of the process, at the first flight.
int seededRand() {
    static std::once_flag seeded;
    std::call_once(seeded, [] { std::srand(static_cast<unsigned>(std::time(nullptr))); });
    return std::rand();
}

}  // namespace

CFailureBase::CFailureBase(float condition, CFlightSimulatorInterface* simulator,
                           Blackbox::CBlackbox* blackbox)
    : m_condition(condition), m_pSimulator(simulator), m_pBlackbox(blackbox) {}

CFailureBase::~CFailureBase() = default;

bool CFailureBase::init(float chance, int durationMinutes, RandomFn random) {
    if (m_triggerTime > 0 || m_condition == 0.0f || !(chance > m_condition)) {
        return false;
    }
    // A uniformly drawn second of the planned flight.
    const float fraction = static_cast<float>(random() % 100) / 100.0f;
    m_triggerTime = static_cast<long>(fraction * static_cast<float>(durationMinutes) * 60.0f);
    return true;
}

void CFailureBase::check(long flightTimeS) {
    if (m_bActive) {
        run();
        return;
    }
    if (m_triggerTime > 0 && m_triggerTime < flightTimeS) {
        activate();
    }
}

void CFailureBase::logEvent(const char* text) {
    if (m_pBlackbox != nullptr) {
        m_pBlackbox->executeEvent(text, "");
    }
}

CEngineFailure::CEngineFailure(int engine, float condition, CFlightSimulatorInterface* simulator,
                               Blackbox::CBlackbox* blackbox)
    : CFailureBase(condition, simulator, blackbox), m_engine(engine) {}

void CEngineFailure::activate() {
    m_bActive = true;
    if (m_pSimulator != nullptr) {
        m_pSimulator->setFailure(m_engine - 1, false);
    }
    logEvent("Failure: Engine Failure!");
}

// A fire once set burns on by itself.
void CEngineFailure::run() {}

void CGearFailure::activate() {
    m_bActive = true;
    if (m_pSimulator != nullptr) {
        m_pSimulator->displayText("Failure: Gear stuck!", kMessageSeconds, false);
    }
    logEvent("Failure: Gear stuck!");
}

void CGearFailure::run() {
    if (m_pSimulator != nullptr) {
        m_pSimulator->checkFailure(kGearFailure);
    }
}

void CFlapsFailure::activate() {
    m_bActive = true;
    if (m_pSimulator != nullptr) {
        m_pSimulator->displayText("Failure: Flaps stuck!", kMessageSeconds, false);
    }
    logEvent("Failure: Flaps stuck!");
}

void CFlapsFailure::run() {
    if (m_pSimulator != nullptr) {
        m_pSimulator->checkFailure(kFlapsFailure);
    }
}

// The logger is made at the first flight: the manager lives inside the
// plug-in's static user interface, built before the log knows where to write.
CFailureManager::CFailureManager() : m_random(seededRand) {}

CFailureManager::~CFailureManager() = default;

void CFailureManager::init(CClientInterface* client, CFlightSimulatorInterface* simulator,
                           Blackbox::CBlackbox* blackbox) {
    if (!m_pLogger) {
        m_pLogger = std::make_unique<CLogger>("CFailureManager");
    }
    // A failure armed for the last flight must not fire in this one.
    m_failures.clear();
    if (client == nullptr) {
        return;
    }
    const tTarvex_Aircrafts& aircraft = client->m_aircraft;
    const float engines[] = {aircraft.StateEng1, aircraft.StateEng2, aircraft.StateEng3,
                             aircraft.StateEng4};
    for (int engine = 1; engine <= 4; ++engine) {
        m_failures.push_back(
            std::make_unique<CEngineFailure>(engine, engines[engine - 1], simulator, blackbox));
    }
    m_failures.push_back(std::make_unique<CGearFailure>(aircraft.StateGear, simulator, blackbox));
    m_failures.push_back(std::make_unique<CFlapsFailure>(aircraft.StateHull, simulator, blackbox));

    const int divisor = client->m_aircraftType.Engines + 2;
    if (divisor <= 0) {
        m_pLogger->warn("No failures drawn: the aircraft type has " +
                        std::to_string(client->m_aircraftType.Engines) + " engines");
        return;
    }
    float sum = 0.0f;
    for (const auto& failure : m_failures) {
        sum += failure->getCondition();
    }
    const float mean = sum / static_cast<float>(divisor);
    const int durationMinutes = recordInt(client->m_log.Duration);
    for (std::size_t draw = 0; draw < m_failures.size(); ++draw) {
        const float chance = static_cast<float>(m_random() % 9999) / 100.0f;
        if (!(chance > mean)) {
            break;
        }
        for (const auto& failure : m_failures) {
            if (failure->init(chance, durationMinutes, m_random)) {
                break;
            }
        }
    }
}

void CFailureManager::check(long flightTimeS) {
    for (const auto& failure : m_failures) {
        failure->check(flightTimeS);
    }
}

}  // namespace Failures
