// The emulated widget library: callback order and handling, messages up the
// parent chain, the user's presses, descriptor copies and destruction.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "TestbedFixture.h"
#include "XPLMDisplay.h"
#include "XPStandardWidgets.h"
#include "XPWidgets.h"

namespace {

constexpr int kMsgDestroy = 2;

struct Heard {
    std::string callback;
    int message;
    XPWidgetID widget;
    intptr_t param1;
    intptr_t param2;
};
std::vector<Heard> g_heard;
// Messages the callbacks below take as handled.
int g_handledByFirst = -1;
int g_handledBySecond = -1;

int record(const char* name, int handled, XPWidgetMessage message, XPWidgetID widget, intptr_t p1,
           intptr_t p2) {
    g_heard.push_back({name, message, widget, p1, p2});
    return message == handled ? 1 : 0;
}
int first(XPWidgetMessage m, XPWidgetID w, intptr_t p1, intptr_t p2) {
    return record("first", g_handledByFirst, m, w, p1, p2);
}
int second(XPWidgetMessage m, XPWidgetID w, intptr_t p1, intptr_t p2) {
    return record("second", g_handledBySecond, m, w, p1, p2);
}

class WidgetTest : public TestbedTest {
protected:
    void SetUp() override {
        TestbedTest::SetUp();
        g_heard.clear();
        g_handledByFirst = g_handledBySecond = -1;
        window = XPCreateWidget(0, 380, 600, 0, 1, "Window", 1, nullptr, xpWidgetClass_MainWindow);
        area = XPCreateWidget(15, 150, 183, 15, 1, "Area", 0, window, xpWidgetClass_SubWindow);
        button = XPCreateWidget(20, 140, 100, 120, 1, "Login", 0, area, xpWidgetClass_Button);
    }
    // What the callbacks heard of one message, in order, as callback@widget.
    std::vector<std::string> heardOf(int message) {
        std::vector<std::string> names;
        for (const Heard& h : g_heard) {
            if (h.message == message) names.push_back(h.callback + "@" + nameOf(h.widget));
        }
        return names;
    }
    std::string nameOf(XPWidgetID widget) {
        if (widget == window) return "Window";
        if (widget == area) return "Area";
        if (widget == button) return "Button";
        return "other";
    }

    XPWidgetID window = nullptr;
    XPWidgetID area = nullptr;
    XPWidgetID button = nullptr;
};

TEST_F(WidgetTest, PressButton_goesToButtonThenUpTheParents_newestCallbackFirst) {
    XPAddWidgetCallback(window, first);
    XPAddWidgetCallback(window, second);
    XPAddWidgetCallback(button, first);

    ASSERT_TRUE(sim().pressButton("Login"));

    EXPECT_EQ(heardOf(xpMsg_PushButtonPressed),
              (std::vector<std::string>{"first@Button", "second@Window", "first@Window"}));
    for (const Heard& h : g_heard) {
        if (h.message == xpMsg_PushButtonPressed) {
            EXPECT_EQ(h.param1, reinterpret_cast<intptr_t>(button));
        }
    }
}

TEST_F(WidgetTest, PressButton_handledOnTheWay_stopsTheChain) {
    XPAddWidgetCallback(window, first);
    XPAddWidgetCallback(area, first);
    XPAddWidgetCallback(area, second);
    g_handledBySecond = xpMsg_PushButtonPressed;

    ASSERT_TRUE(sim().pressButton("Login"));

    EXPECT_EQ(heardOf(xpMsg_PushButtonPressed), (std::vector<std::string>{"second@Area"}));
}

TEST_F(WidgetTest, PressButton_onHiddenOrUnknown_returnsFalse) {
    XPAddWidgetCallback(window, first);
    EXPECT_FALSE(sim().pressButton("Logout"));
    XPHideWidget(area);  // the button's own flag stays set; its parent hides it
    EXPECT_TRUE(sim().isWidgetVisible(button));
    EXPECT_FALSE(sim().isWidgetShownOnScreen(button));
    EXPECT_FALSE(sim().pressButton("Login"));
    EXPECT_TRUE(heardOf(xpMsg_PushButtonPressed).empty());
}

// A click does what the button's behaviour (1301) says; its type (1300) only
// draws it. A check box drawn as one but left with the push-button behaviour
// never ticks.
TEST_F(WidgetTest, Click_followsTheButtonBehaviour_notItsLook) {
    struct Case {
        const char* what;
        intptr_t type;
        intptr_t behaviour;  // -1: never set
        std::vector<intptr_t> statesAfterClicks;
        std::vector<intptr_t> stateChangesSent;
        int pressesSent;
    };
    const Case cases[] = {
        {"push button", xpPushButton, -1, {0, 0, 0}, {}, 3},
        {"check-box look only", xpRadioButton, -1, {0, 0, 0}, {}, 3},
        {"check box", xpRadioButton, xpButtonBehaviorCheckBox, {1, 0, 1}, {1, 0, 1}, 0},
        {"radio button", xpRadioButton, xpButtonBehaviorRadioButton, {1, 1, 1}, {1}, 0},
    };
    XPAddWidgetCallback(window, first);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        g_heard.clear();
        XPWidgetID box = XPCreateWidget(20, 110, 40, 90, 1, "", 0, area, xpWidgetClass_Button);
        XPSetWidgetProperty(box, xpProperty_ButtonType, c.type);
        if (c.behaviour >= 0) XPSetWidgetProperty(box, xpProperty_ButtonBehavior, c.behaviour);
        std::vector<intptr_t> states;
        for (std::size_t i = 0; i < c.statesAfterClicks.size(); ++i) {
            ASSERT_TRUE(sim().clickButton(box));
            states.push_back(XPGetWidgetProperty(box, xpProperty_ButtonState, nullptr));
        }
        EXPECT_EQ(states, c.statesAfterClicks);
        std::vector<intptr_t> sent;
        int presses = 0;
        for (const Heard& h : g_heard) {
            if (h.param1 != reinterpret_cast<intptr_t>(box)) continue;
            if (h.message == xpMsg_ButtonStateChanged) sent.push_back(h.param2);
            if (h.message == xpMsg_PushButtonPressed) ++presses;
        }
        EXPECT_EQ(sent, c.stateChangesSent);
        EXPECT_EQ(presses, c.pressesSent);
        XPDestroyWidget(box, 1);
    }
    // Setting the state from code sends nothing.
    g_heard.clear();
    XPSetWidgetProperty(button, xpProperty_ButtonState, 1);
    EXPECT_TRUE(g_heard.empty());
}

TEST_F(WidgetTest, TypeInto_setsTheFieldsTextAndTellsItsParents) {
    XPWidgetID field =
        XPCreateWidget(20, 100, 150, 80, 1, "pilot", 0, area, xpWidgetClass_TextField);
    XPAddWidgetCallback(window, first);
    ASSERT_TRUE(sim().typeInto(field, "EDDF"));
    char text[16] = {};
    XPGetWidgetDescriptor(field, text, sizeof text - 1);
    EXPECT_STREQ(text, "EDDF");
    EXPECT_EQ(heardOf(1400 /* xpMsg_TextFieldChanged */),
              (std::vector<std::string>{"first@Window"}));
    EXPECT_FALSE(sim().typeInto(button, "x")) << "a button takes no typing";
}

TEST_F(WidgetTest, ShowAndHide_changeTheOwnFlag_andAnnounceItUpTheChain) {
    XPAddWidgetCallback(window, first);
    XPHideWidget(button);
    XPHideWidget(button);  // no change, no message
    EXPECT_EQ(XPIsWidgetVisible(button), 0);
    XPShowWidget(button);
    EXPECT_EQ(XPIsWidgetVisible(button), 1);
    EXPECT_EQ(heardOf(17 /* xpMsg_Hidden */), (std::vector<std::string>{"first@Window"}));
    EXPECT_EQ(heardOf(16 /* xpMsg_Shown */), (std::vector<std::string>{"first@Window"}));
}

// strncpy semantics: at most the given length is written, unterminated when
// the descriptor fills it, and the full length comes back.
TEST_F(WidgetTest, GetDescriptor_copiesAtMostTheGivenLength_andReturnsTheFullLength) {
    XPSetWidgetDescriptor(button, "Hello World");
    struct Case {
        int maxLength;
        const char* expected;
    };
    for (const Case& c :
         {Case{0, ""}, Case{4, "Hell"}, Case{11, "Hello World"}, Case{15, "Hello World"}}) {
        SCOPED_TRACE(c.maxLength);
        char buffer[20];
        std::memset(buffer, '#', sizeof buffer);
        EXPECT_EQ(XPGetWidgetDescriptor(button, buffer, c.maxLength), 11);
        EXPECT_EQ(std::string(buffer, std::strlen(c.expected)), c.expected);
        const size_t written = static_cast<size_t>(c.maxLength);
        EXPECT_EQ(buffer[written], '#') << "wrote past the given length";
        if (written > std::strlen(c.expected)) {
            EXPECT_EQ(buffer[std::strlen(c.expected)], '\0');
        }
    }
    EXPECT_EQ(XPGetWidgetDescriptor(button, nullptr, 0), 11);
}

TEST_F(WidgetTest, Destroy_withChildren_removesTheSubtree_withoutChildren_orphansThem) {
    XPAddWidgetCallback(button, first);
    XPDestroyWidget(area, 1);
    EXPECT_EQ(sim().widgets().size(), 1u);
    ASSERT_EQ(heardOf(kMsgDestroy).size(), 1u);
    EXPECT_EQ(g_heard.back().param1, 1) << "destroyed through its parent";

    XPWidgetID box = XPCreateWidget(0, 10, 10, 0, 1, "Box", 0, window, xpWidgetClass_SubWindow);
    XPWidgetID inner = XPCreateWidget(0, 5, 5, 0, 1, "Inner", 0, box, xpWidgetClass_Button);
    XPDestroyWidget(box, 0);
    ASSERT_EQ(sim().widgets().size(), 2u);
    EXPECT_EQ(sim().widgets()[1].id, inner);
    EXPECT_EQ(sim().widgets()[1].parent, nullptr);
    EXPECT_TRUE(sim().sdkMisuses().empty());
}

}  // namespace
