// Background threads on Windows: below normal priority, below the
// simulator's threads. The name is the thread library's, which a debugger
// attached to X-Plane shows.
#include <pthread.h>
#include <windows.h>

#include "CThreadPriority.h"

bool CThreadPriority::makeThisThreadBackground() {
    return SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_BELOW_NORMAL) != 0;
}

bool CThreadPriority::nameThisThread(const char* name) {
    return pthread_setname_np(pthread_self(), name) == 0;
}
