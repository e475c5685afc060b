// The emulated X-Plane's datarefs: names, types, sizes and writability as
// X-Plane publishes them, and the state of a twin-engine airliner parked at
// a gate in Frankfurt (EDDF) in the early afternoon.
#include <utility>

#include "SimulatorState.h"

namespace testbed::detail {

namespace {

std::unique_ptr<DataRef> scalarInt(const char* name, bool writable, int value) {
    auto ref = std::make_unique<DataRef>();
    ref->name = name;
    ref->types = xplmType_Int;
    ref->writable = writable;
    ref->value.intValue = value;
    return ref;
}

std::unique_ptr<DataRef> scalarFloat(const char* name, bool writable, float value) {
    auto ref = std::make_unique<DataRef>();
    ref->name = name;
    ref->types = xplmType_Float;
    ref->writable = writable;
    ref->value.realValue = value;
    return ref;
}

// X-Plane's flight-model position is kept in double but also answers float
// reads, so its type is Float|Double.
std::unique_ptr<DataRef> positionDouble(const char* name, bool writable, double value) {
    auto ref = std::make_unique<DataRef>();
    ref->name = name;
    ref->types = xplmType_Float | xplmType_Double;
    ref->writable = writable;
    ref->value.realValue = value;
    return ref;
}

std::unique_ptr<DataRef> floatArray(const char* name, bool writable, int size,
                                    std::vector<float> leading) {
    auto ref = std::make_unique<DataRef>();
    ref->name = name;
    ref->types = xplmType_FloatArray;
    ref->writable = writable;
    ref->arraySize = size;
    leading.resize(static_cast<size_t>(size), 0.0f);
    ref->value.floats = std::move(leading);
    return ref;
}

std::unique_ptr<DataRef> byteString(const char* name, bool writable, int size, const char* text) {
    auto ref = std::make_unique<DataRef>();
    ref->name = name;
    ref->types = xplmType_Data;
    ref->writable = writable;
    ref->arraySize = size;
    ref->value.bytes.assign(text);
    ref->value.bytes.resize(static_cast<size_t>(size), '\0');
    return ref;
}

}  // namespace

std::vector<std::unique_ptr<DataRef>> makeDataRefTable() {
    // Writable only where every published list says so: a write that one
    // X-Plane version ignores is a fault worth seeing.
    constexpr bool rw = true;
    constexpr bool ro = false;

    // Tanks: left wing, centre, right wing of 5500, 6600 and 5500 kg; both
    // wing tanks hold 2000 kg after the inbound flight.
    const float fuelCapacityKg = 17600.0f;
    // Times: 14:30 local, 12:30 zulu (summer time, UTC+2).
    const float localTimeSec = 14 * 3600.0f + 30 * 60.0f;
    const float zuluTimeSec = 12 * 3600.0f + 30 * 60.0f;

    std::vector<std::unique_ptr<DataRef>> table;
    table.push_back(positionDouble("sim/flightmodel/position/latitude", ro, 50.0459));
    table.push_back(positionDouble("sim/flightmodel/position/longitude", ro, 8.5703));
    table.push_back(scalarInt("sim/cockpit/electrical/landing_lights_on", rw, 0));
    table.push_back(scalarInt("sim/time/sim_speed", rw, 1));
    // Whether the pilot flies with a VR headset on.
    table.push_back(scalarInt("sim/graphics/VR/enabled", ro, 0));
    table.push_back(
        scalarFloat("sim/cockpit2/gauges/indicators/radio_altimeter_height_ft_pilot", ro, 0.0f));
    table.push_back(positionDouble("sim/flightmodel/position/elevation", ro, 111.0));
    table.push_back(scalarFloat("sim/cockpit2/gauges/indicators/vvi_fpm_pilot", ro, 0.0f));
    table.push_back(scalarFloat("sim/flightmodel/controls/parkbrake", rw, 1.0f));
    table.push_back(scalarFloat("sim/flightmodel/position/indicated_airspeed", rw, 0.0f));
    table.push_back(scalarFloat("sim/flightmodel/position/groundspeed", ro, 0.0f));
    table.push_back(scalarInt("sim/flightmodel/failures/onground_any", ro, 1));
    table.push_back(scalarFloat("sim/aircraft/weight/acf_m_max", rw, 78000.0f));
    table.push_back(scalarFloat("sim/aircraft/weight/acf_m_empty", rw, 42600.0f));
    table.push_back(scalarInt("sim/aircraft/engine/acf_num_engines", rw, 2));
    table.push_back(scalarInt("sim/time/ground_speed", rw, 1));
    table.push_back(scalarInt("sim/aircraft/overflow/acf_num_tanks", ro, 3));
    table.push_back(floatArray("sim/flightmodel/weight/m_fuel", rw, 9, {2000.0f, 0.0f, 2000.0f}));
    table.push_back(
        floatArray("sim/aircraft/overflow/acf_tank_rat", rw, 9,
                   {5500.0f / fuelCapacityKg, 6600.0f / fuelCapacityKg, 5500.0f / fuelCapacityKg}));
    table.push_back(scalarFloat("sim/aircraft/weight/acf_m_fuel_tot", rw, fuelCapacityKg));
    table.push_back(scalarFloat("sim/time/local_time_sec", ro, localTimeSec));
    table.push_back(scalarFloat("sim/time/zulu_time_sec", rw, zuluTimeSec));
    table.push_back(scalarInt("sim/operation/failures/rel_engfir0", rw, 0));
    table.push_back(scalarInt("sim/operation/failures/rel_engfir1", rw, 0));
    table.push_back(scalarInt("sim/operation/failures/rel_engfir2", rw, 0));
    table.push_back(scalarInt("sim/operation/failures/rel_engfir3", rw, 0));
    table.push_back(scalarInt("sim/operation/failures/rel_flap_act", rw, 0));
    table.push_back(scalarInt("sim/operation/failures/rel_gear_act", rw, 0));
    table.push_back(byteString("sim/version/sim_build_string", ro, 256, "Oct  5 2015 23:29:08"));
    table.push_back(byteString("sim/version/xplm_build_string", ro, 256, "Oct  5 2015 23:27:51"));
    table.push_back(scalarFloat("sim/cockpit/misc/compass_indicated", rw, 249.0f));
    // X-Plane 12 lists the flight model's flap name as replaced by this one;
    // X-Plane 10 and 11 have only the old one, which 12 still answers.
    table.push_back(scalarFloat("sim/cockpit2/controls/flap_system_deploy_ratio", rw, 0.0f));
    table.back()->formerName = "sim/flightmodel2/controls/flap_handle_deploy_ratio";
    // Nose and two main gears down and locked; the other slots are unused.
    table.push_back(floatArray("sim/aircraft/parts/acf_gear_deploy", rw, 10, {1.0f, 1.0f, 1.0f}));

    for (auto& ref : table) {
        ref->initial = ref->value;
    }
    return table;
}

}  // namespace testbed::detail
