// The user interface on X-Plane: builds the window's controls as widgets,
// maps widgets back to object ids and draws the screens' texts as part of the
// window, so that they follow it onto another monitor or into VR.
//
// Threads: initialize(), getObjectWithXpId(), hideMainWindow() and the text
// drawing run on the simulator's thread; the rest as in CUserInterface.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "CUserInterface.h"
#include "XPWidgetDefs.h"

class CClientInterface;
class CCheatDetector;
class CFlightSimulatorInterfaceUsingXpsdk;
class CFlightState;
class CReport;
class CSound;
class CSoundMixerUsingXpsdk;
class CThreadSync;
class CUserInterfaceObjectXp;

class CUserInterfaceXp : public CUserInterface {
public:
    // Object id of the "Exit" button: a press hides the window at once.
    static constexpr int kExitButtonId = 0;

    CUserInterfaceXp();
    ~CUserInterfaceXp() override;

    // Builds the controls inside the main window and shows the login
    // screen. Called once from the plug-in's start, before the client thread
    // exists; nothing here reads a file or waits.
    void initialize(XPWidgetID window, CThreadSync* threadSync);
    // On the client thread before its first pass: makes the subsystems (the
    // server link, the simulator interface, the sound player, the cheat
    // detector, the blackbox, the report and the phase machine, in that
    // order), reads the settings and logs in when the pilot asked for it
    // and autoLogin allows it.
    void startClient(bool autoLogin = true);
    // On the client thread after its last pass: the subsystems go.
    void stopClient();

    // Draws the published text panel at the window's place: the simulator's
    // thread, while X-Plane draws the window.
    void drawTextPanel(int windowLeft, int windowTop);
    // The widget that draws the texts, inside the main window.
    XPWidgetID getTextPanel() const { return m_textPanel; }
    void menuFuel() override;

    CUserInterfaceObjectXp* getObjectWithXpId(XPWidgetID widget) const;
    void hideMainWindow();
    XPWidgetID getMainWindow() const { return m_window; }
    CThreadSync* getThreadSync() const { return m_pThreadSync; }

protected:
    std::unique_ptr<CWidgetBatch> beginWidgetBatch() override;

private:
    // One piece of the panel as it is drawn, from the window's top-left
    // corner: made once for each panel the client publishes, not per frame.
    // The texts lie end to end in one buffer, so that a frame reads a few
    // neighbouring cache lines rather than a string scattered over the heap
    // for each piece.
    struct tDrawnText {
        int dx = 0;
        int dy = 0;
        float rgb[3] = {1.0f, 1.0f, 1.0f};
        // Where the text begins in m_drawnChars, ended by a NUL.
        std::size_t textAt = 0;
    };
    void preparePanel(const std::shared_ptr<const std::vector<tPanelText>>& panel);

    std::unique_ptr<CClientInterface> m_client;
    std::unique_ptr<CFlightSimulatorInterfaceUsingXpsdk> m_simulator;
    std::unique_ptr<CSoundMixerUsingXpsdk> m_mixer;
    std::unique_ptr<CSound> m_sound;
    std::unique_ptr<CCheatDetector> m_cheatDetector;
    std::unique_ptr<Blackbox::CBlackbox> m_blackbox;
    std::unique_ptr<CReport> m_report;
    std::unique_ptr<CFlightState> m_flightState;
    unsigned int m_soundHandle = 0;
    XPWidgetID m_window = nullptr;
    XPWidgetID m_textPanel = nullptr;
    CThreadSync* m_pThreadSync = nullptr;
    int m_charHeight = 0;
    // The simulator's thread's: the panel last prepared and its pieces.
    std::shared_ptr<const std::vector<tPanelText>> m_preparedPanel;
    std::vector<tDrawnText> m_drawnTexts;
    std::vector<char> m_drawnChars;
    // A report held in memory when the client stopped, for the client made
    // again after a failure; the client thread's.
    std::string m_carriedReport;
};
