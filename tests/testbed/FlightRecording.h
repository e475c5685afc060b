// Flight tests' view of the simulator: one sample of the datarefs per frame,
// the samples the client would take (its check interval by height), and the
// client's phase thresholds applied to those samples.
#pragma once

#include <cmath>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "testbed/FlightModel.h"
#include "testbed/Simulator.h"

namespace flight_test {

// Real seconds each test frame stands for.
constexpr double kFrameSeconds = 0.05;

struct Sample {
    int frame = 0;
    double realSeconds = 0.0;
    testbed::FlightPhase modelPhase = testbed::FlightPhase::Parked;
    double latitudeDeg = 0.0, longitudeDeg = 0.0;
    double altitudeFt = 0.0;
    double heightFt = 0.0;
    double verticalSpeedFpm = 0.0;
    double indicatedKts = 0.0;
    double groundSpeedKts = 0.0;
    bool onGround = false;
    bool parkingBrake = false;
    bool landingLights = false;
    double flaps = 0.0;
    double gear = 0.0;
    double fuelKg = 0.0;
    std::vector<float> tanksKg;
    double zuluSeconds = 0.0;
    double localSeconds = 0.0;
    int simRate = 1;
};

inline Sample readSample(const testbed::FlightModel& model, int frame) {
    const testbed::Simulator& sim = testbed::Simulator::instance();
    Sample s;
    s.frame = frame;
    s.realSeconds = frame * kFrameSeconds;
    s.modelPhase = model.phase();
    s.latitudeDeg = sim.getDouble("sim/flightmodel/position/latitude");
    s.longitudeDeg = sim.getDouble("sim/flightmodel/position/longitude");
    s.altitudeFt = sim.getDouble("sim/flightmodel/position/elevation") * 3.281;
    s.heightFt = sim.getFloat("sim/cockpit2/gauges/indicators/radio_altimeter_height_ft_pilot");
    s.verticalSpeedFpm = sim.getFloat("sim/cockpit2/gauges/indicators/vvi_fpm_pilot");
    s.indicatedKts = sim.getFloat("sim/flightmodel/position/indicated_airspeed");
    s.groundSpeedKts = sim.getFloat("sim/flightmodel/position/groundspeed") * 1.9438;
    s.onGround = sim.getInt("sim/flightmodel/failures/onground_any") != 0;
    s.parkingBrake = sim.getFloat("sim/flightmodel/controls/parkbrake") != 0.0f;
    s.landingLights = sim.getInt("sim/cockpit/electrical/landing_lights_on") != 0;
    s.flaps = sim.getFloat("sim/cockpit2/controls/flap_system_deploy_ratio");
    s.gear = sim.getFloatArray("sim/aircraft/parts/acf_gear_deploy")[0];
    s.tanksKg = sim.getFloatArray("sim/flightmodel/weight/m_fuel");
    s.fuelKg = std::accumulate(s.tanksKg.begin(), s.tanksKg.end(), 0.0);
    s.zuluSeconds = sim.getFloat("sim/time/zulu_time_sec");
    s.localSeconds = sim.getFloat("sim/time/local_time_sec");
    s.simRate = sim.getInt("sim/time/sim_speed");
    return s;
}

// Runs frames of kFrameSeconds until the model arrives or maxFrames ran;
// beforeFrame(frame) may inject faults. Returns the sample before the first
// frame and one after every frame.
inline std::vector<Sample> fly(testbed::FlightModel& model, int maxFrames,
                               const std::function<void(int frame)>& beforeFrame = {}) {
    testbed::Simulator& sim = testbed::Simulator::instance();
    sim.setFixedFrameSeconds(kFrameSeconds);
    std::vector<Sample> samples{readSample(model, 0)};
    for (int frame = 1; frame <= maxFrames && !model.hasArrived(); ++frame) {
        if (beforeFrame) {
            beforeFrame(frame);
        }
        sim.runFrames(1);
        samples.push_back(readSample(model, frame));
    }
    return samples;
}

// The client's check interval at a height above the ground.
inline double clientIntervalSeconds(double heightFt) {
    const int h = static_cast<int>(heightFt);
    return h <= 100 ? 0.05 : h <= 500 ? 0.1 : h <= 2000 ? 0.5 : h <= 10000 ? 2.0 : 10.0;
}

// The samples the client takes: the next one once the interval chosen at the
// previous one has passed.
inline std::vector<Sample> clientSamples(const std::vector<Sample>& frames) {
    std::vector<Sample> taken;
    for (const Sample& s : frames) {
        if (taken.empty() || s.realSeconds - taken.back().realSeconds >=
                                 clientIntervalSeconds(taken.back().heightFt) - 1e-9) {
            taken.push_back(s);
        }
    }
    return taken;
}

// The client's phases by its thresholds (values truncated as it reads them).
enum class ClientPhase { Boarding, Taxi, TakeOff, Landed, OnBlock, Climb, Cruise, Descent };

inline std::string clientPhaseName(ClientPhase phase) {
    static const char* const kNames[] = {"Boarding", "Taxi",  "Take Off", "Landed",
                                         "On Block", "Climb", "Cruise",   "Descent"};
    return kNames[static_cast<int>(phase)];
}

inline ClientPhase nextClientPhase(ClientPhase phase, const Sample& s) {
    const int gs = static_cast<int>(s.groundSpeedKts);
    const int h = static_cast<int>(s.heightFt);
    const int vs = static_cast<int>(s.verticalSpeedFpm);
    switch (phase) {
        case ClientPhase::Boarding:
            return gs >= 6 ? ClientPhase::Taxi : phase;
        case ClientPhase::Taxi:
            return h >= 71 && !s.onGround ? ClientPhase::TakeOff : phase;
        case ClientPhase::TakeOff:
        case ClientPhase::Climb:
        case ClientPhase::Cruise:
        case ClientPhase::Descent:
            if (s.onGround) return ClientPhase::Landed;
            if (vs > 199 && h >= 151 && phase != ClientPhase::Climb) return ClientPhase::Climb;
            if (vs >= -199 && vs <= 199 && h >= 151 && phase != ClientPhase::Cruise)
                return ClientPhase::Cruise;
            if (vs < -199 && h >= 151 && phase != ClientPhase::Descent) return ClientPhase::Descent;
            return phase;
        case ClientPhase::Landed:
            return s.parkingBrake ? ClientPhase::OnBlock : phase;
        case ClientPhase::OnBlock:
            return phase;
    }
    return phase;
}

// The client's phase changes over the samples, by name.
inline std::vector<std::string> clientPhaseChanges(const std::vector<Sample>& samples) {
    std::vector<std::string> changes;
    ClientPhase phase = ClientPhase::Boarding;
    for (const Sample& s : samples) {
        const ClientPhase next = nextClientPhase(phase, s);
        if (next != phase) {
            changes.push_back(clientPhaseName(next));
            phase = next;
        }
    }
    return changes;
}

// Great-circle distance as the client measures it, in nautical miles.
inline double distanceNm(const Sample& a, const Sample& b) {
    const double k = 0.017453292519943295;
    const double dLat = (a.latitudeDeg - b.latitudeDeg) * k;
    const double dLon = (a.longitudeDeg - b.longitudeDeg) * k;
    const double h = std::sin(dLat / 2) * std::sin(dLat / 2) +
                     std::cos(a.latitudeDeg * k) * std::cos(b.latitudeDeg * k) *
                         std::sin(dLon / 2) * std::sin(dLon / 2);
    return 2.0 * std::asin(std::sqrt(h)) * 3437.7467707849396;
}

// Zulu seconds from a to b, across midnight.
inline double zuluAdvance(const Sample& a, const Sample& b) {
    const double d = b.zuluSeconds - a.zuluSeconds;
    return d < -43200.0 ? d + 86400.0 : d;
}

// Frankfurt to Munich, about 160 nm: long enough for a cruise the client sees.
inline testbed::FlightBuilder frankfurtToMunich() {
    return testbed::FlightBuilder()
        .name("EDDF-EDDM")
        .from("EDDF", 50.0333, 8.5706, 364)
        .to("EDDM", 48.3538, 11.7861, 1487)
        .cruise(18000, 400)
        .timeScale(30)
        .fuel({3500, 1000, 3500})
        .fuelBurn(1200)
        .zuluStart(12 * 3600 + 30 * 60)
        .utcOffset(2);
}

}  // namespace flight_test
