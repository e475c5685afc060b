// Background threads on Windows: below normal priority, below the
// simulator's threads.
#include <windows.h>

#include "CThreadPriority.h"

bool CThreadPriority::makeThisThreadBackground() {
    return SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_BELOW_NORMAL) != 0;
}
