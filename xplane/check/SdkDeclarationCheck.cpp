// Proof, at compile time, that the project's own SDK declarations are
// X-Plane's: X-Plane's official headers are read first, the project's own
// after them inside a namespace of their own, and every function and constant
// the project declares must have X-Plane's type and value. Built only
// against an official SDK (XPLANE_SDK_DIR). Macros the two both define must
// be defined alike, or the compiler warns of the redefinition.
// The plug-in is built with the SDK of X-Plane 11.50; only this check also
// reads SDK 4.0's mixer, whose types the test bed and the sound adapter spell
// on their own.
#define XPLM400 1

#include <stddef.h>
#include <stdint.h>

#include <type_traits>

#include "XPLMDataAccess.h"
#include "XPLMDefs.h"
#include "XPLMDisplay.h"
#include "XPLMGraphics.h"
#include "XPLMMenus.h"
#include "XPLMPlugin.h"
#include "XPLMProcessing.h"
#include "XPLMSound.h"
#include "XPLMUtilities.h"
#include "XPStandardWidgets.h"
#include "XPWidgetDefs.h"
#include "XPWidgets.h"

// The export macros say where a function comes from, not what it is; the
// project's own spell them for its own toolchains.
#undef XPLM_API
#undef WIDGET_API
#undef PLUGIN_API

#define QUELBY_SDK_CHECK 1
namespace own {
#include QUELBY_OWN_SDK_HEADERS
}  // namespace own

namespace {

// Two declarations agree when their types are the same, or, for a struct
// passed by pointer, when the structs lay out alike (each side has its own
// unnamed struct type).
template <typename A, typename B>
struct Agree : std::is_same<A, B> {};

template <>
struct Agree<::XPLMCreateFlightLoop_t*, own::XPLMCreateFlightLoop_t*> : std::true_type {};
static_assert(sizeof(::XPLMCreateFlightLoop_t) == sizeof(own::XPLMCreateFlightLoop_t));
static_assert(offsetof(::XPLMCreateFlightLoop_t, structSize) ==
              offsetof(own::XPLMCreateFlightLoop_t, structSize));
static_assert(offsetof(::XPLMCreateFlightLoop_t, phase) ==
              offsetof(own::XPLMCreateFlightLoop_t, phase));
static_assert(offsetof(::XPLMCreateFlightLoop_t, callbackFunc) ==
              offsetof(own::XPLMCreateFlightLoop_t, callbackFunc));
static_assert(offsetof(::XPLMCreateFlightLoop_t, refcon) ==
              offsetof(own::XPLMCreateFlightLoop_t, refcon));
static_assert(std::is_same_v<decltype(::XPLMCreateFlightLoop_t::callbackFunc),
                             decltype(own::XPLMCreateFlightLoop_t::callbackFunc)>);

template <typename A, typename B>
struct SameFunction : std::false_type {};

template <typename R1, typename... A1, typename R2, typename... A2>
struct SameFunction<R1 (*)(A1...), R2 (*)(A2...)>
    : std::bool_constant<sizeof...(A1) == sizeof...(A2) && Agree<R1, R2>::value &&
                         (Agree<A1, A2>::value && ...)> {};

#define QUELBY_SAME_FUNCTION(name)                                              \
    static_assert(SameFunction<decltype(&::name), decltype(&own::name)>::value, \
                  #name " is not declared as X-Plane declares it");
#define QUELBY_SAME_CONSTANT(name)                                                     \
    static_assert(static_cast<long long>(::name) == static_cast<long long>(own::name), \
                  #name " has not X-Plane's value");

#include QUELBY_SDK_CHECK_LIST

// What the sound adapter passes to the mixer by value: FMOD's enumerations
// the size of an int, and the values it names.
static_assert(sizeof(::FMOD_RESULT) == sizeof(int) && sizeof(::FMOD_SOUND_FORMAT) == sizeof(int));
static_assert(::FMOD_OK == 0 && ::FMOD_SOUND_FORMAT_PCM16 == 2 && ::xplm_AudioInterior == 7);
static_assert(static_cast<int>(::FMOD_SOUND_FORMAT_PCM16) ==
              static_cast<int>(own::FMOD_SOUND_FORMAT_PCM16));

}  // namespace
