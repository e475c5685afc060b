// The plug-in's identity, features and messages of the X-Plane SDK, as far as
// the plug-in uses them.
#ifndef XPLMPlugin_h
#define XPLMPlugin_h

#include "XPLMDefs.h"

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
extern "C" {
#endif

XPLM_API XPLMPluginID XPLMGetMyID(void);
// Each buffer holds at least 256 bytes, or is NULL when not wanted.
XPLM_API void XPLMGetPluginInfo(XPLMPluginID inPlugin, char* outName, char* outFilePath,
                                char* outSignature, char* outDescription);

// Features by name, e.g. "XPLM_USE_NATIVE_PATHS". Asking whether an unknown
// feature is enabled is an error.
XPLM_API int XPLMHasFeature(const char* inFeature);
XPLM_API int XPLMIsFeatureEnabled(const char* inFeature);
XPLM_API void XPLMEnableFeature(const char* inFeature, int inEnable);

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
}
#endif

#define XPLM_MSG_PLANE_CRASHED 101
// Right after X-Plane enters VR, and right before it leaves it.
#define XPLM_MSG_ENTERED_VR 109
#define XPLM_MSG_EXITING_VR 110

#endif
