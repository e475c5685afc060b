// The penalty catalogue and the penalty slots of the flight report; the
// report itself is made in CReportCreate.cpp.
#include "CReport.h"

#include <boost/format.hpp>
#include <cstring>

#include "CBlackbox.h"
#include "CClientInterface.h"
#include "CLogger.h"
#include "CPendingUploads.h"

namespace {

struct tPenaltyKind {
    const char* text;
    const char* eventName;
    int32_t rating;
    int32_t reputation;
};

// Indexed by kind. The texts end up in the rating reasons the website shows,
// the event names in the flight recorder's log.
const tPenaltyKind kPenaltyCatalogue[] = {
    {"overspeed - taxi", "Penalty - overspeed taxi", 5, 0},
    {"wrong airport", "Penalty - wrong airport", 15, 5},
    {"crashed", "Penalty - crash", 50, 20},
    {"still rolling when ending flight", "Penalty - still rolling when ending flight", 5, 0},
    {"parking brakes", "Penalty - parking brakes not enabled", 5, 0},
    {"landing lights on above FL100", "Penalty - landing lights over FL100", 5, 0},
    {"landing lights off under 1000 feet", "Penalty - landing lights off under 1000 feet", 5, 0},
    {"overspeed under FL100", "Penalty - overspeed under FL100", 5, 0},
    {"exhausted fuel supply", "Penalty - exhausted fuel supply", 15, 5},
    {"inflight refueling", "Penalty - refueling during flight", 0, 0},
};
constexpr int kNumPenaltyKinds = sizeof(kPenaltyCatalogue) / sizeof(kPenaltyCatalogue[0]);
static_assert(kNumPenaltyKinds == 10, "kinds 0 to 9 can be raised");

constexpr int kRefuelingKind = 9;

bool isKind(int kind) { return kind >= 0 && kind < kNumPenaltyKinds; }
bool isSlot(int slot) { return slot >= 0 && slot < CReport::kNumPenaltySlots; }

}  // namespace

CReport::CReport() : CReport(nullptr, nullptr) {}

CReport::CReport(CFlightSimulatorInterface* simulator, CClientInterface* client,
                 Blackbox::CBlackbox* blackbox)
    : m_pLogger(std::make_unique<CLogger>("CReport")),
      m_pSimulator(simulator),
      m_pClient(client),
      m_pBlackbox(blackbox) {
    std::memset(m_penalties, 0, sizeof(m_penalties));
    std::memset(&m_aircraftBeforeReport, 0, sizeof(m_aircraftBeforeReport));
}

CReport::~CReport() = default;

int CReport::addPenalty(int kind, int fuelBeforeKg, int fuelAfterKg) {
    if (!isKind(kind)) {
        return 1;
    }
    if (kind == kRefuelingKind) {
        m_pLogger->warn(
            (boost::format("Inflight refueling recongnized: %d -> %d") % fuelBeforeKg % fuelAfterKg)
                .str());
    }
    const tPenaltyKind& entry = kPenaltyCatalogue[kind];
    struct_penalty& slot = m_penalties[kind];
    // The event log has the penalty once, when it is raised.
    if (slot.active != 1 && m_pBlackbox != nullptr) {
        m_pBlackbox->executeEvent(entry.eventName, "");
    }
    slot.active = 1;
    std::memset(slot.text, 0, sizeof(slot.text));
    std::strncpy(slot.text, entry.text, sizeof(slot.text) - 1);
    slot.ratingDeduction = entry.rating;
    slot.reputationDeduction = entry.reputation;
    return 1;
}

bool CReport::isPenalty(int kind) const { return isSlot(kind) && m_penalties[kind].active != 0; }

void CReport::deletePenalty(int kind) {
    if (isSlot(kind)) {
        m_penalties[kind].active = 0;
    }
}

void CReport::resetCReport() {
    if (m_pClient != nullptr) {
        // The login outlives the flight.
        tTarvex_Pilots& pilot = m_pClient->m_pilot;
        char user[sizeof(pilot.User)];
        char password[sizeof(pilot.Password)];
        std::memcpy(user, pilot.User, sizeof(user));
        std::memcpy(password, pilot.Password, sizeof(password));
        pilot.reset();
        std::memcpy(pilot.User, user, sizeof(user));
        std::memcpy(pilot.Password, password, sizeof(password));
        m_pClient->m_virtualAirline.reset();
        m_pClient->m_report.reset();
    }
    for (int slot = 0; slot < kNumPenaltyKinds; ++slot) {
        std::memset(&m_penalties[slot], 0, sizeof(m_penalties[slot]));
    }
    m_failedPositionLogs.clear();
    m_bHaveAircraftBeforeReport = false;
}

const struct_penalty* CReport::getPenalty(int slot) const {
    return isSlot(slot) ? &m_penalties[slot] : nullptr;
}

std::string CReport::getPenaltyEventName(int kind) {
    return isKind(kind) ? kPenaltyCatalogue[kind].eventName : "";
}
