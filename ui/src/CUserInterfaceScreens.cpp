// Each screen's texts, composed into the window's text panel: the login, the
// home and option screens, the flight's information, checklist and live
// values, the fuel screens, the report pages and the version screens.
//
// A screen draws its title first, whatever state the client is in; what it
// shows below the title comes from the server records, the report and the
// simulator, and is left out while the object it needs does not exist yet.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "CClientConfig.h"
#include "CClientInterface.h"
#include "CFlightSimulatorInterface.h"
#include "CFlightState.h"
#include "CNumberText.h"
#include "CReport.h"
#include "CUserInterface.h"
#include "CUserInterfaceObject.h"
#include "QuelbyVersion.h"

namespace {

// The screens' fonts, by the window's font numbers.
constexpr int kFontBody = 0;
constexpr int kFontHead = 3;
constexpr int kFontFuelValue = 4;
constexpr int kFontFuelLabel = 5;
constexpr int kFontLarge = 6;
constexpr int kFontWeight = 7;
constexpr int kFontReportValue = 8;
constexpr int kFontLive = 10;

// The text rectangles of drawText.
constexpr int kRectangleWhole = 1;
constexpr int kRectangleHeader = 3;
constexpr int kRectangleBody = 4;
constexpr int kRectangleLeft = 5;
constexpr int kRectangleRight = 6;

// Checklist answers: a satisfied condition in green, a failed one in red.
constexpr int kSatisfied[3] = {0, 120, 0};
constexpr int kFailed[3] = {255, 0, 0};

// A line under a screen's fields that says why an entry was refused.
constexpr int kNoticeX = 200;
constexpr int kFuelNoticeY = 332;
// Between a screen's title and its text.
constexpr int kFolderNoticeY = 103;
// Below the login's own notices: why the client started again.
constexpr int kClientNoticeY = 320;
// Below the saved-report screen's text and above the login fields.
constexpr int kHeldNoticeX = 210;
constexpr int kHeldNoticeY = 160;
constexpr int kNoticeLineStep = 15;

// Report pages: label and value columns, rows 20 pixels apart.
constexpr int kReportLabelX = 215;
constexpr int kReportValueX = 295;
constexpr int kReportRightLabelX = 395;
constexpr int kReportRightValueX = 495;
constexpr int kFinanceAmountX = 385;
constexpr int kFinanceRightLabelX = 405;
constexpr int kFinanceRightValueX = 505;
constexpr int kReportFirstRowY = 120;
constexpr int kReportRowStep = 20;
// An entry of the penalties page takes two lines: its text and, below it,
// what it took off the rating and the reputation.
constexpr int kPenaltyEntryStep = 30;
constexpr int kPenaltyDeductionOffset = 15;

// The weight summary: value columns and the gap to a value's unit.
constexpr int kWeightColumnX = 420;
constexpr int kFuelColumnX = 375;
constexpr int kUnitGap = 4;
// More than this between the fuel loaded and the fuel on board, and the
// simulator did not take what the pilot set.
constexpr int kFuelToleranceKg = 2;

// The phase names the flying screen shows.
const char* const kPhaseNames[] = {"Boarding", "Taxi",   "Takeoff", "Landed", "On Block",
                                   "Climb",    "Cruise", "Descent", "Crashed"};

// The eleven tanks of the tank screen, in the aircraft data's order.
const char* const kTankNames[] = {"MAIN LEFT", "MAIN CENTER", "MAIN RIGHT", "AUX LEFT",
                                  "AUX RIGHT", "TIP LEFT",    "TIP RIGHT",  "CENTER 2",
                                  "CENTER 3",  "EXTERNAL 1",  "EXTERNAL 2"};

// printf into a string, with the "C" locale's decimal point whatever the
// simulator set.
std::string formatted(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string formatted(const char* format, ...) {
    const CNumberText::CClassicFormatting classic;
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    return text;
}

const char* trueFalse(bool value) { return value ? "true" : "false"; }

std::string simulatorVersionLine(int version) {
    switch (version) {
        case 6:
            return "Version: FS2002";
        case 7:
            return "Version: FS2004";
        case 8:
            return "Version: FSX";
        case 10:
            return "Version: X-Plane 9";
        default:
            return "Version: unknown";
    }
}

// The news arrive with Windows line ends; the panel breaks lines at '\n'.
std::string withoutCarriageReturns(std::string text) {
    std::string::size_type at = 0;
    while ((at = text.find('\r', at)) != std::string::npos) {
        text.erase(at, 1);
    }
    return text;
}

}  // namespace

void CUserInterface::folderNotice() {
    if (CClientConfig::instance()->isXPlaneFolderWritable()) {
        return;
    }
    setTextFont(kFontBody);
    setTextColor(kFailed[0], kFailed[1], kFailed[2]);
    textOut(kNoticeX, kFolderNoticeY, "Cannot write to X-Plane's folder: nothing is saved.");
    setTextColor(0, 0, 0);
}

void CUserInterface::clientNotice() {
    if (m_clientNotice.empty()) {
        return;
    }
    setTextFont(kFontBody);
    setTextColor(kFailed[0], kFailed[1], kFailed[2]);
    textOut(kNoticeX, kClientNoticeY, m_clientNotice);
    textOut(kNoticeX, kClientNoticeY + kNoticeLineStep, m_clientNoticeMore);
    setTextColor(0, 0, 0);
}

void CUserInterface::heldReportNotice() {
    if (m_pReport == nullptr || !m_pReport->isBackupHeldInMemory()) {
        return;
    }
    setTextFont(kFontBody);
    setTextColor(kFailed[0], kFailed[1], kFailed[2]);
    textOut(kHeldNoticeX, kHeldNoticeY, "The flight report could not be saved in X-Plane's folder");
    textOut(kHeldNoticeX, kHeldNoticeY + kNoticeLineStep,
            "and is lost when X-Plane quits: upload it or press \"Retry\".");
    setTextColor(0, 0, 0);
}

void CUserInterface::menuLogin() {
    formatText(2, "Login", 0);
    folderNotice();
    clientNotice();
    heldReportNotice();
    setTextFont(kFontHead);
    setTextColor(0, 0, 0);
    textOut(270, 200, "User:");
    textOut(270, 225, "Password:");
    setTextFont(kFontBody);
    // Under the login button: why the last login failed, and which website
    // the login goes to.
    if (!m_loginNotice.empty()) {
        setTextColor(kFailed[0], kFailed[1], kFailed[2]);
        textOut(270, 280, m_loginNotice);
        setTextColor(0, 0, 0);
    }
    if (m_pClient != nullptr) {
        textOut(270, 300, "connecting to " + m_pClient->getHost());
    }
}

void CUserInterface::markWarningControls() {
    // A red mark right of each shown button in the warning style.
    constexpr int kMarkRight = 4;
    constexpr int kMarkDown = 3;
    setTextFont(kFontHead);
    setTextColor(kFailed[0], kFailed[1], kFailed[2]);
    for (CUserInterfaceObject* object = m_objectManager.first(); object != nullptr;
         object = object->getNext()) {
        if (object->getStyle() == 1 && object->isShown() &&
            object->getKind() == CUserInterfaceObject::PushButton) {
            textOut(object->getX() + object->getWidth() + kMarkRight, object->getY() + kMarkDown,
                    "!");
        }
    }
    setTextColor(0, 0, 0);
}

void CUserInterface::menuMain() {
    formatText(2, "Home - News", 0);
    folderNotice();
    if (m_pClient == nullptr) {
        return;
    }
    setTextFont(kFontHead);
    setTextColor(0, 0, 0);
    switch (recordInt(m_pClient->m_pilot.Status)) {
        case 2:
            drawText("You have been supended by the Quelby Staff", kRectangleHeader);
            break;
        case 3:
            drawText("Blocked, Multiple Accounts from same location", kRectangleHeader);
            break;
        default:
            drawText(withoutCarriageReturns(recordText(m_pClient->m_news.Header)),
                     kRectangleHeader);
            setTextFont(kFontBody);
            drawText(withoutCarriageReturns(recordText(m_pClient->m_news.Text)), kRectangleBody);
            break;
    }
}

void CUserInterface::menuOptions() {
    formatText(2, "Options", 0);
    setTextColor(0, 0, 0);
    setTextFont(kFontHead);
    textOut(200, 120, "General Client Settings");
    textOut(200, 245, "In Flight Settings");
    setTextFont(kFontBody);
    textOut(210, 140, "automatic login at startup");
    textOut(210, 165, "use simple fueling method");
    textOut(210, 190, "play sounds");
    textOut(210, 265, "flight monitor tracking");
    textOut(210, 290, "display text in Flight Simulator");
}

void CUserInterface::menuFlightInfo() {
    formatText(2, "Flight Information", 0);
    if (m_pClient == nullptr) {
        return;
    }
    const CClientInterface& client = *m_pClient;
    setTextFont(kFontHead);
    setTextColor(0, 0, 0);
    if (recordInt(client.m_route.ID) <= 0) {
        drawText("Please book a flight first!", kRectangleHeader);
        return;
    }
    drawText("Route", kRectangleHeader);
    // The aircraft's head stands on the line above its block.
    drawText("\n\n\n\n\n\nAircraft", kRectangleLeft);

    setTextFont(kFontBody);
    drawText(
        formatted("Departure:\t%s\nDep.-Time:\t%s\nDistance:\t%s nm\nPassengers:\t%s",
                  recordText(client.m_route.Dep).c_str(),
                  recordText(client.m_route.DepTime).c_str(), recordText(client.m_log.Dist).c_str(),
                  recordText(client.m_log.Passengers).c_str()),
        kRectangleLeft);
    drawText(formatted("Destination:\t%s\nArr.-Time:\t%s\nDuration:\t%s min\nFuel Price:\t%0.2lf "
                       "v$ / l",
                       recordText(client.m_route.Arr).c_str(),
                       recordText(client.m_route.ArrTime).c_str(),
                       recordText(client.m_log.Duration).c_str(), client.m_fuelPrice),
             kRectangleRight);

    const tTarvex_Aircrafts& aircraft = client.m_aircraft;
    const std::string unit = m_units.getWeightUnit();
    drawText(
        formatted("\n\n\n\n\n\n\nType:\t\t%s\nEngine:\t%.2f %%\nGear:\t\t%.2f %%\nCargo:\t\t%d "
                  "%s\n",
                  recordText(aircraft.Type).c_str(), static_cast<double>(aircraft.StateEng1),
                  static_cast<double>(aircraft.StateGear),
                  m_units.getWeight(recordInt(client.m_log.Cargo)), unit.c_str()),
        kRectangleLeft);
    drawText(formatted("\n\n\n\n\n\n\nRegistration:\t%s\nFuel(tanked):\t%d %s\nHull:\t\t%.2f "
                       "%%\nValue:\t\t%d v$\n",
                       recordText(aircraft.Registration).c_str(),
                       m_units.getWeight(static_cast<int>(aircraft.Fuel)), unit.c_str(),
                       static_cast<double>(aircraft.StateHull), static_cast<int>(aircraft.Value)),
             kRectangleRight);
}

void CUserInterface::menuFly() {
    formatText(2, "Flying", 0);
    if (m_pSimulator == nullptr) {
        return;
    }
    setTextColor(0, 0, 0);
    setTextFont(kFontLarge);
    textOut(215, 120, "You can start your flight now!");
    textOut(215, 145, "The 'end flight' button will appear as soon as you land");
    setTextFont(kFontHead);
    textOut(215, 180, "Debug Information:");

    const tagAircraftData& data = m_pSimulator->m_aircraftData;
    const int phase = data.nFlightState;
    const std::string phaseName =
        phase >= 0 && phase <= 8 ? kPhaseNames[phase] : CFlightState::stateToString(phase);
    setTextFont(kFontLive);
    textOut(215, 200, "Flight State: " + phaseName);
    textOut(215, 215, std::string("Landing Lights: ") + trueFalse(data.bLandingLights));
    textOut(215, 230, std::string("Parking Brakes: ") + trueFalse(data.bParkingBrake));
    textOut(215, 245,
            formatted("Fuel: %d %s", m_units.getWeight(m_pSimulator->getTotalFuelKg()),
                      m_units.getWeightUnit().c_str()));
    textOut(375, 200,
            formatted("Speed (IAS): %d knots", static_cast<int>(data.nIndicatedAirspeedKts)));
    textOut(375, 215, formatted("Speed (GS): %d knots", static_cast<int>(data.nGroundSpeedKts)));
    textOut(375, 230,
            formatted("Altitude (above ground): %d ft", static_cast<int>(data.nHeightAglFt)));
    textOut(375, 245, formatted("Altitude (std): %d ft", static_cast<int>(data.dAltitudeFt)));

    if (m_pReport == nullptr) {
        return;
    }
    setTextFont(kFontHead);
    textOut(215, 270, "Penalties:");
    setTextFont(kFontLive);
    int lines = 0;
    for (int slot = 0; slot < CReport::kNumPenaltySlots; ++slot) {
        const struct_penalty* penalty = m_pReport->getPenalty(slot);
        if (penalty == nullptr || penalty->active == 0) {
            continue;
        }
        textOut(215, 285 + 15 * lines, "- " + recordText(penalty->text));
        ++lines;
    }
}

void CUserInterface::menuCheck() {
    formatText(2, "Checklist", 0);
    constexpr int kLabelX = 215;
    constexpr int kAnswerX = 365;
    const auto answer = [this](int y, const std::string& text, bool satisfied) {
        const int* colour = satisfied ? kSatisfied : kFailed;
        setTextColor(colour[0], colour[1], colour[2]);
        textOut(kAnswerX, y, text);
    };
    const auto label = [this](int y, const char* text) {
        setTextFont(kFontHead);
        setTextColor(0, 0, 0);
        textOut(kLabelX, y, text);
        setTextFont(kFontBody);
    };

    if (m_pSimulator != nullptr) {
        label(120, "Flight Simulator:");
        if (!m_pSimulator->isRunning()) {
            answer(120, "not started", false);
        } else {
            answer(120, simulatorVersionLine(m_pSimulator->getFlightSimulatorVersion()), true);
            const bool versionOk = m_pSimulator->checkInterfaceVersion();
            std::string interfaceLine =
                m_pSimulator->getInterfaceName() + ":" + m_pSimulator->getInterfaceVersion();
            if (!versionOk) {
                interfaceLine +=
                    " [ needed: " + std::to_string(m_pSimulator->getRequiredVersion()) + " ]";
            }
            answer(135, interfaceLine, versionOk);
        }
    }
    if (m_pClient == nullptr) {
        return;
    }
    const bool booked = recordInt(m_pClient->m_route.ID) > 0;
    label(160, "Flight booked:");
    answer(160, booked ? "yes" : "no", booked);

    if (m_pSimulator == nullptr) {
        return;
    }
    label(185, "Correct FS settings:");
    if (recordText(m_pClient->m_closestAirport) != recordText(m_pClient->m_route.Dep)) {
        answer(185, "wrong airport", false);
    } else if (m_pSimulator->checkAircraftType() >= 1) {
        answer(185, "wrong aircraft", false);
    } else {
        answer(185, "yes", true);
    }
}

void CUserInterface::menuReportRoute() {
    formatText(2, "Report - Route", 0);
    if (m_pClient == nullptr) {
        return;
    }
    const tTarvex_Reports& report = m_pClient->m_report;
    setTextColor(0, 0, 0);
    const auto row = [this](int index, const char* label, const std::string& value) {
        const int y = kReportFirstRowY + kReportRowStep * index;
        setTextFont(kFontHead);
        textOut(kReportLabelX, y, label);
        setTextFont(kFontReportValue);
        textOut(kReportValueX, y, value);
    };
    const auto rightRow = [this](int index, const char* label, const std::string& value) {
        const int y = kReportFirstRowY + kReportRowStep * index;
        setTextFont(kFontHead);
        textOut(kReportRightLabelX, y, label);
        setTextFont(kFontReportValue);
        textOut(kReportRightValueX, y, value);
    };
    row(0, "Flight-Nr.:", recordText(report.Number));
    setTextFont(kFontHead);
    textOut(kReportLabelX, kReportFirstRowY + kReportRowStep, "_______________");
    row(2, "Departure:", recordText(report.Dep));
    row(3, "Arrival:", recordText(report.Arr));
    rightRow(3, "< Planned:", recordText(report.Pln_Arr));
    row(4, "Distance:", recordText(report.Distance) + " nm");
    row(5, "Duration:", recordText(report.Hours) + " h");
    rightRow(5, "< Estimated:", recordText(m_pClient->m_log.Duration) + " min");
    row(6, "Passengers:", recordText(report.PAX));
}

void CUserInterface::menuReportFinances() {
    formatText(2, "Report - Finances", 0);
    if (m_pClient == nullptr) {
        return;
    }
    const CClientInterface& client = *m_pClient;
    const tTarvex_Reports& report = client.m_report;
    const std::string unit = m_units.getWeightUnit();
    const auto label = [this](int index, const char* text) {
        setTextFont(kFontHead);
        setTextColor(0, 0, 0);
        textOut(kReportLabelX, kReportFirstRowY + kReportRowStep * index, text);
    };
    const auto amount = [this](int index, const std::string& text) {
        setTextFont(kFontReportValue);
        textOut(kFinanceAmountX, kReportFirstRowY + kReportRowStep * index, text, true);
    };
    const auto aside = [this](int index, const char* text, const std::string& value) {
        const int y = kReportFirstRowY + kReportRowStep * index;
        setTextColor(0, 0, 0);
        setTextFont(kFontHead);
        textOut(kFinanceRightLabelX, y, text);
        setTextFont(kFontReportValue);
        textOut(kFinanceRightValueX, y, value);
    };

    const int fuelBoughtKg = recordInt(report.Fuel_Bought);
    label(0, "Fuel:");
    amount(0, formatted("-%d v$", CReport::fuelCost(fuelBoughtKg, recordDouble(report.Fuelprice))));
    aside(0, "< Amount:", formatted("%d %s", m_units.getWeight(fuelBoughtKg), unit.c_str()));

    // The report's Ticket is the route's price, 0 for a flight that did not
    // earn (a diversion or a crash).
    const int tickets = CReport::ticketMoney(recordDouble(report.Ticket), recordInt(report.PAX),
                                             client.m_aircraftType.Ticket);
    label(1, "Tickets:");
    amount(1, formatted("%d v$", tickets));

    label(2, "Crew&Catering:");
    if (report.Crew > 0) {
        setTextColor(120, 0, 0);
        amount(2, formatted("-%d v$", static_cast<int>(report.Crew)));
    } else {
        amount(2, formatted("%d v$", static_cast<int>(report.Crew)));
    }

    label(3, "Cargo:");
    amount(3, formatted("%d v$", recordInt(report.Cargo)));
    aside(3, "< Amount:",
          formatted("%d %s", m_units.getWeight(recordInt(report.Cargo_kg)), unit.c_str()));

    label(4, "Bonus:");
    amount(4, formatted("%d v$", static_cast<int>(report.Bonus)));

    setTextFont(kFontHead);
    setTextColor(0, 0, 0);
    amount(5, "________________________");

    label(6, "Profit:");
    amount(6, formatted("%d v$", static_cast<int>(report.Profit)));
    aside(6, "< Multiplier:", "x" + recordText(report.Multiplier));

    label(7, "Salary:");
    amount(7, formatted("%d v$", static_cast<int>(report.Salary)));
    aside(7, "< Percentage:",
          formatted("%d%%", static_cast<int>(client.m_virtualAirline.Pilotcharge)));
}

void CUserInterface::menuReportPenalties() {
    formatText(2, "Report - Penalties", 0);
    if (m_pReport == nullptr) {
        return;
    }
    int number = 0;
    int ratingSum = 0;
    int reputationSum = 0;
    for (int slot = 0; slot < CReport::kNumPenaltySlots; ++slot) {
        const struct_penalty* penalty = m_pReport->getPenalty(slot);
        if (penalty == nullptr || penalty->active == 0) {
            continue;
        }
        const int y = kReportFirstRowY + kPenaltyEntryStep * number;
        ++number;
        setTextFont(kFontReportValue);
        setTextColor(0, 0, 0);
        textOut(215, y, formatted("%d. %s", number, recordText(penalty->text).c_str()));
        setTextColor(120, 0, 0);
        textOut(245, y + kPenaltyDeductionOffset,
                formatted("Rating: -%d", static_cast<int>(penalty->ratingDeduction)));
        textOut(335, y + kPenaltyDeductionOffset,
                formatted("Reputation: -%d", static_cast<int>(penalty->reputationDeduction)));
        ratingSum += penalty->ratingDeduction;
        reputationSum += penalty->reputationDeduction;
    }
    setTextFont(kFontHead);
    setTextColor(0, 0, 0);
    textOut(215, 320, "Total:");
    setTextFont(kFontReportValue);
    setTextColor(120, 0, 0);
    textOut(245, 340, formatted("Rating:  -%d", ratingSum));
    textOut(335, 340, formatted("Reputation:  -%d", reputationSum));
}

void CUserInterface::menuWrongVersion() {
    formatText(2, "Wrong Version", 0);
    setTextColor(0, 0, 0);
    setTextFont(kFontHead);
    drawText("You are using an old version of Quelby", kRectangleHeader);
    if (m_pClient != nullptr) {
        setTextFont(kFontBody);
        drawText("Please visit our homepage\n" + m_pClient->getHomepage() +
                     "\nto check for the newest version of the Quelby client.\n\nThank you for "
                     "testing our software.",
                 kRectangleBody);
    }
    drawVersions();
}

void CUserInterface::menuUploadReport() {
    setTextColor(0, 0, 0);
    setTextFont(kFontBody);
    drawText(
        "Your most recent flight report could not be uploaded to the Quelby website. Please try "
        "again using the 'Upload report' button below.",
        kRectangleWhole);
    heldReportNotice();
}

void CUserInterface::menuUpdate() {
    formatText(2, "Update", 0);
    setTextColor(0, 0, 0);
    setTextFont(kFontHead);
    textOut(215, 120, "Downloading update...");
    drawVersions();
}

void CUserInterface::drawVersions() {
    setTextColor(0, 0, 0);
    setTextFont(kFontHead);
    textOut(26, 87, "Version");
    setTextFont(kFontFuelLabel);
    textOut(26, 110, formatted("Your Version: %s", kClientVersion));
    if (m_pClient != nullptr) {
        textOut(26, 130,
                formatted("Actual Version: %s", recordText(m_pClient->m_versions[0]).c_str()));
    }
}

bool CUserInterface::menuFuelFigures() {
    formatText(2, "Fuel Up", 0);
    if (m_pSimulator == nullptr || m_pClient == nullptr) {
        return false;
    }
    if (m_bFuelScreenActive) {
        readEnteredFuel();
    }
    const int initialKg = getInitialFuelKg();
    const int totalKg = m_pSimulator->getTotalFuelKg();
    const int addedKg = totalKg - initialKg;
    // Defuelling costs nothing.
    const int cost =
        std::max(0, static_cast<int>(CReport::fuelCost(addedKg, m_pClient->m_fuelPrice)));

    setTextColor(0, 0, 0);
    setTextFont(kFontHead);
    textOut(26, 87, "Fuel...");
    setTextFont(kFontFuelLabel);
    textOut(26, 110, "...initially:");
    textOut(26, 130, "...loaded:");
    textOut(26, 150, "...added:");
    textOut(26, 170, "...price:");
    textOut(26, 190, "...total:");
    setTextFont(kFontFuelValue);
    textOut(160, 110, formatted("%d kg", initialKg), true);
    textOut(160, 130, formatted("%d kg", totalKg), true);
    textOut(160, 150, formatted("%d kg", addedKg), true);
    textOut(172, 170, formatted("%0.2lf v$ / l", m_pClient->m_fuelPrice), true);
    textOut(160, 190, formatted("%d v$", cost), true);
    return true;
}

void CUserInterface::fuelNoticeLine() {
    if (m_fuelNotice.empty()) {
        return;
    }
    setTextFont(kFontBody);
    setTextColor(kFailed[0], kFailed[1], kFailed[2]);
    textOut(kNoticeX, kFuelNoticeY, m_fuelNotice);
    setTextColor(0, 0, 0);
}

void CUserInterface::menuFuel() {
    if (!menuFuelFigures()) {
        return;
    }
    fuelNoticeLine();
    // Each tank's name above its field and its capacity below, wherever the
    // window put the field; a field the window does not have is left out.
    setTextColor(0, 0, 0);
    setTextFont(kFontFuelLabel);
    for (std::size_t tank = 0; tank < kTankFields.size(); ++tank) {
        const int field = kTankFields[tank];
        if (m_objectManager.getObjectWithId(field) == nullptr) {
            continue;
        }
        const int x = m_objectManager.getX(field);
        const int y = m_objectManager.getY(field);
        textOut(x, y - 13, kTankNames[tank]);
        textOut(x, y + 24,
                formatted("max %.0f kg",
                          static_cast<double>(m_pSimulator->m_tankCapacityKg.tank[tank])));
    }
}

void CUserInterface::menuFuelSummary() {
    const bool confirm = getLayer() == kLayerConfirmFlight;
    formatText(2, confirm ? "Confirm Flight" : "Fuel Up", 0);
    if (m_pSimulator == nullptr || m_pClient == nullptr) {
        return;
    }
    readEnteredFuel();
    if (!confirm) {
        fuelNoticeLine();
    }
    const CClientInterface& client = *m_pClient;
    const int totalKg = m_pSimulator->getTotalFuelKg();
    const int initialKg = getInitialFuelKg();
    const int addedKg = totalKg - initialKg;
    const int passengerCount = recordInt(client.m_log.Passengers);
    const int passengersKg = passengerCount * kPassengerKg;
    const int cargo = recordInt(client.m_log.Cargo);
    const int dryKg = client.m_aircraftType.DOW;
    const int maxTakeOffKg = client.m_aircraftType.MTOW;
    const int takeOffKg = totalKg + dryKg + passengersKg + cargo;
    const std::string unit = m_units.getWeightUnit();

    setTextColor(0, 0, 0);
    setTextFont(kFontLarge);
    const char* const labels[] = {"Dry Operating Weight:", "Passengers:",          "Cargo:",
                                  "Initial Fuel:",         "Additional Fuel:",     "Total Fuel:",
                                  "Take Off Weight:",      "Max Take Off Weight:", "Over Weight:"};
    int y = 110;
    for (const char* label : labels) {
        textOut(200, y, label);
        y += 25;
    }
    textOut(305, 135, formatted("x %d %s", m_units.getWeight(kPassengerKg), unit.c_str()));

    setTextFont(kFontWeight);
    // A weight in the pilot's unit, right-aligned at x, its unit beside it.
    const auto weight = [&](int x, int row, int kg) {
        textOut(x, row, formatted("%d", m_units.getWeight(kg)), true);
        textOut(x + kUnitGap, row, unit);
    };
    weight(kWeightColumnX, 110, dryKg);
    textOut(300, 135, formatted("%d", passengerCount), true);
    weight(kWeightColumnX, 135, passengersKg);
    weight(kWeightColumnX, 160, cargo);
    weight(kFuelColumnX, 185, initialKg);
    if (confirm) {
        weight(kFuelColumnX, 210, addedKg);
    } else {
        // The additional fuel is typed into the field at this row.
        textOut(kFuelColumnX + kUnitGap, 210, unit);
    }
    textOut(400, 210, formatted("%0.2lf v$ / l", client.m_fuelPrice));
    weight(kWeightColumnX, 235, totalKg);
    weight(kWeightColumnX, 260, takeOffKg);
    weight(kWeightColumnX, 285, maxTakeOffKg);
    if (takeOffKg <= maxTakeOffKg) {
        textOut(kWeightColumnX, 310, "0", true);
        textOut(kWeightColumnX + kUnitGap, 310, unit);
    } else {
        setTextColor(255, 0, 0);
        weight(kWeightColumnX, 310, takeOffKg - maxTakeOffKg);
    }

    if (confirm && std::abs(totalKg - getFuelLoadedKg()) > kFuelToleranceKg) {
        setTextColor(255, 0, 0);
        setTextFont(kFontLarge);
        textOut(202, 335, "Warning: Unexpected fuel value! Unable to refuel aircraft!");
    }
}
