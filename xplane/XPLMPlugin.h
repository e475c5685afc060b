// Inter-plug-in messages of the X-Plane SDK, as far as the plug-in uses them.
#ifndef XPLMPlugin_h
#define XPLMPlugin_h

#include "XPLMDefs.h"

#define XPLM_MSG_PLANE_CRASHED 101

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
extern "C" {
#endif

// Optional behaviours of the SDK, by name ("XPLM_USE_NATIVE_WIDGET_WINDOWS").
XPLM_API int XPLMHasFeature(const char* inFeature);
XPLM_API int XPLMIsFeatureEnabled(const char* inFeature);
XPLM_API void XPLMEnableFeature(const char* inFeature, int inEnable);

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
}
#endif

#endif
