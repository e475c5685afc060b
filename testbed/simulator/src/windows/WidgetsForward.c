/* XPWidgets_64.dll of the emulated X-Plane: it holds no code of its own; its
   exports, listed in the .def file the build makes, forward to XPLM_64.dll,
   where the emulated widget library lives. */
#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved) {
    (void)instance;
    (void)reason;
    (void)reserved;
    return TRUE;
}
