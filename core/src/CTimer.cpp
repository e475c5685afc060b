// The client's millisecond clock. A monotonic clock serves here: a change of
// the system time must not stretch or shrink the loop's intervals.
#include "CTimer.h"

#include <chrono>

uint32_t CTimer::monotonicMs() {
    const auto sinceEpoch = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint32_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(sinceEpoch).count());
}

CTimer::CTimer() : CTimer(&CTimer::monotonicMs) {}

CTimer::CTimer(ClockFn clock) : m_clock(clock) {
    m_startMs = 0;
    m_startMs = GetTime();
    (void)m_bRunning;
}

uint32_t CTimer::GetTime() const {
    // Unsigned arithmetic: the difference is right across the 2^32 wrap.
    return static_cast<uint32_t>(m_clock() - m_startMs);
}

uint32_t CTimer::Reset() {
    m_startMs = 0;
    m_startMs = GetTime();
    return m_startMs;
}
