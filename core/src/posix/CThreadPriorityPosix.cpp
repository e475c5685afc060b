// Background threads on Linux: the batch policy, which the scheduler never
// lets preempt a running thread when it wakes up. Its nice value stays, so
// the thread still gets its share of a core.
#include <pthread.h>
#include <sched.h>

#include "CThreadPriority.h"

bool CThreadPriority::makeThisThreadBackground() {
#ifdef SCHED_BATCH
    sched_param parameters{};
    parameters.sched_priority = 0;
    return pthread_setschedparam(pthread_self(), SCHED_BATCH, &parameters) == 0;
#else
    return false;  // macOS has no batch policy; its default is kept
#endif
}
