// Binds a control to an X-Plane widget: buttons, text fields and check boxes.
#include "CUserInterfaceObjectXp.h"

#include <cstdio>
#include <string>
#include <utility>

#include "CNumberText.h"
#include "XPStandardWidgets.h"
#include "XPWidgets.h"

CThreadSync* CUserInterfaceObjectXp::s_pThreadSync = nullptr;
bool CUserInterfaceObjectXp::s_bSettingText = false;

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
    std::string text;
    if (!readText(text)) {
        text.clear();
    }
    std::snprintf(m_szText, kTextSize, "%s", text.c_str());
    return m_szText;
}

bool CUserInterfaceObjectXp::readText(std::string& text) {
    if (m_nKind != TextField || m_xpId == nullptr) {
        text.clear();
        return true;
    }
    char fieldText[kTextSize] = {0};
    unsigned editsSeen = m_editsSeen;
    const XPWidgetID widget = m_xpId;
    std::atomic<unsigned>* const edits = &m_pilotEdits;
    if (!read([&fieldText, &editsSeen, widget, edits] {
            XPGetWidgetDescriptor(widget, fieldText, kTextSize - 1);
            editsSeen = edits->load(std::memory_order_relaxed);
        })) {
        return false;
    }
    fieldText[kTextSize - 1] = '\0';
    // What was read includes every change typed so far.
    m_editsSeen = editsSeen;
    text = fieldText;
    return true;
}

void CUserInterfaceObjectXp::setText(const char* text) {
    if (m_xpId == nullptr) {
        return;
    }
    const XPWidgetID widget = m_xpId;
    const unsigned editsSeen = m_editsSeen;
    std::atomic<unsigned>* const edits = &m_pilotEdits;
    change([widget, editsSeen, edits, value = std::string(text != nullptr ? text : "")] {
        // Typed after the client decided on this text: the typing stays.
        if (edits->load(std::memory_order_relaxed) != editsSeen) {
            return;
        }
        s_bSettingText = true;
        XPSetWidgetDescriptor(widget, value.c_str());
        s_bSettingText = false;
    });
}

void CUserInterfaceObjectXp::acceptPilotEdits() {
    m_editsSeen = m_pilotEdits.load(std::memory_order_relaxed);
}

void CUserInterfaceObjectXp::notePilotEdit() {
    if (!s_bSettingText) {
        m_pilotEdits.fetch_add(1, std::memory_order_relaxed);
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
    bool checked = false;
    return readCheckBox(checked) && checked;
}

bool CUserInterfaceObjectXp::readCheckBox(bool& checked) {
    if (m_xpId == nullptr) {
        checked = false;
        return true;
    }
    bool ticked = false;
    const XPWidgetID widget = m_xpId;
    if (!read([&ticked, widget] {
            ticked = XPGetWidgetProperty(widget, xpProperty_ButtonState, nullptr) == 1;
        })) {
        return false;
    }
    checked = ticked;
    return true;
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
