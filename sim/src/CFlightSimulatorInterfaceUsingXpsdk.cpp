// Reads X-Plane's datarefs into the aircraft snapshot and writes fuel,
// simulation rate and failures back; keeps the flight timer.
#include "CFlightSimulatorInterfaceUsingXpsdk.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <locale>
#include <sstream>

#include "CLogger.h"
#include "CThreadSync.h"
#include "XPLMUtilities.h"

namespace {

// X-Plane's failure datarefs take a failure mode: 6 is "inoperative now";
// 1 would only arm a failure after X-Plane's own mean time between failures.
constexpr int kFailedNow = 6;

constexpr double kFeetPerMetre = 3.281;
constexpr double kKnotsPerMetrePerSecond = 1.9438;
constexpr double kSecondsPerDay = 86400.0;
// X-Plane's tanks; the record's tank slots hold 12.
constexpr int kSimulatorTanks = 9;
constexpr int kBuildStringBytes = 256;

// Numbers in log lines are written the same in every locale.
std::string number(double value) {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out << value;
    return out.str();
}

// "HHMM" of a time of day in seconds.
void formatClock(double seconds, char (&out)[5]) {
    if (!(seconds >= 0.0) || seconds >= kSecondsPerDay) {
        seconds = 0.0;  // a broken reading shows midnight rather than garbage
    }
    const double hoursFraction = seconds / 3600.0;
    const int hours = static_cast<int>(std::floor(hoursFraction));
    const int minutes = static_cast<int>((hoursFraction - hours) * 60.0);
    char text[8];
    std::snprintf(text, sizeof(text), "%02d%02d", hours, minutes);
    std::memcpy(out, text, sizeof(out));
    out[4] = '\0';
}

std::string readBuildString(XPLMDataRef ref) {
    char build[kBuildStringBytes + 1] = {0};
    if (ref != nullptr) {
        const int bytes = XPLMGetDatab(ref, build, 0, kBuildStringBytes);
        build[bytes > 0 && bytes <= kBuildStringBytes ? bytes : 0] = '\0';
    }
    return std::string(build);
}

// The readings below are made on the simulator's thread, the rest of the work after.
void readClocks(const XPLMDataRef* refs, float& localSeconds, float& zuluSeconds) {
    localSeconds = XPLMGetDataf(refs[CFlightSimulatorInterfaceUsingXpsdk::kLocalTime]);
    zuluSeconds = XPLMGetDataf(refs[CFlightSimulatorInterfaceUsingXpsdk::kZuluTime]);
}

void readTanks(const XPLMDataRef* refs, float* quantityKg, float* ratio, float& capacityKg) {
    XPLMGetDatavf(refs[CFlightSimulatorInterfaceUsingXpsdk::kFuelQuantity], quantityKg, 0,
                  kSimulatorTanks);
    XPLMGetDatavf(refs[CFlightSimulatorInterfaceUsingXpsdk::kTankRatio], ratio, 0, kSimulatorTanks);
    capacityKg = XPLMGetDataf(refs[CFlightSimulatorInterfaceUsingXpsdk::kFuelCapacity]);
}

}  // namespace

const char* const CFlightSimulatorInterfaceUsingXpsdk::kDataRefNames[kNumSlots] = {
    nullptr,
    "sim/flightmodel/position/latitude",
    "sim/flightmodel/position/longitude",
    "sim/cockpit/electrical/landing_lights_on",
    "sim/time/sim_speed",
    "sim/cockpit2/gauges/indicators/radio_altimeter_height_ft_pilot",
    "sim/flightmodel/position/elevation",
    "sim/cockpit2/gauges/indicators/vvi_fpm_pilot",
    nullptr,
    "sim/flightmodel/controls/parkbrake",
    "sim/flightmodel/position/indicated_airspeed",
    "sim/flightmodel/position/groundspeed",
    "sim/flightmodel/failures/onground_any",
    "sim/aircraft/weight/acf_m_max",
    "sim/aircraft/weight/acf_m_empty",
    "sim/aircraft/engine/acf_num_engines",
    "sim/time/ground_speed",
    "sim/aircraft/overflow/acf_num_tanks",
    "sim/flightmodel/weight/m_fuel",
    "sim/aircraft/overflow/acf_tank_rat",
    "sim/aircraft/weight/acf_m_fuel_tot",
    "sim/time/local_time_sec",
    "sim/time/zulu_time_sec",
    "sim/operation/failures/rel_engfir0",
    "sim/operation/failures/rel_engfir1",
    "sim/operation/failures/rel_engfir2",
    "sim/operation/failures/rel_engfir3",
    "sim/operation/failures/rel_flap_act",
    "sim/operation/failures/rel_gear_act",
    "sim/version/sim_build_string",
    "sim/version/xplm_build_string",
    "sim/cockpit/misc/compass_indicated",
    "sim/cockpit2/controls/flap_system_deploy_ratio",
    "sim/aircraft/parts/acf_gear_deploy",
};

const char* CFlightSimulatorInterfaceUsingXpsdk::formerDataRefName(int slot) {
    switch (slot) {
        case kFlapHandle:
            return "sim/flightmodel2/controls/flap_handle_deploy_ratio";
        default:
            return nullptr;
    }
}

CFlightSimulatorInterfaceUsingXpsdk::CFlightSimulatorInterfaceUsingXpsdk(CThreadSync* threadSync)
    : m_pLogger(std::make_unique<CLogger>("CFlightSimulatorInterfaceUsingXpsdk")),
      m_pThreadSync(threadSync) {
    m_interfaceName = "XPLM";
}

CFlightSimulatorInterfaceUsingXpsdk::~CFlightSimulatorInterfaceUsingXpsdk() = default;

bool CFlightSimulatorInterfaceUsingXpsdk::connect() {
    XPLMDataRef found[kNumSlots] = {};
    std::string simulatorBuild;
    std::string interfaceBuild;
    std::string formerNamesRead;
    if (!onSimulator([&] {
            found[kLatitude] = XPLMFindDataRef(kDataRefNames[kLatitude]);
            if (found[kLatitude] != nullptr) {
                for (int slot = kLongitude; slot < kNumSlots; ++slot) {
                    if (kDataRefNames[slot] != nullptr) {
                        found[slot] = XPLMFindDataRef(kDataRefNames[slot]);
                    }
                    if (found[slot] == nullptr && formerDataRefName(slot) != nullptr) {
                        found[slot] = XPLMFindDataRef(formerDataRefName(slot));
                        formerNamesRead += std::string(" ") + formerDataRefName(slot);
                    }
                }
                simulatorBuild = readBuildString(found[kSimBuild]);
                interfaceBuild = readBuildString(found[kXplmBuild]);
            }
        })) {
        return false;
    }
    if (found[kLatitude] == nullptr) {
        m_pLogger->warn("Couldn't connect to X-Plane");
        return false;
    }
    if (!formerNamesRead.empty()) {
        m_pLogger->debug("An X-Plane before 12: reading" + formerNamesRead);
    }
    std::memcpy(m_dataRefs, found, sizeof(m_dataRefs));
    m_simulatorBuild = simulatorBuild;
    m_interfaceBuild = interfaceBuild.empty() ? simulatorBuild : interfaceBuild;
    m_bConnected = true;
    m_pLogger->debug("Successfully connected to X-Plane");
    return true;
}

void CFlightSimulatorInterfaceUsingXpsdk::disconnect() {}

int CFlightSimulatorInterfaceUsingXpsdk::getAircraftTanks() {
    float quantityKg[kSimulatorTanks] = {};
    float ratio[kSimulatorTanks] = {};
    float capacityKg = 0.0f;
    if (!m_bConnected ||
        !onSimulator([&] { readTanks(m_dataRefs, quantityKg, ratio, capacityKg); })) {
        return 0;
    }
    return takeTanks(quantityKg, ratio, capacityKg);
}

int CFlightSimulatorInterfaceUsingXpsdk::takeTanks(const float* quantityKg, const float* ratio,
                                                   float capacityKg) {
    for (int i = 0; i < kSimulatorTanks; ++i) {
        m_tankQuantityKg.tank[i] = quantityKg[i];
        m_tankCapacityKg.tank[i] = ratio[i] * capacityKg;
    }
    m_tankQuantityKg.tank[9] = 0.0f;
    m_tankQuantityKg.tank[10] = 0.0f;
    float totalKg = 0.0f;
    for (int i = 0; i <= 10; ++i) {
        totalKg += m_tankQuantityKg.tank[i];
    }
    return static_cast<int>(totalKg);
}

bool CFlightSimulatorInterfaceUsingXpsdk::setAircraftTanks() {
    float quantityKg[kSimulatorTanks];
    for (int i = 0; i < kSimulatorTanks; ++i) {
        quantityKg[i] = m_tankQuantityKg.tank[i];
    }
    if (!m_bConnected || !onSimulator([&] {
            XPLMSetDatavf(m_dataRefs[kFuelQuantity], quantityKg, 0, kSimulatorTanks);
        })) {
        return false;
    }
    float totalKg = 0.0f;
    for (float tankKg : m_tankQuantityKg.tank) {
        totalKg += tankKg;
    }
    m_pLogger->debug("Set fuel to: " + std::to_string(static_cast<int>(totalKg)) + "kg");
    return true;
}

bool CFlightSimulatorInterfaceUsingXpsdk::getEverything() {
    float localSeconds = 0.0f;
    float zuluSeconds = 0.0f;
    if (!m_bConnected || !onSimulator([&] {
            readSnapshot();
            readClocks(m_dataRefs, localSeconds, zuluSeconds);
        })) {
        return false;
    }
    afterSnapshot();
    takeClocks(localSeconds, zuluSeconds);
    return true;
}

bool CFlightSimulatorInterfaceUsingXpsdk::readSnapshotAndTanks() {
    float localSeconds = 0.0f;
    float zuluSeconds = 0.0f;
    float quantityKg[kSimulatorTanks] = {};
    float ratio[kSimulatorTanks] = {};
    float capacityKg = 0.0f;
    if (!m_bConnected || !onSimulator([&] {
            readSnapshot();
            readClocks(m_dataRefs, localSeconds, zuluSeconds);
            readTanks(m_dataRefs, quantityKg, ratio, capacityKg);
        })) {
        return false;
    }
    afterSnapshot();
    takeClocks(localSeconds, zuluSeconds);
    takeTanks(quantityKg, ratio, capacityKg);
    return true;
}

void CFlightSimulatorInterfaceUsingXpsdk::readSnapshot() {
    tagAircraftData& data = m_aircraftData;
    data.dLatitude = XPLMGetDatad(m_dataRefs[kLatitude]);
    data.dLongitude = XPLMGetDatad(m_dataRefs[kLongitude]);
    data.fHeading = XPLMGetDataf(m_dataRefs[kCompass]);
    if (!m_bLandingLightOverride) {
        data.bLandingLights = XPLMGetDatai(m_dataRefs[kLandingLights]) != 0;
    }
    data.nSimulationRate = XPLMGetDatai(m_dataRefs[kSimSpeed]);
    m_nGroundSpeedMultiplier =
        m_dataRefs[kTimeGroundSpeed] != nullptr ? XPLMGetDatai(m_dataRefs[kTimeGroundSpeed]) : 1;
    data.nHeightAglFt = static_cast<int>(XPLMGetDataf(m_dataRefs[kRadioAltimeter]));
    data.dAltitudeFt = XPLMGetDataf(m_dataRefs[kElevation]) * kFeetPerMetre;
    data.nGroundElevationFt =
        static_cast<int>(data.dAltitudeFt - XPLMGetDataf(m_dataRefs[kRadioAltimeter]));
    data.nPrevVerticalSpeedFpm = data.nVerticalSpeedFpm;
    data.nVerticalSpeedFpm = static_cast<int>(XPLMGetDataf(m_dataRefs[kVerticalSpeed]));
    data.bParkingBrake = XPLMGetDataf(m_dataRefs[kParkBrake]) != 0.0f;
    data.nIndicatedAirspeedKts = static_cast<int>(XPLMGetDataf(m_dataRefs[kIndicatedAirspeed]));
    data.nGroundSpeedKts =
        static_cast<int>(XPLMGetDataf(m_dataRefs[kGroundSpeed]) * kKnotsPerMetrePerSecond);
    data.bOnGround = XPLMGetDatai(m_dataRefs[kOnGround]) != 0;
    data.nMaxWeightKg = static_cast<int>(XPLMGetDataf(m_dataRefs[kMaxWeight]));
    data.nEmptyWeightKg = static_cast<int>(XPLMGetDataf(m_dataRefs[kEmptyWeight]));
    data.nNumEngines = XPLMGetDatai(m_dataRefs[kNumEngines]);
    data.fFlapsRatio = XPLMGetDataf(m_dataRefs[kFlapHandle]);
    float gearDeploy = 0.0f;
    XPLMGetDatavf(m_dataRefs[kGearDeploy], &gearDeploy, 0, 1);
    data.bGearDown = gearDeploy != 0.0f;
}

void CFlightSimulatorInterfaceUsingXpsdk::afterSnapshot() {
    if (!m_aircraftData.bOnGround) {
        m_verticalSpeedHistory.push_back(m_aircraftData.nVerticalSpeedFpm);
    }
}

bool CFlightSimulatorInterfaceUsingXpsdk::getZuluTime() {
    float localSeconds = 0.0f;
    float zuluSeconds = 0.0f;
    if (!m_bConnected || !onSimulator([&] { readClocks(m_dataRefs, localSeconds, zuluSeconds); })) {
        return false;
    }
    takeClocks(localSeconds, zuluSeconds);
    return true;
}

void CFlightSimulatorInterfaceUsingXpsdk::takeClocks(float localSeconds, float zuluSeconds) {
    formatClock(localSeconds, m_aircraftData.localTime);
    formatClock(zuluSeconds, m_aircraftData.zuluTime);
    updateFlightTimer(zuluSeconds);
}

void CFlightSimulatorInterfaceUsingXpsdk::updateFlightTimer(double zuluSeconds) {
    double& flightTimeS = m_aircraftData.dFlightTimeS;
    const double previousS = flightTimeS;
    if (!m_bFlightTimerInitialised) {
        m_flightTimerInitS = zuluSeconds;
        m_bFlightTimerInitialised = true;
        m_pLogger->debug("FlightTimer initialized: InitValue = " + number(m_flightTimerInitS));
    }
    flightTimeS = zuluSeconds - m_flightTimerInitS;
    // Past midnight the zulu clock starts again at 0: the timer goes on.
    if (flightTimeS < -0.5 && zuluSeconds < 120.0) {
        flightTimeS += kSecondsPerDay;
        m_flightTimerInitS -= kSecondsPerDay;
        m_pLogger->debug("FlightTimer reinitialized: InitValue = " + number(m_flightTimerInitS));
    }
    // The flight timer never runs backwards.
    if (previousS > flightTimeS) {
        const double backS = previousS - flightTimeS;
        m_pLogger->error("FlightTimer decreased: InitValue -= " + number(backS));
        m_flightTimerInitS -= backS;
        flightTimeS = previousS;
    }
    // A jump of the clock is swallowed whole.
    if (flightTimeS - previousS > kMaxFlightTimeStepS) {
        const double jumpS = flightTimeS - previousS;
        m_pLogger->error("FlightTimer raised too fast: InitValue += " + number(jumpS));
        m_flightTimerInitS += jumpS;
        flightTimeS = previousS;
    }
}

bool CFlightSimulatorInterfaceUsingXpsdk::setFailure(int which, bool silent) {
    int engine = -1;
    switch (which) {
        case 0:
        case 4:
            engine = 0;
            break;
        case 1:
        case 2:
        case 3:
            engine = which;
            break;
        default:
            break;
    }
    if (engine >= 0 && (!m_bConnected || !onSimulator([&] {
            XPLMSetDatai(m_dataRefs[kEngineFire0 + engine], kFailedNow);
        }))) {
        return false;
    }
    // The message is a second access of its own.
    if (engine >= 0 && !silent) {
        const std::string message = "Failure: Engine " + std::to_string(engine + 1) + " on fire!";
        displayText(message.c_str(), 10, false);
    }
    return true;
}

bool CFlightSimulatorInterfaceUsingXpsdk::checkFailure(int which) {
    const int slot = which == 5 ? kFlapFailure : which == 6 ? kGearFailure : -1;
    if (slot < 0) {
        return true;
    }
    return m_bConnected && onSimulator([&] { XPLMSetDatai(m_dataRefs[slot], kFailedNow); });
}

bool CFlightSimulatorInterfaceUsingXpsdk::setSimulationRate(int rate) {
    if (!m_bConnected || !onSimulator([&] { XPLMSetDatai(m_dataRefs[kSimSpeed], rate); })) {
        return false;
    }
    // The log line skips as many leading characters as the rate is large; a
    // rate beyond the text leaves it empty rather than reading past its end.
    static const char kText[] = "Set Simulation Rate to: ";
    constexpr int kLength = static_cast<int>(sizeof(kText)) - 1;
    const int skip = rate < 0 ? 0 : (rate > kLength ? kLength : rate);
    m_pLogger->debug(kText + skip);
    return true;
}

bool CFlightSimulatorInterfaceUsingXpsdk::setGroundSpeedMultiplier(int multiplier) {
    if (!m_bConnected || m_dataRefs[kTimeGroundSpeed] == nullptr ||
        !onSimulator([&] { XPLMSetDatai(m_dataRefs[kTimeGroundSpeed], multiplier); })) {
        return false;
    }
    m_pLogger->debug("Set ground speed multiplier to: " + std::to_string(multiplier));
    return true;
}

int CFlightSimulatorInterfaceUsingXpsdk::setMenuRestrictions() { return 0; }

bool CFlightSimulatorInterfaceUsingXpsdk::enableTextMessages(bool enabled) {
    m_bTextMessages = enabled;
    return m_bTextMessages;
}

bool CFlightSimulatorInterfaceUsingXpsdk::displayText(const char* text, int seconds, bool flag) {
    (void)seconds;
    (void)flag;
    return onSimulator([&] { XPLMSpeakString(text != nullptr ? text : ""); });
}

bool CFlightSimulatorInterfaceUsingXpsdk::isRunning() { return true; }

bool CFlightSimulatorInterfaceUsingXpsdk::onSimulator(const std::function<void()>& job) {
    return m_pThreadSync != nullptr && m_pThreadSync->runOnSimulator(job);
}

void CFlightSimulatorInterfaceUsingXpsdk::setStandardFuel(int kg) {
    float* quantityKg = m_tankQuantityKg.tank;
    const float* capacityKg = m_tankCapacityKg.tank;
    int tanksLeft = m_tankCapacityKg.getNumUsedTanks();
    if (tanksLeft == 0) {
        // No tank can take fuel: nothing is loaded (and nothing divided by 0).
        for (int i = 0; i < kSimulatorTanks; ++i) {
            quantityKg[i] = 0.0f;
        }
        m_pLogger->warn("No fuel tank with capacity: " + std::to_string(kg) + "kg not loaded");
        return;
    }
    float shareKg = static_cast<float>(kg) / tanksLeft;
    // Tanks are visited in slot order, used or not; the excess of a full tank
    // is spread over the tanks still to come, while there are any.
    for (int i = 0; i < 8; ++i) {
        if (shareKg > capacityKg[i]) {
            quantityKg[i] = capacityKg[i];
            --tanksLeft;
            if (tanksLeft > 0) {
                shareKg += (shareKg - capacityKg[i]) / tanksLeft;
            }
        } else {
            quantityKg[i] = shareKg;
            --tanksLeft;
        }
    }
    quantityKg[8] = shareKg < capacityKg[8] ? shareKg : capacityKg[8];
}

std::string CFlightSimulatorInterfaceUsingXpsdk::getInterfaceVersion() { return m_interfaceBuild; }

int CFlightSimulatorInterfaceUsingXpsdk::getRequiredVersion() { return 0; }

bool CFlightSimulatorInterfaceUsingXpsdk::checkInterfaceVersion() { return true; }

int CFlightSimulatorInterfaceUsingXpsdk::getFlightSimulatorVersion() { return 10; }

void CFlightSimulatorInterfaceUsingXpsdk::checkFrequently() {}

void CFlightSimulatorInterfaceUsingXpsdk::resetFlightTimer() {}
