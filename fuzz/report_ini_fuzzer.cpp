// Fuzzes the report backup: INI text taken as the report file, every record
// the client keeps there decoded as restoring a backup does, the report made
// again from them, and the uploads built from what was restored.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "CBlackbox.h"
#include "CIniParser.h"
#include "CReport.h"
#include "FuzzSupport.h"

namespace {

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "report backup: %s\n", what.c_str());
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    quelby_fuzz::prepareProcess();
    CIniParser* ini = CIniParser::instance();
    ini->loadReportText(std::string(reinterpret_cast<const char*>(data), size));

    // No website: every request the restored report makes fails at once.
    // One client for the process, as in the plug-in; restoring fills it anew.
    static quelby_fuzz::CAnswerReplay client("");
    client.replay(std::string_view());
    quelby_fuzz::CRecordOnlySimulator simulator;
    // No rule file in the scratch folder: the recorder only holds the log,
    // which restoring replaces. Made once, as the client is; it reads the
    // aircraft record only when checking rules, which it has none of.
    static tagAircraftData recorderAircraft;
    static Blackbox::CBlackbox blackbox(nullptr, &recorderAircraft, &client);
    blackbox.clearFlightData();
    CReport report(&simulator, &client, &blackbox);
    if (report.restoreBackup() != 1) {
        fail("restoring with both interfaces set did not report success");
    }
    for (int slot = 0; slot < CReport::kNumPenaltySlots; ++slot) {
        const struct_penalty* penalty = report.getPenalty(slot);
        if (penalty == nullptr ||
            std::memchr(penalty->text, '\0', sizeof(penalty->text)) == nullptr) {
            fail("penalty slot " + std::to_string(slot) + " restored without its terminator");
        }
    }
    for (const Blackbox::tDataRecord& record : blackbox.getFlightData()) {
        if (std::memchr(record.text, '\0', sizeof(record.text)) == nullptr ||
            std::memchr(record.flightState, '\0', sizeof(record.flightState)) == nullptr) {
            fail("event record restored without its terminators");
        }
    }

    // What the pilot's upload does with the restored records.
    client.writeReport(true);
    report.uploadFailedPositionLogs();
    blackbox.uploadLog();
    // Freed within this run: the fuzzer takes memory that the next run frees
    // for a leak and runs the input again to find it.
    client.replay(std::string_view());
    blackbox.clearFlightData();
    ini->resetBackupFile();
    return 0;
}
