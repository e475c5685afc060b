// A booked flight flown by the test bed's flight model and followed the way
// the client follows it: the X-Plane adapter reads the simulator on a client
// thread, the phase machine steps, the figures the report needs are taken at
// their phases, and on block the report is made and sent.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "CClientInterface.h"
#include "CFlightSimulatorInterfaceUsingXpsdk.h"
#include "CFlightState.h"
#include "CReport.h"
#include "SimulatorClient.h"
#include "testbed/Flight.h"
#include "testbed/FlightModel.h"
#include "testbed/Simulator.h"

namespace quelby_test {

// What a test adds to the client's pass. All run on the client thread.
struct FlightHooks {
    // Once the start figures are taken, before the first pass.
    std::function<void()> atStart;
    // On every pass, after the aircraft was read and before the phase check.
    std::function<void()> everyPass;
};

// The example hop from Frankfurt to Stuttgart (the demo airline's booked
// route), at timeScale simulated seconds per real second.
inline testbed::FlightDescription bookedHop(double timeScale = 45.0) {
    testbed::FlightDescription flight = testbed::loadFlightFile(
        std::string(QUELBY_SOURCE_DIR) + "/testbed/flights/EDDF-EDDS.flight");
    flight.timeScale = timeScale;
    return flight;
}

// Flies model's flight to the gate and returns what the report upload
// answered (1 uploaded, 0 kept as a backup), or -1 when the flight did not
// reach the gate in time. The client thread is stopped on return.
inline int flyBookedFlight(testbed::FlightModel& model, CClientInterface& web, CReport& report,
                           CFlightSimulatorInterfaceUsingXpsdk& adapter, SimulatorClient& client,
                           CSound& sound, const FlightHooks& hooks = {}) {
    using namespace std::chrono_literals;
    constexpr int kPhaseTakeOff = 2;
    constexpr int kPhaseLanded = 3;
    constexpr int kPhaseOnBlock = 4;
    std::atomic<bool> ended{false};
    std::atomic<int> result{-1};
    client.start([&] {
        if (!adapter.connect()) return;
        tagAircraftData& data = adapter.m_aircraftData;
        CFlightState state(&data, &report, &sound);
        state.set(0);
        adapter.getEverything();
        adapter.getZuluTime();
        data.nPassengers = web.getPassengers();
        data.nCargoKg = web.getCargoKg();
        data.nFuelDepartureKg = adapter.getAircraftTanks();
        web.m_report.DepartureTime = data.dFlightTimeS;
        web.m_report.Simrate = 1;
        web.readFuelPrice(recordText(web.m_log.Departure).c_str());
        report.resetPositionLog();
        report.uploadPositionLog();
        if (hooks.atStart) hooks.atStart();
        int passes = 0;
        while (!client.stopping() && !ended) {
            if (!adapter.getEverything() || adapter.getAircraftTanks() < 0) break;
            adapter.getZuluTime();
            if (hooks.everyPass) hooks.everyPass();
            if (++passes % 100 == 0) report.uploadPositionLog();
            if (state.check()) {
                if (state.get() == kPhaseTakeOff) data.nFuelTakeOffKg = adapter.getTotalFuelKg();
                if (state.get() == kPhaseLanded) {
                    const auto& history = adapter.m_verticalSpeedHistory;
                    data.nLandingVerticalSpeedFpm =
                        history.empty() ? 0 : *std::min_element(history.begin(), history.end());
                    data.nFuelLandingKg = adapter.getTotalFuelKg();
                }
                if (state.get() == kPhaseOnBlock) {
                    report.uploadPositionLog();
                    web.m_aircraft.FuelAfter = adapter.getTotalFuelKg();
                    report.createReport();
                    result = report.writeReport(false);
                    ended = true;
                }
            }
            std::this_thread::sleep_for(10ms);
        }
    });
    const bool arrived =
        testbed::Simulator::instance().runUntil([&] { return ended.load(); }, 180000ms);
    client.stop();
    EXPECT_TRUE(arrived) << model.progressLine();
    return result;
}

}  // namespace quelby_test
