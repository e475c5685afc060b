// A thread that can be joined within a time limit: the simulator's stop
// waits a bounded time for the client thread, and the tracker's finished
// senders are collected without waiting for the busy ones.
//
// Threads: made, joined and destroyed by one owning thread; the work runs on
// a thread of its own.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

class CJoinableThread {
public:
    explicit CJoinableThread(std::function<void()> work) : m_state(std::make_shared<State>()) {
        // The state outlives this object for as long as the thread runs.
        m_thread = std::thread([state = m_state, work = std::move(work)] {
            work();
            {
                std::lock_guard<std::mutex> lock(state->mutex);
                state->done = true;
            }
            state->ended.notify_all();
        });
    }
    // A thread still running at destruction is joined: its code must never
    // outlive its owner.
    ~CJoinableThread() {
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }
    CJoinableThread(const CJoinableThread&) = delete;
    CJoinableThread& operator=(const CJoinableThread&) = delete;
    CJoinableThread(CJoinableThread&&) = default;
    CJoinableThread& operator=(CJoinableThread&&) = default;

    // Joins when the work ends within limit; false, still running, otherwise.
    bool tryJoinFor(std::chrono::milliseconds limit) {
        if (!m_thread.joinable()) {
            return true;
        }
        {
            std::unique_lock<std::mutex> lock(m_state->mutex);
            if (!m_state->ended.wait_for(lock, limit, [&] { return m_state->done; })) {
                return false;
            }
        }
        m_thread.join();
        return true;
    }
    void join() {
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable ended;
        bool done = false;
    };
    std::shared_ptr<State> m_state;
    std::thread m_thread;
};
