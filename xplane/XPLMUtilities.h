// Utilities of the X-Plane SDK, as far as the plug-in uses them.
#ifndef XPLMUtilities_h
#define XPLMUtilities_h

#include "XPLMDefs.h"

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
extern "C" {
#endif

// The address of an SDK function by name, or NULL where this X-Plane lacks
// it: how functions newer than the oldest supported X-Plane are reached.
XPLM_API void* XPLMFindSymbol(const char* inString);
// X-Plane's own folder, ending in a separator; the buffer holds at least 512
// bytes.
XPLM_API void XPLMGetSystemPath(char* outSystemPath);
// A line for X-Plane's Log.txt, flushed at once.
XPLM_API void XPLMDebugString(const char* inString);

XPLM_API void XPLMSpeakString(const char* inString);

// Commands: what a pilot binds to a key, a joystick button or a VR
// controller.
enum { xplm_CommandBegin = 0, xplm_CommandContinue = 1, xplm_CommandEnd = 2 };
typedef int XPLMCommandPhase;
typedef void* XPLMCommandRef;
// Answers 1 to let other handlers and X-Plane go on, 0 to stop there.
typedef int (*XPLMCommandCallback_f)(XPLMCommandRef inCommand, XPLMCommandPhase inPhase,
                                     void* inRefcon);

XPLM_API XPLMCommandRef XPLMFindCommand(const char* inName);
XPLM_API XPLMCommandRef XPLMCreateCommand(const char* inName, const char* inDescription);
XPLM_API void XPLMRegisterCommandHandler(XPLMCommandRef inComand, XPLMCommandCallback_f inHandler,
                                         int inBefore, void* inRefcon);
XPLM_API void XPLMUnregisterCommandHandler(XPLMCommandRef inComand, XPLMCommandCallback_f inHandler,
                                           int inBefore, void* inRefcon);

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
}
#endif

#endif
