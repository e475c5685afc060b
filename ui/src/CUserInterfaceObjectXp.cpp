// Binds a control to an X-Plane widget: buttons, text fields and check boxes.
#include "CUserInterfaceObjectXp.h"

#include <string>
#include <utility>

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

bool CUserInterfaceObjectXp::change(std::function<void()> job) {
    if (s_pThreadSync == nullptr) {
        job();
        return true;
    }
    return s_pThreadSync->post(std::move(job));
}

bool CUserInterfaceObjectXp::read(const std::function<void()>& job) {
    if (s_pThreadSync == nullptr) {
        job();
        return true;
    }
    return s_pThreadSync->runOnSimulator(job);
}

const char* CUserInterfaceObjectXp::getText() {
    m_szText[0] = '\0';
    if (m_nKind == TextField && m_xpId != nullptr) {
        char* text = m_szText;
        const XPWidgetID widget = m_xpId;
        read([text, widget] { XPGetWidgetDescriptor(widget, text, kTextSize - 1); });
        m_szText[kTextSize - 1] = '\0';
    }
    return m_szText;
}

void CUserInterfaceObjectXp::setText(const char* text) {
    if (m_xpId != nullptr) {
        const XPWidgetID widget = m_xpId;
        change([widget, value = std::string(text != nullptr ? text : "")] {
            XPSetWidgetDescriptor(widget, value.c_str());
        });
    }
}

double CUserInterfaceObjectXp::getValue() {
    if (m_nKind == TextField && m_xpId != nullptr) {
        char number[33] = {0};
        const XPWidgetID widget = m_xpId;
        if (read([&number, widget] { XPGetWidgetDescriptor(widget, number, 32); })) {
            number[32] = '\0';
            return CNumberText::toDouble(number);
        }
    }
    return CNumberText::toDouble("not a valid object");
}

bool CUserInterfaceObjectXp::getCheckBox() {
    if (m_xpId == nullptr) {
        return false;
    }
    bool checked = false;
    const XPWidgetID widget = m_xpId;
    read([&checked, widget] {
        checked = XPGetWidgetProperty(widget, xpProperty_ButtonState, nullptr) == 1;
    });
    return checked;
}

void CUserInterfaceObjectXp::setCheckBox(bool checked) {
    if (m_xpId != nullptr) {
        const XPWidgetID widget = m_xpId;
        change([widget, checked] {
            XPSetWidgetProperty(widget, xpProperty_ButtonState, checked ? 1 : 0);
        });
    }
}

void CUserInterfaceObjectXp::show() {
    if (m_xpId != nullptr) {
        const XPWidgetID widget = m_xpId;
        change([widget] { XPShowWidget(widget); });
    }
}

void CUserInterfaceObjectXp::hide() {
    if (m_xpId != nullptr) {
        const XPWidgetID widget = m_xpId;
        change([widget] { XPHideWidget(widget); });
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
    if (m_xpId != nullptr) {
        const XPWidgetID widget = m_xpId;
        change([widget, enabled] { XPSetWidgetProperty(widget, xpProperty_Enabled, enabled ? 1 : 0); });
    }
}
