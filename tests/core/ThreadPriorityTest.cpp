// The client's threads as background work: the scheduler's batch policy, so
// that waking up they never take the simulator's core, and threads started
// from such a thread stay background work too. A thread names itself, and
// only itself.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "CThreadPriority.h"
#include "TestSupport.h"

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

// What the kernel shows for a thread of this process.
std::string nameOfThread(long tid) {
    std::string name = quelby_test::readFile("/proc/self/task/" + std::to_string(tid) + "/comm");
    if (!name.empty() && name.back() == '\n') name.pop_back();
    return name;
}

long thisThreadId() { return static_cast<long>(syscall(SYS_gettid)); }

TEST(ThreadPriorityTest, Name_isTheCallingThreadsAlone_andThreadsItStartsInheritIt) {
    const std::string mainName = nameOfThread(thisThreadId());
    std::string named, child;
    bool accepted = false;
    std::thread client([&] {
        accepted = CThreadPriority::nameThisThread("quelby-test-15c");
        named = nameOfThread(thisThreadId());
        std::thread sender([&] { child = nameOfThread(thisThreadId()); });
        sender.join();
    });
    client.join();
    EXPECT_TRUE(accepted);
    EXPECT_EQ(named, "quelby-test-15c");
    EXPECT_EQ(child, "quelby-test-15c") << "a thread the client starts carries its name";
    EXPECT_EQ(nameOfThread(thisThreadId()), mainName) << "only the calling thread is named";
}

TEST(ThreadPriorityTest, Name_longerThanTheSystemsLimit_isRefused_andChangesNothing) {
    std::string before, after;
    bool accepted = true;
    std::thread client([&] {
        before = nameOfThread(thisThreadId());
        accepted = CThreadPriority::nameThisThread("sixteen-letters!");
        after = nameOfThread(thisThreadId());
    });
    client.join();
    EXPECT_FALSE(accepted);
    EXPECT_EQ(after, before);
}

}  // namespace
