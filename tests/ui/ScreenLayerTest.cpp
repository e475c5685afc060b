// The window's controls as the user interface builds them in the test-bed
// simulator, which of them each screen shows, and the text cutting of the
// screens.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "CClientInterface.h"
#include "CUserInterfaceObjectXp.h"
#include "CUserInterfaceUtilities.h"
#include "CUserInterfaceXp.h"
#include "XPStandardWidgets.h"
#include "XPWidgets.h"
#include "testbed/Simulator.h"

namespace {

class ScreenLayerTest : public ::testing::Test {
protected:
    void SetUp() override {
        sim().reset();
        window = XPCreateWidget(100, 500, 700, 120, 1, "Quelby Client", 1, nullptr,
                                xpWidgetClass_MainWindow);
        std::strcpy(client.m_pilot.Status, "1");
        ui.setClientInterface(&client);
        ui.initialize(window, nullptr);
    }
    static testbed::Simulator& sim() { return testbed::Simulator::instance(); }

    // The ids of the controls whose widgets are visible now, "Exit" aside.
    std::set<int> visible() {
        std::set<int> ids;
        for (CUserInterfaceObject* object = ui.getObjectManager().first(); object != nullptr;
             object = object->getNext()) {
            auto* xp = static_cast<CUserInterfaceObjectXp*>(object);
            if (object->getId() != 0 && xp->getXpId() != nullptr &&
                sim().isWidgetVisible(xp->getXpId())) {
                ids.insert(object->getId());
            }
        }
        return ids;
    }
    bool exitVisible() {
        auto* exit = static_cast<CUserInterfaceObjectXp*>(ui.getObjectManager().getObjectWithId(0));
        return sim().isWidgetVisible(exit->getXpId());
    }

    XPWidgetID window = nullptr;
    CClientInterface client;
    CUserInterfaceXp ui;
};

TEST_F(ScreenLayerTest, Initialize_makesEveryControl_andOpensTheLogin) {
    int objects = 0;
    for (CUserInterfaceObject* o = ui.getObjectManager().first(); o != nullptr; o = o->getNext()) {
        ++objects;
    }
    // 23 buttons, 5 check boxes, the combo box and 15 text fields.
    EXPECT_EQ(objects, 44);
    EXPECT_EQ(ui.getLayer(), 0);
    EXPECT_EQ(visible(), (std::set<int>{3, 101, 102}));
    EXPECT_TRUE(exitVisible());
    EXPECT_FALSE(ui.getObjectManager().getObjectWithId(19)->isActive()) << "no update to download";
}

TEST_F(ScreenLayerTest, EachScreen_showsItsControlsAndHidesTheRest_unknownLayersHideNothing) {
    const std::set<int> nav = {4, 5, 6, 8};
    const std::set<int> confirm = {21, 22, 23};
    const struct {
        int layer;
        std::set<int> shown;
        bool fuelScreen;
    } cases[] = {
        {1, nav, false},
        {2, {4, 5, 6, 8, 11, 201, 202, 203, 204, 205}, false},
        {3, nav, false},
        {5, {14}, false},
        {6, nav, false},
        {7, {10}, false},
        {9, {10}, false},
        {10, {19}, false},
        {11, {15, 16, 17, 103, 104, 105, 106, 107, 108, 109, 110, 111}, true},
        {12, confirm, false},
        // Layer 4 and layers no screen uses leave the last screen's controls.
        {4, confirm, false},
        {17, confirm, false},
        {99, confirm, false},
        {13, {15, 18, 114}, true},
        {14, {8, 17, 24, 25, 26}, true},
        {15, {9, 10, 115}, false},
        {16, {20}, false},
        {0, {3, 101, 102}, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("layer " + std::to_string(c.layer));
        ui.setMenuLayer(c.layer);
        EXPECT_EQ(ui.getLayer(), c.layer);
        EXPECT_EQ(visible(), c.shown);
        EXPECT_EQ(ui.isFuelScreenActive(), c.fuelScreen);
    }
    // "Exit" keeps what the last screen that touched it gave it.
    ui.setMenuLayer(5);
    EXPECT_TRUE(exitVisible());
}

TEST_F(ScreenLayerTest, SuspendedPilot_neverSeesFlightInformationOrFly) {
    std::strcpy(client.m_pilot.Status, "2");
    for (int layer : {1, 2, 3, 6}) {
        ui.setMenuLayer(layer);
        EXPECT_EQ(visible().count(6), 0u) << "layer " << layer;
        EXPECT_EQ(visible().count(8), 0u) << "layer " << layer;
    }
}

TEST(UserInterfaceUtilitiesTest, CutString_endsAtTheLengthWithItsMark) {
    const struct {
        const char* text;
        std::size_t length;
        char mark;
        const char* cut;
    } cases[] = {
        {"ABCDEFGH", 5, '~', "ABCD~"}, {"ABCDEFGH", 5, '0', "ABCDE"}, {"ABCD", 5, '~', "ABCD"},
        {"ABCDE", 5, '~', "ABCD~"},    {"ABC", 0, '~', ""},
    };
    CUserInterfaceUtilities utilities;
    for (const auto& c : cases) {
        EXPECT_STREQ(utilities.cutString(c.text, c.length, c.mark), c.cut)
            << c.text << " to " << c.length << " with " << c.mark;
    }
}

}  // namespace
