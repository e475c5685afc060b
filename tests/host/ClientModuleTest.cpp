// The client module's mailbox between the simulator's thread and the client
// thread.
#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "CClientModule.h"
#include "CUserInterface.h"
#include "CUserInterfaceObject.h"
#include "FakeSimulator.h"
#include "SimulatorClient.h"
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

TEST_F(ClientModuleTest, PressOnAControl_clicksOnlyWhenActive_hotKeysNever) {
    quelby_test::SilentSound sound;
    CUserInterface::tSubsystems subsystems;
    subsystems.sound = &sound;
    ui.setSubsystems(subsystems);
    ui.add(4);
    ui.add(8)->deactivate();

    client.buttonEvent(8);
    client.checkMessages();
    EXPECT_TRUE(ui.events.empty()) << "an inactive control reached the workflow";
    EXPECT_TRUE(sound.interfacePlayed.empty());
    EXPECT_EQ(client.pendingButtonEvent(), -1);

    client.buttonEvent(4);
    client.checkMessages();
    EXPECT_EQ(sound.interfacePlayed, std::vector<unsigned int>{0});

    // 27 comes from the landing-light hot key and belongs to no control.
    client.buttonEvent(27);
    client.checkMessages();
    EXPECT_EQ(ui.events, (std::vector<int>{4, 27}));
    EXPECT_EQ(sound.interfacePlayed.size(), 1u) << "a hot key clicked";
}

TEST_F(ClientModuleTest, PressOnAControlTheClientHasHidden_isIgnored_untilShownAgain) {
    quelby_test::SilentSound sound;
    CUserInterface::tSubsystems subsystems;
    subsystems.sound = &sound;
    ui.setSubsystems(subsystems);
    // The same id on two screens: shown on either, the press counts.
    ui.add(8);
    CUserInterfaceObject* onOtherScreen = ui.add(8);
    ui.getObjectManager().show(8, false);

    // The simulator's thread still draws the button: the click reached the
    // mailbox after the client had moved on to the next screen.
    client.buttonEvent(8);
    client.checkMessages();
    EXPECT_TRUE(ui.events.empty()) << "a press on a hidden control reached the workflow";
    EXPECT_TRUE(sound.interfacePlayed.empty());
    EXPECT_EQ(client.pendingButtonEvent(), -1);

    onOtherScreen->setShown(true);
    client.buttonEvent(8);
    client.checkMessages();
    EXPECT_EQ(ui.events, std::vector<int>{8});
}

TEST_F(ClientModuleTest, CrashMessage_waitsForTheSimulatorThenMarksTheRecord) {
    client.setAircraftCrashed();
    client.checkMessages();  // no simulator interface yet: the crash is kept
    quelby_test::FakeSimulator simulator;
    CUserInterface::tSubsystems subsystems;
    subsystems.simulator = &simulator;
    ui.setSubsystems(subsystems);
    client.checkMessages();
    EXPECT_TRUE(simulator.m_aircraftData.bCrashed);
    simulator.m_aircraftData.bCrashed = false;
    client.checkMessages();
    EXPECT_FALSE(simulator.m_aircraftData.bCrashed) << "one crash message marked the record twice";
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
