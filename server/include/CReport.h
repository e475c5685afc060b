// The flight report: the penalties raised during a flight, kept in 11 slots
// that the rating and the report backup read, and the report record built
// from the finished flight.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "ServerRecords.h"

class CClientInterface;
class CFlightSimulatorInterface;
class CLogger;
class CPendingUploads;

namespace Blackbox {
class CBlackbox;
}

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
// interface gives the flight's facts: position, flight state, flight timer,
// load, fuel readings, touchdown and damage. Neither is owned. The flight
// recorder, when given (not owned either), uploads its event log after the
// report and keeps it in the report's backup.
//
// A report that cannot be uploaded is kept in the report file, sealed by a
// code in the settings file. Sealing is ordered so that a plug-in or
// simulator that dies at any moment leaves either the previous backup or the
// new one complete and valid on disk.
class CReport {
public:
    static constexpr int kNumPenaltySlots = 11;
    // The flight state number of a crashed aircraft.
    static constexpr int kFlightStateCrashed = 8;
    // Tracker failures in a row after which position uploads stop for good.
    static constexpr int kMaxTrackerFailures = 16;
    // Entries below this height above ground wait for the end of the flight.
    static constexpr int kPositionLogMinHeightFt = 1500;

    CReport();
    CReport(CFlightSimulatorInterface* simulator, CClientInterface* client,
            Blackbox::CBlackbox* blackbox = nullptr);
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
    // Starts a new flight: the airline, pilot (keeping the login) and report
    // records reset, penalty slots 0 to 9 emptied, slot 10 kept, the kept
    // position entries dropped.
    void resetCReport();

    // The slot (0 to 10), or null when there is no such slot.
    const struct_penalty* getPenalty(int slot) const;
    // The flight recorder's event for a penalty kind; empty for an unknown kind.
    static std::string getPenaltyEventName(int kind);

    void setFlightSimulatorInterface(CFlightSimulatorInterface* simulator) {
        m_pSimulator = simulator;
    }
    void setClientInterface(CClientInterface* client) { m_pClient = client; }
    void setBlackbox(Blackbox::CBlackbox* blackbox) { m_pBlackbox = blackbox; }

    // Fills the client's report record from the finished flight: route and
    // crew, arrival airport and times, aircraft wear, fuel, revenue, salary,
    // rating and the airline's reputation change. Called once when the pilot
    // ends the flight, before the report is uploaded. Without both interfaces
    // set it changes nothing. Returns 1.
    int createReport();

    // --- the money of a flight, as the report computes it and its pages show it ---

    // Fuel bought at a price per litre, 1.234 litres to the kg, taken in
    // single precision and cut to whole currency units.
    static int32_t fuelCost(int fuelKg, double pricePerLitre);
    // The aircraft type's ticket factor, or 1.0 when it is not above 0.
    static double ticketFactor(double typeTicketFactor);
    // The tickets of the passengers at the ticket price, times the type's
    // ticket factor; not yet cut to whole units.
    static double ticketRevenue(double ticketPrice, int passengers, double typeTicketFactor);
    // ticketRevenue cut to whole units, as the report's pages show it; a sum
    // no int holds (an absurd price from the website) counts as 0, logged.
    static int32_t ticketMoney(double ticketPrice, int passengers, double typeTicketFactor);

    // --- upload, or keep the report for later ---

    // Uploads the report; on any failure writes the backup instead. Returns 1
    // when uploaded.
    int writeReport(bool manual);
    // Writes the backup and seals it. Returns 1, or 0 (logged) when the files
    // could not be written, in which case the previous files stay as they were
    // and the report is held in memory instead: offered, loaded and uploaded
    // as a backup on disk would be, until it is saved, deleted or the
    // plug-in stops.
    int createBackup();
    // Whether a backup waits in memory because it could not be saved.
    bool isBackupHeldInMemory() const { return !m_unsavedBackup.empty(); }
    // The held report file's text, for a client made again after a failure;
    // empty when none is held.
    const std::string& heldBackupText() const { return m_unsavedBackup; }
    // Holds a report file's text that the client before this one could not
    // save, as if this one had failed to save it.
    void holdBackup(const std::string& fileText) { keepUnsavedBackup(fileText); }
    // Saves and seals the backup held in memory, as createBackup would have:
    // the pilot's "Retry", the next login and the stop. Returns 1 when it is
    // on disk now or none was held, else 0 and it stays held.
    int saveHeldBackup();
    // The code of the report file as it is on disk now: three characters.
    std::string calcBackupCode();
    // The code of a report file's bytes.
    static std::string backupCodeOf(const std::string& fileText);
    // Whether the settings' code matches the report file.
    bool checkBackupCode();
    // Whether a backup waits for upload. Completes a sealing that a crash
    // interrupted first.
    bool isBackupReport();
    // Verifies the backup, loads its records (not the logged-in pilot) and
    // makes the report again from them. The report file is read once: its
    // code is checked and its records loaded from the same bytes. Returns 1
    // when loaded, 0 when the code is wrong.
    int loadBackup();
    // loadBackup's work once the code matched: the records from the report
    // store, then the report made again. Returns 1, or 0 without both
    // interfaces.
    int restoreBackup();
    // Drops the backup. Returns 1.
    int deleteBackup();

    // Standard base64 without line breaks. Encoding stops before an input
    // byte once the output holds limit characters or more, so the output
    // holds at most limit rounded up to a multiple of 4 characters.
    static std::string base64_encode(const std::string& source, int limit);
    // Stops at the first "=", at the first character outside the alphabet,
    // or when limit bytes are decoded.
    static std::string base64_decode(const std::string& source, int limit);

    // --- position tracker ---

    // One live-map step; returns 0 when it failed.
    int uploadTrackerData();
    // Takes one position entry and sends it when it should go now; otherwise
    // (or when sending fails) keeps it for after the report. Returns 1 when sent.
    int uploadPositionLog();
    // Sends every kept entry once, in order, with the number it was given,
    // on the calling thread.
    void uploadFailedPositionLogs();
    // What follows an uploaded report, its kept entries and the recorder's
    // event log, goes up on a thread of its own (CPendingUploads); what the
    // website did not take waits in "quelby_pending.ini". At a contact with
    // the website, resumePendingUploads() sends what an earlier series left.
    void resumePendingUploads();
    std::size_t countPendingUploads();
    bool waitForPendingUploads(std::chrono::milliseconds limit);
    // At flight start: the website drops the flight's position log, the kept
    // entries go and numbering starts again at 0.
    void resetPositionLog();
    // Switches the tracker and the position upload.
    void setTracker(bool on) { m_bTrackerEnabled = on; }
    bool isTrackerEnabled() const { return m_bTrackerEnabled; }
    // The kept entries into or out of the report store.
    void backupPositionLogs();
    void loadPositionLogs();
    const std::vector<tquelby_position_logs>& getFailedPositionLogs() const {
        return m_failedPositionLogs;
    }

    // Called after each step of sealing a backup that reached the disk, with
    // the step's number: 1 the code announced, 2 the report file written,
    // 3 the backup marked. Crash tests end the process there.
    using BackupStepHook = void (*)(int step);
    static void setBackupStepHookForTests(BackupStepHook hook);

private:
    bool finishInterruptedBackup();
    // Saves the report file's text and seals it, in the order that survives
    // a crash at any moment; a text that cannot be saved is held in memory.
    // Returns 1 when sealed on disk.
    int sealBackup(const std::string& fileText);
    // Whether the settings' code is the code of these bytes of a report file.
    bool sealMatches(const std::string& fileText);
    // Hands the kept entries and the recorder's events of a flight whose
    // report the website took to the pending uploads.
    void uploadAfterReport();
    CPendingUploads& pendingUploads();
    // Keeps the report file's text that could not be saved, says so loudly
    // and returns 0.
    int keepUnsavedBackup(const std::string& fileText);
    // The report store takes the report file's bytes on disk again.
    void reloadReportStore();
    void writePenaltySlots() const;
    void readPenaltySlots();

    std::unique_ptr<CLogger> m_pLogger;
    CFlightSimulatorInterface* m_pSimulator = nullptr;
    CClientInterface* m_pClient = nullptr;
    Blackbox::CBlackbox* m_pBlackbox = nullptr;
    struct_penalty m_penalties[kNumPenaltySlots];

    // The aircraft record as the flight left it, before the report added its
    // wear and fuel multiplier: the backup keeps this one, so that making
    // the report again from the backup gives the same report.
    tTarvex_Aircrafts m_aircraftBeforeReport;
    bool m_bHaveAircraftBeforeReport = false;
    // The last code computed, as a terminated text.
    char m_backupCode[4] = {0};
    // A backup whose report file could not be saved; empty when none.
    std::string m_unsavedBackup;

    bool m_bTrackerEnabled = true;
    std::vector<tquelby_position_logs> m_failedPositionLogs;
    int m_nextPositionId = 0;
    int m_trackerFailures = 0;
    // Made at first use; gone first, its series saved and ended.
    std::unique_ptr<CPendingUploads> m_pendingUploads;
};
