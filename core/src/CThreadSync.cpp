// The client thread's jobs for the simulator's thread, and the batches that
// hand over one screen's changes as one job.
#include "CThreadSync.h"

#include <atomic>
#include <cstdio>
#include <exception>
#include <string>
#include <utility>

#include "CLogger.h"

namespace {

// The innermost batch of this thread.
thread_local CSimulatorBatch* t_batch = nullptr;

// A job that fails every frame would fill the log: the first few say it.
constexpr int kFailuresLogged = 20;
std::atomic<int> g_failuresLogged{0};

// Runs a job, which never throws past this: an exception's text goes to
// failure (a job's exception must not end the frame nor the jobs after it).
void runJob(const std::function<void()>& job, std::string& failure) noexcept {
    try {
        job();
        return;
    } catch (const std::exception& e) {
        failure = e.what();
    } catch (...) {
    }
    if (failure.empty()) {
        failure = "unknown exception";
    }
}

void logFailedJob(const std::string& failure) noexcept {
    const int logged = g_failuresLogged.fetch_add(1, std::memory_order_relaxed);
    if (logged >= kFailuresLogged) {
        return;
    }
    try {
        CLogger("CThreadSync", false)
            .error("A job on the simulator's thread failed: " + failure +
                   (logged + 1 == kFailuresLogged ? " (further failures are not logged)" : ""));
    } catch (...) {
    }
}

// Runs a job handed over without a caller waiting for it, saying so when
// it fails.
void runAndLog(const std::function<void()>& job) noexcept {
    std::string failure;
    runJob(job, failure);
    if (!failure.empty()) {
        logFailedJob(failure);
    }
}

}  // namespace

CThreadSync::CThreadSync() = default;
CThreadSync::~CThreadSync() = default;

std::uint64_t CThreadSync::enqueue(std::function<void()> job) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_bShutDown) {
        return 0;
    }
    // Written under the lock, so tickets stay in the queue's order.
    const std::uint64_t ticket = m_queuedTicket.load(std::memory_order_relaxed) + 1;
    m_jobs.emplace_back(ticket, std::move(job));
    m_queuedTicket.store(ticket, std::memory_order_release);
    return ticket;
}

bool CThreadSync::runOnSimulator(const std::function<void()>& job) {
    std::string failure;
    if (isSimulatorThread()) {
        runJob(job, failure);
        if (!failure.empty()) {
            logFailedJob(failure);
        }
        return failure.empty();
    }
    // What this thread's batch holds was asked for first.
    if (CSimulatorBatch* batch = CSimulatorBatch::openFor(this)) {
        batch->handOver();
    }
    // The caller waits here until the job has run or is dropped at shutdown,
    // so the job may refer to the caller's own variables.
    // The failure is written before the job's ticket is marked done and
    // read only after: the ticket's release and acquire order the two.
    const std::uint64_t ticket = enqueue([&job, &failure] { runJob(job, failure); });
    if (ticket == 0) {
        return false;
    }
    std::unique_lock<std::mutex> lock(m_mutex);
    while (m_doneTicket.load(std::memory_order_acquire) < ticket && !m_bShutDown) {
        // The simulator's thread does not signal a job done (waking this
        // thread would cost its frame a system call): this thread looks
        // again after a short sleep, far shorter than a frame.
        m_doneCondition.wait_for(lock, kDonePoll);
    }
    if (m_doneTicket.load(std::memory_order_acquire) < ticket) {
        return false;
    }
    if (!failure.empty()) {
        // Said on this thread: the caller learns of it, and the simulator's
        // frame writes nothing for it.
        logFailedJob(failure);
        return false;
    }
    return true;
}

bool CThreadSync::post(std::function<void()> job) {
    if (isSimulatorThread()) {
        runAndLog(job);
        return true;
    }
    if (CSimulatorBatch* batch = CSimulatorBatch::openFor(this)) {
        batch->m_jobs.push_back(std::move(job));
        return !isShutDown();
    }
    return enqueue(std::move(job)) != 0;
}

void CThreadSync::trywait() {
    // Almost every frame ends here, having read two counters and touched no
    // lock the client thread writes.
    if (m_queuedTicket.load(std::memory_order_acquire) ==
        m_doneTicket.load(std::memory_order_relaxed)) {
        return;
    }
    // Never waits, not even for the lock: the client thread holds it only to
    // queue a job, but a machine that switches it out right then would make
    // the frame wait for it. The jobs then run in the next frame.
    std::unique_lock<std::mutex> lock(m_mutex, std::try_to_lock);
    if (!lock.owns_lock() || m_jobs.empty()) {
        return;  // nothing handed over: the path of almost every frame
    }
    // The clock is read only here, with a job waiting: the frames without
    // one stay at a lock and a test.
    const auto startedAt = std::chrono::steady_clock::now();
    unsigned long ran = 0;
    for (;;) {
        std::pair<std::uint64_t, std::function<void()>> next = std::move(m_jobs.front());
        m_jobs.pop_front();
        lock.unlock();
        // A job is a handful of simulator calls that do not throw; one that
        // did must not stop the frame nor the jobs after it.
        runAndLog(next.second);
        ++ran;
        m_doneTicket.store(next.first, std::memory_order_release);
        if (std::chrono::steady_clock::now() - startedAt >= kFrameBudget || !lock.try_lock()) {
            break;  // the rest waits for the next frame
        }
        if (m_jobs.empty()) {
            lock.unlock();
            break;
        }
    }
    m_grants.fetch_add(ran, std::memory_order_relaxed);
    m_frames.fetch_add(1, std::memory_order_relaxed);
    countHeld(std::chrono::steady_clock::now() - startedAt);
}

void CThreadSync::countHeld(std::chrono::steady_clock::duration held) {
    const std::int64_t heldNs = std::chrono::duration_cast<std::chrono::nanoseconds>(held).count();
    m_heldTotalNs.fetch_add(heldNs, std::memory_order_relaxed);
    // Only this thread writes the longest, so a plain compare suffices.
    if (heldNs > m_heldLongestNs.load(std::memory_order_relaxed)) {
        m_heldLongestNs.store(heldNs, std::memory_order_relaxed);
    }
}

std::string CThreadSync::heldSummary() const {
    const unsigned long jobs = grantCount();
    const unsigned long frames = m_frames.load(std::memory_order_relaxed);
    const double totalUs = static_cast<double>(heldTotal().count()) / 1000.0;
    const double meanUs = frames == 0 ? 0.0 : totalUs / static_cast<double>(frames);
    const double longestUs = static_cast<double>(heldLongest().count()) / 1000.0;
    char text[160];
    std::snprintf(text, sizeof(text), "%lu jobs in %lu frames, mean %.1f us a frame, longest %.1f us",
                  jobs, frames, meanUs, longestUs);
    return text;
}

void CThreadSync::shutdown() {
    std::deque<std::pair<std::uint64_t, std::function<void()>>> dropped;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_bShutDown = true;
        dropped.swap(m_jobs);
    }
    m_doneCondition.notify_all();
    // Destroyed outside the lock: a job's captures may be large.
}

bool CThreadSync::isShutDown() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_bShutDown;
}

CSimulatorBatch::CSimulatorBatch(CThreadSync* threadSync)
    : m_pThreadSync(threadSync), m_pOuter(t_batch) {
    t_batch = this;
}

CSimulatorBatch::~CSimulatorBatch() {
    t_batch = m_pOuter;
    handOver();
}

CSimulatorBatch* CSimulatorBatch::openFor(const CThreadSync* threadSync) {
    CSimulatorBatch* outermost = nullptr;
    for (CSimulatorBatch* batch = t_batch; batch != nullptr; batch = batch->m_pOuter) {
        if (batch->m_pThreadSync == threadSync) {
            outermost = batch;
        }
    }
    return outermost;
}

void CSimulatorBatch::handOver() {
    if (m_jobs.empty() || m_pThreadSync == nullptr) {
        return;
    }
    std::vector<std::function<void()>> jobs;
    jobs.swap(m_jobs);
    // An inner batch's jobs went to the outermost batch already; what is
    // left here is this batch's own.
    // One change that fails leaves the rest of the screen to be made.
    m_pThreadSync->enqueue([jobs = std::move(jobs)] {
        for (const std::function<void()>& job : jobs) {
            runAndLog(job);
        }
    });
}
