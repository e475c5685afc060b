// The X-Plane side of the user interface: widget creation, widget lookup and
// text drawing in font 18.
#include "CUserInterfaceXp.h"

#include "CUserInterfaceObjectXp.h"
#include "XPLMGraphics.h"
#include "XPWidgets.h"

namespace {
// The window's text is drawn in X-Plane's proportional font, in white.
constexpr XPLMFontID kTextFont = xplmFont_Proportional;
float g_textColour[3] = {1.0f, 1.0f, 1.0f};
}  // namespace

CUserInterfaceXp::CUserInterfaceXp() = default;
CUserInterfaceXp::~CUserInterfaceXp() = default;

void CUserInterfaceXp::initialize(XPWidgetID window, CThreadSync* threadSync) {
    m_window = window;
    m_pThreadSync = threadSync;
    // A plug-in started again in the same process builds its window anew.
    m_objectManager.clear();
    m_objects.clear();

    CUserInterfaceObject* exitButton = addObject(
        std::make_unique<CUserInterfaceObjectXp>(25, 334, 148, 20, CUserInterfaceObject::PushButton,
                                                 "Exit", 0, window, kExitButtonId, 1, 0));
    exitButton->setStyle(1);
}

CUserInterfaceObjectXp* CUserInterfaceXp::getObjectWithXpId(XPWidgetID widget) const {
    for (CUserInterfaceObject* object = m_objectManager.first(); object != nullptr;
         object = object->getNext()) {
        auto* xpObject = static_cast<CUserInterfaceObjectXp*>(object);
        if (xpObject->getXpId() == widget) {
            return xpObject;
        }
    }
    return nullptr;
}

void CUserInterfaceXp::hideMainWindow() {
    if (m_window != nullptr) {
        XPHideWidget(m_window);
    }
}

void CUserInterfaceXp::textOut(int x, int y, const char* text, bool rightAligned) {
    int windowLeft = 0, windowTop = 0, windowRight = 0, windowBottom = 0;
    XPGetWidgetGeometry(m_window, &windowLeft, &windowTop, &windowRight, &windowBottom);
    int charWidth = 0, charHeight = 0, digitsOnly = 0;
    XPLMGetFontDimensions(kTextFont, &charWidth, &charHeight, &digitsOnly);
    int screenX = windowLeft + x;
    if (rightAligned) {
        screenX -= static_cast<int>(XPLMMeasureString(
            kTextFont, text, static_cast<int>(std::char_traits<char>::length(text))));
    }
    const int screenY = windowTop - y - charHeight;
    XPLMDrawString(g_textColour, screenX, screenY, text, nullptr, kTextFont);
}

void CUserInterfaceXp::textOut(int x, int y, const std::string& text, bool rightAligned) {
    textOut(x, y, text.c_str(), rightAligned);
}
