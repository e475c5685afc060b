// Draw callbacks, windows and hot keys of the X-Plane SDK, as far as the
// plug-in uses them.
#ifndef XPLMDisplay_h
#define XPLMDisplay_h

#include "XPLMDefs.h"

#ifdef __cplusplus
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

typedef void* XPLMHotKeyID;
typedef void (*XPLMHotKey_f)(void* inRefcon);
XPLM_API XPLMHotKeyID XPLMRegisterHotKey(char inVirtualKey, XPLMKeyFlags inFlags,
                                         const char* inDescription, XPLMHotKey_f inCallback,
                                         void* inRefcon);
XPLM_API void XPLMUnregisterHotKey(XPLMHotKeyID inHotKey);

#ifdef __cplusplus
}
#endif

#endif
