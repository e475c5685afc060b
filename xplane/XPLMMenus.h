// Menus of the X-Plane SDK, as far as the plug-in uses them.
#ifndef XPLMMenus_h
#define XPLMMenus_h

#include "XPLMDefs.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void* XPLMMenuID;
typedef void (*XPLMMenuHandler_f)(void* inMenuRef, void* inItemRef);

XPLM_API XPLMMenuID XPLMCreateMenu(const char* inName, XPLMMenuID inParentMenu, int inParentItem,
                                   XPLMMenuHandler_f inHandler, void* inMenuRef);
XPLM_API int XPLMAppendMenuItem(XPLMMenuID inMenu, const char* inItemName, void* inItemRef,
                                int inDeprecatedAndIgnored);
XPLM_API void XPLMDestroyMenu(XPLMMenuID inMenuID);

#ifdef __cplusplus
}
#endif

#endif
