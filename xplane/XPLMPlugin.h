// Inter-plug-in messages of the X-Plane SDK, as far as the plug-in uses them.
#ifndef XPLMPlugin_h
#define XPLMPlugin_h

#include "XPLMDefs.h"

#define XPLM_MSG_PLANE_CRASHED 101

#endif
