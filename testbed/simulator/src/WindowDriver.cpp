// Works a plug-in's window through the simulator's own controls, as a
// person at the screen does.
#include "testbed/WindowDriver.h"

#include <utility>

#include "XPStandardWidgets.h"
#include "testbed/Simulator.h"

namespace testbed {

namespace {
// Frames a person's next click takes at least: enough for the plug-in's
// client thread to pick up the last press and show the next screen's
// controls.
constexpr int kSettleFrames = 6;
}  // namespace

WindowDriver::WindowDriver(Simulator& sim, std::string windowDescriptor)
    : m_sim(sim), m_windowDescriptor(std::move(windowDescriptor)) {}

std::vector<std::string> WindowDriver::drawnTexts() const {
    std::vector<std::string> texts;
    for (const DrawnText& text : m_sim.lastFrameTexts()) texts.push_back(text.text);
    return texts;
}

bool WindowDriver::draws(const std::string& text) const {
    for (const DrawnText& drawn : m_sim.lastFrameTexts()) {
        if (drawn.text == text) return true;
    }
    return false;
}

bool WindowDriver::waitForText(const std::string& text, std::chrono::milliseconds timeout) {
    return m_sim.runUntil([&] { return draws(text); }, timeout);
}

bool WindowDriver::drawsBeginning(const std::string& prefix) const {
    for (const DrawnText& drawn : m_sim.lastFrameTexts()) {
        if (drawn.text.compare(0, prefix.size(), prefix) == 0) return true;
    }
    return false;
}

bool WindowDriver::waitForTextBeginning(const std::string& prefix,
                                        std::chrono::milliseconds timeout) {
    return m_sim.runUntil([&] { return drawsBeginning(prefix); }, timeout);
}

std::string WindowDriver::drawnTextsLine() const {
    std::string line;
    for (const std::string& text : drawnTexts()) line += " [" + text + "]";
    return line;
}

XPWidgetID WindowDriver::window() const { return m_sim.findWidgetByDescriptor(m_windowDescriptor); }

XPWidgetID WindowDriver::widgetAt(int widgetClass, int x, int y) const {
    const XPWidgetID root = window();
    const std::vector<WidgetInfo> widgets = m_sim.widgets();
    int windowLeft = 0;
    int windowTop = 0;
    for (const WidgetInfo& widget : widgets) {
        if (widget.id == root) {
            windowLeft = widget.left;
            windowTop = widget.top;
        }
    }
    for (const WidgetInfo& widget : widgets) {
        if (widget.widgetClass == widgetClass && widget.left == windowLeft + x &&
            widget.top == windowTop - y) {
            return widget.id;
        }
    }
    return nullptr;
}

std::string WindowDriver::fieldText(int x, int y) const {
    const XPWidgetID field = widgetAt(xpWidgetClass_TextField, x, y);
    for (const WidgetInfo& widget : m_sim.widgets()) {
        if (field != nullptr && widget.id == field) return widget.descriptor;
    }
    return "<no field>";
}

bool WindowDriver::buttonShown(const std::string& caption) const {
    for (const WidgetInfo& widget : m_sim.widgets()) {
        if (widget.widgetClass == xpWidgetClass_Button && widget.descriptor == caption &&
            m_sim.isWidgetShownOnScreen(widget.id)) {
            return true;
        }
    }
    return false;
}

bool WindowDriver::buttonShownAt(int x, int y) const {
    const XPWidgetID button = widgetAt(xpWidgetClass_Button, x, y);
    return button != nullptr && m_sim.isWidgetShownOnScreen(button);
}

bool WindowDriver::fieldShownAt(int x, int y) const {
    const XPWidgetID field = widgetAt(xpWidgetClass_TextField, x, y);
    return field != nullptr && m_sim.isWidgetShownOnScreen(field);
}

void WindowDriver::settle() { m_sim.runFrames(kSettleFrames); }

bool WindowDriver::press(const std::string& caption, std::chrono::milliseconds timeout) {
    settle();
    return m_sim.runUntil([&] { return m_sim.pressButton(caption); }, timeout);
}

bool WindowDriver::pressAt(int x, int y, std::chrono::milliseconds timeout) {
    settle();
    return m_sim.runUntil([&] { return m_sim.pressButton(widgetAt(xpWidgetClass_Button, x, y)); },
                          timeout);
}

bool WindowDriver::type(int x, int y, const std::string& text) {
    const XPWidgetID field = widgetAt(xpWidgetClass_TextField, x, y);
    return field != nullptr && m_sim.typeInto(field, text);
}

bool WindowDriver::setCheckBox(int x, int y, bool checked) {
    const XPWidgetID box = widgetAt(xpWidgetClass_Button, x, y);
    if (box == nullptr || !m_sim.isWidgetShownOnScreen(box)) return false;
    const auto isChecked = [&] { return m_sim.widgetProperty(box, xpProperty_ButtonState) != 0; };
    if (isChecked() == checked) return true;
    // A click that does not tick the box leaves the option as it was.
    return m_sim.clickButton(box) && isChecked() == checked;
}

}  // namespace testbed
