// The millisecond clock of the client loop and the monitoring classes:
// unsigned 32-bit milliseconds since construction or the last Reset, wrapping
// modulo 2^32.
//
// Threads: each timer is used by the thread that owns it (the client thread).
#pragma once

#include <cstdint>

class CTimer {
public:
    // A clock source in milliseconds, truncated to 32 bits.
    using ClockFn = uint32_t (*)();

    CTimer();
    // For tests: a timer over another clock.
    explicit CTimer(ClockFn clock);

    uint32_t GetTime() const;
    uint32_t Reset();

    // Milliseconds of the monotonic clock, truncated to 32 bits.
    static uint32_t monotonicMs();

private:
    ClockFn m_clock;
    uint32_t m_startMs = 0;
    bool m_bRunning = true;
};
