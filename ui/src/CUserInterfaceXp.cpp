// The X-Plane side of the user interface: widget creation, widget lookup and
// the text panel, a widget of its own that draws the screens' texts in
// font 18 whenever X-Plane draws the window.
#include "CUserInterfaceXp.h"

#include <cstdio>

#include "CBlackbox.h"
#include "CCheatDetector.h"
#include "CClientConfig.h"
#include "CClientInterface.h"
#include "CFlightSimulatorInterfaceUsingXpsdk.h"
#include "CFlightState.h"
#include "CReport.h"
#include "CSound.h"
#include "CSoundMixerUsingXpsdk.h"
#include "CSoundOutput.h"
#include "CThreadSync.h"
#include "CUserInterfaceObjectXp.h"
#include "XPLMGraphics.h"
#include "XPWidgets.h"

namespace {
// The window's text is drawn in X-Plane's proportional font, in white.
constexpr XPLMFontID kTextFont = xplmFont_Proportional;

// One control of the window: where it sits (from the window's top-left
// corner, y down), what it is and which screen it belongs to.
struct tControl {
    int id;
    int kind;
    const char* caption;
    int layer;
    int x, y, width, height;
    int option;
};

constexpr int kButton = CUserInterfaceObject::PushButton;
constexpr int kField = CUserInterfaceObject::TextField;
constexpr int kCheck = CUserInterfaceObject::CheckBox;
constexpr int kCombo = CUserInterfaceObject::ComboBox;
constexpr int kPassword = CUserInterfaceObjectXp::kPasswordOption;

// In the order they are made: the buttons, then the check boxes and the
// combo box, then the text fields.
const tControl kControls[] = {
    {0, kButton, "Exit", 1, 25, 334, 148, 20, 0},
    {3, kButton, "Login", 0, 270, 250, 200, 19, 0},
    {4, kButton, "Home", 1, 25, 238, 148, 20, 0},
    {5, kButton, "Options", 1, 25, 262, 148, 20, 0},
    {6, kButton, "Flight Information", 1, 25, 286, 148, 20, 0},
    {8, kButton, "Fly!", 1, 25, 310, 148, 20, 0},
    {9, kButton, "End flight", 7, 25, 262, 148, 20, 0},
    {10, kButton, "Next", 7, 470, 330, 100, 20, 0},
    {11, kButton, "Save changes", 2, 470, 330, 100, 20, 0},
    {14, kButton, "Divert!", 5, 25, 238, 148, 20, 0},
    {15, kButton, "Fuel Up!", 11, 25, 238, 148, 20, 0},
    {16, kButton, "Load Initial Fuel!", 11, 25, 262, 148, 20, 0},
    {17, kButton, "Back", 14, 25, 286, 148, 20, 0},
    {18, kButton, "Back", 13, 25, 262, 148, 20, 0},
    {19, kButton, "Update now!", 10, 265, 270, 250, 20, 0},
    {20, kButton, "Abort download!", 16, 330, 200, 120, 20, 0},
    {21, kButton, "Show saved Report", 12, 265, 240, 250, 20, 0},
    {22, kButton, "Upload saved Report", 12, 265, 270, 250, 20, 0},
    {23, kButton, "Delete saved Report", 12, 265, 300, 250, 20, 0},
    {CUserInterface::kRetrySaveButton, kButton, "Retry", 12, 470, 330, 100, 20, 0},
    {24, kButton, "Change", 14, 445, 135, 65, 18, 0},
    {25, kButton, "Change", 14, 445, 160, 65, 18, 0},
    {26, kButton, "Change", 14, 445, 235, 65, 18, 0},
    {201, kCheck, "AutoLogin", 2, 500, 140, 12, 12, 0},
    {202, kCheck, "TrackerOn", 2, 500, 265, 12, 12, 0},
    {203, kCheck, "FSMessages", 2, 500, 290, 12, 12, 0},
    {204, kCheck, "SimpleFuel", 2, 500, 165, 12, 12, 0},
    {205, kCheck, "Sound", 2, 500, 190, 12, 12, 0},
    {301, kCombo, "FSInterface", 2, 392, 211, 120, 60, 0},
    {101, kField, "", 0, 340, 195, 130, 20, 0},
    {102, kField, "", 0, 340, 220, 130, 20, kPassword},
    {105, kField, "", 11, 255, 142, 65, 25, 0},
    {103, kField, "", 11, 355, 142, 65, 25, 0},
    {104, kField, "", 11, 455, 142, 65, 25, 0},
    {106, kField, "", 11, 255, 212, 65, 25, 0},
    {107, kField, "", 11, 355, 212, 65, 25, 0},
    {108, kField, "", 11, 455, 212, 65, 25, 0},
    {109, kField, "", 11, 255, 282, 65, 25, 0},
    {110, kField, "", 11, 355, 282, 65, 25, 0},
    {111, kField, "", 11, 455, 282, 65, 25, 0},
    {112, kField, "", 0, 210, 322, 65, 25, 0},
    {113, kField, "", 0, 210, 322, 65, 25, 0},
    {114, kField, "", 13, 313, 205, 65, 25, 0},
    {115, kField, "Write your comment here...", 15, 215, 120, 350, 150, 0},
};

// Ids of the controls that start in a state of their own.
constexpr int kUpdateNowId = 19;
constexpr int kLoginEvent = 3;

// The screens were laid out on a light background; the window is dark, so
// their black becomes the window's white and their dark reds and greens are
// lightened to stay readable.
void windowColour(const tPanelText& piece, float rgb[3]) {
    if (piece.red == 0 && piece.green == 0 && piece.blue == 0) {
        rgb[0] = rgb[1] = rgb[2] = 1.0f;
        return;
    }
    const int values[3] = {piece.red, piece.green, piece.blue};
    for (int i = 0; i < 3; ++i) {
        rgb[i] = static_cast<float>(values[i]) / 255.0f;
    }
    if (piece.green == 0 && piece.blue == 0) {
        rgb[0] = 1.0f;
        rgb[1] = rgb[2] = 0.35f;
    } else if (piece.red == 0 && piece.blue == 0) {
        rgb[1] = 1.0f;
        rgb[0] = rgb[2] = 0.45f;
    }
}

// The one user interface that owns the text panel widget.
CUserInterfaceXp* g_pPanelOwner = nullptr;

// The text panel's class: it draws the texts over the window's areas and
// under the controls (it is made before them), and leaves every mouse
// message to the window, which moves when dragged there.
int textPanelCallback(XPWidgetMessage message, XPWidgetID widget, intptr_t, intptr_t) {
    if (message != xpMsg_Draw || g_pPanelOwner == nullptr) {
        return 0;
    }
    int left = 0, top = 0, right = 0, bottom = 0;
    XPGetWidgetGeometry(widget, &left, &top, &right, &bottom);
    g_pPanelOwner->drawTextPanel(left, top);
    return 1;
}

class CWidgetBatchXp : public CUserInterface::CWidgetBatch {
public:
    CWidgetBatchXp() : m_batch(CUserInterfaceObjectXp::threadSync()) {}

private:
    CSimulatorBatch m_batch;
};
}  // namespace

CUserInterfaceXp::CUserInterfaceXp() = default;
CUserInterfaceXp::~CUserInterfaceXp() = default;

void CUserInterfaceXp::initialize(XPWidgetID window, CThreadSync* threadSync) {
    m_window = window;
    m_pThreadSync = threadSync;
    // A report held by an earlier run went with its stop.
    m_carriedReport.clear();
    CUserInterfaceObjectXp::setThreadSync(threadSync);
    int charWidth = 0, charHeight = 0, digitsOnly = 0;
    XPLMGetFontDimensions(kTextFont, &charWidth, &charHeight, &digitsOnly);
    setCharWidth(charWidth);
    m_charHeight = charHeight;
    // X-Plane's text font is proportional: each character is measured once
    // here, on the simulator's thread, for the client thread's layout.
    std::array<int, kMeasuredChars> widths{};
    for (int i = 0; i < kMeasuredChars; ++i) {
        const char character = static_cast<char>(kFirstMeasuredChar + i);
        widths[i] = static_cast<int>(XPLMMeasureString(kTextFont, &character, 1) + 0.5f);
    }
    setCharWidths(widths);
    // A plug-in started again in the same process builds its window anew.
    m_objectManager.clear();
    m_objects.clear();
    resetState();
    m_preparedPanel.reset();
    m_drawnTexts.clear();

    // The panel covers the window and is made before the controls, so that
    // they are drawn over it and take their own clicks.
    int left = 0, top = 0, right = 0, bottom = 0;
    XPGetWidgetGeometry(window, &left, &top, &right, &bottom);
    g_pPanelOwner = this;
    m_textPanel = XPCreateCustomWidget(left, top, right, bottom, 1, "Text Panel", 0, window,
                                       textPanelCallback);

    for (const tControl& control : kControls) {
        addObject(std::make_unique<CUserInterfaceObjectXp>(
            control.x, control.y, control.width, control.height, control.kind, control.caption,
            control.option, window, control.id, control.layer, 0));
    }
    m_objectManager.getObjectWithId(kExitButtonId)->setStyle(1);
    m_objectManager.getObjectWithId(kUpdateNowId)->deactivate();
    setMenuLayer(0);
}

void CUserInterfaceXp::startClient(bool autoLogin) {
    const std::string dataPath = CClientConfig::instance()->getDataPath();
    m_client = std::make_unique<CClientInterface>();
    m_simulator = std::make_unique<CFlightSimulatorInterfaceUsingXpsdk>(m_pThreadSync);
    m_simulator->setBookedFlight(m_client.get());
    m_mixer = std::make_unique<CSoundMixerUsingXpsdk>(m_pThreadSync);
    m_sound = CSoundOutput::makePlayer(&m_soundHandle, dataPath + "sound", "en", m_mixer.get());
    m_cheatDetector = std::make_unique<CCheatDetector>(m_simulator.get(), this);
    m_blackbox = std::make_unique<Blackbox::CBlackbox>(m_sound.get(), &m_simulator->m_aircraftData,
                                                       m_client.get());
    m_report = std::make_unique<CReport>(m_simulator.get(), m_client.get(), m_blackbox.get());
    if (!m_carriedReport.empty()) {
        m_report->holdBackup(m_carriedReport);
        m_carriedReport.clear();
    }
    m_flightState =
        std::make_unique<CFlightState>(&m_simulator->m_aircraftData, m_report.get(), m_sound.get());
    tSubsystems subsystems;
    subsystems.client = m_client.get();
    subsystems.simulator = m_simulator.get();
    subsystems.sound = m_sound.get();
    subsystems.cheatDetector = m_cheatDetector.get();
    subsystems.blackbox = m_blackbox.get();
    subsystems.report = m_report.get();
    subsystems.flightState = m_flightState.get();
    setSubsystems(subsystems);
    getConfig();
    repaint();
    if (autoLogin && isAutoLogin()) {
        buttonEvent(kLoginEvent);
    }
}

void CUserInterfaceXp::stopClient() {
    saveHeldReportAtStop();
    // A client made again after a failure offers a report still unsaved.
    m_carriedReport = m_report != nullptr ? m_report->heldBackupText() : std::string();
    setSubsystems(tSubsystems());
    m_flightState.reset();
    m_report.reset();
    m_blackbox.reset();
    m_cheatDetector.reset();
    m_sound.reset();
    m_mixer.reset();
    m_simulator.reset();
    m_client.reset();
}

std::unique_ptr<CUserInterface::CWidgetBatch> CUserInterfaceXp::beginWidgetBatch() {
    return std::make_unique<CWidgetBatchXp>();
}

void CUserInterfaceXp::preparePanel(const std::shared_ptr<const std::vector<tPanelText>>& panel) {
    m_preparedPanel = panel;
    m_drawnTexts.clear();
    m_drawnTexts.reserve(panel->size());
    m_drawnChars.clear();
    for (const tPanelText& piece : *panel) {
        if (piece.text.empty()) {
            continue;  // nothing to see, nothing to draw
        }
        tDrawnText drawn;
        windowColour(piece, drawn.rgb);
        drawn.dx = piece.x;
        if (piece.rightAligned) {
            drawn.dx -= static_cast<int>(XPLMMeasureString(kTextFont, piece.text.c_str(),
                                                           static_cast<int>(piece.text.size())));
        }
        drawn.dy = piece.y + m_charHeight;
        drawn.textAt = m_drawnChars.size();
        m_drawnChars.insert(m_drawnChars.end(), piece.text.begin(), piece.text.end());
        m_drawnChars.push_back('\0');
        m_drawnTexts.push_back(drawn);
    }
}

void CUserInterfaceXp::drawTextPanel(int windowLeft, int windowTop) {
    // Held, not copied: a frame allocates nothing for the panel, and the
    // pieces are measured and coloured once per panel the client publishes.
    const std::shared_ptr<const std::vector<tPanelText>>& panel = panelForFrame();
    if (panel != m_preparedPanel) {
        preparePanel(panel);
    }
    for (tDrawnText& drawn : m_drawnTexts) {
        XPLMDrawString(drawn.rgb, windowLeft + drawn.dx, windowTop - drawn.dy,
                       m_drawnChars.data() + drawn.textAt, nullptr, kTextFont);
    }
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

void CUserInterfaceXp::menuFuel() {
    if (!menuFuelFigures()) {
        return;
    }
    // X-Plane's tanks have numbers, not names: one label above each of the
    // nine fields (tanks 1 to 9, in the aircraft data's order) and the tank's
    // capacity under it.
    static const struct {
        int x, y;
    } kTankFieldTops[] = {{255, 142}, {355, 142}, {455, 142}, {255, 212}, {355, 212},
                          {455, 212}, {255, 282}, {355, 282}, {455, 282}};
    constexpr int kLabelAbove = 13;
    constexpr int kCapacityBelow = 24;
    constexpr int kLabelFont = 5;
    setTextColor(0, 0, 0);
    setTextFont(kLabelFont);
    int tank = 0;
    for (const auto& field : kTankFieldTops) {
        char text[64];
        std::snprintf(text, sizeof(text), "TANK %d", tank + 1);
        textOut(field.x, field.y - kLabelAbove, text);
        std::snprintf(text, sizeof(text), "max %.0f kg",
                      static_cast<double>(getSimulator()->m_tankCapacityKg.tank[tank]));
        textOut(field.x, field.y + kCapacityBelow, text);
        ++tank;
    }
}
