// The guard around every function X-Plane calls.
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>

#include "CCallbackGuard.h"
#include "CLogger.h"
#include "TestSupport.h"

namespace {

size_t count(const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

TEST(CallbackGuardTest, Exception_returnsSafeValue_andIsLoggedOncePerFlag) {
    quelby_test::ScratchFolder folder("quelby-guard");
    const quelby_test::LogInto logInto(folder.path());
    std::atomic<bool> reported{false};
    EXPECT_EQ(CCallbackGuard::run(reported, "cb", -1, [] { return 7; }), 7);
    EXPECT_FALSE(reported.load()) << "a callback that did not throw was reported";
    for (int i = 0; i < 3; ++i) {
        const int result = CCallbackGuard::run(reported, "XPlaneDrawCallback", 1,
                                               []() -> int { throw std::runtime_error("boom"); });
        EXPECT_EQ(result, 1);
    }
    // The flag is per callback: another failure under the same flag is not logged.
    CCallbackGuard::run(reported, "XPlaneMenuCallback", [] { throw 42; });
    const std::string log = quelby_test::readFile(folder.file("quelby_debug.txt"));
    EXPECT_EQ(count(log, "Error: [CCallbackGuard] XPlaneDrawCallback failed: boom"), 1u) << log;
    EXPECT_EQ(count(log, "XPlaneMenuCallback"), 0u) << log;

    std::atomic<bool> other{false};
    CCallbackGuard::run(other, "XPlaneMenuCallback", [] { throw 42; });
    EXPECT_EQ(count(quelby_test::readFile(folder.file("quelby_debug.txt")),
                    "Error: [CCallbackGuard] XPlaneMenuCallback failed: unknown exception"),
              1u);
}

}  // namespace
