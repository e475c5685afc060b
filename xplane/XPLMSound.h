// Sound through X-Plane's own mixer (X-Plane 12.04 and later, SDK 4.0), as far
// as the plug-in uses it: the types only. The mixer's functions are newer than
// the oldest X-Plane the plug-in loads in, so they are reached by name through
// XPLMFindSymbol and never declared here: a declaration would let a direct
// call slip in, and on Windows it would become an import that X-Plane 11
// refuses. Names and values match the official SDK.
#ifndef XPLMSound_h
#define XPLMSound_h

#include <stdint.h>

#include "XPLMDefs.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { xplm_AudioInterior = 7, xplm_AudioUI = 8 };
typedef int XPLMAudioBus;

// FMOD's own result and sample format enumerations, whose values X-Plane
// passes through; only FMOD_OK and PCM16 matter to the plug-in. As in FMOD,
// the largest value keeps every code FMOD uses a value of the type.
typedef enum FMOD_RESULT { FMOD_OK, FMOD_RESULT_FORCEINT = 65536 } FMOD_RESULT;
typedef enum FMOD_SOUND_FORMAT {
    FMOD_SOUND_FORMAT_PCM16 = 2,
    FMOD_SOUND_FORMAT_FORCEINT = 65536
} FMOD_SOUND_FORMAT;
typedef void FMOD_CHANNEL;

typedef void (*XPLMPCMComplete_f)(void* inRefcon, FMOD_RESULT status);

#ifdef __cplusplus
}
#endif

#endif
