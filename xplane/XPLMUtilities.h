// Utilities of the X-Plane SDK, as far as the plug-in uses them.
#ifndef XPLMUtilities_h
#define XPLMUtilities_h

#include "XPLMDefs.h"

#ifdef __cplusplus
extern "C" {
#endif

// X-Plane's own folder, ending in a separator; the buffer holds at least 512
// bytes.
XPLM_API void XPLMGetSystemPath(char* outSystemPath);
// A line for X-Plane's Log.txt, flushed at once.
XPLM_API void XPLMDebugString(const char* inString);

XPLM_API void XPLMSpeakString(const char* inString);

#ifdef __cplusplus
}
#endif

#endif
