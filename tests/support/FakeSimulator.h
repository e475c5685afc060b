// A stand-in for the simulator at the client's own simulator interface, for
// tests of the logic above it.
#pragma once

#include <string>
#include <vector>

#include "CFlightSimulatorInterface.h"

namespace quelby_test {

// The simulator as the client's logic sees it: a snapshot the test sets;
// reading it again changes nothing, writes are counted.
class FakeSimulator : public CFlightSimulatorInterface {
public:
    bool connect() override { return connectable; }
    void disconnect() override {}
    int getAircraftTanks() override { return getTotalFuelKg(); }
    bool setAircraftTanks() override {
        ++tankWrites;
        return true;
    }
    bool getEverything() override {
        ++reads;
        return true;
    }
    bool getZuluTime() override { return true; }
    bool setFailure(int which, bool) override {
        failuresSet.push_back(which);
        return true;
    }
    bool checkFailure(int which) override {
        failuresChecked.push_back(which);
        return true;
    }
    bool setSimulationRate(int rate) override {
        rateSet = rate;
        return true;
    }
    bool setGroundSpeedMultiplier(int multiplier) override {
        groundSpeedSet = multiplier;
        return true;
    }
    int setMenuRestrictions() override { return 0; }
    bool enableTextMessages(bool) override { return true; }
    bool displayText(const char* text, int, bool) override {
        shown = text;
        return true;
    }
    bool isRunning() override { return running; }
    void setStandardFuel(int) override {}
    std::string getInterfaceVersion() override { return "test"; }
    int getRequiredVersion() override { return 0; }
    bool checkInterfaceVersion() override { return true; }
    int getFlightSimulatorVersion() override { return 10; }
    void checkFrequently() override { ++frequentChecks; }
    void resetFlightTimer() override {}

    bool running = true;
    bool connectable = true;
    int frequentChecks = 0;
    int reads = 0;
    int tankWrites = 0;
    int rateSet = 0;
    int groundSpeedSet = 0;
    std::string shown;
    std::vector<int> failuresSet;
    std::vector<int> failuresChecked;
};

}  // namespace quelby_test
