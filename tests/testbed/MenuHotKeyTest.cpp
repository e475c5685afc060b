// Menus and hot keys of the emulated X-Plane: the refcons reach the
// handlers, only exact key and flag matches fire, destroyed ones stay silent.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "TestbedFixture.h"
#include "XPLMDisplay.h"
#include "XPLMMenus.h"

namespace {

std::vector<std::pair<void*, void*>> g_menuCalls;
std::vector<void*> g_hotKeyCalls;

void menuHandler(void* menuRef, void* itemRef) { g_menuCalls.emplace_back(menuRef, itemRef); }
void hotKeyHandler(void* refcon) { g_hotKeyCalls.push_back(refcon); }

class MenuHotKeyTest : public TestbedTest {
protected:
    void SetUp() override {
        TestbedTest::SetUp();
        g_menuCalls.clear();
        g_hotKeyCalls.clear();
    }
    int menuRef = 0;
    int showRef = 0;
    int hideRef = 1;
};

TEST_F(MenuHotKeyTest, ClickMenuItem_callsTheHandlerWithMenuAndItemRefcons) {
    XPLMMenuID menu = XPLMCreateMenu("Quelby", nullptr, 0, menuHandler, &menuRef);
    ASSERT_NE(menu, nullptr);
    EXPECT_EQ(XPLMAppendMenuItem(menu, "Show Client", &showRef, 1), 0);
    EXPECT_EQ(XPLMAppendMenuItem(menu, "Hide Client", &hideRef, 1), 1);
    EXPECT_EQ(sim().menuNames(), (std::vector<std::string>{"Quelby"}));
    EXPECT_EQ(sim().menuItems("Quelby"), (std::vector<std::string>{"Show Client", "Hide Client"}));

    ASSERT_TRUE(sim().clickMenuItem("Quelby", "Hide Client"));
    ASSERT_TRUE(sim().clickMenuItem("Quelby", "Show Client"));
    const std::vector<std::pair<void*, void*>> expected{{&menuRef, &hideRef}, {&menuRef, &showRef}};
    EXPECT_EQ(g_menuCalls, expected);

    EXPECT_FALSE(sim().clickMenuItem("Quelby", "Exit"));
    EXPECT_FALSE(sim().clickMenuItem("Other", "Show Client"));
}

TEST_F(MenuHotKeyTest, PressHotKey_firesOnlyOnExactKeyAndFlags) {
    int toggleRef = 0, lightsRef = 1;
    XPLMRegisterHotKey(XPLM_VK_F, xplm_ControlFlag | xplm_DownFlag, "Toggle Window", hotKeyHandler,
                       &toggleRef);
    XPLMRegisterHotKey(XPLM_VK_L, xplm_ShiftFlag | xplm_ControlFlag | xplm_DownFlag,
                       "Toggle Landing Lights", hotKeyHandler, &lightsRef);

    struct Case {
        char key;
        int flags;
        void* fired;
    };
    const Case cases[] = {
        {XPLM_VK_F, xplm_ControlFlag | xplm_DownFlag, &toggleRef},
        {XPLM_VK_L, xplm_ShiftFlag | xplm_ControlFlag | xplm_DownFlag, &lightsRef},
        {XPLM_VK_L, xplm_ControlFlag | xplm_DownFlag, nullptr},  // shift missing
        {XPLM_VK_F, xplm_ControlFlag | xplm_UpFlag, nullptr},
        {XPLM_VK_L - 1, xplm_ShiftFlag | xplm_ControlFlag | xplm_DownFlag, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(1, c.key) + " flags " + std::to_string(c.flags));
        g_hotKeyCalls.clear();
        EXPECT_EQ(sim().pressHotKey(c.key, c.flags), c.fired != nullptr);
        EXPECT_EQ(g_hotKeyCalls,
                  c.fired != nullptr ? std::vector<void*>{c.fired} : std::vector<void*>{});
    }
}

}  // namespace
