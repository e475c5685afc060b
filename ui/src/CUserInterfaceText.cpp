// The window's text panel: the screens compose their texts on the client
// thread into a working copy, which is published whole for the simulator's
// thread to draw. Neither thread ever sees half a screen.
#include <algorithm>
#include <utility>

#include "CUserInterface.h"

namespace {

struct tRectangle {
    int left, top, right, bottom;
};

// The six text rectangles of the window: the whole text area, the strip
// above it, the header, the body and the body's two halves.
constexpr tRectangle kRectangles[] = {
    {210, 120, 565, 345}, {200, 86, 580, 100},  {210, 120, 565, 140},
    {210, 145, 565, 345}, {210, 145, 387, 345}, {387, 145, 565, 345},
};
constexpr int kLineHeight = 15;
// Tab stops every 35 px. The screens' columns are laid out for it: their
// short labels ("Type:", "Cargo:") take two tabs and end before the first
// stop, the longer ones take one and end between the first and the second,
// so every value of a column starts at the second stop.
constexpr int kTabStopPx = 35;

}  // namespace

void CUserInterface::setTextColor(int red, int green, int blue) {
    m_textRed = red;
    m_textGreen = green;
    m_textBlue = blue;
}

void CUserInterface::textOut(int x, int y, const char* text, bool rightAligned) {
    tPanelText piece;
    piece.x = x;
    piece.y = y;
    piece.text = text != nullptr ? text : "";
    piece.font = m_nFont;
    piece.red = m_textRed;
    piece.green = m_textGreen;
    piece.blue = m_textBlue;
    piece.rightAligned = rightAligned;
    m_composing.push_back(std::move(piece));
}

void CUserInterface::textOut(int x, int y, const std::string& text, bool rightAligned) {
    textOut(x, y, text.c_str(), rightAligned);
}

int CUserInterface::textWidth(const std::string& text) const {
    int width = 0;
    for (const char c : text) {
        const int index = static_cast<unsigned char>(c) - kFirstMeasuredChar;
        const int measured = index >= 0 && index < kMeasuredChars ? m_charWidths[index] : 0;
        width += measured > 0 ? measured : m_nCharWidth;
    }
    return width;
}

void CUserInterface::drawText(const std::string& text, int rectangle) {
    if (rectangle < 1 || rectangle > 6) {
        return;
    }
    const tRectangle& area = kRectangles[rectangle - 1];
    const int widthPixels = area.right - area.left;
    int y = area.top;
    std::size_t lineStart = 0;
    while (lineStart <= text.size() && y <= area.bottom) {
        std::size_t lineEnd = text.find('\n', lineStart);
        if (lineEnd == std::string::npos) {
            lineEnd = text.size();
        }
        std::string line = text.substr(lineStart, lineEnd - lineStart);
        lineStart = lineEnd + 1;
        if (line.find('\t') == std::string::npos) {
            // Long lines wrap at a blank, or hard where there is none.
            while (textWidth(line) > widthPixels && y <= area.bottom) {
                std::size_t fits = 0;
                for (int width = 0; fits < line.size(); ++fits) {
                    width += textWidth(line.substr(fits, 1));
                    if (width > widthPixels) break;
                }
                std::size_t cut = line.rfind(' ', fits);
                if (cut == std::string::npos || cut == 0) {
                    cut = std::max<std::size_t>(fits, 1);
                }
                textOut(area.left, y, line.substr(0, cut));
                line = line.substr(line[cut] == ' ' ? cut + 1 : cut);
                y += kLineHeight;
            }
            if (!line.empty() && y <= area.bottom) {
                textOut(area.left, y, line);
            }
        } else {
            // Each column starts at the next tab stop after the text before it.
            int x = area.left;
            std::size_t columnStart = 0;
            while (columnStart <= line.size()) {
                std::size_t tab = line.find('\t', columnStart);
                const std::string column = line.substr(
                    columnStart, tab == std::string::npos ? std::string::npos : tab - columnStart);
                if (!column.empty()) {
                    textOut(x, y, column);
                }
                if (tab == std::string::npos) {
                    break;
                }
                const int end = x + textWidth(column);
                x = area.left + ((end - area.left) / kTabStopPx + 1) * kTabStopPx;
                columnStart = tab + 1;
            }
        }
        y += kLineHeight;
        if (lineEnd == text.size()) {
            break;
        }
    }
}

void CUserInterface::formatText(int rectangle, const std::string& title, int flags) {
    (void)flags;
    setTextFont(3);
    setTextColor(255, 255, 255);
    const tRectangle& area = kRectangles[(rectangle >= 1 && rectangle <= 6 ? rectangle : 2) - 1];
    textOut(area.left, area.top, title);
}

void CUserInterface::refreshText(bool live) {
    if (!m_bRepaint.exchange(false) && !live) {
        return;
    }
    m_composing.clear();
    m_nFont = 0;
    setTextColor(0, 0, 0);
    text();
    // A live screen recomposed with nothing changed is not published again:
    // the frames keep the texts they have prepared.
    if (*publishedPanel() == m_composing) {
        m_composing.clear();
        return;
    }
    auto composed = std::make_shared<const std::vector<tPanelText>>(std::move(m_composing));
    m_composing = std::vector<tPanelText>();
    std::lock_guard<std::mutex> lock(m_publishedLock);
    // The panel it replaces goes when the last frame that draws it is done.
    m_published.swap(composed);
    m_publishedGeneration.fetch_add(1, std::memory_order_release);
}

std::vector<tPanelText> CUserInterface::publishedText() const { return *publishedPanel(); }

std::shared_ptr<const std::vector<tPanelText>> CUserInterface::publishedPanel() const {
    std::lock_guard<std::mutex> lock(m_publishedLock);
    return m_published;
}

const std::shared_ptr<const std::vector<tPanelText>>& CUserInterface::panelForFrame() {
    // Most frames draw what they drew before: one counter read, no lock.
    if (m_lastDrawn != nullptr &&
        m_publishedGeneration.load(std::memory_order_acquire) == m_lastDrawnGeneration) {
        return m_lastDrawn;
    }
    std::unique_lock<std::mutex> lock(m_publishedLock, std::try_to_lock);
    if (lock.owns_lock() || m_lastDrawn == nullptr) {
        if (!lock.owns_lock()) {
            lock.lock();  // the very first frame has nothing older to draw
        }
        m_lastDrawn = m_published;
        m_lastDrawnGeneration = m_publishedGeneration.load(std::memory_order_relaxed);
    }
    return m_lastDrawn;
}

void CUserInterface::text() {
    switch (getLayer()) {
        case kLayerLogin:
            menuLogin();
            break;
        case kLayerHome:
            menuMain();
            break;
        case kLayerOptions:
            menuOptions();
            break;
        case kLayerFlightInfo:
            menuFlightInfo();
            break;
        case kLayerFlying:
            menuFly();
            break;
        case kLayerChecklist:
            menuCheck();
            break;
        case kLayerReportRoute:
            menuReportRoute();
            break;
        case kLayerReportFinances:
            menuReportFinances();
            break;
        case kLayerReportPenalties:
            menuReportPenalties();
            break;
        case kLayerWrongVersion:
            menuWrongVersion();
            break;
        case kLayerFuelTanks:
            menuFuel();
            break;
        case kLayerSavedReport:
            menuUploadReport();
            break;
        case kLayerFuelSimple:
        case kLayerConfirmFlight:
            menuFuelSummary();
            break;
        case kLayerUpdate:
            menuUpdate();
            break;
        default:
            break;  // 4, 15 and anything above 16 draw nothing
    }
    markWarningControls();
}
