// How the client thread uses the simulator without ever making the
// simulator's thread wait for it: the client thread hands over what it needs
// done as jobs; the simulator's thread runs them itself, first thing in its
// draw callback, oldest first and within a budget per frame. A job that
// answers something (a read) is waited for by the client thread, never by
// the simulator's thread; one that only changes something (a widget's text,
// showing or hiding it) is handed over without waiting, and the order in
// which jobs are handed over is the order in which they take effect.
//
// Threads: runOnSimulator() and post() on the client thread (on the
// simulator's thread they run the job at once); trywait() on the simulator's
// thread only (first thing in every draw callback); shutdown() on the
// simulator's thread while the plug-in stops. CSimulatorBatch on the client
// thread.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class CThreadSync {
public:
    // What the simulator's thread spends on the client's jobs in one frame,
    // at the least one job: a frame never waits for more than that.
    static constexpr std::chrono::microseconds kFrameBudget{100};

    // Made on the simulator's thread: the thread that made it runs jobs at
    // once.
    CThreadSync();
    ~CThreadSync();
    CThreadSync(const CThreadSync&) = delete;
    CThreadSync& operator=(const CThreadSync&) = delete;

    // Runs job on the simulator's thread after every job handed over before
    // it and waits until it has run: true once it ran; false, without
    // running it, once shutdown() has been called, and false when it threw
    // (its text is logged). On the simulator's thread it runs at once.
    [[nodiscard]] bool runOnSimulator(const std::function<void()>& job);
    // Hands job over and returns at once; false, dropping it, once shutdown()
    // has been called. Inside a CSimulatorBatch of this thread it joins the
    // batch. On the simulator's thread it runs at once.
    bool post(std::function<void()> job);
    // Returns at once when no job waits (the path of almost every frame);
    // otherwise runs the waiting jobs, oldest first, until the frame's
    // budget is spent. Never waits for another thread.
    void trywait();
    // The simulator draws no more frames once it stops the plug-in: jobs
    // waiting are dropped, their callers released with false, and every
    // later job is refused.
    void shutdown();
    bool isShutDown() const;
    // How many jobs the simulator's thread has run so far.
    unsigned long grantCount() const { return m_grants.load(std::memory_order_relaxed); }
    // How long the simulator's thread has spent on the client's jobs, in all
    // and at most in one frame. Readable from any thread while jobs run.
    std::chrono::nanoseconds heldTotal() const {
        return std::chrono::nanoseconds(m_heldTotalNs.load(std::memory_order_relaxed));
    }
    std::chrono::nanoseconds heldLongest() const {
        return std::chrono::nanoseconds(m_heldLongestNs.load(std::memory_order_relaxed));
    }
    // One line for the log: "<n> jobs in <f> frames, mean <x> us a frame,
    // longest <y> us".
    std::string heldSummary() const;
    bool isSimulatorThread() const { return std::this_thread::get_id() == m_simulatorThread; }

private:
    friend class CSimulatorBatch;
    // Queues a job under the lock; its ticket, or 0 once shut down.
    std::uint64_t enqueue(std::function<void()> job);
    void countHeld(std::chrono::steady_clock::duration held);

    const std::thread::id m_simulatorThread = std::this_thread::get_id();
    mutable std::mutex m_mutex;
    // Signalled at shutdown only: the simulator's thread makes no system
    // call for a job it ran; a caller waiting for one looks again every
    // kDonePoll.
    std::condition_variable m_doneCondition;
    static constexpr std::chrono::milliseconds kDonePoll{1};
    // Guarded by the mutex: the jobs waiting, oldest first, each with its
    // ticket.
    std::deque<std::pair<std::uint64_t, std::function<void()>>> m_jobs;
    // The ticket of the last job handed over: written under the lock, read
    // without it. A frame that finds it equal to the last job run has
    // nothing to do and touches no lock.
    std::atomic<std::uint64_t> m_queuedTicket{0};
    // The ticket of the last job run; written by the simulator's thread
    // without the lock.
    std::atomic<std::uint64_t> m_doneTicket{0};
    bool m_bShutDown = false;
    std::atomic<unsigned long> m_grants{0};
    std::atomic<unsigned long> m_frames{0};
    // Written by the simulator's thread only, after each frame with jobs.
    std::atomic<std::int64_t> m_heldTotalNs{0};
    std::atomic<std::int64_t> m_heldLongestNs{0};
};

// The changes of one screen, handed over as one job when the batch ends, so
// that the pilot never sees half of a screen and the simulator's thread
// takes the whole change in one frame. Batches nest; the outermost hands
// over. A read inside a batch first hands over what the batch holds, so
// that it sees every change made before it.
class CSimulatorBatch {
public:
    explicit CSimulatorBatch(CThreadSync* threadSync);
    ~CSimulatorBatch();
    CSimulatorBatch(const CSimulatorBatch&) = delete;
    CSimulatorBatch& operator=(const CSimulatorBatch&) = delete;

private:
    friend class CThreadSync;
    // The outermost batch this thread holds for threadSync, or null.
    static CSimulatorBatch* openFor(const CThreadSync* threadSync);
    // Hands over what the batch holds, as one job.
    void handOver();

    CThreadSync* m_pThreadSync;
    CSimulatorBatch* m_pOuter;
    std::vector<std::function<void()>> m_jobs;
};
