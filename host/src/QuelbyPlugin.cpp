// The five entry points X-Plane calls. Each goes through the callback guard
// and hands over to the plug-in host.
#include <atomic>

#include "CCallbackGuard.h"
#include "CPlugin.h"
#include "XPLMDefs.h"

namespace {
std::atomic<bool> g_startFailed{false};
std::atomic<bool> g_stopFailed{false};
std::atomic<bool> g_messageFailed{false};
}  // namespace

extern "C" {

PLUGIN_API int XPluginStart(char* outName, char* outSig, char* outDesc) {
    // X-Plane keeps a plug-in that reports success; a failed start leaves a
    // plug-in that does nothing rather than one the simulator must unload.
    return CCallbackGuard::run(g_startFailed, "XPluginStart", 1,
                               [&] { return CPlugin::start(outName, outSig, outDesc); });
}

PLUGIN_API void XPluginStop(void) {
    CCallbackGuard::run(g_stopFailed, "XPluginStop", [] { CPlugin::stop(); });
}

PLUGIN_API int XPluginEnable(void) { return 1; }

PLUGIN_API void XPluginDisable(void) {}

PLUGIN_API void XPluginReceiveMessage(XPLMPluginID inFromWho, int inMessage, void* inParam) {
    CCallbackGuard::run(g_messageFailed, "XPluginReceiveMessage",
                        [&] { CPlugin::receiveMessage(inFromWho, inMessage, inParam); });
}

}  // extern "C"
