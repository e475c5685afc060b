// The client's threads as background work for the system's scheduler: they
// never take a core from the simulator's thread when they wake, which on a
// machine whose cores X-Plane keeps busy would stall the frame being drawn.
// One implementation per operating system.
//
// Threads: the thread to lower calls it itself; threads it starts later
// inherit it.
#pragma once

class CThreadPriority {
public:
    // False, changing nothing, where the system refuses.
    static bool makeThisThreadBackground();
};
