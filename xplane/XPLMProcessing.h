// Flight loops of the X-Plane SDK: work that runs every frame whether or not
// anything is drawn.
#ifndef XPLMProcessing_h
#define XPLMProcessing_h

#include "XPLMDefs.h"

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
extern "C" {
#endif

enum { xplm_FlightLoop_Phase_BeforeFlightModel = 0, xplm_FlightLoop_Phase_AfterFlightModel = 1 };
typedef int XPLMFlightLoopPhaseType;

typedef void* XPLMFlightLoopID;

// The answer says when to be called next: a negative number of loops, a
// positive number of seconds, or 0 to rest until scheduled again.
typedef float (*XPLMFlightLoop_f)(float inElapsedSinceLastCall,
                                  float inElapsedTimeSinceLastFlightLoop, int inCounter,
                                  void* inRefcon);

typedef struct {
    int structSize;
    XPLMFlightLoopPhaseType phase;
    XPLMFlightLoop_f callbackFunc;
    void* refcon;
} XPLMCreateFlightLoop_t;

XPLM_API XPLMFlightLoopID XPLMCreateFlightLoop(XPLMCreateFlightLoop_t* inParams);
XPLM_API void XPLMDestroyFlightLoop(XPLMFlightLoopID inFlightLoopID);
XPLM_API void XPLMScheduleFlightLoop(XPLMFlightLoopID inFlightLoopID, float inInterval,
                                     int inRelativeToNow);

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
}
#endif

#endif
