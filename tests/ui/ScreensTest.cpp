// The screens' texts as the window would draw them: the report pages' figures,
// the weight summary's limits and warning, the pilot's weight unit, the fuel
// cost and the screens of a client that has not started yet.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "CClientInterface.h"
#include "CIniParser.h"
#include "CReport.h"
#include "CUserInterface.h"
#include "CUserInterfaceObject.h"
#include "FakeSimulator.h"
#include "TestSupport.h"

namespace {

// An entry field that keeps what is typed into it.
class Field : public CUserInterfaceObject {
public:
    explicit Field(int id)
        : CUserInterfaceObject(0, 0, 65, 25, TextField, "", 0, nullptr, id, 11, 0) {}
    const char* getText() override { return m_text.c_str(); }
    void setText(const char* text) override { m_text = text; }
    double getValue() override { return std::atof(m_text.c_str()); }

private:
    std::string m_text;
};

// The platform-neutral window with the fuel entry fields.
class Window : public CUserInterface {
public:
    Window() {
        for (int id = 103; id <= 114; ++id) addObject(std::make_unique<Field>(id));
    }
};

const tPanelText kNone{};

class ScreensTest : public quelby_test::FolderTest {
protected:
    void SetUp() override {
        FolderTest::SetUp();
        client = std::make_unique<CClientInterface>();
        report = std::make_unique<CReport>(&simulator, client.get());
        ui = std::make_unique<Window>();
        simulator.setBookedFlight(client.get());
        CUserInterface::tSubsystems subsystems;
        subsystems.client = client.get();
        subsystems.simulator = &simulator;
        subsystems.report = report.get();
        ui->setSubsystems(subsystems);
    }
    void TearDown() override {
        ui.reset();
        report.reset();
        client.reset();
        FolderTest::TearDown();
    }
    void refresh() {
        ui->refreshText(true);
        texts = ui->publishedText();
    }
    void show(int layer) {
        ui->setMenuLayer(layer);
        refresh();
    }
    const tPanelText& at(int x, int y) const {
        for (const tPanelText& piece : texts)
            if (piece.x == x && piece.y == y) return piece;
        return kNone;
    }
    bool shows(const std::string& text) const {
        for (const tPanelText& piece : texts)
            if (piece.text == text) return true;
        return false;
    }
    // A booked load of 100 passengers and 2000 kg of cargo on a type of
    // 40000 kg dry and 70000 kg at most; fuel in tank 1, confirmed by "Fuel Up!".
    void fuelUp(float fuelKg) {
        setRecordText(client->m_log.Passengers, "100");
        setRecordText(client->m_log.Cargo, "2000");
        client->m_aircraftType.DOW = 40000;
        client->m_aircraftType.MTOW = 70000;
        simulator.m_tankCapacityKg.tank[0] = 30000.0f;
        simulator.m_tankQuantityKg.tank[0] = fuelKg;
        show(CUserInterface::kLayerFuelTanks);
        ui->buttonEvent(15);
        refresh();
    }

    quelby_test::FakeSimulator simulator;
    std::unique_ptr<CClientInterface> client;
    std::unique_ptr<CReport> report;
    std::unique_ptr<Window> ui;
    std::vector<tPanelText> texts;
};

TEST_F(ScreensTest, PenaltiesPage_listsOnlyActiveSlots_numberedAndSummed) {
    for (int kind : {0, 1, 4, 8}) report->addPenalty(kind);
    report->deletePenalty(0);
    show(CUserInterface::kLayerReportPenalties);

    EXPECT_FALSE(shows("1. overspeed - taxi"));
    const struct {
        int x, y;
        const char* text;
        int red;
    } expected[] = {
        {215, 120, "1. wrong airport", 0}, {245, 135, "Rating: -15", 120},
        {335, 135, "Reputation: -5", 120}, {215, 150, "2. parking brakes", 0},
        {245, 165, "Rating: -5", 120},     {215, 180, "3. exhausted fuel supply", 0},
        {335, 195, "Reputation: -5", 120}, {215, 320, "Total:", 0},
        {245, 340, "Rating:  -35", 120},   {335, 340, "Reputation:  -10", 120},
    };
    for (const auto& e : expected) {
        EXPECT_EQ(at(e.x, e.y).text, e.text) << "at " << e.x << "," << e.y;
        EXPECT_EQ(at(e.x, e.y).red, e.red) << e.text;
    }
}

TEST_F(ScreensTest, FinancesPage_showsTheReportsAmounts) {
    const struct {
        int unit;
        double ticketFactor;
        const char* ticketPrice;
        const char* cargoKg;
        const char* tickets;
        const char* fuelAmount;
        const char* cargoAmount;
    } cases[] = {
        {0, 1.2, "150", "3000", "18000 v$", "1000 kg", "3000 kg"},
        {0, 0.0, "150", "3000", "15000 v$", "1000 kg", "3000 kg"},  // no factor counts as 1
        {1, 1.2, "150", "3000", "18000 v$", "2204 lbs", "6613 lbs"},
        // Figures from the website that no int holds once multiplied: no
        // undefined conversion, the nearest figure or 0.
        {1, 1.2, "1e12", "2000000000", "0 v$", "2204 lbs", "2147483647 lbs"},
    };
    tTarvex_Reports& r = client->m_report;
    setRecordText(r.Fuel_Bought, "1000");
    setRecordText(r.Fuelprice, "1.25");
    setRecordText(r.PAX, "100");
    setRecordText(r.Cargo, "2500");
    setRecordText(r.Multiplier, "2");
    r.Crew = 600;
    r.Bonus = 1234;
    r.Profit = 15000;
    r.Salary = 2000;
    client->m_virtualAirline.Pilotcharge = 12;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.tickets);
        ui->getUnits().setWeightUnit(c.unit);
        client->m_aircraftType.Ticket = c.ticketFactor;
        setRecordText(r.Ticket, c.ticketPrice);
        setRecordText(r.Cargo_kg, c.cargoKg);
        show(CUserInterface::kLayerReportFinances);
        EXPECT_EQ(at(385, 120).text, "-1542 v$");  // 1000 kg at 1.25 v$ per litre
        EXPECT_TRUE(at(385, 120).rightAligned);
        EXPECT_EQ(at(505, 120).text, c.fuelAmount);
        EXPECT_EQ(at(385, 140).text, c.tickets);
        EXPECT_EQ(at(385, 160).text, "-600 v$");
        EXPECT_EQ(at(385, 160).red, 120);
        EXPECT_EQ(at(385, 180).text, "2500 v$");
        EXPECT_EQ(at(505, 180).text, c.cargoAmount);
        EXPECT_EQ(at(385, 200).text, "1234 v$");
        EXPECT_EQ(at(385, 240).text, "15000 v$");
        EXPECT_EQ(at(505, 240).text, "x2");
        EXPECT_EQ(at(385, 260).text, "2000 v$");
        EXPECT_EQ(at(505, 260).text, "12%");
    }
}

TEST_F(ScreensTest, ConfirmFlight_overWeightIsRedOnlyAboveTheMaximum) {
    const struct {
        float fuelKg;
        int unit;
        const char* overWeight;
        int red;
    } cases[] = {
        {17800.0f, 0, "0", 0},      // 40000 + 100 x 102 + 2000 + 17800 = 70000
        {17801.0f, 0, "1", 255},    // one kg above
        {17900.0f, 1, "220", 255},  // 100 kg in pounds
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.overWeight);
        ui->getUnits().setWeightUnit(c.unit);
        fuelUp(c.fuelKg);
        EXPECT_EQ(at(420, 310).text, c.overWeight);
        EXPECT_EQ(at(420, 310).red, c.red);
    }
    EXPECT_EQ(at(420, 285).text, "154323");  // 70000 kg
    EXPECT_TRUE(shows("x 224 lbs"));
}

TEST_F(ScreensTest, ConfirmFlight_warnsWhenTheFuelMovedMoreThan2Kg) {
    const struct {
        const char* typed;
        bool warning;
    } cases[] = {{"5000", false}, {"5002", false}, {"4998", false}, {"5003", true}, {"4997", true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.typed);
        fuelUp(5000.0f);
        ui->getObjectManager().setText(105, c.typed);
        refresh();
        EXPECT_EQ(at(202, 335).text,
                  c.warning ? "Warning: Unexpected fuel value! Unable to refuel aircraft!" : "");
        EXPECT_EQ(at(202, 335).red, c.warning ? 255 : 0);
    }
}

TEST_F(ScreensTest, TankScreen_costOfTheFuelAdded_neverBelowZero) {
    const struct {
        float tankKg;
        const char* added;
        const char* cost;
    } cases[] = {{6000.0f, "1000 kg", "987 v$"}, {4000.0f, "-1000 kg", "0 v$"}};
    client->m_aircraft.Fuel = 5000;
    client->m_fuelPrice = 0.8;
    simulator.m_tankCapacityKg.tank[0] = 8000.0f;
    ui->getUnits().setWeightUnit(1);
    for (const auto& c : cases) {
        simulator.m_tankQuantityKg.tank[0] = c.tankKg;
        show(CUserInterface::kLayerFuelTanks);
        EXPECT_EQ(at(160, 150).text, c.added);
        EXPECT_EQ(at(160, 190).text, c.cost);
    }
    EXPECT_TRUE(shows("max 8000 kg")) << "capacities in kg whatever the pilot's unit";
}

TEST_F(ScreensTest, Home_showsTheNewsUnlessThePilotIsSuspendedOrBlocked) {
    const struct {
        const char* status;
        const char* header;
    } cases[] = {{"1", "Summer schedule"},
                 {"2", "You have been supended by the Quelby Staff"},
                 {"3", "Blocked, Multiple Accounts from same location"}};
    setRecordText(client->m_news.Header, "Summer schedule");
    setRecordText(client->m_news.Text, "New routes");
    for (const auto& c : cases) {
        setRecordText(client->m_pilot.Status, c.status);
        show(CUserInterface::kLayerHome);
        EXPECT_EQ(at(210, 120).text, c.header);
        EXPECT_EQ(shows("New routes"), std::strcmp(c.status, "1") == 0) << c.status;
    }
}

TEST_F(ScreensTest, FlightInformation_withoutBookedRoute_asksForABooking) {
    for (const char* id : {"", "0", "-3"}) {
        setRecordText(client->m_route.ID, id);
        show(CUserInterface::kLayerFlightInfo);
        EXPECT_EQ(at(210, 120).text, "Please book a flight first!") << "r_ID '" << id << "'";
        EXPECT_EQ(texts.size(), 2u);
    }
    setRecordText(client->m_route.ID, "17");
    show(CUserInterface::kLayerFlightInfo);
    EXPECT_EQ(at(210, 120).text, "Route");
}

// A proportional font: narrow blanks and lower case, wide capitals.
std::array<int, CUserInterface::kMeasuredChars> proportionalWidths() {
    std::array<int, CUserInterface::kMeasuredChars> widths{};
    for (int i = 0; i < CUserInterface::kMeasuredChars; ++i) {
        const char c = static_cast<char>(CUserInterface::kFirstMeasuredChar + i);
        widths[i] = c == ' ' ? 3 : (c >= 'A' && c <= 'Z') ? 8 : 5;
    }
    return widths;
}

TEST_F(ScreensTest, FlightInformation_columnsLineUp_whateverTheTabsAndTheLabelWidths) {
    ui->setCharWidths(proportionalWidths());
    setRecordText(client->m_route.ID, "17");
    setRecordText(client->m_route.Dep, "EDDF");
    setRecordText(client->m_route.Arr, "EDDS");
    setRecordText(client->m_log.Cargo, "2000");
    setRecordText(client->m_aircraft.Type, "A320");
    setRecordText(client->m_aircraft.Registration, "D-AQLB");
    client->m_aircraft.StateEng1 = 99.0f;
    client->m_aircraft.Fuel = 3000;
    show(CUserInterface::kLayerFlightInfo);
    // "Type:" and "Cargo:" take two tabs, "Engine:" and "Registration:" one:
    // every value of a half starts at the same place.
    const auto xOf = [&](const std::string& text) {
        for (const tPanelText& piece : texts)
            if (piece.text == text) return piece.x;
        ADD_FAILURE() << "\"" << text << "\" is not shown";
        return -1;
    };
    const int leftValueX = xOf("A320");
    const int rightValueX = xOf("D-AQLB");
    ASSERT_GT(leftValueX, 210);
    ASSERT_GT(rightValueX, 387);
    for (const char* value : {"EDDF", "99.00 %", "2000 kg"})
        EXPECT_EQ(xOf(value), leftValueX) << value;
    for (const char* value : {"EDDS", "3000 kg"}) EXPECT_EQ(xOf(value), rightValueX) << value;
    // Nothing of the left half runs into the right one.
    for (const tPanelText& piece : texts) {
        if (piece.x < 387) {
            EXPECT_LE(piece.x + ui->textWidth(piece.text), 387) << piece.text;
        }
    }
}

TEST_F(ScreensTest, SavedReportText_wrapsAtBlanksWithinTheTextArea) {
    ui->setCharWidths(proportionalWidths());
    show(CUserInterface::kLayerSavedReport);
    std::string joined;
    for (const tPanelText& piece : texts) {
        EXPECT_EQ(piece.x, 210);
        EXPECT_LE(ui->textWidth(piece.text), 565 - 210) << piece.text;
        EXPECT_NE(piece.text.front(), ' ');
        joined += (joined.empty() ? "" : " ") + piece.text;
    }
    EXPECT_GE(texts.size(), 2u);
    EXPECT_EQ(joined,
              "Your most recent flight report could not be uploaded to the Quelby website. Please "
              "try again using the 'Upload report' button below.");
}

// A report that could not be saved is held in memory: the login and
// saved-report screens say so in red, within the text area, and every way
// of trying again (the "Retry" button, the next login, the stop) saves it
// once the folder takes files again; then the notice goes.
TEST_F(ScreensTest, ReportHeldInMemory_saidInRed_untilRetryLoginOrStopSavesIt) {
    ui->setCharWidths(proportionalWidths());
    // The login goes nowhere: only its try to save the report counts here.
    client->setHost("127.0.0.1:1");
    const quelby_test::SavePausesCounted pauses;
    const std::string reportFile = CIniParser::instance()->getBackupReportFilename();
    const std::string notice = "The flight report could not be saved in X-Plane's folder";
    const struct {
        const char* way;
        std::function<void()> tryAgain;
    } ways[] = {
        {"Retry", [&] { ui->buttonEvent(CUserInterface::kRetrySaveButton); }},
        {"the next login", [&] { ui->buttonEvent(3); }},
        {"the stop", [&] { ui->saveHeldReportAtStop(); }},
    };
    for (const auto& w : ways) {
        SCOPED_TRACE(w.way);
        report->deleteBackup();
        quelby_test::FileHeld held(reportFile);
        ASSERT_EQ(report->createBackup(), 0);
        ASSERT_TRUE(report->isBackupHeldInMemory());
        for (int layer : {CUserInterface::kLayerSavedReport, CUserInterface::kLayerLogin}) {
            show(layer);
            ASSERT_TRUE(shows(notice)) << "layer " << layer;
            for (const tPanelText& piece : texts) {
                // The folder's own notice stands above, at its own place.
                const bool red = piece.red == 255 && piece.green == 0;
                if (!red || piece.text.rfind("Cannot write", 0) == 0) continue;
                EXPECT_GE(piece.x, 210) << piece.text;
                EXPECT_LE(piece.x + ui->textWidth(piece.text), 565) << piece.text;
            }
        }
        // Still held: the report stays in memory, and so does the notice.
        w.tryAgain();
        EXPECT_TRUE(report->isBackupHeldInMemory());

        held.release();
        w.tryAgain();
        EXPECT_FALSE(report->isBackupHeldInMemory());
        EXPECT_TRUE(report->checkBackupCode());
        show(CUserInterface::kLayerSavedReport);
        EXPECT_FALSE(shows(notice));
    }
}

TEST_F(ScreensTest, Checklist_namesTheFirstFailedSetting) {
    const struct {
        const char* closest;
        int engines;
        const char* answer;
        int red;
    } cases[] = {{"EDDF", 2, "yes", 0},
                 {"EDDM", 2, "wrong airport", 255},
                 {"EDDF", 1, "wrong aircraft", 255},
                 {"EDDM", 1, "wrong airport", 255}};
    setRecordText(client->m_route.ID, "17");
    setRecordText(client->m_route.Dep, "EDDF");
    client->m_aircraftType.Engines = 2;
    for (const auto& c : cases) {
        std::strcpy(client->m_closestAirport, c.closest);
        simulator.m_aircraftData.nNumEngines = c.engines;
        show(CUserInterface::kLayerChecklist);
        EXPECT_EQ(at(365, 185).text, c.answer);
        EXPECT_EQ(at(365, 185).red, c.red) << c.answer;
    }
    EXPECT_EQ(at(365, 160).text, "yes");
}

TEST(ScreensWithoutClientTest, PanelHeldForDrawing_staysAsItWas_whileTheNextIsPublished) {
    CUserInterface ui;
    EXPECT_TRUE(ui.publishedPanel()->empty()) << "nothing drawn before the first screen";
    ui.setMenuLayer(CUserInterface::kLayerHome);
    ui.refreshText(true);
    // A frame holds the panel while the client composes the next screen.
    const auto held = ui.publishedPanel();
    ASSERT_EQ(held->size(), 1u);
    ui.setMenuLayer(CUserInterface::kLayerChecklist);
    ui.refreshText(true);
    EXPECT_EQ(held->front().text, "Home - News");
    EXPECT_EQ(ui.publishedPanel()->front().text, "Checklist");
    EXPECT_NE(ui.publishedPanel(), held);
    EXPECT_EQ(ui.publishedText().front().text, "Checklist");
}

TEST(ScreensWithoutClientTest, LiveScreenRecomposedUnchanged_keepsItsPanel_andTheFrameSeesEachChange) {
    CUserInterface ui;
    ui.setMenuLayer(CUserInterface::kLayerHome);
    ui.refreshText(true);
    const auto first = ui.panelForFrame();
    ASSERT_EQ(first, ui.publishedPanel());
    // Nothing on the screen changed: the frames keep the panel they prepared.
    ui.refreshText(true);
    EXPECT_EQ(ui.publishedPanel(), first) << "an unchanged screen was published again";
    EXPECT_EQ(ui.panelForFrame(), first);
    // A change reaches the very next frame, and so does the one after it.
    ui.setMenuLayer(CUserInterface::kLayerChecklist);
    ui.refreshText(true);
    EXPECT_NE(ui.publishedPanel(), first);
    EXPECT_EQ(ui.panelForFrame()->front().text, "Checklist");
    ui.setMenuLayer(CUserInterface::kLayerHome);
    ui.refreshText(true);
    EXPECT_EQ(ui.panelForFrame()->front().text, "Home - News");
}

TEST(ScreensWithoutClientTest, DrawOnlyTheirTitle) {
    const struct {
        int layer;
        const char* title;
    } cases[] = {{1, "Home - News"},        {3, "Flight Information"}, {5, "Flying"},
                 {6, "Checklist"},          {7, "Report - Route"},     {8, "Report - Finances"},
                 {9, "Report - Penalties"}, {11, "Fuel Up"},           {13, "Fuel Up"},
                 {14, "Confirm Flight"}};
    CUserInterface ui;
    for (const auto& c : cases) {
        ui.setMenuLayer(c.layer);
        ui.refreshText(true);
        const std::vector<tPanelText> texts = ui.publishedText();
        ASSERT_EQ(texts.size(), 1u) << "layer " << c.layer;
        EXPECT_EQ(texts[0].text, c.title);
        EXPECT_EQ(texts[0].font, 3);
        EXPECT_EQ(texts[0].blue, 255);
    }
}

}  // namespace
