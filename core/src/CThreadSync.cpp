// The simulator-access handshake between the client thread and the
// simulator's thread.
#include "CThreadSync.h"

#include <cstdio>

int& CSimulatorBracket::depth() {
    static thread_local int t_depth = 0;
    return t_depth;
}

CThreadSync::CThreadSync() = default;
CThreadSync::~CThreadSync() = default;

bool CThreadSync::wait() {
    std::unique_lock<std::mutex> lock(m_requestMutex);
    if (m_bShutDown) {
        return false;
    }
    // The request mutex is held from clearing the flag until the condition
    // wait releases it, so the simulator's thread cannot see the request
    // before this thread sleeps on it: no wake-up is lost.
    m_bGranted = false;
    while (!m_bGranted && !m_bShutDown) {
        m_requestCondition.wait(lock);
    }
    if (!m_bGranted) {
        // Given up at shutdown: withdraw the request.
        m_bGranted = true;
        return false;
    }
    return true;
}

void CThreadSync::wakeup() {
    {
        std::lock_guard<std::mutex> lock(m_releaseMutex);
        m_bReleased = true;
    }
    m_releaseCondition.notify_all();
}

bool CThreadSync::runOnSimulator(const std::function<void()>& job) {
    if (isSimulatorThread() || CSimulatorBracket::heldByThisThread()) {
        job();
        return true;
    }
    std::unique_lock<std::mutex> lock(m_requestMutex);
    // One job at a time; only the client thread passes any.
    while (m_pJob != nullptr && !m_bShutDown) {
        m_jobDoneCondition.wait(lock);
    }
    if (m_bShutDown) {
        return false;
    }
    m_pJob = &job;
    m_bJobDone = false;
    while (!m_bJobDone && !m_bShutDown) {
        m_jobDoneCondition.wait(lock);
    }
    if (!m_bJobDone) {
        // Given up at shutdown, which the simulator's thread calls between
        // frames: the job never started and is withdrawn.
        m_pJob = nullptr;
        return false;
    }
    return true;
}

void CThreadSync::runJob(const std::function<void()>& job) {
    const auto startedAt = std::chrono::steady_clock::now();
    try {
        job();
    } catch (...) {
        // The client waits for the job to end, thrown or not; a job is a
        // handful of reads that do not throw.
    }
    countHeld(std::chrono::steady_clock::now() - startedAt);
    {
        std::lock_guard<std::mutex> lock(m_requestMutex);
        m_pJob = nullptr;
        m_bJobDone = true;
    }
    m_grants.fetch_add(1, std::memory_order_relaxed);
    m_jobDoneCondition.notify_all();
}

void CThreadSync::countHeld(std::chrono::steady_clock::duration held) {
    const std::int64_t heldNs = std::chrono::duration_cast<std::chrono::nanoseconds>(held).count();
    m_heldTotalNs.fetch_add(heldNs, std::memory_order_relaxed);
    // Only this thread writes the longest, so a plain compare suffices.
    if (heldNs > m_heldLongestNs.load(std::memory_order_relaxed)) {
        m_heldLongestNs.store(heldNs, std::memory_order_relaxed);
    }
}

void CThreadSync::trywait() {
    const std::function<void()>* job = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_requestMutex);
        if (m_bGranted && m_pJob == nullptr) {
            return;  // no request pending: the path of almost every frame
        }
        job = m_pJob;
    }
    if (job != nullptr) {
        // The client thread waits for the job, so it asks for no bracket.
        runJob(*job);
        return;
    }
    {
        // Cleared before the grant so that a wakeup() that comes quickly,
        // before this thread sleeps below, is never overwritten.
        std::lock_guard<std::mutex> lock(m_releaseMutex);
        m_bReleased = false;
    }
    // The clock is read only here, with a request pending: the frames
    // without one stay at a lock and a flag.
    const auto grantedAt = std::chrono::steady_clock::now();
    {
        std::lock_guard<std::mutex> lock(m_requestMutex);
        m_bGranted = true;
    }
    m_grants.fetch_add(1, std::memory_order_relaxed);
    m_requestCondition.notify_all();

    {
        std::unique_lock<std::mutex> lock(m_releaseMutex);
        while (!m_bReleased) {
            m_releaseCondition.wait(lock);
        }
    }
    countHeld(std::chrono::steady_clock::now() - grantedAt);
}

std::string CThreadSync::heldSummary() const {
    const unsigned long brackets = grantCount();
    const double totalUs = static_cast<double>(heldTotal().count()) / 1000.0;
    const double meanUs = brackets == 0 ? 0.0 : totalUs / static_cast<double>(brackets);
    const double longestUs = static_cast<double>(heldLongest().count()) / 1000.0;
    char text[128];
    std::snprintf(text, sizeof(text), "%lu brackets, mean %.1f us, longest %.1f us", brackets,
                  meanUs, longestUs);
    return text;
}

void CThreadSync::shutdown() {
    {
        std::lock_guard<std::mutex> lock(m_requestMutex);
        m_bShutDown = true;
    }
    m_requestCondition.notify_all();
    m_jobDoneCondition.notify_all();
}

bool CThreadSync::isShutDown() const {
    std::lock_guard<std::mutex> lock(m_requestMutex);
    return m_bShutDown;
}
