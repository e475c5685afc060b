// The platform-neutral control: its id, layer, caption and the list link.
#include "CUserInterfaceObject.h"

#include <cstring>

CUserInterfaceObject::CUserInterfaceObject(int x, int y, int width, int height, int kind,
                                           const char* caption, int option, void* parentWindow,
                                           int id, int layer, int unused)
    : m_nLayer(layer), m_nId(id), m_nKind(kind), m_nX(x), m_nY(y), m_nWidth(width) {
    (void)height;
    (void)option;
    (void)parentWindow;
    (void)unused;
    std::strncpy(m_szCaption, caption != nullptr ? caption : "", kCaptionSize - 1);
    m_szCaption[kCaptionSize - 1] = '\0';
    m_szText[0] = '\0';
}

CUserInterfaceObject::~CUserInterfaceObject() = default;

const char* CUserInterfaceObject::getText() {
    m_szText[0] = '\0';
    return m_szText;
}

void CUserInterfaceObject::setText(const char*) {}
double CUserInterfaceObject::getValue() { return 0.0; }
bool CUserInterfaceObject::getCheckBox() { return false; }
void CUserInterfaceObject::setCheckBox(bool) {}
bool CUserInterfaceObject::readText(std::string& text) {
    text = getText();
    return true;
}
bool CUserInterfaceObject::readCheckBox(bool& checked) {
    checked = getCheckBox();
    return true;
}
void CUserInterfaceObject::show() {}
void CUserInterfaceObject::hide() {}
std::string CUserInterfaceObject::getComboBox() const { return std::string(); }
void CUserInterfaceObject::setComboBox(const std::vector<std::string>&) {}
void CUserInterfaceObject::setProgressBar(double) {}
