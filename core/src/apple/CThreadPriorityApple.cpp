// Background threads on macOS: the utility quality of service, which the
// scheduler serves after the simulator's interactive threads. macOS lets a
// thread name only itself, and threads it starts do not inherit the name.
#include <pthread.h>
#include <pthread/qos.h>

#include "CThreadPriority.h"

bool CThreadPriority::makeThisThreadBackground() {
    return pthread_set_qos_class_self_np(QOS_CLASS_UTILITY, 0) == 0;
}

bool CThreadPriority::nameThisThread(const char* name) { return pthread_setname_np(name) == 0; }
