// Logging for the callback guard; it must not throw itself.
#include "CCallbackGuard.h"

#include <string>

#include "CLogger.h"

namespace CCallbackGuard {

void reportOnce(std::atomic<bool>& reported, const char* callback, const char* what) noexcept {
    if (reported.exchange(true)) {
        return;
    }
    try {
        CLogger logger("CCallbackGuard", false);
        logger.error(std::string(callback) + " failed: " + (what != nullptr ? what : ""));
    } catch (...) {
        // Nothing more can be done without risking the simulator.
    }
}

}  // namespace CCallbackGuard
