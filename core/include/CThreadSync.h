// The rendezvous that lets the client thread use the simulator: it asks for
// access and blocks; the simulator's thread hands over inside its draw
// callback and stays parked there until the client thread gives access back.
// Short reads need no hand-over: the client thread passes them to the
// simulator's thread, which runs them in its next draw callback.
//
// Threads: wait(), wakeup(), runOnSimulator() on the client thread only;
// trywait() on the simulator's thread only (first thing in every draw
// callback); shutdown() on the simulator's thread while the plug-in stops.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

class CThreadSync {
public:
    // Made on the simulator's thread: the thread that made it needs no
    // bracket to touch the simulator.
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
    // Runs job with access to the simulator and returns true; false, without
    // running it, once shutdown() has been called. From the client thread the
    // job runs on the simulator's thread in its next draw callback, which
    // then never waits for this thread: a handful of reads costs the frame
    // what they take, where a bracket costs two thread switches. Inside a
    // bracket of this thread, or on the simulator's thread, it runs at once.
    [[nodiscard]] bool runOnSimulator(const std::function<void()>& job);
    // Returns at once when no request is pending; otherwise runs the job
    // passed, or grants access and blocks until wakeup().
    void trywait();
    // The simulator draws no more frames once it stops the plug-in: every
    // wait(), now or later, gives up instead of blocking forever.
    void shutdown();
    bool isShutDown() const;
    // How many brackets the simulator's thread has granted so far, jobs
    // run for runOnSimulator() included.
    unsigned long grantCount() const { return m_grants.load(std::memory_order_relaxed); }
    // How long the simulator's thread has been held for the client, in all
    // and at most at once, as the simulator pays for it: a bracket from the
    // grant to the release, a job while it runs. Readable from any thread
    // while brackets go on.
    std::chrono::nanoseconds heldTotal() const {
        return std::chrono::nanoseconds(m_heldTotalNs.load(std::memory_order_relaxed));
    }
    std::chrono::nanoseconds heldLongest() const {
        return std::chrono::nanoseconds(m_heldLongestNs.load(std::memory_order_relaxed));
    }
    // One line for the log: "<n> brackets, mean <x> us, longest <y> us".
    std::string heldSummary() const;
    bool isSimulatorThread() const { return std::this_thread::get_id() == m_simulatorThread; }

private:
    // On the simulator's thread: runs the job passed and lets its caller go.
    void runJob(const std::function<void()>& job);
    void countHeld(std::chrono::steady_clock::duration held);

    const std::thread::id m_simulatorThread = std::this_thread::get_id();
    std::condition_variable m_requestCondition;
    std::condition_variable m_releaseCondition;
    mutable std::mutex m_requestMutex;
    std::mutex m_releaseMutex;
    bool m_bGranted = true;
    bool m_bReleased = false;
    bool m_bShutDown = false;  // guarded by the request mutex
    // The job waiting for the simulator's thread, and whether it has run;
    // guarded by the request mutex.
    const std::function<void()>* m_pJob = nullptr;
    bool m_bJobDone = false;
    std::condition_variable m_jobDoneCondition;
    std::atomic<unsigned long> m_grants{0};
    // Written by the simulator's thread only, after each bracket or job.
    std::atomic<std::int64_t> m_heldTotalNs{0};
    std::atomic<std::int64_t> m_heldLongestNs{0};
};

// One bracket of simulator access for the client thread: waits for access on
// construction and gives it back on destruction. When the handshake has been
// shut down, granted() is false and the simulator must not be touched.
class CSimulatorBracket {
public:
    // A bracket inside a bracket of the same thread, or on the simulator's
    // own thread, takes nothing: asking again would wait for a frame that
    // cannot come while this thread holds the simulator.
    explicit CSimulatorBracket(CThreadSync* threadSync)
        : m_pThreadSync(threadSync),
          m_bOwn(threadSync != nullptr && depth() == 0 && !threadSync->isSimulatorThread()),
          m_bGranted(threadSync != nullptr && (!m_bOwn || threadSync->wait())) {
        if (m_bGranted) {
            ++depth();
        }
    }
    ~CSimulatorBracket() {
        if (m_bGranted) {
            --depth();
            if (m_bOwn) {
                m_pThreadSync->wakeup();
            }
        }
    }
    CSimulatorBracket(const CSimulatorBracket&) = delete;
    CSimulatorBracket& operator=(const CSimulatorBracket&) = delete;
    bool granted() const { return m_bGranted; }
    // Whether the calling thread holds a bracket.
    static bool heldByThisThread() { return depth() > 0; }

private:
    // This thread's nesting of brackets. Reached through a function of the
    // library, so that no other library or program touches the thread-local
    // variable itself.
    static int& depth();
    CThreadSync* m_pThreadSync;
    bool m_bOwn;
    bool m_bGranted;
};
