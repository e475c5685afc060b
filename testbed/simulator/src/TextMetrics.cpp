// Character widths of the emulated X-Plane's font: those of a common sans
// serif at 10 px, rounded to whole pixels.
#include "testbed/TextMetrics.h"

namespace testbed {

namespace {
constexpr int kFirstChar = 32;
// ' ' to '~'.
constexpr int kWidths[95] = {
    3,  4, 5, 8, 6, 10, 8, 3,  4, 4, 5, 8, 3, 4,  3, 3,  // ' ' to '/'
    6,  6, 6, 6, 6, 6,  6, 6,  6, 6, 3, 3, 8, 8,  8, 5,  // '0' to '?'
    10, 7, 7, 7, 8, 6,  6, 8,  8, 3, 3, 7, 6, 9,  7, 8,  // '@' to 'O'
    6,  8, 7, 6, 6, 7,  7, 10, 7, 6, 7, 4, 3, 4,  8, 5,  // 'P' to '_'
    5,  6, 6, 5, 6, 6,  4, 6,  6, 3, 3, 6, 3, 10, 6, 6,  // '`' to 'o'
    6,  6, 4, 5, 4, 6,  6, 8,  6, 6, 5, 6, 3, 6,  8,     // 'p' to '~'
};
}  // namespace

int charWidthPx(char c) {
    const int index = static_cast<unsigned char>(c) - kFirstChar;
    return index >= 0 && index < 95 ? kWidths[index] : kAverageCharWidthPx;
}

int textWidthPx(const std::string& text) {
    int width = 0;
    for (const char c : text) width += charWidthPx(c);
    return width;
}

}  // namespace testbed
