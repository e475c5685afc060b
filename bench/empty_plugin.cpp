// The baseline for the cost benchmark: a plug-in built and loaded like the
// real one, whose one flight loop does nothing.
#include <cstdio>

#include "XPLMDefs.h"
#include "XPLMProcessing.h"

namespace {

// Made in the same phase as the real plug-in's and called every frame, so
// that the frame loop walks the same path with either binary loaded.
float emptyFlightLoop(float, float, int, void*) { return -1.0f; }

XPLMFlightLoopID g_loop = nullptr;

void copyOut(char* out, const char* text) { std::snprintf(out, 256, "%s", text); }

}  // namespace

extern "C" {

PLUGIN_API int XPluginStart(char* outName, char* outSig, char* outDesc) {
    copyOut(outName, "Quelby Empty");
    copyOut(outSig, "quelbyempty");
    copyOut(outDesc, "Does nothing: the baseline of the cost benchmark.");
    XPLMCreateFlightLoop_t loop{static_cast<int>(sizeof(XPLMCreateFlightLoop_t)),
                                xplm_FlightLoop_Phase_AfterFlightModel, emptyFlightLoop, nullptr};
    g_loop = XPLMCreateFlightLoop(&loop);
    if (g_loop != nullptr) {
        XPLMScheduleFlightLoop(g_loop, -1.0f, 1);
    }
    return 1;
}

PLUGIN_API void XPluginStop(void) {
    if (g_loop != nullptr) {
        XPLMDestroyFlightLoop(g_loop);
        g_loop = nullptr;
    }
}

PLUGIN_API int XPluginEnable(void) { return 1; }

PLUGIN_API void XPluginDisable(void) {}

PLUGIN_API void XPluginReceiveMessage(XPLMPluginID, int, void*) {}

}  // extern "C"
