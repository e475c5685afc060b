// Works a plug-in's window as a person does: reads what it draws, types into
// its fields, presses its buttons and ticks its check boxes. The tests and
// the demo drive the pilot's window through it.
//
// Threads: the simulator's (the thread that runs the frames).
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "XPWidgetDefs.h"

namespace testbed {

class Simulator;

class WindowDriver {
public:
    // The window is the root widget with this descriptor.
    WindowDriver(Simulator& sim, std::string windowDescriptor);

    // The texts drawn in the last frame.
    std::vector<std::string> drawnTexts() const;
    bool draws(const std::string& text) const;
    // Runs frames until the window draws the text; false on time-out.
    bool waitForText(const std::string& text, std::chrono::milliseconds timeout);
    // For wrapped texts, whose lines break where the font's widths put them:
    // a text drawn in the last frame that begins with prefix.
    bool drawsBeginning(const std::string& prefix) const;
    bool waitForTextBeginning(const std::string& prefix, std::chrono::milliseconds timeout);
    // What the last frame drew, for a message that says what came instead.
    std::string drawnTextsLine() const;

    // The widget of a class (3 button, 4 text field) whose top-left corner
    // sits at x, y from the window's top-left corner; null when none.
    XPWidgetID widgetAt(int widgetClass, int x, int y) const;
    // The text of the field at x, y, or "<no field>".
    std::string fieldText(int x, int y) const;
    bool buttonShown(const std::string& caption) const;
    bool buttonShownAt(int x, int y) const;
    bool fieldShownAt(int x, int y) const;

    // A press while the plug-in still handles the last one is lost, as it is
    // for a person who clicks too fast: these let a few frames pass first,
    // then press once the button is shown. False when it never is.
    bool press(const std::string& caption, std::chrono::milliseconds timeout);
    bool pressAt(int x, int y, std::chrono::milliseconds timeout);
    // Replaces the text of the field at x, y; false unless it is shown.
    bool type(int x, int y, const std::string& text);
    // Ticks or clears the check box at x, y; false unless it is shown.
    bool setCheckBox(int x, int y, bool checked);

    void settle();

private:
    XPWidgetID window() const;

    Simulator& m_sim;
    std::string m_windowDescriptor;
};

}  // namespace testbed
