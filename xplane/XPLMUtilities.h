// Utilities of the X-Plane SDK, as far as the plug-in uses them.
#ifndef XPLMUtilities_h
#define XPLMUtilities_h

#include "XPLMDefs.h"

#ifdef __cplusplus
extern "C" {
#endif

// The address of an SDK function by name, or NULL where this X-Plane lacks
// it: how functions newer than the oldest supported X-Plane are reached.
XPLM_API void* XPLMFindSymbol(const char* inString);

XPLM_API void XPLMSpeakString(const char* inString);

#ifdef __cplusplus
}
#endif

#endif
