// The flight phase state machine and the phase-dependent penalty rules.
#include "CFlightState.h"

#include "AircraftData.h"
#include "CLogger.h"
#include "CReport.h"
#include "CSound.h"

namespace {

enum : int {
    kBoarding = 0,
    kTaxi = 1,
    kTakeOff = 2,
    kLanded = 3,
    kOnBlock = 4,
    kClimb = 5,
    kCruise = 6,
    kDescent = 7,
    kCrashed = 8,
};

// Penalty kinds of the report's catalogue that this machine raises.
enum : int {
    kPenaltyTaxiOverspeed = 0,
    kPenaltyCrash = 2,
    kPenaltyLightsOnAboveFL100 = 5,
    kPenaltyLightsOffBelow1000 = 6,
    kPenaltyOverspeedBelowFL100 = 7,
};

const char* const kDisplayNames[] = {"Boarding", "Taxi",   "Take Off", "Landed", "On Block",
                                     "Climb",    "Cruise", "Descent",  "Crashed"};

const struct {
    const char* key;
    int phase;
} kKeys[] = {{"boarding", kBoarding}, {"taxi", kTaxi},   {"takeoff", kTakeOff},
             {"landed", kLanded},     {"climb", kClimb}, {"cruise", kCruise},
             {"descent", kDescent}};

constexpr int kTaxiMinGroundSpeedKts = 30;
constexpr uint32_t kTaxiMaxFastMs = 90000;
// Above this height a phase of climb, cruise or descent can be told apart.
constexpr int kClimbCruiseDescentMinHeightFt = 151;
// Between the two the 10000 ft rules hold still, so hovering near the level
// does not flip them.
constexpr double kAboveFL100Ft = 10100.0;
constexpr double kBelowFL100Ft = 9900.0;

}  // namespace

CFlightState::CFlightState(tagAircraftData* pData, CReport* pReport, CSound* pSound,
                           CTimer::ClockFn clock)
    : m_pSound(pSound),
      m_pReport(pReport),
      m_pData(pData),
      m_phaseTimer(clock),
      m_taxiTimer(clock),
      m_pLogger(std::make_unique<CLogger>("CFlightState")) {}

CFlightState::~CFlightState() = default;

int CFlightState::get() const { return m_pData != nullptr ? m_pData->nFlightState : kBoarding; }

void CFlightState::set(int phase) {
    if (m_pData != nullptr) {
        m_pData->nFlightState = phase;
    }
    m_phaseTimer.Reset();
    m_taxiTimer.Reset();
}

bool CFlightState::check() {
    const bool bChanged = checkFlightState();
    const bool bPenalty = checkPenalties();
    if (bPenalty && m_pSound != nullptr) {
        m_pSound->play("penalty.wav", false);
    }
    if (bChanged) {
        m_pLogger->debug("FlightState: " + std::to_string(get()));
    }
    return bChanged;
}

bool CFlightState::checkFlightState() {
    if (m_pData == nullptr) {
        return false;
    }
    const tagAircraftData& data = *m_pData;
    const int phase = data.nFlightState;
    int next = phase;

    if (data.bCrashed) {
        next = kCrashed;
    } else {
        const bool bHighEnough = data.nHeightAglFt >= kClimbCruiseDescentMinHeightFt;
        const int vs = data.nVerticalSpeedFpm;
        switch (phase) {
            case kBoarding:
                if (data.nGroundSpeedKts >= 6) {
                    next = kTaxi;
                }
                break;
            case kTaxi:
                if (data.nHeightAglFt >= 71 && !data.bOnGround) {
                    next = kTakeOff;
                }
                break;
            case kTakeOff:
            case kClimb:
            case kCruise:
            case kDescent:
                if (data.bOnGround) {
                    next = kLanded;
                } else if (vs > 199 && bHighEnough && phase != kClimb) {
                    next = kClimb;
                } else if (vs >= -199 && vs <= 199 && bHighEnough && phase != kCruise) {
                    next = kCruise;
                } else if (vs < -199 && bHighEnough && phase != kDescent) {
                    next = kDescent;
                }
                break;
            case kLanded:
                if (data.bParkingBrake) {
                    next = kOnBlock;
                }
                break;
            default:
                // On Block and Crashed are final; an unknown value stays as it is.
                break;
        }
    }

    if (next == phase) {
        return false;
    }
    m_pData->nFlightState = next;
    m_phaseTimer.Reset();
    return true;
}

bool CFlightState::raise(int kind) {
    if (m_pReport->isPenalty(kind)) {
        return false;
    }
    m_pReport->addPenalty(kind);
    return true;
}

bool CFlightState::checkPenalties() {
    if (m_pData == nullptr || m_pReport == nullptr) {
        return false;
    }
    const tagAircraftData& data = *m_pData;
    const int phase = data.nFlightState;
    bool bAdded = false;

    // Fast taxi: the timer measures how long the aircraft has moved on the
    // ground at 30 kt or more without a slower moment in between.
    if (m_pReport->isPenalty(kPenaltyTaxiOverspeed)) {
        m_taxiTimer.Reset();
    } else if (data.bOnGround || data.nHeightAglFt < 5 || phase == kTaxi || phase == kLanded) {
        if (data.nGroundSpeedKts < kTaxiMinGroundSpeedKts) {
            m_taxiTimer.Reset();
        }
        if (m_taxiTimer.GetTime() > kTaxiMaxFastMs) {
            bAdded |= raise(kPenaltyTaxiOverspeed);
        }
    } else {
        m_taxiTimer.Reset();
    }

    if (data.nHeightAglFt >= 51 && data.nHeightAglFt < 951 && !data.bLandingLights) {
        bAdded |= raise(kPenaltyLightsOffBelow1000);
    }
    if (data.dAltitudeFt >= kAboveFL100Ft && data.bLandingLights && data.nHeightAglFt >= 3001) {
        bAdded |= raise(kPenaltyLightsOnAboveFL100);
    }
    if (data.dAltitudeFt < kBelowFL100Ft && data.nIndicatedAirspeedKts >= 261) {
        bAdded |= raise(kPenaltyOverspeedBelowFL100);
    }
    if (phase == kCrashed) {
        bAdded |= raise(kPenaltyCrash);
    }
    return bAdded;
}

std::string CFlightState::stateToString(int phase) {
    if (phase < kBoarding || phase > kCrashed) {
        return "Undefined";
    }
    return kDisplayNames[phase];
}

int CFlightState::stringToState(const std::string& key) {
    for (const auto& entry : kKeys) {
        if (key == entry.key) {
            return entry.phase;
        }
    }
    return -1;
}
