// The project's own declarations of the X-Plane SDK basics it uses: export
// macros, plug-in ids, key flags and virtual key codes. Names and values match
// the official SDK so that the code also builds against it.
#ifndef XPLMDefs_h
#define XPLMDefs_h

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
extern "C" {
#endif

#if IBM
// On Windows the SDK's functions come from XPLM_64.dll; the emulated
// simulator that provides them defines XPLM_EXPORTS.
#ifdef XPLM_EXPORTS
#define XPLM_API __declspec(dllexport)
#else
#define XPLM_API __declspec(dllimport)
#endif
#define PLUGIN_API __declspec(dllexport)
#elif defined(__GNUC__)
#define XPLM_API __attribute__((visibility("default")))
#define PLUGIN_API __attribute__((visibility("default")))
#else
#define XPLM_API
#define PLUGIN_API
#endif

typedef int XPLMPluginID;
#define XPLM_NO_PLUGIN_ID (-1)

enum {
    xplm_ShiftFlag = 1,
    xplm_OptionAltFlag = 2,
    xplm_ControlFlag = 4,
    xplm_DownFlag = 8,
    xplm_UpFlag = 16
};
typedef int XPLMKeyFlags;

#define XPLM_VK_F 0x46
#define XPLM_VK_L 0x4C

#if defined(__cplusplus) && !defined(QUELBY_SDK_CHECK)
}
#endif

#endif
