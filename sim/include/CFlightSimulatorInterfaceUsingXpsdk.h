// The simulator interface on X-Plane: datarefs into the aircraft snapshot,
// fuel, simulation rate and failures written back, spoken messages, and the
// flight timer that survives midnight and resists clock jumps.
//
// Threads: the client thread only. Every operation that touches the
// simulator hands its SDK calls to the simulator's thread in one piece
// (CThreadSync::runOnSimulator) and logs after they are done.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "CFlightSimulatorInterface.h"
#include "XPLMDataAccess.h"

class CLogger;
class CThreadSync;

class CFlightSimulatorInterfaceUsingXpsdk : public CFlightSimulatorInterface {
public:
    // The datarefs, in the order connect() looks them up; slot 8 is unused.
    enum DataRefSlot {
        kLatitude = 1,
        kLongitude,
        kLandingLights,
        kSimSpeed,
        kRadioAltimeter,
        kElevation,
        kVerticalSpeed,
        kUnused8,
        kParkBrake,
        kIndicatedAirspeed,
        kGroundSpeed,
        kOnGround,
        kMaxWeight,
        kEmptyWeight,
        kNumEngines,
        kTimeGroundSpeed,
        kNumTanks,
        kFuelQuantity,
        kTankRatio,
        kFuelCapacity,
        kLocalTime,
        kZuluTime,
        kEngineFire0,
        kEngineFire1,
        kEngineFire2,
        kEngineFire3,
        kFlapFailure,
        kGearFailure,
        kSimBuild,
        kXplmBuild,
        kCompass,
        kFlapHandle,
        kGearDeploy,
        kNumSlots
    };
    static const char* const kDataRefNames[kNumSlots];
    // The name X-Plane 10 and 11 knew for a slot whose name X-Plane 12
    // replaced, read only where X-Plane lacks the current one; null for the
    // other slots.
    static const char* formerDataRefName(int slot);
    // The flight timer never advances more than this between two reads.
    static constexpr double kMaxFlightTimeStepS = 600.0;

    explicit CFlightSimulatorInterfaceUsingXpsdk(CThreadSync* threadSync);
    ~CFlightSimulatorInterfaceUsingXpsdk() override;

    bool connect() override;
    void disconnect() override;
    int getAircraftTanks() override;
    bool setAircraftTanks() override;
    bool getEverything() override;
    bool getZuluTime() override;
    bool readSnapshotAndTanks() override;
    bool setFailure(int which, bool silent) override;
    bool checkFailure(int which) override;
    bool setSimulationRate(int rate) override;
    bool setGroundSpeedMultiplier(int multiplier) override;
    int setMenuRestrictions() override;
    bool enableTextMessages(bool enabled) override;
    bool displayText(const char* text, int seconds, bool flag) override;
    bool isRunning() override;
    void setStandardFuel(int kg) override;
    std::string getInterfaceVersion() override;
    int getRequiredVersion() override;
    bool checkInterfaceVersion() override;
    int getFlightSimulatorVersion() override;
    void checkFrequently() override;
    void resetFlightTimer() override;

    bool isConnected() const { return m_bConnected; }
    const std::string& getSimulatorBuild() const { return m_simulatorBuild; }

    // Advances the flight timer to a new zulu reading (seconds of the day).
    void updateFlightTimer(double zuluSeconds);

private:
    // Runs the reads or writes of one operation on the simulator's thread
    // (see CThreadSync::runOnSimulator); false once the plug-in stops.
    bool onSimulator(const std::function<void()>& job);
    // The datarefs of the aircraft record; on the simulator's thread.
    void readSnapshot();
    // What follows a read, back on the client thread.
    void afterSnapshot();
    void takeClocks(float localSeconds, float zuluSeconds);
    int takeTanks(const float* quantityKg, const float* ratio, float capacityKg);

    std::unique_ptr<CLogger> m_pLogger;
    CThreadSync* m_pThreadSync;
    XPLMDataRef m_dataRefs[kNumSlots] = {};
    bool m_bConnected = false;
    bool m_bFlightTimerInitialised = false;
    double m_flightTimerInitS = 0.0;
    std::string m_simulatorBuild;
    std::string m_interfaceBuild;
    bool m_bTextMessages = false;
};
