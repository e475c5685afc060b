// The registry of the window's controls: every control is created once,
// registered here and from then on addressed by its id; whole screens are
// shown by layer.
//
// Threads: registration on the simulator's thread at start; lookups from
// both threads (the list does not change after start).
#pragma once

#include <string>
#include <vector>

class CUserInterfaceObject;

class CObjectManager {
public:
    // Objects of this layer are shown whatever screen is selected.
    static constexpr int kAlwaysShownLayer = 999;

    void newObject(CUserInterfaceObject* object);
    CUserInterfaceObject* getObjectWithId(int id) const;
    CUserInterfaceObject* getObjectWithIdSlave(CUserInterfaceObject* start, int id) const;
    CUserInterfaceObject* getObjectWithCaption(const char* caption) const;
    CUserInterfaceObject* getObjectWithCaptionSlave(CUserInterfaceObject* start,
                                                    const char* caption) const;
    void show(int id, bool visible);
    // Whether the current screen shows a control with this id, as the
    // client last set it: the simulator's thread may still draw a control
    // that the client has already hidden.
    bool isShown(int id) const;
    void showLayer(int layer, bool hideOthers);

    void enable(int id);
    void disable(int id);
    void setText(int id, const char* text);
    const char* getText(int id);
    double getValue(int id);
    void setCheckBox(int id, bool checked);
    bool getCheckBox(int id);
    // As the control's own: false, leaving the argument alone, when there is
    // no such control or the window could not be read.
    bool readText(int id, std::string& text);
    bool readCheckBox(int id, bool& checked);
    // Every field's typing so far is known to the client (a press of the
    // pilot's comes after the typing before it).
    void acceptPilotEdits();
    void setComboBox(int id, const std::vector<std::string>& entries, const std::string& selected);
    std::string getComboBox(int id);
    void setProgressBar(int id, double fraction);
    int getX(int id);
    int getY(int id);

    CUserInterfaceObject* first() const { return m_pFirst; }
    // Forgets every object (the objects are not deleted).
    void clear() { m_pFirst = m_pLast = nullptr; }

private:
    CUserInterfaceObject* m_pFirst = nullptr;
    CUserInterfaceObject* m_pLast = nullptr;
};
