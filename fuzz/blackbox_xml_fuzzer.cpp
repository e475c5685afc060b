// Fuzzes the flight recorder's rule file: any text as blackbox.xml, the rules
// built from it, armed and checked twice against an aircraft that moves
// between the checks, and the event log through its backup and back.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "CBlackbox.h"
#include "CIniParser.h"
#include "FuzzSupport.h"

namespace {

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "blackbox rules: %s\n", what.c_str());
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    quelby_fuzz::prepareProcess();

    // One simulator, client and recorder for the process, as in the plug-in;
    // each input starts them from nothing, as a new flight with a new rule
    // file does. (Making them anew would cost more than the input.)
    static quelby_fuzz::CRecordOnlySimulator simulator;
    static quelby_fuzz::CAnswerReplay client("");
    // No rule file in the scratch folder: the input's text is the file's.
    static Blackbox::CBlackbox blackbox(nullptr, &simulator.m_aircraftData, &client);
    simulator.m_aircraftData.reset();
    client.replay(std::string_view());
    blackbox.clearEventList();
    blackbox.clearFlightData();
    blackbox.parseXmlText(reinterpret_cast<const char*>(data), size);
    const std::size_t rules = blackbox.getNumEvents();

    // A default record first; then climbing out, gear down, lights off.
    blackbox.init();
    blackbox.check();
    tagAircraftData& aircraft = simulator.m_aircraftData;
    aircraft.nFlightState = 5;
    aircraft.dFlightTimeS = 600.0;
    aircraft.nIndicatedAirspeedKts = 260;
    aircraft.dAltitudeFt = 8000.0;
    aircraft.nHeightAglFt = 7600;
    aircraft.nVerticalSpeedFpm = -1800;
    aircraft.bGearDown = true;
    aircraft.fFlapsRatio = 0.5f;
    blackbox.check();
    if (blackbox.getNumEvents() > rules) {
        fail("checking added rules");
    }

    // The log must come back from the report backup byte for byte. The
    // store starts empty each time, as createBackup empties it, so nothing
    // of an earlier input is read back or kept.
    const std::vector<Blackbox::tDataRecord> logged = blackbox.getFlightData();
    CIniParser* ini = CIniParser::instance();
    ini->resetBackupFile();
    blackbox.backup();
    blackbox.loadBackup();
    const std::vector<Blackbox::tDataRecord>& loaded = blackbox.getFlightData();
    if (loaded.size() != logged.size()) {
        fail("backup kept " + std::to_string(loaded.size()) + " of " +
             std::to_string(logged.size()) + " events");
    }
    for (std::size_t i = 0; i < logged.size(); ++i) {
        if (std::memcmp(&loaded[i], &logged[i], sizeof(Blackbox::tDataRecord)) != 0) {
            fail("event " + std::to_string(i) + " changed through the backup");
        }
    }
    ini->resetBackupFile();
    blackbox.clearEventList();
    blackbox.clearFlightData();
    // Freed within this run: the fuzzer takes memory that the next run frees
    // for a leak and runs the input again to find it.
    client.replay(std::string_view());
    return 0;
}
