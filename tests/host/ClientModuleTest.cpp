// The client module's mailbox between the simulator's thread and the client
// thread.
#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "CClientModule.h"
#include "CUserInterface.h"
#include "CUserInterfaceObject.h"
#include "TestSupport.h"

namespace {

class RecordingUserInterface : public CUserInterface {
public:
    void buttonEvent(int id) override { events.push_back(id); }
    CUserInterfaceObject* add(int id) {
        return addObject(std::make_unique<CUserInterfaceObject>(
            0, 0, 10, 10, CUserInterfaceObject::PushButton, "b", 0, nullptr, id, 1, 0));
    }
    std::vector<int> events;
};

class ClientModuleTest : public ::testing::Test {
protected:
    quelby_test::ScratchFolder folder{"quelby-client"};
    quelby_test::WorkingFolder cwd{folder.path()};
    RecordingUserInterface ui;
    CClientModule client{ui, nullptr};
};

TEST_F(ClientModuleTest, SecondPressBeforeConsumption_replacesFirst) {
    ui.add(4);
    ui.add(5);
    client.buttonEvent(4);
    client.buttonEvent(5);
    client.checkMessages();
    EXPECT_EQ(ui.events, std::vector<int>{5});
    EXPECT_EQ(client.pendingButtonEvent(), -1);
    client.checkMessages();
    EXPECT_EQ(ui.events.size(), 1u) << "a consumed event was delivered twice";
}

TEST_F(ClientModuleTest, InactiveObject_dropsPressWithoutHandler) {
    ui.add(8)->deactivate();
    client.buttonEvent(8);
    client.checkMessages();
    EXPECT_TRUE(ui.events.empty());
    EXPECT_EQ(client.pendingButtonEvent(), -1);
}

TEST_F(ClientModuleTest, EventWithoutObject_reachesHandler) {
    // 27 comes from the landing-light hot key and belongs to no control.
    client.buttonEvent(27);
    client.checkMessages();
    EXPECT_EQ(ui.events, std::vector<int>{27});
}

TEST_F(ClientModuleTest, CrashFlag_isTakenOnce) {
    EXPECT_FALSE(client.takeAircraftCrashed());
    client.setAircraftCrashed();
    EXPECT_TRUE(client.takeAircraftCrashed());
    EXPECT_FALSE(client.takeAircraftCrashed());
}

TEST_F(ClientModuleTest, PostingFromAnotherThread_whileConsuming_isSafe) {
    ui.add(4);
    std::thread simulator([&] {
        for (int i = 0; i < 20000; ++i) client.buttonEvent(4);
    });
    for (int i = 0; i < 20000; ++i) client.checkMessages();
    simulator.join();
    client.checkMessages();
    EXPECT_FALSE(ui.events.empty());
    for (int id : ui.events) ASSERT_EQ(id, 4);
    EXPECT_EQ(client.pendingButtonEvent(), -1);
}

}  // namespace
