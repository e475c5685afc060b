// Binds a control to an X-Plane widget: buttons, text fields and check boxes.
#include "CUserInterfaceObjectXp.h"

#include "CNumberText.h"
#include "XPStandardWidgets.h"
#include "XPWidgets.h"

CThreadSync* CUserInterfaceObjectXp::s_pThreadSync = nullptr;

CUserInterfaceObjectXp::CUserInterfaceObjectXp(int x, int y, int width, int height, int kind,
                                               const char* caption, int option,
                                               XPWidgetID parentWindow, int id, int layer,
                                               int unused)
    : CUserInterfaceObject(x, y, width, height, kind, caption, option, parentWindow, id, layer,
                           unused) {
    int windowLeft = 0, windowTop = 0, windowRight = 0, windowBottom = 0;
    XPGetWidgetGeometry(parentWindow, &windowLeft, &windowTop, &windowRight, &windowBottom);
    // Positions are from the window's top-left corner, y down; X-Plane's
    // screen y grows upwards.
    const int left = x + windowLeft;
    const int top = windowTop - y;
    const int right = left + width;
    const int bottom = top - height;
    switch (kind) {
        case PushButton:
            m_xpId = XPCreateWidget(left, top, right, bottom, 1, m_szCaption, 0, parentWindow,
                                    xpWidgetClass_Button);
            break;
        case TextField:
            m_xpId = XPCreateWidget(left, top, right, bottom, 1, m_szCaption, 0, parentWindow,
                                    xpWidgetClass_TextField);
            if (option == kPasswordOption) {
                XPSetWidgetProperty(m_xpId, xpProperty_PasswordMode, 1);
            }
            break;
        case CheckBox:
            m_xpId = XPCreateWidget(left, top, right, bottom, 1, "", 0, parentWindow,
                                    xpWidgetClass_Button);
            // The type only draws the box; the behaviour makes a click tick it.
            XPSetWidgetProperty(m_xpId, xpProperty_ButtonType, xpRadioButton);
            XPSetWidgetProperty(m_xpId, xpProperty_ButtonBehavior, xpButtonBehaviorCheckBox);
            break;
        default:
            break;  // a combo box exists only as an object here
    }
    m_pHandle = m_xpId;
}

CUserInterfaceObjectXp::~CUserInterfaceObjectXp() = default;

const char* CUserInterfaceObjectXp::getText() {
    m_szText[0] = '\0';
    const CAccess access;
    if (m_nKind == TextField && m_xpId != nullptr && access.granted()) {
        XPGetWidgetDescriptor(m_xpId, m_szText, kTextSize - 1);
        m_szText[kTextSize - 1] = '\0';
    }
    return m_szText;
}

void CUserInterfaceObjectXp::setText(const char* text) {
    const CAccess access;
    if (m_xpId != nullptr && access.granted()) {
        XPSetWidgetDescriptor(m_xpId, text != nullptr ? text : "");
    }
}

double CUserInterfaceObjectXp::getValue() {
    const CAccess access;
    if (m_nKind == TextField && m_xpId != nullptr && access.granted()) {
        char number[33] = {0};
        XPGetWidgetDescriptor(m_xpId, number, 32);
        number[32] = '\0';
        return CNumberText::toDouble(number);
    }
    return CNumberText::toDouble("not a valid object");
}

bool CUserInterfaceObjectXp::getCheckBox() {
    const CAccess access;
    return m_xpId != nullptr && access.granted() &&
           XPGetWidgetProperty(m_xpId, xpProperty_ButtonState, nullptr) == 1;
}

void CUserInterfaceObjectXp::setCheckBox(bool checked) {
    const CAccess access;
    if (m_xpId != nullptr && access.granted()) {
        XPSetWidgetProperty(m_xpId, xpProperty_ButtonState, checked ? 1 : 0);
    }
}

void CUserInterfaceObjectXp::show() {
    const CAccess access;
    if (m_xpId != nullptr && access.granted()) {
        XPShowWidget(m_xpId);
    }
}

void CUserInterfaceObjectXp::hide() {
    const CAccess access;
    if (m_xpId != nullptr && access.granted()) {
        XPHideWidget(m_xpId);
    }
}

void CUserInterfaceObjectXp::activate() {
    CUserInterfaceObject::activate();
    setEnabled(true);
}

void CUserInterfaceObjectXp::deactivate() {
    CUserInterfaceObject::deactivate();
    setEnabled(false);
}

void CUserInterfaceObjectXp::setEnabled(bool enabled) {
    const CAccess access;
    if (m_xpId != nullptr && access.granted()) {
        XPSetWidgetProperty(m_xpId, xpProperty_Enabled, enabled ? 1 : 0);
    }
}
