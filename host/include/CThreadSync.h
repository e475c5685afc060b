// The rendezvous that lets the client thread use the simulator: it asks for
// access and blocks; the simulator's thread hands over inside its draw
// callback and stays parked there until the client thread gives access back.
//
// Threads: wait(), wakeup() on the client thread only; trywait() on the
// simulator's thread only (first thing in every draw callback); shutdown() on
// the simulator's thread while the plug-in stops.
#pragma once

#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>

class CThreadSync {
public:
    CThreadSync();
    ~CThreadSync();
    CThreadSync(const CThreadSync&) = delete;
    CThreadSync& operator=(const CThreadSync&) = delete;

    // Blocks until the simulator's thread grants access. Returns true with
    // access granted; false once shutdown() has been called, in which case
    // the caller has no access and must not touch the simulator.
    [[nodiscard]] bool wait();
    // Gives access back and releases the simulator's thread.
    void wakeup();
    // Returns at once when no request is pending; otherwise grants access and
    // blocks until wakeup().
    void trywait();
    // The simulator draws no more frames once it stops the plug-in: every
    // wait(), now or later, gives up instead of blocking forever.
    void shutdown();
    bool isShutDown() const;

private:
    boost::condition_variable m_requestCondition;
    boost::condition_variable m_releaseCondition;
    mutable boost::mutex m_requestMutex;
    boost::mutex m_releaseMutex;
    bool m_bGranted = true;
    bool m_bReleased = false;
    bool m_bShutDown = false;  // guarded by the request mutex
};
