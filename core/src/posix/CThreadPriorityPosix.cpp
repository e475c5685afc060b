// Background threads on Linux: the batch policy, which the scheduler never
// lets preempt a running thread when it wakes up. Its nice value stays, so
// the thread still gets its share of a core. Names are the kernel's, which
// threads started later inherit.
#include <pthread.h>
#include <sched.h>

#include "CThreadPriority.h"

bool CThreadPriority::makeThisThreadBackground() {
    sched_param parameters{};
    parameters.sched_priority = 0;
    return pthread_setschedparam(pthread_self(), SCHED_BATCH, &parameters) == 0;
}

bool CThreadPriority::nameThisThread(const char* name) {
    return pthread_setname_np(pthread_self(), name) == 0;
}
