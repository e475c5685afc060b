// Lays a test-bed window's drawn texts out as console lines; no drawing
// library needed.
#include "testbed/WindowText.h"

#include <algorithm>
#include <utility>

#include "testbed/TextMetrics.h"

namespace testbed {

namespace {

// A text belongs to the window when it starts there; X-Plane does not clip a
// plug-in's strings to a window, the picture's edge does.
bool startsInside(const DrawnText& text, const WidgetInfo& window) {
    return text.x >= window.left && text.x < window.right && text.y >= window.bottom &&
           text.y < window.top;
}

}  // namespace

const WidgetInfo* findShownWindow(const Simulator& sim, const std::vector<WidgetInfo>& widgets,
                                  const std::string& descriptor) {
    for (const WidgetInfo& widget : widgets) {
        if (widget.isRoot && widget.descriptor == descriptor &&
            sim.isWidgetShownOnScreen(widget.id)) {
            return &widget;
        }
    }
    return nullptr;
}

std::vector<DrawnText> textsInside(const Simulator& sim, const WidgetInfo& window) {
    std::vector<DrawnText> inside;
    for (DrawnText& text : sim.lastFrameTexts()) {
        // What the window drew is its own, wherever it went; what a draw
        // callback drew onto the screen is the window's only where it lies
        // over it.
        if (text.window == window.id || (text.window == nullptr && startsInside(text, window))) {
            inside.push_back(std::move(text));
        }
    }
    return inside;
}

std::string windowTextAsLines(const Simulator& sim, const std::string& windowDescriptor) {
    const std::vector<WidgetInfo> widgets = sim.widgets();
    const WidgetInfo* window = findShownWindow(sim, widgets, windowDescriptor);
    if (window == nullptr) {
        return {};
    }
    std::vector<DrawnText> pieces = textsInside(sim, *window);
    // Top to bottom is y downwards; draw order stays for pieces at one spot.
    std::stable_sort(pieces.begin(), pieces.end(), [](const DrawnText& a, const DrawnText& b) {
        return a.y != b.y ? a.y > b.y : a.x < b.x;
    });

    std::string lines;
    for (size_t first = 0; first < pieces.size();) {
        std::string line;
        size_t next = first;
        for (; next < pieces.size() && pieces[next].y == pieces[first].y; ++next) {
            const size_t column =
                static_cast<size_t>((pieces[next].x - window->left) / kAverageCharWidthPx);
            const size_t start = line.empty() ? column : std::max(column, line.size() + 1);
            line.resize(start, ' ');
            line += pieces[next].text;
        }
        line.erase(line.find_last_not_of(' ') + 1);
        lines += line;
        lines += '\n';
        first = next;
    }
    return lines;
}

}  // namespace testbed
