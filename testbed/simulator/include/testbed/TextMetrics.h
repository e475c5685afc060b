// The emulated X-Plane's text font: proportional like X-Plane's own, with
// fixed widths per character so that measuring and drawing agree, in the
// plug-in and in the pictures of its window.
#pragma once

#include <string>

namespace testbed {

// Every font is this high; XPLMGetFontDimensions answers the average width.
constexpr int kTextHeightPx = 10;
constexpr int kAverageCharWidthPx = 6;

// The advance of one character, in pixels; a character outside printable
// ASCII is as wide as the average.
int charWidthPx(char c);
// The width of a string as XPLMMeasureString gives it.
int textWidthPx(const std::string& text);

}  // namespace testbed
