// The one guard around every function that X-Plane calls: an exception never
// unwinds into the simulator. The first exception of each callback is logged;
// the callback then returns its safe value.
//
// Threads: the simulator's thread (and the client thread for its own body).
#pragma once

#include <atomic>
#include <exception>
#include <utility>

namespace CCallbackGuard {

// Logs "Error: [CCallbackGuard] <callback> failed: <what>" the first time the
// flag is clear, then sets it.
void reportOnce(std::atomic<bool>& reported, const char* callback, const char* what) noexcept;

template <typename Result, typename Body>
Result run(std::atomic<bool>& reported, const char* callback, Result safeValue,
           Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (const std::exception& e) {
        reportOnce(reported, callback, e.what());
    } catch (...) {
        reportOnce(reported, callback, "unknown exception");
    }
    return safeValue;
}

template <typename Body>
void run(std::atomic<bool>& reported, const char* callback, Body&& body) noexcept {
    try {
        std::forward<Body>(body)();
    } catch (const std::exception& e) {
        reportOnce(reported, callback, e.what());
    } catch (...) {
        reportOnce(reported, callback, "unknown exception");
    }
}

}  // namespace CCallbackGuard
