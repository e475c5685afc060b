// The test bed's flight model: flies a described flight gate to gate by
// moving the simulator's datarefs once per frame, and injects the faults the
// client must notice (position jump, fuel added, simulation rate, ground-speed
// multiplier, crash, clock jump).
//
// Time. The model advances simulated time by real time x the flight's time
// scale x X-Plane's simulation rate ("sim/time/sim_speed", which stays 1
// unless a fault or the plug-in changes it). The time scale is the model's
// own fast-forward and invisible to the client, which measures real time; it
// is therefore bounded (maxTimeScale in Flight.h) so that a normal flight
// keeps inside the client's rules: a zulu advance of at most 600 s between
// two reads that may be 10 real seconds apart, and at most 6 nm per real
// second. At the default 30 an hour's flight takes two real minutes. A real
// frame counts for at most 0.5 s, so a stalled frame only slows the model.
// The one stretch the client times in real seconds, the fast-taxi rule (90 s
// at 30 kt or more), is flown at scale 1 when a taxi overspeed is provoked.
//
// Threads: everything runs on the simulator's thread.
#pragma once

#include <memory>
#include <string>

#include "testbed/Flight.h"

namespace testbed {

// The model's own phases (not the client's).
enum class FlightPhase {
    Parked,           // at the departure gate, brake set, engines running
    TaxiOut,          // brake released, taxiing to the runway, lined up
    TakeOff,          // roll, rotation and initial climb to 1000 ft above the ground
    Climb,            // to the cruise altitude or to the top of descent
    Cruise,           // level at the cruise altitude
    Descent,          // on the descent profile down to the glide path
    Approach,         // on the 3 degree glide path, flare and touchdown
    RollOut,          // on the runway, braking to taxi speed
    TaxiIn,           // to the arrival gate, stopping there
    ParkedAtArrival,  // stopped at the gate, brake set (unless forgotten), engines off
    Crashed,          // after the crash fault: stands where it was
};
const char* flightPhaseName(FlightPhase phase);

struct FlightProgress {
    FlightPhase phase = FlightPhase::Parked;
    double realSeconds = 0.0;       // stepped real time since attach
    double simulatedSeconds = 0.0;  // flown simulated time since attach
    double distanceFlownNm = 0.0;
    double distanceToGoNm = 0.0;  // to the arrival gate
    double altitudeFt = 0.0;
    double heightAboveGroundFt = 0.0;
    double indicatedAirspeedKts = 0.0;
    double groundSpeedKts = 0.0;
    double verticalSpeedFpm = 0.0;
    double headingDeg = 0.0;
    double fuelKg = 0.0;
};

class FlightModel {
public:
    // Throws std::invalid_argument when the flight fails checkFlight.
    explicit FlightModel(const FlightDescription& flight);
    // Detaches.
    ~FlightModel();
    FlightModel(const FlightModel&) = delete;
    FlightModel& operator=(const FlightModel&) = delete;

    // Puts the aircraft at the departure gate (writes every dataref the model
    // drives, the tanks and the clock as the flight says) and installs the
    // model as the simulator's frame hook, which steps it once per frame
    // before the draw callbacks. One model at a time.
    void attach();
    // Removes the frame hook; the datarefs keep their last values.
    void detach();
    bool isAttached() const;

    // One step of this much real time; the frame hook calls it.
    void step(double realSeconds);

    // X-Plane's pause: nothing moves, the clocks stand.
    void setPaused(bool paused);
    // Keeps the aircraft parked at the departure gate, clocks running, until
    // released (for a test that first logs in and books the flight).
    void holdAtGate(bool hold);

    FlightPhase phase() const;
    bool hasArrived() const;  // ParkedAtArrival
    FlightProgress progress() const;
    const FlightDescription& flight() const;
    // One line: phase, height, speeds, fuel, distance to go.
    std::string progressLine() const;

    // Faults, effective at once in the datarefs.
    // Moves the aircraft distanceNm along courseDeg (true degrees).
    void jumpPosition(double distanceNm, double courseDeg);
    // Adds kg to tank (0-8) of "sim/flightmodel/weight/m_fuel".
    void addFuel(int tank, double kg);
    // Sets "sim/time/sim_speed"; the model then flies that much faster.
    void setSimulationRate(int rate);
    // Sets "sim/time/ground_speed"; the model then covers that many times
    // the distance, its clocks and fuel running as before.
    void setGroundSpeedMultiplier(int multiplier);
    // Sends the plane-crashed message (101) to the plug-in; the aircraft
    // stops where it is, clocks running.
    void crash();
    // Moves the zulu and local clocks by seconds (wrapping at midnight).
    void jumpClock(double seconds);

private:
    struct Impl;
    std::unique_ptr<Impl> m;
};

}  // namespace testbed
