// X-Plane's flight loops: callbacks that run every frame, or at the interval
// they ask for, whether or not anything is drawn.
#include <vector>

#include "SimulatorState.h"
#include "XPLMProcessing.h"

namespace testbed::detail {

namespace {

using Clock = std::chrono::steady_clock;

// Lock held.
void schedule(State& s, FlightLoop& loop, float interval, double fromSeconds) {
    if (interval == 0.0f) {
        loop.scheduled = false;
        return;
    }
    loop.scheduled = true;
    if (interval < 0.0f) {
        // -1 is the very next loop, -2 the one after.
        loop.dueByFrames = true;
        loop.dueFrame = s.loopNumber + static_cast<uint64_t>(-interval);
    } else {
        loop.dueByFrames = false;
        loop.dueSeconds = fromSeconds + interval;
    }
}

}  // namespace

void runFlightLoops(int phase, double frameSeconds) {
    State& s = state();
    struct Due {
        XPLMFlightLoopID id;
        FlightLoop loop;
    };
    std::vector<Due> due;
    double now = 0.0;
    double sinceLastLoop = 0.0;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        if (phase == xplm_FlightLoop_Phase_BeforeFlightModel) {
            s.simulatorSeconds += frameSeconds;
            ++s.loopNumber;
        }
        now = s.simulatorSeconds;
        sinceLastLoop = frameSeconds;
        for (const auto& [id, loop] : s.flightLoops) {
            if (loop.phase != phase || !loop.scheduled) {
                continue;
            }
            const bool isDue =
                loop.dueByFrames ? s.loopNumber >= loop.dueFrame : now >= loop.dueSeconds;
            if (isDue) {
                due.push_back(Due{id, loop});
            }
        }
    }
    for (Due& entry : due) {
        {
            // An earlier callback of this frame may have destroyed it.
            std::lock_guard<std::mutex> lock(s.mutex);
            if (s.flightLoops.count(entry.id) == 0) {
                continue;
            }
        }
        const float sinceLastCall = entry.loop.lastCallSeconds < 0.0
                                        ? static_cast<float>(sinceLastLoop)
                                        : static_cast<float>(now - entry.loop.lastCallSeconds);
        const auto start = Clock::now();
        float next = 0.0f;
        {
            PluginCodeScope inPluginCode;
            next = entry.loop.callback(sinceLastCall, static_cast<float>(sinceLastLoop),
                                       entry.loop.counter + 1, entry.loop.refcon);
        }
        const auto spent = Clock::now() - start;
        {
            std::lock_guard<std::mutex> lock(s.mutex);
            const auto found = s.flightLoops.find(entry.id);
            if (found != s.flightLoops.end()) {
                FlightLoop& loop = found->second;
                ++loop.counter;
                loop.lastCallSeconds = now;
                schedule(s, loop, next, now);
            }
        }
        if (entry.loop.ownedByPlugin) {
            countPluginTime(std::chrono::duration_cast<std::chrono::nanoseconds>(spent));
        }
    }
}

void countPluginTime(std::chrono::nanoseconds spent) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.currentPluginFrame += spent;
}

}  // namespace testbed::detail

using namespace testbed::detail;

extern "C" {

XPLM_API XPLMFlightLoopID XPLMCreateFlightLoop(XPLMCreateFlightLoop_t* inParams) {
    SdkCall call("XPLMCreateFlightLoop");
    if (inParams == nullptr || inParams->callbackFunc == nullptr) {
        recordSdkMisuse(call.s, "XPLMCreateFlightLoop: no callback");
        return nullptr;
    }
    if (inParams->structSize < static_cast<int>(sizeof(XPLMCreateFlightLoop_t))) {
        recordSdkMisuse(call.s, "XPLMCreateFlightLoop: structSize too small");
        return nullptr;
    }
    FlightLoop loop;
    loop.callback = inParams->callbackFunc;
    loop.phase = inParams->phase;
    loop.refcon = inParams->refcon;
    loop.ownedByPlugin = call.s.pluginActive;
    XPLMFlightLoopID id = newHandle(call.s);
    call.s.flightLoops.emplace(id, loop);
    return id;
}

XPLM_API void XPLMDestroyFlightLoop(XPLMFlightLoopID inFlightLoopID) {
    SdkCall call("XPLMDestroyFlightLoop");
    if (call.s.flightLoops.erase(inFlightLoopID) == 0) {
        recordSdkMisuse(call.s,
                        "XPLMDestroyFlightLoop: unknown flight loop " + handleText(inFlightLoopID));
    }
}

XPLM_API void XPLMScheduleFlightLoop(XPLMFlightLoopID inFlightLoopID, float inInterval,
                                     int inRelativeToNow) {
    SdkCall call("XPLMScheduleFlightLoop");
    const auto found = call.s.flightLoops.find(inFlightLoopID);
    if (found == call.s.flightLoops.end()) {
        recordSdkMisuse(
            call.s, "XPLMScheduleFlightLoop: unknown flight loop " + handleText(inFlightLoopID));
        return;
    }
    FlightLoop& loop = found->second;
    const double from = inRelativeToNow != 0 || loop.lastCallSeconds < 0.0 ? call.s.simulatorSeconds
                                                                           : loop.lastCallSeconds;
    schedule(call.s, loop, inInterval, from);
}

}  // extern "C"
