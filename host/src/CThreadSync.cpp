// The simulator-access handshake between the client thread and the
// simulator's thread.
#include "CThreadSync.h"

thread_local int CSimulatorBracket::t_depth = 0;

CThreadSync::CThreadSync() = default;
CThreadSync::~CThreadSync() = default;

bool CThreadSync::wait() {
    boost::unique_lock<boost::mutex> lock(m_requestMutex);
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
        boost::lock_guard<boost::mutex> lock(m_releaseMutex);
        m_bReleased = true;
    }
    m_releaseCondition.notify_all();
}

void CThreadSync::trywait() {
    {
        boost::lock_guard<boost::mutex> lock(m_requestMutex);
        if (m_bGranted) {
            return;  // no request pending: the path of almost every frame
        }
    }
    {
        // Cleared before the grant so that a wakeup() that comes quickly,
        // before this thread sleeps below, is never overwritten.
        boost::lock_guard<boost::mutex> lock(m_releaseMutex);
        m_bReleased = false;
    }
    {
        boost::lock_guard<boost::mutex> lock(m_requestMutex);
        m_bGranted = true;
    }
    m_grants.fetch_add(1, std::memory_order_relaxed);
    m_requestCondition.notify_all();

    boost::unique_lock<boost::mutex> lock(m_releaseMutex);
    while (!m_bReleased) {
        m_releaseCondition.wait(lock);
    }
}

void CThreadSync::shutdown() {
    {
        boost::lock_guard<boost::mutex> lock(m_requestMutex);
        m_bShutDown = true;
    }
    m_requestCondition.notify_all();
}

bool CThreadSync::isShutDown() const {
    boost::lock_guard<boost::mutex> lock(m_requestMutex);
    return m_bShutDown;
}
