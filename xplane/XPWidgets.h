// Widget creation and manipulation of the X-Plane widget library, as far as
// the plug-in uses them.
#ifndef XPWidgets_h
#define XPWidgets_h

#include "XPLMDisplay.h"
#include "XPWidgetDefs.h"

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
extern "C" {
#endif

WIDGET_API XPWidgetID XPCreateWidget(int inLeft, int inTop, int inRight, int inBottom,
                                     int inVisible, const char* inDescriptor, int inIsRoot,
                                     XPWidgetID inContainer, XPWidgetClass inClass);
// A widget whose class is the callback itself: it draws what the plug-in
// draws, as part of its window.
WIDGET_API XPWidgetID XPCreateCustomWidget(int inLeft, int inTop, int inRight, int inBottom,
                                           int inVisible, const char* inDescriptor, int inIsRoot,
                                           XPWidgetID inContainer, XPWidgetFunc_t inCallback);
WIDGET_API void XPDestroyWidget(XPWidgetID inWidget, int inDestroyChildren);
WIDGET_API void XPSetWidgetProperty(XPWidgetID inWidget, XPWidgetPropertyID inProperty,
                                    intptr_t inValue);
WIDGET_API intptr_t XPGetWidgetProperty(XPWidgetID inWidget, XPWidgetPropertyID inProperty,
                                        int* inExists);
WIDGET_API void XPGetWidgetGeometry(XPWidgetID inWidget, int* outLeft, int* outTop, int* outRight,
                                    int* outBottom);
WIDGET_API int XPGetWidgetDescriptor(XPWidgetID inWidget, char* outDescriptor, int inMaxDescLength);
WIDGET_API void XPSetWidgetDescriptor(XPWidgetID inWidget, const char* inDescriptor);
WIDGET_API void XPAddWidgetCallback(XPWidgetID inWidget, XPWidgetFunc_t inNewCallback);
WIDGET_API void XPShowWidget(XPWidgetID inWidget);
WIDGET_API void XPHideWidget(XPWidgetID inWidget);
WIDGET_API int XPIsWidgetVisible(XPWidgetID inWidget);
// The window behind a root widget; with native widget windows a modern
// window that can pop out or go into VR.
WIDGET_API XPLMWindowID XPGetWidgetUnderlyingWindow(XPWidgetID inWidget);

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
}
#endif

#endif
