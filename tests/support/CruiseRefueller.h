// Fuel added in cruise on the simulator's thread, as a pilot with the weight
// menu would, to provoke the client's in-flight refuelling check.
#pragma once

#include <atomic>

#include "XPLMDisplay.h"
#include "testbed/FlightModel.h"
#include "testbed/Simulator.h"

namespace quelby_test {

// Adds 500 kg at a time, eleven times, each time only once the last
// addition was taken back (and at least 100 frames later), so that each one
// meets a check of its own however fast the client runs.
struct CruiseRefueller {
    testbed::FlightModel* model = nullptr;
    int frames = 0;
    double lastAddedTotalKg = 0.0;
    std::atomic<int> added{0};
    // Off, the fuel goes in whatever the aircraft does.
    bool onlyInCruise = true;

    static double totalFuelKg() {
        double kg = 0.0;
        for (float tank :
             testbed::Simulator::instance().getFloatArray("sim/flightmodel/weight/m_fuel")) {
            kg += tank;
        }
        return kg;
    }
    static int onFrame(XPLMDrawingPhase, int, void* refcon) {
        auto* self = static_cast<CruiseRefueller*>(refcon);
        ++self->frames;
        const bool takenBack = self->added == 0 || totalFuelKg() < self->lastAddedTotalKg - 400.0;
        if ((!self->onlyInCruise || self->model->phase() == testbed::FlightPhase::Cruise) &&
            self->added < 11 && self->frames >= 100 && takenBack) {
            self->model->addFuel(0, 500.0);
            self->lastAddedTotalKg = totalFuelKg();
            self->frames = 0;
            ++self->added;
        }
        return 1;
    }
};

}  // namespace quelby_test
