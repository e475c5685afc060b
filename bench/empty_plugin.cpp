// The baseline for the cost benchmark: a plug-in built and loaded like the
// real one, whose one draw callback does nothing.
#include <cstdio>

#include "XPLMDefs.h"
#include "XPLMDisplay.h"

namespace {

// Registered in the same phase and order as the real plug-in's, so that the
// frame loop walks the same path with either binary loaded.
int emptyDrawCallback(XPLMDrawingPhase, int, void*) { return 1; }

bool g_registered = false;

void copyOut(char* out, const char* text) { std::snprintf(out, 256, "%s", text); }

}  // namespace

extern "C" {

PLUGIN_API int XPluginStart(char* outName, char* outSig, char* outDesc) {
    copyOut(outName, "Quelby Empty");
    copyOut(outSig, "quelbyempty");
    copyOut(outDesc, "Does nothing: the baseline of the cost benchmark.");
    g_registered = XPLMRegisterDrawCallback(emptyDrawCallback, xplm_Phase_Window, 0, nullptr) != 0;
    return 1;
}

PLUGIN_API void XPluginStop(void) {
    if (g_registered) {
        XPLMUnregisterDrawCallback(emptyDrawCallback, xplm_Phase_Window, 0, nullptr);
        g_registered = false;
    }
}

PLUGIN_API int XPluginEnable(void) { return 1; }

PLUGIN_API void XPluginDisable(void) {}

PLUGIN_API void XPluginReceiveMessage(XPLMPluginID, int, void*) {}

}  // extern "C"
