// The client's user interface, independent of the platform: it holds the
// subsystems of a flight, owns the window's controls through the object
// manager, turns the pilot's button presses into the flight workflow, reacts
// to flight phases and composes each screen's texts.
//
// Threads: everything here runs on the client thread, except
// publishedText(), which the simulator's thread calls while it draws; the
// screen's texts cross between the two only through the published copy.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "AircraftData.h"
#include "CFailureManager.h"
#include "CObjectManager.h"
#include "CUserInterfaceUtilities.h"

class CClientInterface;
class CCheatDetector;
class CFlightSimulatorInterface;
class CFlightState;
class CLogger;
class CReport;
class CSound;
class CUserInterfaceObject;
namespace Blackbox {
class CBlackbox;
}

// The platform's message box. On X-Plane it shows nothing and returns 0: the
// pilot learns of a failure from the screens, the simulator's text messages
// and the sounds.
int MessageBox(void* parent, const char* text, const char* caption, unsigned int flags);

// One piece of text of the window's text panel, at a position from the
// window's top-left corner, y down.
struct tPanelText {
    int x = 0;
    int y = 0;
    std::string text;
    // The screen's font number (0 to 10); the window maps it to a face.
    int font = 0;
    // 0..255 each.
    int red = 0, green = 0, blue = 0;
    bool rightAligned = false;

    bool operator==(const tPanelText& other) const {
        return x == other.x && y == other.y && font == other.font && red == other.red &&
               green == other.green && blue == other.blue && rightAligned == other.rightAligned &&
               text == other.text;
    }
    bool operator!=(const tPanelText& other) const { return !(*this == other); }
};

class CUserInterface {
public:
    // Menu layers.
    enum Layer {
        kLayerLogin = 0,
        kLayerHome = 1,
        kLayerOptions = 2,
        kLayerFlightInfo = 3,
        kLayerNone = 4,
        kLayerFlying = 5,
        kLayerChecklist = 6,
        kLayerReportRoute = 7,
        kLayerReportFinances = 8,
        kLayerReportPenalties = 9,
        kLayerWrongVersion = 10,
        kLayerFuelTanks = 11,
        kLayerSavedReport = 12,
        kLayerFuelSimple = 13,
        kLayerConfirmFlight = 14,
        kLayerComment = 15,
        kLayerUpdate = 16,
    };
    // The button that saves again a report held in memory.
    static constexpr int kRetrySaveButton = 28;
    static constexpr int kPassengerKg = 102;
    static constexpr unsigned int kWarningBox = 0x30;
    static constexpr int kTextSeconds = 10;
    // The per-tank entry fields, in tank order (tank 0 first).
    static const std::array<int, 11> kTankFields;

    // The subsystems of a flight; none owned here.
    struct tSubsystems {
        CClientInterface* client = nullptr;
        CFlightSimulatorInterface* simulator = nullptr;
        CSound* sound = nullptr;
        CCheatDetector* cheatDetector = nullptr;
        Blackbox::CBlackbox* blackbox = nullptr;
        CReport* report = nullptr;
        CFlightState* flightState = nullptr;
    };

    // Widget changes of one screen in one go: the X-Plane window hands them
    // to the simulator's thread as one job, so that no frame shows half a
    // screen.
    class CWidgetBatch {
    public:
        virtual ~CWidgetBatch() = default;
    };

    CUserInterface();
    virtual ~CUserInterface();
    CUserInterface(const CUserInterface&) = delete;
    CUserInterface& operator=(const CUserInterface&) = delete;

    void setSubsystems(const tSubsystems& subsystems);
    CObjectManager& getObjectManager() { return m_objectManager; }
    CClientInterface* getClientInterface() const { return m_pClient; }
    void setClientInterface(CClientInterface* client) { m_pClient = client; }
    CFlightSimulatorInterface* getSimulator() const { return m_pSimulator; }
    CSound* getSound() const { return m_pSound; }
    CCheatDetector* getCheatDetector() const { return m_pCheatDetector; }
    Blackbox::CBlackbox* getBlackbox() const { return m_pBlackbox; }
    CReport* getReport() const { return m_pReport; }
    CFlightState* getFlightState() const { return m_pFlightState; }
    Failures::CFailureManager& getFailureManager() { return m_failureManager; }
    CUnitConversion& getUnits() { return m_units; }
    bool getTracker() const { return m_bTracker; }
    bool isLoggedIn() const { return m_bLoggedIn; }
    bool isSimpleFuel() const { return m_bSimpleFuel; }
    bool isAutoLogin() const { return m_bAutoLogin; }

    // --- workflow (the client thread) ---
    // A pressed control or hot-key event, by object id.
    virtual void buttonEvent(int id);
    // Ends the flight from outside the button flow (the cheat detector).
    virtual void abortFlight(std::string& reason);
    // The client thread failed with this text and starts again: a flight
    // under way is closed and kept as a kept report, the flight and the
    // login are forgotten, and the login screen says what
    // happened (the client starts again without its automatic login, so
    // that the pilot reads it).
    void clientFailed(const std::string& why);
    // What the login screen says after a failure; empty before.
    const std::string& getClientNotice() const { return m_clientNotice; }
    // Forgets the flight: report, flight timer, aircraft record, blackbox
    // and phase.
    void resetAllClasses();
    // Reads the settings into the option flags and the options screen.
    void getConfig();
    // At the stop, the last try to save a report held in memory.
    void saveHeldReportAtStop();
    // Runs the phase machine and the reactions to a new phase; false only
    // when the flight has just reached its gate.
    bool checkFlightState();
    // Whether a flight has been started and its start mark taken.
    bool isFlightStarted() const { return m_bFlightStarted; }
    // Flight-timer seconds since the start of the flight.
    long getFlightSeconds() const;

    // --- fuel planning ---
    void setFuelEditBox(bool loadInitial, bool readTanks);
    // setFuelEditBox's two halves: what is read from (and loaded into) the
    // simulator first, then the fields, which change no simulator value and
    // so join a screen's batch whole.
    bool prepareFuelFigures(bool loadInitial, bool readTanks);
    void fillFuelFields();
    // Takes the entered quantities into the simulator's tanks. An entry that
    // is not a plain quantity (a word, a sign, an exponent, beyond 999999)
    // writes nothing, returns false and leaves the reason in the fuel notice.
    bool readEnteredFuel();
    // Writes the planned tank quantities into the simulator and notes what
    // was loaded, for the checks before the start.
    void loadPlannedFuel();
    // Why the last entries were refused; empty when they were taken.
    const std::string& getFuelNotice() const { return m_fuelNotice; }
    // Why the last login failed, as the login screen shows it; empty after a
    // login that worked.
    const std::string& getLoginNotice() const { return m_loginNotice; }
    // The fuel the server says the aircraft carries, kg.
    int getInitialFuelKg() const;
    int getFuelLoadedKg() const { return m_nFuelLoadedKg; }

    // --- screens ---
    // The screen shown: one of the menu layers 0 to 16.
    int getLayer() const { return m_nLayer.load(); }
    // Stores the layer and shows its controls, every other screen's hidden;
    // layer 4 and layers above 16 hide nothing. Ends with a repaint.
    virtual void setMenuLayer(int layer);
    bool isFuelScreenActive() const { return m_bFuelScreenActive; }
    // Whether the logged-in pilot may fly (the pilot's Status at most 1).
    bool pilotMayFly() const;
    // Asks for the screen's texts to be composed again.
    virtual void repaint() { m_bRepaint = true; }
    void repaintTextarea() { repaint(); }
    // Repaints while a fuel screen is shown, so the figures follow the typing.
    void autoText();
    // Composes the current screen's texts when a repaint was asked for, or
    // always when live is set, and publishes them for drawing.
    void refreshText(bool live);
    // The text panel of the current layer, composed into the working copy.
    virtual void text();
    // The last published texts of the panel (any thread).
    std::vector<tPanelText> publishedText() const;
    // The same without a copy, for the draw callback: the panel stays
    // unchanged while held; an empty one (never a null pointer) before the
    // first is published.
    std::shared_ptr<const std::vector<tPanelText>> publishedPanel() const;
    // The same for the simulator's thread, which never waits for the lock:
    // while the client thread publishes, the frame draws the panel it drew
    // last. Held until the next call on that thread.
    const std::shared_ptr<const std::vector<tPanelText>>& panelForFrame();
    const std::string& getStatusLine() const { return m_statusLine; }

    // Text primitives of the screens: a piece of text at a window position,
    // a block of lines and tab columns in one of the six text rectangles,
    // and a screen's title.
    void textOut(int x, int y, const char* text, bool rightAligned = false);
    void textOut(int x, int y, const std::string& text, bool rightAligned = false);
    void drawText(const std::string& text, int rectangle);
    void formatText(int rectangle, const std::string& title, int flags);
    void setTextFont(int font) { m_nFont = font; }
    void setTextColor(int red, int green, int blue);
    // The window font's average character width (tab stops) and, when the
    // window measured them, each printable character's own width (wrapping
    // and tab columns); without them every character is average.
    void setCharWidth(int pixels) { m_nCharWidth = pixels > 0 ? pixels : 7; }
    static constexpr int kFirstMeasuredChar = 32;
    static constexpr int kMeasuredChars = 95;
    void setCharWidths(const std::array<int, kMeasuredChars>& pixels) { m_charWidths = pixels; }
    int textWidth(const std::string& text) const;

    // The screens (text panel by layer).
    void menuLogin();
    void menuMain();
    void menuOptions();
    void menuFlightInfo();
    void menuFly();
    void menuCheck();
    void menuReportRoute();
    void menuReportFinances();
    void menuReportPenalties();
    void menuWrongVersion();
    virtual void menuFuel();
    void menuFuelSummary();
    void menuUploadReport();
    void menuUpdate();

protected:
    // Takes ownership and registers the control with the object manager.
    CUserInterfaceObject* addObject(std::unique_ptr<CUserInterfaceObject> object);
    virtual std::unique_ptr<CWidgetBatch> beginWidgetBatch() { return nullptr; }
    // The tank screens' common part: the title, the entered figures taken
    // back while the screen is up, and the column of fuel figures at the
    // left. False, with only the title drawn, while the client has no
    // simulator or server link yet.
    bool menuFuelFigures();
    void fuelNoticeLine();
    void markWarningControls();
    // A red line on the login and home screens while X-Plane's folder takes
    // no files: settings and kept reports are then lost at the stop.
    void folderNotice();
    // The red lines on the login screen after the client failed.
    void clientNotice();
    // Red lines on the login and saved-report screens while a report is held
    // in memory, over the "Retry" button.
    void heldReportNotice();
    // The "Version" block of the version screens.
    void drawVersions();
    CLogger& logger();
    // Back to the state of a fresh start: nobody logged in, no flight, the
    // settings' defaults, an empty text panel. The plug-in's user interface
    // outlives a stop and a new start in the same process.
    void resetState();

    std::unique_ptr<CLogger> m_pLogger;
    CObjectManager m_objectManager;
    std::vector<std::unique_ptr<CUserInterfaceObject>> m_objects;
    CUserInterfaceUtilities m_utilities;

    CClientInterface* m_pClient = nullptr;
    CFlightSimulatorInterface* m_pSimulator = nullptr;
    CSound* m_pSound = nullptr;
    CCheatDetector* m_pCheatDetector = nullptr;
    Blackbox::CBlackbox* m_pBlackbox = nullptr;
    CReport* m_pReport = nullptr;
    CFlightState* m_pFlightState = nullptr;
    Failures::CFailureManager m_failureManager;
    CUnitConversion m_units;

private:
    void login();
    void saveOptions();
    void fly();
    void startFlight();
    void fuelUp();
    void changeLoad(int id);
    void endFlight();
    // The end of a flight's data: on block, the last reads, the arrival
    // penalties and the last position entry.
    void closeFlight();
    void submitReport();
    void next();
    void uploadSavedReport();
    void retrySavingReport();
    void exitFlight();
    // Resets, shows the login screen and logs in again.
    void finish();
    int countActivePenalties() const;
    int passengers() const;
    int cargoKg() const;
    void playSound(unsigned int id);
    void reactToPhase(int phase);

    std::atomic<int> m_nLayer{0};
    bool m_bLoggedIn = false;
    bool m_bAutoLogin = false;
    bool m_bTracker = true;
    bool m_bFsMessages = false;
    bool m_bSimpleFuel = false;
    bool m_bSound = false;
    bool m_bFuelScreenActive = false;
    bool m_bInitialFuelLoaded = false;
    bool m_bFlightStarted = false;
    // A report was held in memory just before this login: trying it again
    // at once would only wait for the same failure.
    bool m_bReportJustHeld = false;
    double m_flightStartS = 0.0;
    int m_nFuelLoadedKg = 0;
    std::array<float, 12> m_fuelledTanksKg{};
    std::string m_statusLine;
    std::string m_fuelNotice;
    std::string m_loginNotice;
    static constexpr std::size_t kClientNoticeWhyChars = 60;
    std::string m_clientNotice;
    std::string m_clientNoticeMore;

    // The panel being composed and the one the window draws.
    std::atomic<bool> m_bRepaint{true};
    std::vector<tPanelText> m_composing;
    // The panel the simulator's thread drew last, and the generation it
    // was; its thread only.
    std::shared_ptr<const std::vector<tPanelText>> m_lastDrawn;
    std::uint64_t m_lastDrawnGeneration = 0;
    mutable std::mutex m_publishedLock;
    // Counts the panels published, so that a frame learns of a new one
    // without the lock.
    std::atomic<std::uint64_t> m_publishedGeneration{0};
    // Replaced whole, never changed: the simulator's thread draws it every
    // frame without copying its strings.
    std::shared_ptr<const std::vector<tPanelText>> m_published =
        std::make_shared<const std::vector<tPanelText>>();
    int m_nFont = 0;
    int m_textRed = 0, m_textGreen = 0, m_textBlue = 0;
    int m_nCharWidth = 7;
    std::array<int, kMeasuredChars> m_charWidths{};
};
