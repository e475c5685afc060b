// Text drawing of the X-Plane SDK, as far as the plug-in uses it.
#ifndef XPLMGraphics_h
#define XPLMGraphics_h

#include "XPLMDefs.h"

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
extern "C" {
#endif

enum { xplmFont_Basic = 0, xplmFont_Proportional = 18 };
typedef int XPLMFontID;

XPLM_API void XPLMDrawString(float* inColorRGB, int inXOffset, int inYOffset, const char* inChar,
                             int* inWordWrapWidth, XPLMFontID inFontID);
XPLM_API void XPLMGetFontDimensions(XPLMFontID inFontID, int* outCharWidth, int* outCharHeight,
                                    int* outDigitsOnly);
XPLM_API float XPLMMeasureString(XPLMFontID inFontID, const char* inChar, int inNumChars);

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
}
#endif

#endif
