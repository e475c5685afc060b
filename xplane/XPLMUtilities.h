// Utilities of the X-Plane SDK, as far as the plug-in uses them.
#ifndef XPLMUtilities_h
#define XPLMUtilities_h

#include "XPLMDefs.h"

#ifdef __cplusplus
extern "C" {
#endif

XPLM_API void XPLMSpeakString(const char* inString);

#ifdef __cplusplus
}
#endif

#endif
