// Menus of the X-Plane SDK, as far as the plug-in uses them.
#ifndef XPLMMenus_h
#define XPLMMenus_h

#include "XPLMDefs.h"

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
extern "C" {
#endif

typedef void* XPLMMenuID;
typedef void (*XPLMMenuHandler_f)(void* inMenuRef, void* inItemRef);

XPLM_API XPLMMenuID XPLMCreateMenu(const char* inName, XPLMMenuID inParentMenu, int inParentItem,
                                   XPLMMenuHandler_f inHandler, void* inMenuRef);
XPLM_API int XPLMAppendMenuItem(XPLMMenuID inMenu, const char* inItemName, void* inItemRef,
                                int inDeprecatedAndIgnored);
XPLM_API void XPLMDestroyMenu(XPLMMenuID inMenuID);

enum { xplm_Menu_NoCheck = 0, xplm_Menu_Unchecked = 1, xplm_Menu_Checked = 2 };
typedef int XPLMMenuCheck;
XPLM_API void XPLMCheckMenuItem(XPLMMenuID inMenu, int index, XPLMMenuCheck inCheck);
XPLM_API void XPLMEnableMenuItem(XPLMMenuID inMenu, int index, int enabled);

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
}
#endif

#endif
