// Data references of the X-Plane SDK, as far as the plug-in uses them.
#ifndef XPLMDataAccess_h
#define XPLMDataAccess_h

#include "XPLMDefs.h"

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
extern "C" {
#endif

typedef void* XPLMDataRef;

enum {
    xplmType_Unknown = 0,
    xplmType_Int = 1,
    xplmType_Float = 2,
    xplmType_Double = 4,
    xplmType_FloatArray = 8,
    xplmType_IntArray = 16,
    xplmType_Data = 32
};
typedef int XPLMDataTypeID;

XPLM_API XPLMDataRef XPLMFindDataRef(const char* inDataRefName);
XPLM_API XPLMDataTypeID XPLMGetDataRefTypes(XPLMDataRef inDataRef);
XPLM_API int XPLMGetDatai(XPLMDataRef inDataRef);
XPLM_API void XPLMSetDatai(XPLMDataRef inDataRef, int inValue);
XPLM_API float XPLMGetDataf(XPLMDataRef inDataRef);
XPLM_API void XPLMSetDataf(XPLMDataRef inDataRef, float inValue);
XPLM_API double XPLMGetDatad(XPLMDataRef inDataRef);
XPLM_API void XPLMSetDatad(XPLMDataRef inDataRef, double inValue);
XPLM_API int XPLMGetDatavf(XPLMDataRef inDataRef, float* outValues, int inOffset, int inMax);
XPLM_API void XPLMSetDatavf(XPLMDataRef inDataRef, float* inValues, int inOffset, int inCount);
XPLM_API int XPLMGetDatab(XPLMDataRef inDataRef, void* outValue, int inOffset, int inMaxBytes);

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
}
#endif

#endif
