// A control of the client's window (push button, text field, check box or
// combo box), known to the rest of the client by its object id and menu layer.
//
// Threads: created on the simulator's thread at start; afterwards read and
// changed from the client thread inside the handshake, and looked up by
// widget id from the simulator's thread.
#pragma once

#include <string>
#include <vector>

class CUserInterfaceObject {
public:
    enum Kind { PushButton = 0, TextField = 1, CheckBox = 2, ComboBox = 3 };
    static constexpr int kCaptionSize = 260;
    static constexpr int kTextSize = 3200;

    CUserInterfaceObject(int x, int y, int width, int height, int kind, const char* caption,
                         int option, void* parentWindow, int id, int layer, int unused);
    virtual ~CUserInterfaceObject();
    CUserInterfaceObject(const CUserInterfaceObject&) = delete;
    CUserInterfaceObject& operator=(const CUserInterfaceObject&) = delete;

    virtual const char* getText();
    virtual void setText(const char* text);
    virtual double getValue();
    virtual bool getCheckBox();
    virtual void setCheckBox(bool checked);
    virtual void show();
    virtual void hide();
    // The text or the tick as the window holds it now; false, leaving the
    // argument alone, when the window could not be read (the plug-in is
    // stopping): an unread field is not an empty one.
    virtual bool readText(std::string& text);
    virtual bool readCheckBox(bool& checked);
    // What the pilot has typed so far is known to the client: a text the
    // client sets from now on may replace it. A text set before the pilot's
    // typing was seen never does.
    virtual void acceptPilotEdits() {}

    // No platform control stands behind these on X-Plane.
    std::string getComboBox() const;
    void setComboBox(const std::vector<std::string>& entries);
    void setProgressBar(double fraction);

    int getLayer() const { return m_nLayer; }
    int getId() const { return m_nId; }
    int getKind() const { return m_nKind; }
    int getX() const { return m_nX; }
    int getY() const { return m_nY; }
    int getWidth() const { return m_nWidth; }
    const char* getCaption() const { return m_szCaption; }
    // 1 draws the control with a warning mark beside it (the "Exit" button
    // always, "Login" after a failed login); 0 plainly.
    int getStyle() const { return m_nStyle; }
    void setStyle(int style) { m_nStyle = style; }
    // Whether the window shows it, as the object manager last set it.
    bool isShown() const { return m_bShown; }
    void setShown(bool shown) { m_bShown = shown; }
    // An inactive control takes no press; a window may also grey it out.
    virtual void activate() { m_bActive = true; }
    virtual void deactivate() { m_bActive = false; }
    bool isActive() const { return m_bActive; }
    CUserInterfaceObject* getNext() const { return m_pNext; }
    void setNext(CUserInterfaceObject* next) { m_pNext = next; }
    void* getHandle() const { return m_pHandle; }

protected:
    int m_nLayer;
    int m_nId;
    int m_nKind;
    int m_nX;
    int m_nY;
    int m_nWidth;
    char m_szCaption[kCaptionSize];
    char m_szText[kTextSize];
    int m_nStyle = 0;
    // Widgets are made visible; the screens hide what they do not show.
    bool m_bShown = true;
    bool m_bActive = true;
    CUserInterfaceObject* m_pNext = nullptr;
    void* m_pHandle = nullptr;
};
