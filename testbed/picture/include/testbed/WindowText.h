// A window of the emulated X-Plane as its texts: the shown window, the texts
// of the last frame that start inside it, and those laid out in console lines.
#pragma once

#include <string>
#include <vector>

#include "testbed/Simulator.h"

namespace testbed {

// The shown root window whose descriptor is descriptor, among widgets; nullptr
// when none is shown.
const WidgetInfo* findShownWindow(const Simulator& sim, const std::vector<WidgetInfo>& widgets,
                                  const std::string& descriptor);

// The last frame's texts that start inside window (X-Plane does not clip a
// plug-in's strings to a window), in drawing order.
std::vector<DrawnText> textsInside(const Simulator& sim, const WidgetInfo& window);

// The last frame's texts inside that window as console lines: one line per
// distinct y, top to bottom; within a line the pieces go left to right, each
// at column (x - window left) / 6 (the average character width), with at least one space between
// pieces and no trailing spaces. Every line ends in '\n'. Empty when the window is not shown.
std::string windowTextAsLines(const Simulator& sim, const std::string& windowDescriptor);

}  // namespace testbed
