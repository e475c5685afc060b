// A control of the client's window bound to an X-Plane widget.
//
// Threads: built on the simulator's thread; its widget calls are made on the
// simulator's thread or on the client thread inside the handshake.
#pragma once

#include "CUserInterfaceObject.h"
#include "XPWidgetDefs.h"

class CUserInterfaceObjectXp : public CUserInterfaceObject {
public:
    // Option 32 makes a text field a password field.
    static constexpr int kPasswordOption = 32;

    CUserInterfaceObjectXp(int x, int y, int width, int height, int kind, const char* caption,
                           int option, XPWidgetID parentWindow, int id, int layer, int unused);
    ~CUserInterfaceObjectXp() override;

    const char* getText() override;
    void setText(const char* text) override;
    double getValue() override;
    bool getCheckBox() override;
    void setCheckBox(bool checked) override;
    void show() override;
    void hide() override;

    XPWidgetID getXpId() const { return m_xpId; }

private:
    XPWidgetID m_xpId = nullptr;
};
