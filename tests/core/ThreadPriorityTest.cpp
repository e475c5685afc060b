// The client's threads as background work: the scheduler's batch policy, so
// that waking up they never take the simulator's core, and threads started
// from such a thread stay background work too.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <thread>

#include "CThreadPriority.h"

namespace {

int policyOfThisThread() {
    int policy = -1;
    sched_param parameters{};
    pthread_getschedparam(pthread_self(), &policy, &parameters);
    return policy;
}

TEST(ThreadPriorityTest, Background_isTheBatchPolicy_andThreadsItStartsInheritIt) {
    int before = -1, after = -1, child = -1;
    std::thread client([&] {
        before = policyOfThisThread();
        EXPECT_TRUE(CThreadPriority::makeThisThreadBackground());
        after = policyOfThisThread();
        std::thread sender([&] { child = policyOfThisThread(); });
        sender.join();
    });
    client.join();
    EXPECT_EQ(before, SCHED_OTHER);
    EXPECT_EQ(after, SCHED_BATCH);
    EXPECT_EQ(child, SCHED_BATCH) << "a thread the client starts is background work too";
    EXPECT_EQ(policyOfThisThread(), SCHED_OTHER) << "only the calling thread changes";
}

}  // namespace
