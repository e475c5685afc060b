// Controls bound to widgets of the test-bed simulator, and their registry.
#include <gtest/gtest.h>

#include <clocale>
#include <memory>

#include "CObjectManager.h"
#include "CUserInterfaceObjectXp.h"
#include "XPStandardWidgets.h"
#include "XPWidgets.h"
#include "testbed/Simulator.h"

namespace {

class UserInterfaceObjectTest : public ::testing::Test {
protected:
    void SetUp() override {
        sim().reset();
        window = XPCreateWidget(0, 380, 600, 0, 1, "Quelby Client", 1, nullptr,
                                xpWidgetClass_MainWindow);
    }
    static testbed::Simulator& sim() { return testbed::Simulator::instance(); }
    std::unique_ptr<CUserInterfaceObjectXp> make(int kind, const char* caption, int id, int layer,
                                                 int option = 0) {
        return std::make_unique<CUserInterfaceObjectXp>(25, 334, 148, 20, kind, caption, option,
                                                        window, id, layer, 0);
    }
    testbed::WidgetInfo info(XPWidgetID id) {
        for (const auto& w : sim().widgets())
            if (w.id == id) return w;
        ADD_FAILURE() << "no such widget";
        return {};
    }
    XPWidgetID window = nullptr;
};

TEST_F(UserInterfaceObjectTest, TextField_valueAndText_readInCLocale) {
    auto field = make(CUserInterfaceObject::TextField, "12.5", 101, 0);
    EXPECT_EQ(info(field->getXpId()).widgetClass, xpWidgetClass_TextField);
    const char* previous = std::setlocale(LC_NUMERIC, nullptr);
    const std::string saved = previous != nullptr ? previous : "C";
    // A simulator may run with a comma as decimal separator.
    const bool german = std::setlocale(LC_NUMERIC, "de_DE.UTF-8") != nullptr;
    EXPECT_DOUBLE_EQ(field->getValue(), 12.5);
    std::setlocale(LC_NUMERIC, saved.c_str());
    if (!german) GTEST_LOG_(INFO) << "de_DE.UTF-8 not installed; checked in the C locale only";

    ASSERT_TRUE(sim().typeInto(field->getXpId(), "pilot one"));
    EXPECT_STREQ(field->getText(), "pilot one");
    field->setText("3000 kg");
    EXPECT_EQ(info(field->getXpId()).descriptor, "3000 kg");
    EXPECT_DOUBLE_EQ(field->getValue(), 3000.0);
}

TEST_F(UserInterfaceObjectTest, PasswordOption_setsPasswordMode_onlyForIt) {
    auto password =
        make(CUserInterfaceObject::TextField, "", 102, 0, CUserInterfaceObjectXp::kPasswordOption);
    auto user = make(CUserInterfaceObject::TextField, "", 101, 0);
    EXPECT_EQ(sim().widgetProperty(password->getXpId(), xpProperty_PasswordMode), 1);
    bool exists = true;
    const intptr_t userMode =
        sim().widgetProperty(user->getXpId(), xpProperty_PasswordMode, &exists);
    EXPECT_TRUE(!exists || userMode == 0);
}

TEST_F(UserInterfaceObjectTest, Deactivated_isGreyedOutAndTakesNoPress_untilActivated) {
    auto button = make(CUserInterfaceObject::PushButton, "Change", 24, 14);
    auto field = make(CUserInterfaceObject::TextField, "", 113, 11);
    for (const auto& control : {button.get(), field.get()}) control->show();
    button->deactivate();
    field->deactivate();
    EXPECT_FALSE(button->isActive());
    EXPECT_EQ(sim().widgetProperty(button->getXpId(), xpProperty_Enabled), 0);
    EXPECT_FALSE(sim().pressButton(button->getXpId()));
    EXPECT_FALSE(sim().typeInto(field->getXpId(), "500"));

    button->activate();
    EXPECT_TRUE(button->isActive());
    EXPECT_EQ(sim().widgetProperty(button->getXpId(), xpProperty_Enabled), 1);
    EXPECT_TRUE(sim().pressButton(button->getXpId()));
}

TEST_F(UserInterfaceObjectTest, ComboBox_hasNoWidget) {
    auto combo = make(CUserInterfaceObject::ComboBox, "FSInterface", 205, 2);
    EXPECT_EQ(combo->getXpId(), nullptr);
    combo->show();
    combo->setText("x");
    EXPECT_EQ(combo->getValue(), 0.0);
}

TEST_F(UserInterfaceObjectTest, Registry_findsFirstOfDuplicateIds_andShowsLayersWithAlwaysShown) {
    auto a = make(CUserInterfaceObject::PushButton, "A", 7, 3);
    auto b = make(CUserInterfaceObject::PushButton, "B", 7, 4);
    auto c = make(CUserInterfaceObject::PushButton, "C", 9, CObjectManager::kAlwaysShownLayer);
    auto d = make(CUserInterfaceObject::PushButton, "D", 10, 5);
    CObjectManager manager;
    for (auto* o : {a.get(), b.get(), c.get(), d.get()}) manager.newObject(o);

    EXPECT_EQ(manager.getObjectWithId(7), a.get());
    EXPECT_EQ(manager.getObjectWithIdSlave(b.get(), 7), b.get());
    EXPECT_EQ(manager.getObjectWithId(11), nullptr);
    char caption[] = "C";
    EXPECT_EQ(manager.getObjectWithCaption(caption), c.get());

    manager.show(7, false);
    EXPECT_FALSE(sim().isWidgetVisible(a->getXpId()));
    EXPECT_FALSE(sim().isWidgetVisible(b->getXpId()));

    manager.showLayer(3, true);
    EXPECT_TRUE(sim().isWidgetVisible(a->getXpId()));
    EXPECT_FALSE(sim().isWidgetVisible(b->getXpId()));
    EXPECT_TRUE(sim().isWidgetVisible(c->getXpId()));
    EXPECT_FALSE(sim().isWidgetVisible(d->getXpId()));

    manager.show(10, true);
    manager.showLayer(4, false);
    EXPECT_TRUE(sim().isWidgetVisible(a->getXpId())) << "showLayer without hiding hid an object";
    EXPECT_TRUE(sim().isWidgetVisible(b->getXpId()));
    EXPECT_TRUE(sim().isWidgetVisible(d->getXpId()));

    manager.disable(9);
    EXPECT_FALSE(c->isActive());
    manager.enable(9);
    EXPECT_TRUE(c->isActive());
    // An id no screen uses is a programming error, but it must not crash.
    manager.setText(12345, "ignored");
    EXPECT_EQ(manager.getValue(12345), 0.0);
}

}  // namespace
