// What every fuzz target shares: a scratch folder per process for the
// client's files, a website link that replays one answer instead of posting,
// and a simulator that only holds its aircraft record.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "CClientInterface.h"
#include "CFlightSimulatorInterface.h"

namespace quelby_fuzz {

// Once per process: makes a fresh folder under $TMPDIR for the client's
// files and points the client's paths at it. The debug log is off (every
// input would add to it) unless QUELBY_FUZZ_LOG names a folder for it.
// Returns the folder, ending in '/'.
const std::string& prepareProcess();

// The website link with the transport replaced: every request is answered
// with the same bytes, exactly as the transport would have received them.
class CAnswerReplay : public CClientInterface {
public:
    explicit CAnswerReplay(std::string answer) : m_answer(std::move(answer)) {}
    int requests() const { return m_requests; }
    // Answers with answer from now on, as a client made afresh would: the
    // rows, records and cached airports of earlier answers are dropped.
    // Making a client per input would cost more than reading the input.
    void replay(std::string_view answer);

protected:
    int transfer(const char*) override {
        ++m_requests;
        return takeResponse(m_answer.data(), m_answer.size());
    }

private:
    std::string m_answer;
    int m_requests = 0;
};

// A simulator without a simulator: the record and tanks as the fuzzer sets
// them, every operation accepted and without effect.
class CRecordOnlySimulator : public CFlightSimulatorInterface {
public:
    bool connect() override { return true; }
    void disconnect() override {}
    int getAircraftTanks() override { return getTotalFuelKg(); }
    bool setAircraftTanks() override { return true; }
    bool getEverything() override { return true; }
    bool getZuluTime() override { return true; }
    bool setFailure(int, bool) override { return true; }
    bool checkFailure(int) override { return true; }
    bool setSimulationRate(int) override { return true; }
    bool setGroundSpeedMultiplier(int) override { return true; }
    int setMenuRestrictions() override { return 0; }
    bool enableTextMessages(bool) override { return true; }
    bool displayText(const char*, int, bool) override { return true; }
    bool isRunning() override { return true; }
    void setStandardFuel(int) override {}
    std::string getInterfaceVersion() override { return "fuzz"; }
    int getRequiredVersion() override { return 0; }
    bool checkInterfaceVersion() override { return true; }
    int getFlightSimulatorVersion() override { return 12; }
    void checkFrequently() override {}
    void resetFlightTimer() override {}
};

}  // namespace quelby_fuzz
