// Widget ids, properties, messages and callbacks of the X-Plane widget
// library, as far as the plug-in uses them.
#ifndef XPWidgetDefs_h
#define XPWidgetDefs_h

#include <stdint.h>

#include "XPLMDefs.h"

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
extern "C" {
#endif

#if IBM
// On Windows the widget functions come from XPWidgets_64.dll.
#ifdef XPWIDGETS_EXPORTS
#define WIDGET_API __declspec(dllexport)
#else
#define WIDGET_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define WIDGET_API __attribute__((visibility("default")))
#else
#define WIDGET_API
#endif

typedef void* XPWidgetID;

enum {
    xpProperty_Refcon = 0,
    // 0 greys a widget out; X-Plane then sends it no mouse messages.
    xpProperty_Enabled = 7
};
typedef int XPWidgetPropertyID;

// Paint asks a widget to draw itself and its children; a widget that does
// not handle it gets Draw, for itself only, and its children are drawn after.
enum { xpMsg_None = 0, xpMsg_Paint = 3, xpMsg_Draw = 4 };
typedef int XPWidgetMessage;

typedef int XPWidgetClass;
#define xpWidgetClass_None 0

typedef int (*XPWidgetFunc_t)(XPWidgetMessage inMessage, XPWidgetID inWidget, intptr_t inParam1,
                              intptr_t inParam2);

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
}
#endif

#endif
