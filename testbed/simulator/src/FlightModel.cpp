// The flight model: a kinematic aircraft that flies a FlightDescription gate
// to gate along the great circle, writing the simulator's datarefs each frame.
#include "testbed/FlightModel.h"

#include <cmath>
#include <cstdio>
#include <numeric>
#include <stdexcept>
#include <vector>

#include "FlightMath.h"
#include "testbed/Simulator.h"

namespace testbed {

using namespace detail;

namespace {

// Datarefs the model drives.
constexpr const char* kLatitude = "sim/flightmodel/position/latitude";
constexpr const char* kLongitude = "sim/flightmodel/position/longitude";
constexpr const char* kElevation = "sim/flightmodel/position/elevation";
constexpr const char* kRadioHeight =
    "sim/cockpit2/gauges/indicators/radio_altimeter_height_ft_pilot";
constexpr const char* kVerticalSpeed = "sim/cockpit2/gauges/indicators/vvi_fpm_pilot";
constexpr const char* kParkBrake = "sim/flightmodel/controls/parkbrake";
constexpr const char* kIndicatedAirspeed = "sim/flightmodel/position/indicated_airspeed";
constexpr const char* kGroundSpeed = "sim/flightmodel/position/groundspeed";
constexpr const char* kOnGround = "sim/flightmodel/failures/onground_any";
constexpr const char* kCompass = "sim/cockpit/misc/compass_indicated";
constexpr const char* kFlapHandle = "sim/cockpit2/controls/flap_system_deploy_ratio";
constexpr const char* kGearDeploy = "sim/aircraft/parts/acf_gear_deploy";
constexpr const char* kLandingLights = "sim/cockpit/electrical/landing_lights_on";
constexpr const char* kFuel = "sim/flightmodel/weight/m_fuel";
constexpr const char* kZulu = "sim/time/zulu_time_sec";
constexpr const char* kLocal = "sim/time/local_time_sec";
constexpr const char* kSimSpeed = "sim/time/sim_speed";
constexpr const char* kGroundSpeedMultiplier = "sim/time/ground_speed";
constexpr const char* kEngines = "sim/aircraft/engine/acf_num_engines";

constexpr int kTanks = 9;
constexpr int kGears = 3;
constexpr double kSecondsPerDay = 86400.0;
constexpr int kCrashMessage = 101;

// Integration and pacing.
constexpr double kMaxFrameRealSeconds = 0.5;
constexpr double kMaxSubstepSeconds = 0.2;

// Ground handling (knots per second).
constexpr double kTaxiAccelKtsPerSec = 1.0;
constexpr double kTaxiDecelKtsPerSec = 1.5;
constexpr double kGateBrakingKtsPerSec = 1.0;  // the curve that stops at the gate
constexpr double kTakeOffAccelKtsPerSec = 2.5;
constexpr double kRollOutDecelKtsPerSec = 3.0;
constexpr double kLiftOffMarginKts = 5.0;
constexpr double kLineUpSeconds = 5.0;           // stopped on the runway before the roll
constexpr double kOverspeedStartSeconds = 20.0;  // into the taxi-out
constexpr double kSecondsBeforeBrakeSet = 5.0;

// Air handling.
constexpr double kAirAccelKtsPerSec = 2.0;
constexpr double kAirDecelKtsPerSec = 1.5;
// Where the descent levels off to slow to the speed limit, and how close
// to the limit the speed must be before it goes on.
constexpr double kLevelOffWindowFt = 600.0;
// Where the climb retracts its take-off flaps, whichever comes first.
constexpr double kFlapsUpAglFt = 1000.0;
constexpr double kFlapsUpIasKts = 200.0;
constexpr double kLevelOffSpeedMarginKts = 3.0;
constexpr double kVsChangeFpmPerSec = 600.0;
constexpr double kLevelOffGainPerMin = 2.0;  // ft/min of vertical speed per ft to go
constexpr double kMinLevelOffFpm = 300.0;
constexpr double kProfileGainPerMin = 2.0;
constexpr double kGearTravelPerSec = 1.0 / 7.0;
constexpr double kSpeedLimitKts = 250.0;
constexpr double kSpeedLimitAltitudeFt = 10000.0;
constexpr double kLightsAltitudeFt = 10000.0;
constexpr double kClimbIasKts = 290.0;
constexpr double kDescentIasKts = 280.0;
constexpr double kInitialApproachIasKts = 210.0;
constexpr double kIntermediateApproachIasKts = 180.0;

// Vertical profile.
constexpr double kTakeOffPhaseEndAglFt = 1000.0;
constexpr double kGlideGateAglFt = 3000.0;
constexpr double kApproachSlowdownAglFt = kGlideGateAglFt + 2000.0;
constexpr double kFinalAglFt = 2000.0;
constexpr double kFlareStartAglFt = 40.0;
constexpr double kSlowTouchdownAglFt = 100.0;
constexpr double kTouchdownTimeScale = 2.0;
constexpr double kFlareEndAglFt = 10.0;  // from here down the touchdown rate is held
constexpr double kProfileStepNm = 0.05;
constexpr double kProfileTopFt = 50000.0;
// Within this distance of an airport the ground is at its elevation; in
// between it runs straight from one elevation to the other.
constexpr double kFieldAreaNm = 5.0;

double moveToward(double value, double target, double upPerSec, double downPerSec, double dt) {
    if (value < target) {
        return std::min(target, value + upPerSec * dt);
    }
    return std::max(target, value - downPerSec * dt);
}

double wrapDay(double seconds) {
    const double wrapped = std::fmod(seconds, kSecondsPerDay);
    return wrapped < 0.0 ? wrapped + kSecondsPerDay : wrapped;
}

}  // namespace

const char* flightPhaseName(FlightPhase phase) {
    switch (phase) {
        case FlightPhase::Parked:
            return "parked";
        case FlightPhase::TaxiOut:
            return "taxi-out";
        case FlightPhase::TakeOff:
            return "take-off";
        case FlightPhase::Climb:
            return "climb";
        case FlightPhase::Cruise:
            return "cruise";
        case FlightPhase::Descent:
            return "descent";
        case FlightPhase::Approach:
            return "approach";
        case FlightPhase::RollOut:
            return "roll-out";
        case FlightPhase::TaxiIn:
            return "taxi-in";
        case FlightPhase::ParkedAtArrival:
            return "parked at arrival";
        case FlightPhase::Crashed:
            return "crashed";
    }
    return "?";
}

struct FlightModel::Impl {
    FlightDescription flight;
    bool attached = false;
    bool paused = false;
    bool held = false;

    FlightPhase phase = FlightPhase::Parked;
    double phaseSeconds = 0.0;

    double latitudeDeg = 0.0;
    double longitudeDeg = 0.0;
    double altitudeFt = 0.0;
    double iasKts = 0.0;
    double vsFpm = 0.0;
    double headingDeg = 0.0;
    bool onGround = true;
    bool brakeSet = true;
    bool lightsOn = false;
    double flapRatio = 0.0;
    double gearRatio = 1.0;
    double gearTarget = 1.0;

    bool flaring = false;
    double flareStartVsFpm = 0.0;
    double touchdownVsFpm = 0.0;
    bool touchdownPublished = false;
    double stoppedSeconds = 0.0;

    double zuluSeconds = 0.0;
    double utcOffsetSeconds = 0.0;
    std::vector<float> tanksKg;
    int engines = 2;
    // X-Plane's ground-speed multiplier: the aircraft covers that many times
    // the distance while the clocks and the fuel run as always.
    int groundSpeedMultiplier = 1;

    double realSeconds = 0.0;
    double simulatedSeconds = 0.0;
    double distanceFlownNm = 0.0;

    // The plan: the ground run after touchdown (roll-out and taxi-in), and
    // the descent profile, altitude by distance to the touchdown point.
    double groundRunNm = 0.0;
    std::vector<double> descentProfileFt;

    explicit Impl(const FlightDescription& description) : flight(description) {
        if (const auto problem = checkFlight(flight)) {
            throw std::invalid_argument("testbed::FlightModel: " + problem->message);
        }
        planGroundRun();
        planDescent();
    }

    Simulator& sim() const { return Simulator::instance(); }

    // --- The plan -------------------------------------------------------------

    void planGroundRun() {
        const double touchdownKts =
            trueAirspeedKts(flight.approachSpeedKts - 5.0, flight.arrival.elevationFt);
        const double brakingSeconds = (touchdownKts - flight.taxiSpeedKts) / kRollOutDecelKtsPerSec;
        const double rollOutNm =
            (touchdownKts + flight.taxiSpeedKts) / 2.0 * brakingSeconds / 3600.0;
        groundRunNm = rollOutNm + flight.taxiSpeedKts * flight.taxiInSeconds / 3600.0;
    }

    // Integrated backwards from the touchdown point: the glide path up to the
    // gate, then the descent rate at the descent's speeds.
    void planDescent() {
        const double fieldFt = flight.arrival.elevationFt;
        descentProfileFt.assign(1, fieldFt);
        while (descentProfileFt.back() < kProfileTopFt) {
            const double heightFt = descentProfileFt.back();
            double climbPerNm = kGlidePathFtPerNm;
            if (heightFt - fieldFt >= kGlideGateAglFt) {
                const double gsKts =
                    trueAirspeedKts(descentIas(heightFt, heightFt - fieldFt), heightFt);
                climbPerNm = flight.descentRateFpm * 60.0 / gsKts;
            }
            descentProfileFt.push_back(heightFt + climbPerNm * kProfileStepNm);
        }
    }

    // Altitude of the profile at a distance to the touchdown point; before
    // the point it goes on down at the glide path's angle.
    double profileFt(double toTouchdownNm) const {
        if (toTouchdownNm <= 0.0) {
            return descentProfileFt.front() + kGlidePathFtPerNm * toTouchdownNm;
        }
        const double index = toTouchdownNm / kProfileStepNm;
        const size_t below = static_cast<size_t>(index);
        if (below + 1 >= descentProfileFt.size()) {
            return kProfileTopFt;
        }
        const double fraction = index - static_cast<double>(below);
        return descentProfileFt[below] * (1.0 - fraction) + descentProfileFt[below + 1] * fraction;
    }

    double toTouchdownNm() const { return distanceToGoNm() - groundRunNm; }

    // --- Speeds ---------------------------------------------------------------

    double belowLimitIas(double altitude) const {
        if (flight.overspeedBelow10000Kts > 0.0) {
            return flight.overspeedBelow10000Kts;
        }
        return std::min(kSpeedLimitKts, indicatedAirspeedKts(flight.cruiseSpeedKts, altitude));
    }

    double climbIas(double altitude) const {
        if (altitude < kSpeedLimitAltitudeFt) {
            return belowLimitIas(altitude);
        }
        return std::min(kClimbIasKts, indicatedAirspeedKts(flight.cruiseSpeedKts, altitude));
    }

    // Slows to the limit 30 s of descent above 10000 ft so that it holds by
    // the time the client counts the aircraft below 10000 ft.
    double descentIas(double altitude, double aglFt) const {
        if (aglFt < kApproachSlowdownAglFt) {
            return kInitialApproachIasKts;
        }
        const double slowdownFt = kSpeedLimitAltitudeFt + flight.descentRateFpm * 0.5 + 200.0;
        if (altitude < slowdownFt) {
            return belowLimitIas(altitude);
        }
        return std::min(kDescentIasKts, indicatedAirspeedKts(flight.cruiseSpeedKts, altitude));
    }

    double groundSpeedKts() const { return trueAirspeedKts(iasKts, altitudeFt); }

    // --- Where the aircraft is ------------------------------------------------

    double distanceToGoNm() const {
        return distanceNm(latitudeDeg, longitudeDeg, flight.arrival.latitudeDeg,
                          flight.arrival.longitudeDeg);
    }

    double terrainFt() const {
        const double toGoNm = distanceToGoNm();
        if (toGoNm <= kFieldAreaNm) {
            return flight.arrival.elevationFt;
        }
        const double fromDepartureNm = distanceNm(
            flight.departure.latitudeDeg, flight.departure.longitudeDeg, latitudeDeg, longitudeDeg);
        if (fromDepartureNm <= kFieldAreaNm) {
            return flight.departure.elevationFt;
        }
        const double done = fromDepartureNm - kFieldAreaNm;
        const double fraction = done / (done + (toGoNm - kFieldAreaNm));
        return flight.departure.elevationFt +
               (flight.arrival.elevationFt - flight.departure.elevationFt) * fraction;
    }

    double heightAboveGroundFt() const {
        return onGround ? 0.0 : std::max(0.0, altitudeFt - terrainFt());
    }

    double fuelKg() const { return std::accumulate(tanksKg.begin(), tanksKg.end(), 0.0); }

    // --- Phases ---------------------------------------------------------------

    void enter(FlightPhase next) {
        phase = next;
        phaseSeconds = 0.0;
    }

    double overspeedAccelSeconds() const {
        return (flight.taxiOverspeedKts - flight.taxiSpeedKts) / kTaxiAccelKtsPerSec;
    }

    double overspeedHoldEndSeconds() const {
        return kOverspeedStartSeconds + overspeedAccelSeconds() + flight.taxiOverspeedSeconds;
    }

    // The provoked taxi overspeed, its acceleration and its hold, is flown at
    // time scale 1.
    bool inTaxiOverspeed(double afterSeconds) const {
        return phase == FlightPhase::TaxiOut && flight.taxiOverspeedKts > 0.0 &&
               afterSeconds >= kOverspeedStartSeconds - 1.0 &&
               afterSeconds < overspeedHoldEndSeconds();
    }

    double lineUpStartSeconds() const {
        return flight.taxiOutSeconds - flight.taxiSpeedKts / kTaxiDecelKtsPerSec - kLineUpSeconds;
    }

    void taxiOut(double dt) {
        brakeSet = false;
        flapRatio = 0.25;
        double targetKts = flight.taxiSpeedKts;
        if (flight.taxiOverspeedKts > 0.0 && phaseSeconds >= kOverspeedStartSeconds &&
            phaseSeconds < overspeedHoldEndSeconds()) {
            targetKts = flight.taxiOverspeedKts;
        }
        if (phaseSeconds >= lineUpStartSeconds()) {
            targetKts = 0.0;
        }
        iasKts = moveToward(iasKts, indicatedAirspeedKts(targetKts, altitudeFt),
                            kTaxiAccelKtsPerSec, kTaxiDecelKtsPerSec, dt);
        if (phaseSeconds >= flight.taxiOutSeconds && iasKts <= 0.0) {
            enter(FlightPhase::TakeOff);
        }
    }

    void takeOff(double dt) {
        if (onGround) {
            iasKts += kTakeOffAccelKtsPerSec * dt;
            if (iasKts >= flight.rotateSpeedKts + kLiftOffMarginKts) {
                onGround = false;
            }
            return;
        }
        iasKts = moveToward(iasKts, flight.rotateSpeedKts + 20.0, kAirAccelKtsPerSec,
                            kAirDecelKtsPerSec, dt);
        steerVerticalSpeed(flight.climbRateFpm, dt);
        if (heightAboveGroundFt() > 50.0) {
            gearTarget = 0.0;
        }
        if (heightAboveGroundFt() >= kTakeOffPhaseEndAglFt) {
            enter(FlightPhase::Climb);
        }
    }

    bool atTopOfDescent() const { return altitudeFt >= profileFt(toTouchdownNm()); }

    void climb(double dt) {
        const double aglFt = heightAboveGroundFt();
        // Flaps up once clear of the ground or fast enough, as the speed
        // limits for extended flaps demand.
        flapRatio = aglFt >= kFlapsUpAglFt || iasKts >= kFlapsUpIasKts ? 0.0 : 0.1;
        iasKts =
            moveToward(iasKts, climbIas(altitudeFt), kAirAccelKtsPerSec, kAirDecelKtsPerSec, dt);
        const double toGoFt = flight.cruiseAltitudeFt - altitudeFt;
        steerVerticalSpeed(
            std::min(flight.climbRateFpm, std::max(kMinLevelOffFpm, kLevelOffGainPerMin * toGoFt)),
            dt);
        if (altitudeFt + vsFpm * dt / 60.0 >= flight.cruiseAltitudeFt) {
            altitudeFt = flight.cruiseAltitudeFt;
            vsFpm = 0.0;
            enter(FlightPhase::Cruise);
        }
        if (atTopOfDescent()) {
            enter(FlightPhase::Descent);
        }
    }

    void cruise(double dt) {
        flapRatio = 0.0;
        iasKts = moveToward(iasKts, indicatedAirspeedKts(flight.cruiseSpeedKts, altitudeFt),
                            kAirAccelKtsPerSec, kAirDecelKtsPerSec, dt);
        steerVerticalSpeed(0.0, dt);
        if (atTopOfDescent()) {
            enter(FlightPhase::Descent);
        }
    }

    // Follows the descent profile: its slope at the present ground speed,
    // corrected towards it; never climbs back up to it.
    void followProfile(double dt, bool holdLevel = false) {
        const double toTouchdown = toTouchdownNm();
        const double slopeFtPerNm = (profileFt(toTouchdown) - profileFt(toTouchdown - 0.1)) / 0.1;
        double targetFpm = -slopeFtPerNm * groundSpeedKts() / 60.0 +
                           kProfileGainPerMin * (profileFt(toTouchdown) - altitudeFt);
        targetFpm = std::clamp(targetFpm, -(1.5 * flight.descentRateFpm + 500.0), 0.0);
        steerVerticalSpeed(holdLevel ? 0.0 : targetFpm, dt);
    }

    // A descent from a low cruise reaches 10000 ft before the speed is down
    // to the limit; the pilot then levels off just above it until it is.
    bool levelOffToSlowDown() const {
        return altitudeFt > kSpeedLimitAltitudeFt &&
               altitudeFt < kSpeedLimitAltitudeFt + kLevelOffWindowFt &&
               iasKts > belowLimitIas(altitudeFt) + kLevelOffSpeedMarginKts;
    }

    void descent(double dt) {
        const double aglFt = heightAboveGroundFt();
        iasKts = moveToward(iasKts, descentIas(altitudeFt, aglFt), kAirAccelKtsPerSec,
                            kAirDecelKtsPerSec, dt);
        followProfile(dt, levelOffToSlowDown());
        if (aglFt <= kGlideGateAglFt || toTouchdownNm() <= kGlideGateAglFt / kGlidePathFtPerNm) {
            enter(FlightPhase::Approach);
        }
    }

    void approach(double dt) {
        const double aglFt = heightAboveGroundFt();
        flapRatio = aglFt <= 1500.0 ? 1.0 : aglFt <= kFinalAglFt ? 0.5 : 0.25;
        if (aglFt <= kFinalAglFt) {
            gearTarget = 1.0;
        }
        if (!flaring && aglFt <= kFlareStartAglFt) {
            flaring = true;
            flareStartVsFpm = std::min(vsFpm, flight.touchdownRateFpm);
        }
        if (flaring) {
            iasKts = moveToward(iasKts, flight.approachSpeedKts - 5.0, kAirAccelKtsPerSec,
                                kAirDecelKtsPerSec, dt);
            const double fraction = std::clamp(
                (kFlareStartAglFt - aglFt) / (kFlareStartAglFt - kFlareEndAglFt), 0.0, 1.0);
            vsFpm = flareStartVsFpm + (flight.touchdownRateFpm - flareStartVsFpm) * fraction;
            return;
        }
        const double targetIas =
            aglFt > kFinalAglFt ? kIntermediateApproachIasKts : flight.approachSpeedKts;
        iasKts = moveToward(iasKts, targetIas, kAirAccelKtsPerSec, kAirDecelKtsPerSec, dt);
        followProfile(dt);
    }

    void touchDown() {
        altitudeFt = terrainFt();
        onGround = true;
        touchdownVsFpm = vsFpm;
        touchdownPublished = false;
        gearRatio = gearTarget = 1.0;
        enter(FlightPhase::RollOut);
    }

    void rollOut(double dt) {
        // The touchdown's sink rate stays on the gauge for the frame that
        // shows the aircraft on the ground, then settles within a second.
        if (touchdownPublished) {
            vsFpm =
                moveToward(vsFpm, 0.0, std::fabs(touchdownVsFpm), std::fabs(touchdownVsFpm), dt);
        }
        const double taxiIas = indicatedAirspeedKts(flight.taxiSpeedKts, altitudeFt);
        iasKts = moveToward(iasKts, taxiIas, 0.0, kRollOutDecelKtsPerSec, dt);
        if (iasKts <= taxiIas && vsFpm == 0.0) {
            enter(FlightPhase::TaxiIn);
        }
    }

    void taxiIn(double dt) {
        flapRatio = 0.0;
        const double toGoNm = distanceToGoNm();
        if (iasKts <= 0.0 && toGoNm < 1e-6) {
            stoppedSeconds += dt;
            if (stoppedSeconds >= kSecondsBeforeBrakeSet) {
                brakeSet = !flight.forgetParkingBrake;
                enter(FlightPhase::ParkedAtArrival);
            }
            return;
        }
        // Along a braking curve that ends at the gate, never below a creep.
        const double curveKts = std::sqrt(2.0 * kGateBrakingKtsPerSec * toGoNm * 3600.0);
        const double targetKts = std::min(flight.taxiSpeedKts, std::max(1.0, curveKts));
        iasKts = moveToward(iasKts, indicatedAirspeedKts(targetKts, altitudeFt),
                            kTaxiAccelKtsPerSec, 2.0 * kGateBrakingKtsPerSec, dt);
    }

    // Vertical speed towards a target at the rate a pilot changes it.
    void steerVerticalSpeed(double targetFpm, double dt) {
        vsFpm = moveToward(vsFpm, targetFpm, kVsChangeFpmPerSec, kVsChangeFpmPerSec, dt);
    }

    bool wantsLandingLights() const {
        switch (flight.landingLights) {
            case LandingLightUse::AlwaysOff:
                return false;
            case LandingLightUse::AlwaysOn:
                return true;
            case LandingLightUse::Correct:
                break;
        }
        switch (phase) {
            case FlightPhase::TaxiOut:
                return phaseSeconds >= lineUpStartSeconds();
            case FlightPhase::TakeOff:
            case FlightPhase::RollOut:
                return true;
            case FlightPhase::Climb:
            case FlightPhase::Cruise:
            case FlightPhase::Descent:
            case FlightPhase::Approach:
                return altitudeFt < kLightsAltitudeFt;
            case FlightPhase::Crashed:
                return lightsOn;
            default:
                return false;
        }
    }

    double burnFactor() const {
        switch (phase) {
            case FlightPhase::Parked:
            case FlightPhase::TaxiOut:
            case FlightPhase::TaxiIn:
                return 0.3;
            case FlightPhase::TakeOff:
                return 1.6;
            case FlightPhase::Climb:
                return 1.3;
            case FlightPhase::Cruise:
                return 1.0;
            case FlightPhase::Descent:
                return 0.4;
            case FlightPhase::Approach:
                return 0.6;
            case FlightPhase::RollOut:
                return 0.5;
            case FlightPhase::ParkedAtArrival:  // engines shut down
            case FlightPhase::Crashed:
                return 0.0;
        }
        return 0.0;
    }

    // Evenly from every tank that still holds fuel; a tank never goes below 0.
    void burnFuel(double dt) {
        double burnKg = flight.fuelBurnKgPerHourPerEngine / 3600.0 * dt * engines * burnFactor();
        while (burnKg > 1e-9) {
            int withFuel = 0;
            for (float kg : tanksKg) {
                withFuel += kg > 0.0f ? 1 : 0;
            }
            if (withFuel == 0) {
                return;
            }
            const double share = burnKg / withFuel;
            for (float& kg : tanksKg) {
                if (kg > 0.0f) {
                    const double taken = std::min<double>(kg, share);
                    kg = static_cast<float>(std::max(0.0, kg - taken));
                    burnKg -= taken;
                }
            }
        }
    }

    // Along the great circle to the arrival gate; the taxi-in stops on it.
    void move(double dt) {
        const double stepNm = groundSpeedKts() * dt / 3600.0 * groundSpeedMultiplier;
        if (stepNm <= 0.0) {
            return;
        }
        const double toGoNm = distanceToGoNm();
        if (phase == FlightPhase::TaxiIn && stepNm >= toGoNm) {
            latitudeDeg = flight.arrival.latitudeDeg;
            longitudeDeg = flight.arrival.longitudeDeg;
            iasKts = 0.0;
            distanceFlownNm += toGoNm;
            return;
        }
        if (toGoNm > 1e-6) {
            const double course = courseDeg(latitudeDeg, longitudeDeg, flight.arrival.latitudeDeg,
                                            flight.arrival.longitudeDeg);
            // Close to the gate the course turns unsteady; the nose stays put.
            if (toGoNm > 0.01) {
                headingDeg = course;
            }
            travel(latitudeDeg, longitudeDeg, course, stepNm, latitudeDeg, longitudeDeg);
        }
        distanceFlownNm += stepNm;
    }

    void advance(double dt) {
        phaseSeconds += dt;
        switch (phase) {
            case FlightPhase::Parked:
                if (!held && phaseSeconds >= flight.parkedSeconds) {
                    brakeSet = false;
                    enter(FlightPhase::TaxiOut);
                } else if (held) {
                    phaseSeconds = 0.0;
                }
                break;
            case FlightPhase::TaxiOut:
                taxiOut(dt);
                break;
            case FlightPhase::TakeOff:
                takeOff(dt);
                break;
            case FlightPhase::Climb:
                climb(dt);
                break;
            case FlightPhase::Cruise:
                cruise(dt);
                break;
            case FlightPhase::Descent:
                descent(dt);
                break;
            case FlightPhase::Approach:
                approach(dt);
                break;
            case FlightPhase::RollOut:
                rollOut(dt);
                break;
            case FlightPhase::TaxiIn:
                taxiIn(dt);
                break;
            case FlightPhase::ParkedAtArrival:
            case FlightPhase::Crashed:
                break;
        }
        if (phase != FlightPhase::Crashed) {
            move(dt);
            if (onGround) {
                altitudeFt = terrainFt();
            } else {
                altitudeFt += vsFpm * dt / 60.0;
                if (phase == FlightPhase::Approach && altitudeFt <= terrainFt()) {
                    touchDown();
                }
            }
        }
        gearRatio = moveToward(gearRatio, gearTarget, kGearTravelPerSec, kGearTravelPerSec, dt);
        lightsOn = wantsLandingLights();
        burnFuel(dt);
        zuluSeconds = wrapDay(zuluSeconds + dt);
    }

    // --- Datarefs -------------------------------------------------------------

    void publishPosition() const {
        sim().setDouble(kLatitude, latitudeDeg);
        sim().setDouble(kLongitude, longitudeDeg);
    }

    void publishClock() const {
        sim().setFloat(kZulu, static_cast<float>(zuluSeconds));
        sim().setFloat(kLocal, static_cast<float>(wrapDay(zuluSeconds + utcOffsetSeconds)));
    }

    void publish() const {
        Simulator& s = sim();
        publishPosition();
        s.setDouble(kElevation, altitudeFt / kFeetPerMetre);
        s.setFloat(kRadioHeight, static_cast<float>(heightAboveGroundFt()));
        s.setFloat(kVerticalSpeed, static_cast<float>(vsFpm));
        s.setFloat(kParkBrake, brakeSet ? 1.0f : 0.0f);
        s.setFloat(kIndicatedAirspeed, static_cast<float>(iasKts));
        s.setFloat(kGroundSpeed, static_cast<float>(groundSpeedKts() / kKnotsPerMetrePerSecond));
        s.setInt(kOnGround, onGround ? 1 : 0);
        s.setFloat(kCompass, static_cast<float>(headingDeg));
        s.setFloat(kFlapHandle, static_cast<float>(flapRatio));
        s.setFloatArray(kGearDeploy, std::vector<float>(kGears, static_cast<float>(gearRatio)));
        s.setInt(kLandingLights, lightsOn ? 1 : 0);
        s.setFloatArray(kFuel, tanksKg);
        publishClock();
    }

    void placeAtGate() {
        const FlightDescription description = flight;
        const double groundRun = groundRunNm;
        std::vector<double> profile = std::move(descentProfileFt);
        const bool wasHeld = held;
        const bool wasPaused = paused;
        *this = Impl(description, groundRun, std::move(profile));
        held = wasHeld;
        paused = wasPaused;

        latitudeDeg = flight.departure.latitudeDeg;
        longitudeDeg = flight.departure.longitudeDeg;
        altitudeFt = flight.departure.elevationFt;
        headingDeg = courseDeg(latitudeDeg, longitudeDeg, flight.arrival.latitudeDeg,
                               flight.arrival.longitudeDeg);
        const double simZulu = sim().getFloat(kZulu);
        zuluSeconds = flight.zuluStartSeconds.value_or(simZulu);
        if (flight.utcOffsetHours) {
            utcOffsetSeconds = *flight.utcOffsetHours * 3600.0;
        } else {
            // The simulator's own offset, taken as the nearest one within half a day.
            utcOffsetSeconds =
                wrapDay(sim().getFloat(kLocal) - simZulu + kSecondsPerDay / 2) - kSecondsPerDay / 2;
        }
        tanksKg = sim().getFloatArray(kFuel);
        tanksKg.resize(kTanks, 0.0f);
        if (!flight.tanksKg.empty()) {
            std::fill(tanksKg.begin(), tanksKg.end(), 0.0f);
            for (size_t i = 0; i < flight.tanksKg.size(); ++i) {
                tanksKg[i] = static_cast<float>(flight.tanksKg[i]);
            }
        }
        engines = std::max(1, sim().getInt(kEngines));
    }

    void step(double frameRealSeconds) {
        if (paused) {
            return;
        }
        const double real = std::clamp(frameRealSeconds, 0.0, kMaxFrameRealSeconds);
        // What the plug-in wrote during the last frame: its fuel, its rate.
        const int simRate = std::max(1, sim().getInt(kSimSpeed));
        groundSpeedMultiplier = std::max(1, sim().getInt(kGroundSpeedMultiplier));
        tanksKg = sim().getFloatArray(kFuel);
        double scale = inTaxiOverspeed(phaseSeconds) ? 1.0 : flight.timeScale;
        // The last feet before the wheels touch go at nearly real time: the
        // client measures the touchdown over its last half second of reads,
        // which at full time scale would reach back into the approach.
        if (phase == FlightPhase::Approach && heightAboveGroundFt() <= kSlowTouchdownAglFt) {
            scale = std::min(scale, kTouchdownTimeScale);
        }
        const double simSeconds = real * scale * simRate;
        realSeconds += real;
        simulatedSeconds += simSeconds;
        const int substeps =
            std::max(1, static_cast<int>(std::ceil(simSeconds / kMaxSubstepSeconds)));
        for (int i = 0; i < substeps; ++i) {
            advance(simSeconds / substeps);
        }
        publish();
        if (phase == FlightPhase::RollOut) {
            touchdownPublished = true;
        }
    }

private:
    Impl(const FlightDescription& description, double groundRun, std::vector<double> profile)
        : flight(description), groundRunNm(groundRun), descentProfileFt(std::move(profile)) {}
};

FlightModel::FlightModel(const FlightDescription& flight) : m(std::make_unique<Impl>(flight)) {}

FlightModel::~FlightModel() { detach(); }

void FlightModel::attach() {
    m->placeAtGate();
    m->publish();
    Simulator::instance().setFrameHook([this](double realSeconds) { step(realSeconds); });
    m->attached = true;
}

void FlightModel::detach() {
    if (m->attached) {
        Simulator::instance().setFrameHook(nullptr);
        m->attached = false;
    }
}

bool FlightModel::isAttached() const { return m->attached; }

void FlightModel::step(double realSeconds) { m->step(realSeconds); }

void FlightModel::setPaused(bool paused) { m->paused = paused; }

void FlightModel::holdAtGate(bool hold) { m->held = hold; }

FlightPhase FlightModel::phase() const { return m->phase; }

bool FlightModel::hasArrived() const { return m->phase == FlightPhase::ParkedAtArrival; }

FlightProgress FlightModel::progress() const {
    FlightProgress p;
    p.phase = m->phase;
    p.realSeconds = m->realSeconds;
    p.simulatedSeconds = m->simulatedSeconds;
    p.distanceFlownNm = m->distanceFlownNm;
    p.distanceToGoNm = m->distanceToGoNm();
    p.altitudeFt = m->altitudeFt;
    p.heightAboveGroundFt = m->heightAboveGroundFt();
    p.indicatedAirspeedKts = m->iasKts;
    p.groundSpeedKts = m->groundSpeedKts();
    p.verticalSpeedFpm = m->vsFpm;
    p.headingDeg = m->headingDeg;
    p.fuelKg = m->fuelKg();
    return p;
}

const FlightDescription& FlightModel::flight() const { return m->flight; }

std::string FlightModel::progressLine() const {
    const FlightProgress p = progress();
    char line[256];
    std::snprintf(line, sizeof line,
                  "%6.1f s real %6.0f s flown  %-17s alt %5.0f ft  agl %5.0f ft  ias %3.0f kt  "
                  "gs %3.0f kt  vs %+5.0f fpm  fuel %6.0f kg  to go %6.1f nm",
                  p.realSeconds, p.simulatedSeconds, flightPhaseName(p.phase), p.altitudeFt,
                  p.heightAboveGroundFt, p.indicatedAirspeedKts, p.groundSpeedKts,
                  p.verticalSpeedFpm, p.fuelKg, p.distanceToGoNm);
    return line;
}

void FlightModel::jumpPosition(double distanceNm, double courseDeg) {
    travel(m->latitudeDeg, m->longitudeDeg, courseDeg, distanceNm, m->latitudeDeg, m->longitudeDeg);
    m->publishPosition();
}

void FlightModel::addFuel(int tank, double kg) {
    if (tank < 0 || tank >= kTanks) {
        throw std::out_of_range("testbed::FlightModel::addFuel: tank " + std::to_string(tank) +
                                " is not 0 to 8");
    }
    Simulator& sim = Simulator::instance();
    std::vector<float> tanks = sim.getFloatArray(kFuel);
    tanks[static_cast<size_t>(tank)] += static_cast<float>(kg);
    sim.setFloatArray(kFuel, tanks);
    m->tanksKg = tanks;
}

void FlightModel::setSimulationRate(int rate) { Simulator::instance().setInt(kSimSpeed, rate); }

void FlightModel::setGroundSpeedMultiplier(int multiplier) {
    Simulator::instance().setInt(kGroundSpeedMultiplier, multiplier);
}

void FlightModel::crash() {
    m->enter(FlightPhase::Crashed);
    m->iasKts = 0.0;
    m->vsFpm = 0.0;
    m->publish();
    Simulator::instance().sendMessage(kCrashMessage);
}

void FlightModel::jumpClock(double seconds) {
    m->zuluSeconds = wrapDay(m->zuluSeconds + seconds);
    m->publishClock();
}

}  // namespace testbed
