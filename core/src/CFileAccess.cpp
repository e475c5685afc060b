// The save's tries, the same on every system: a file that a scanner, an
// indexer or a sync holds for a moment, or a disk that is full for a moment,
// costs a save a short wait rather than the save.
#include "CFileAccess.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

namespace {

CFileAccess::Pause& pauseForTests() {
    static CFileAccess::Pause pause;
    return pause;
}

void pauseFor(int pauseMs) {
    if (const CFileAccess::Pause& pause = pauseForTests()) {
        pause(pauseMs);
        return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(pauseMs));
}

}  // namespace

void CFileAccess::setPauseForTests(Pause pause) { pauseForTests() = std::move(pause); }

std::string CFileAccess::replace(const std::string& fileName, const std::string& data) {
    int pausedMs = 0;
    int pauseMs = kFirstRetryPauseMs;
    for (;;) {
        bool mayPass = false;
        const std::string failure = replaceOnce(fileName, data, mayPass);
        if (failure.empty() || !mayPass) {
            return failure;
        }
        if (pausedMs >= kRetryBudgetMs) {
            return failure + " (still after trying for " + std::to_string(pausedMs) + " ms)";
        }
        pauseMs = std::min(pauseMs, kRetryBudgetMs - pausedMs);
        pauseFor(pauseMs);
        pausedMs += pauseMs;
        pauseMs *= 2;
    }
}
