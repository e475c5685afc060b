// Draw callbacks, windows and hot keys of the X-Plane SDK, as far as the
// plug-in uses them.
#ifndef XPLMDisplay_h
#define XPLMDisplay_h

#include "XPLMDefs.h"

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
extern "C" {
#endif

enum { xplm_Phase_Window = 50 };
typedef int XPLMDrawingPhase;

typedef int (*XPLMDrawCallback_f)(XPLMDrawingPhase inPhase, int inIsBefore, void* inRefcon);

XPLM_API int XPLMRegisterDrawCallback(XPLMDrawCallback_f inCallback, XPLMDrawingPhase inPhase,
                                      int inWantsBefore, void* inRefcon);
XPLM_API int XPLMUnregisterDrawCallback(XPLMDrawCallback_f inCallback, XPLMDrawingPhase inPhase,
                                        int inWantsBefore, void* inRefcon);

typedef void* XPLMWindowID;
XPLM_API void XPLMDestroyWindow(XPLMWindowID inWindowID);

// Where X-Plane keeps a modern window: free on the screen, in an operating
// system window of its own, or in the VR headset.
enum {
    xplm_WindowPositionFree = 0,
    xplm_WindowCenterOnMonitor = 1,
    xplm_WindowFullScreenOnMonitor = 2,
    xplm_WindowFullScreenOnAllMonitors = 3,
    xplm_WindowPopOut = 4,
    xplm_WindowVR = 5
};
typedef int XPLMWindowPositioningMode;

XPLM_API void XPLMSetWindowPositioningMode(XPLMWindowID inWindowID,
                                           XPLMWindowPositioningMode inPositioningMode,
                                           int inMonitorIndex);
XPLM_API int XPLMWindowIsPoppedOut(XPLMWindowID inWindowID);
XPLM_API int XPLMWindowIsInVR(XPLMWindowID inWindowID);

typedef void* XPLMHotKeyID;
typedef void (*XPLMHotKey_f)(void* inRefcon);
XPLM_API XPLMHotKeyID XPLMRegisterHotKey(char inVirtualKey, XPLMKeyFlags inFlags,
                                         const char* inDescription, XPLMHotKey_f inCallback,
                                         void* inRefcon);
XPLM_API void XPLMUnregisterHotKey(XPLMHotKeyID inHotKey);

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
}
#endif

#endif
