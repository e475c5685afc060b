// The client's threads as the system's scheduler and tools see them: as
// background work, which never takes a core from the simulator's thread when
// it wakes (on a machine whose cores X-Plane keeps busy that would stall the
// frame being drawn), and by name, so that a profiler tells the client's time
// from the simulator's. One implementation per operating system.
//
// Threads: the thread to change calls it itself, as some systems let a
// thread name only itself.
#pragma once

class CThreadPriority {
public:
    // False, changing nothing, where the system refuses. Threads it starts
    // later inherit it.
    static bool makeThisThreadBackground();
    // At most 15 characters, the shortest limit among the systems. False,
    // changing nothing, where the system refuses.
    static bool nameThisThread(const char* name);
};
