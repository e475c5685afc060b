// The flight report: the penalties raised during a flight, kept in 11 slots
// that the rating and the report backup read, and the report record built
// from the finished flight.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>

class CClientInterface;
class CFlightSimulatorInterface;
class CLogger;

// What the report needs of the finished flight that the simulator snapshot
// does not hold. The flight workflow fills it before the report is made.
struct tFlightFacts {
    // Passengers on board, as loaded for the booked flight.
    int passengers = 0;
    // Cargo on board, kg, as loaded for the booked flight.
    int cargoKg = 0;
    // 1 when the pilot declared an emergency landing (the user interface's
    // button), else 0.
    int emergencyLanding = 0;
    // The simulator clock at arrival, "HHMM": zulu and local time.
    std::string arrivalTime;
    std::string localArrivalTime;
    // Vertical speed at touchdown, ft/min, negative when descending.
    int landingVerticalSpeedFpm = 0;
    // Whether the aircraft was damaged during the flight (failures or a hard
    // landing), and by how much: percent points off each part's state.
    bool damaged = false;
    float damagePercent = 0.0f;
    // Fuel on board, kg: at departure (flight start), at take-off and at
    // landing.
    int fuelDepartureKg = 0;
    int fuelTakeOffKg = 0;
    int fuelLandingKg = 0;
};

// One penalty slot. Saved byte for byte into the report backup, so its 268
// bytes are a file format.
struct struct_penalty {
    int32_t active;               // 1 when raised in this flight
    char text[256];               // the reason listed in the rating reasons
    int32_t ratingDeduction;      // points off the rating of 100
    int32_t reputationDeduction;  // points off the airline's reputation change
};

static_assert(std::is_standard_layout<struct_penalty>::value &&
                  std::is_trivially_copyable<struct_penalty>::value,
              "the penalty slot is saved byte for byte");
static_assert(sizeof(struct_penalty) == 268, "saved penalty slot size");
static_assert(offsetof(struct_penalty, active) == 0, "saved penalty slot layout");
static_assert(offsetof(struct_penalty, text) == 4, "saved penalty slot layout");
static_assert(offsetof(struct_penalty, ratingDeduction) == 260, "saved penalty slot layout");
static_assert(offsetof(struct_penalty, reputationDeduction) == 264, "saved penalty slot layout");

// Threads: the client thread only (the client loop, the flight state machine
// and the button handling all run there); no lock of its own.
//
// Penalty kinds 0 to 9 can be raised; slot 10 is counted in the rating and
// saved with the backup, but never raised here.
//
// The report is written into the client interface's records (m_report, and
// the log, route, aircraft and airline records it adjusts); the simulator
// interface gives the aircraft's position, flight state and flight timer.
// Neither is owned.
class CReport {
public:
    static constexpr int kNumPenaltySlots = 11;
    // The flight state number of a crashed aircraft.
    static constexpr int kFlightStateCrashed = 8;

    CReport();
    CReport(CFlightSimulatorInterface* simulator, CClientInterface* client);
    ~CReport();
    CReport(const CReport&) = delete;
    CReport& operator=(const CReport&) = delete;

    // Raises a penalty of the catalogue; raising it again changes nothing and
    // an unknown kind is ignored. The fuel figures (kg) matter only to kind 9,
    // in-flight refuelling, whose warning names the fuel before and after.
    // Returns 1.
    int addPenalty(int kind, int fuelBeforeKg = 0, int fuelAfterKg = 0);
    // Whether the slot's penalty was raised; false for a slot that does not exist.
    bool isPenalty(int kind) const;
    // Clears the slot's active flag.
    void deletePenalty(int kind);
    // Starts a new flight's penalties: slots 0 to 9 emptied, slot 10 kept.
    void resetCReport();

    // The slot (0 to 10), or null when there is no such slot.
    const struct_penalty* getPenalty(int slot) const;
    // The flight recorder's event for a penalty kind; empty for an unknown kind.
    static std::string getPenaltyEventName(int kind);

    void setFlightSimulatorInterface(CFlightSimulatorInterface* simulator) {
        m_pSimulator = simulator;
    }
    void setClientInterface(CClientInterface* client) { m_pClient = client; }
    void setFlightFacts(const tFlightFacts& facts) { m_facts = facts; }
    const tFlightFacts& getFlightFacts() const { return m_facts; }

    // Fills the client's report record from the finished flight: route and
    // crew, arrival airport and times, aircraft wear, fuel, revenue, salary,
    // rating and the airline's reputation change. Called once when the pilot
    // ends the flight, before the report is uploaded. Without both interfaces
    // set it changes nothing. Returns 1.
    int createReport();

private:
    std::unique_ptr<CLogger> m_pLogger;
    CFlightSimulatorInterface* m_pSimulator = nullptr;
    CClientInterface* m_pClient = nullptr;
    tFlightFacts m_facts;
    struct_penalty m_penalties[kNumPenaltySlots];
};
