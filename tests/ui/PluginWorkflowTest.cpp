// Whole flights through the pilot's window of the real plug-in: login, the
// checks before the flight, fuelling, the flight flown by the test bed's
// flight model, the report pages, and what the stand-in website received.

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "CruiseRefueller.h"
#include "FilesRefused.h"
#include "PilotAtTheWindow.h"

namespace {

using quelby_test::PilotAtTheWindow;
using quelby_test::readFile;
using quelby_test::writeFile;
using namespace std::chrono_literals;

std::string field(const testbed::ReceivedRequest& request, const std::string& key) {
    for (const auto& [name, value] : request.fields)
        if (name == key) return value;
    return "<missing>";
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// The texts of the flight's event log as the website received them, each
// followed by "|".
std::string eventTexts(const testbed::Website& site) {
    std::string texts;
    for (const auto& request : site.requests("writeeventlog"))
        texts += field(request, "text") + "|";
    return texts;
}

// Waits until the website has every one of these events; the log's entries
// go up one by one after the report.
::testing::AssertionResult receivedEvents(const testbed::Website& site,
                                          std::initializer_list<const char*> texts) {
    const auto all = [&] {
        const std::string events = "|" + eventTexts(site);
        for (const char* text : texts)
            if (!contains(events, "|" + std::string(text) + "|")) return false;
        return true;
    };
    if (testbed::Simulator::instance().runUntil(all, 10s)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "the event log holds: " << eventTexts(site);
}

TEST_F(PilotAtTheWindow, BookedFlight_fromLoginToTheReportPagesAndHome) {
    // Every answer arrives in many small blocks, as over a real network.
    site.setAnswerPieces(256, 3ms);
    writeSettings();
    parkAtGate();
    loadPlugin();
    logIn();
    ASSERT_TRUE(waitForText("Home - News"));
    EXPECT_TRUE(draws("Welcome aboard Quelby Air"));
    startBookedFlight();
    flyToTheGate();
    for (const char* phase : {"Takeoff", "Landed", "On Block"}) {
        EXPECT_TRUE(said(std::string("FlightState - ") + phase)) << phase;
    }
    press("End flight");
    ASSERT_TRUE(waitForText("Report - Route"));
    EXPECT_TRUE(draws("QLB101"));
    press("Next");
    ASSERT_TRUE(waitForText("Report - Finances"));
    press("Next");
    // A by-the-book flight has no penalties: the pages end and the pilot is
    // logged in again at home.
    ASSERT_TRUE(waitForText("Home - News"));

    ASSERT_EQ(site.requests("writereport").size(), 1u);
    const auto report = firstReport();
    const std::pair<const char*, const char*> expected[] = {{"Dep", "EDDF"},
                                                            {"Arr", "EDDS"},
                                                            {"PAX", "120"},
                                                            {"Cargo_kg", "2000"},
                                                            {"FlightState", "On Block"},
                                                            {"Rating", "100"},
                                                            {"Interface", "XPLM"},
                                                            {"SimVersion", "XP9"}};
    for (const auto& [key, value] : expected) EXPECT_EQ(field(report, key), value) << key;
    EXPECT_LT(std::stoi(field(report, "VS")), 0) << "the touchdown was not measured";
    EXPECT_GT(std::stoi(field(report, "Fuel_TakeOff")), std::stoi(field(report, "Fuel_Land")));
    // The rule on the last state fires in the pass that ended the flight.
    EXPECT_TRUE(receivedEvents(site, {"Touchdown", "On block"}));
    EXPECT_FALSE(contains(eventTexts(site), "Penalty")) << eventTexts(site);
}

TEST_F(PilotAtTheWindow, FailedUpload_keepsTheReport_refusesATamperedCopy_uploadsTheSealedOne) {
    site.injectFailure("writereport", testbed::Failure::httpError(503), 1);
    startFromTheGate();
    flyToTheGate();
    press("End flight");
    // The upload failed: the client logs in again and offers the kept report.
    ASSERT_TRUE(window.waitForTextBeginning("Your most recent flight report could not be", 20s))
        << window.drawnTextsLine();
    EXPECT_TRUE(buttonShown("Show saved Report"));
    EXPECT_TRUE(buttonShown("Delete saved Report"));
    ASSERT_EQ(site.requests("writereport").size(), 1u);
    const std::string reportFile = root.file("quelby_report.ini");
    const std::string sealed = readFile(reportFile);
    ASSERT_TRUE(contains(sealed, "Tarvex_Reports"));

    // The simulator restarts with a report file changed by hand, then with
    // the sealed one: only that one is uploaded, and then it is gone.
    const auto restartAndUpload = [&](const std::string& contents) {
        sim().unloadPlugin();
        writeFile(reportFile, contents);
        loadPlugin();
        logIn();
        press("Upload saved Report");
    };
    restartAndUpload(quelby_test::tampered(sealed));
    ASSERT_TRUE(sim().runUntil(
        [&] {
            return logged(
                "Backed up report could not be uploaded. Report has been illegally modified.");
        },
        10s));
    EXPECT_EQ(site.requests("writereport").size(), 1u) << "a tampered report was uploaded";

    restartAndUpload(sealed);
    ASSERT_TRUE(waitForText("Home - News", 30s));
    const auto reports = site.requests("writereport");
    ASSERT_EQ(reports.size(), 2u);
    EXPECT_EQ(field(reports[1], "ManualUpload"), "1");
    EXPECT_EQ(field(reports[1], "Arr"), "EDDS");
    EXPECT_FALSE(contains(readFile(reportFile), "Tarvex_Reports"));
}

TEST_F(PilotAtTheWindow, ExitDuringTheFlight_resetsTheFlightAtTheWebsite) {
    startFromTheGate();
    model->holdAtGate(false);
    sim().runFrames(60);
    press("Exit");
    ASSERT_TRUE(waitForRequests("resetflight", 1, 10s));
    ASSERT_TRUE(sim().runUntil([&] { return logged("Aborting flight in progress!"); }, 10s));
    EXPECT_TRUE(site.requests("writereport").empty());
}

TEST_F(PilotAtTheWindow, Crash_opensTheCommentScreen_andReportsTheCrash) {
    startFromTheGate();
    model->holdAtGate(false);
    ASSERT_TRUE(sim().runUntil([&] { return model->phase() == testbed::FlightPhase::Climb; }, 60s));
    model->crash();
    // The comment screen draws nothing; its button ends the flight.
    ASSERT_TRUE(sim().runUntil([&] { return !draws("Flying"); }, 20s));
    press("End flight");
    const auto report = firstReport();
    const std::string reasons = field(report, "Ratingreasons");
    EXPECT_TRUE(contains(reasons, "crash")) << reasons;
    EXPECT_FALSE(contains(reasons, "parking"))
        << "a crash does not go through the end-of-flight penalties: " << reasons;
    EXPECT_EQ(field(report, "a_Fuel"), "0");
    EXPECT_TRUE(receivedEvents(site, {"Crashed", "Penalty - crash"}));
}

TEST_F(PilotAtTheWindow, DivertAndLandElsewhere_noWrongAirportPenalty_butTheParkingBrakeCounts) {
    book("120", "2000", "EDDM");
    startFromTheGate(/*forgetParkingBrake=*/true);
    press("Divert!");
    ASSERT_TRUE(
        sim().runUntil([&] { return said("Emergency - you can now land at any airport!"); }, 10s));
    flyToTheGate();
    press("End flight");
    const auto report = firstReport();
    const std::string reasons = field(report, "Ratingreasons");
    EXPECT_FALSE(contains(reasons, "wrong airport")) << reasons;
    EXPECT_TRUE(contains(reasons, "parking brakes")) << reasons;
    EXPECT_EQ(field(report, "EmergencyLanding"), "1");
    EXPECT_EQ(field(report, "Arr"), "EDDS");
    // Penalties go into the event log; "End flight" pressed by hand still
    // lets the recorder see the flight on block.
    EXPECT_TRUE(receivedEvents(site, {"Penalty - parking brakes not enabled", "On block"}));
}

TEST_F(PilotAtTheWindow, Overweight_atConfirmFlight_eachChangeIsAWayOut) {
    // 300 passengers and 5 t of cargo on the A320: 3.2 t over with the
    // initial 3 t of fuel. The simple fuel screen takes the extra fuel.
    book("300", "5000");
    writeSettings("SimpleFuel = 1\n");
    parkAtGate();
    loadPlugin();
    logIn();
    // The buttons at 445,135, 445,160 and 445,235 take passengers, cargo and
    // fuel off.
    const auto toConfirmFlight = [&](const std::string& extraFuelKg) {
        press("Fly!");
        ASSERT_TRUE(waitForText("Fuel Up"));
        if (!extraFuelKg.empty()) type(313, 205, extraFuelKg);
        press("Fuel Up!");
        ASSERT_TRUE(waitForText("Confirm Flight"));
        ASSERT_TRUE(sim().runUntil([&] { return buttonShownAt(445, 135); }, 10s));
        EXPECT_FALSE(buttonShown("Fly!")) << "an overweight aircraft was offered the start";
    };
    const auto backHome = [&](bool fromConfirmFlight) {
        if (fromConfirmFlight) {
            press("Back");
            ASSERT_TRUE(sim().runUntil([&] { return buttonShown("Fuel Up!"); }, 10s));
        }
        press("Back");
        ASSERT_TRUE(waitForText("Home - News"));
    };
    const auto offersTheStart = [&] {
        return sim().runUntil([&] { return buttonShown("Fly!"); }, 10s);
    };
    ASSERT_TRUE(waitForText("Home - News"));

    // Fewer passengers: (78000 - 42600 - 5000 - 3000) / 102 = 268 fit.
    toConfirmFlight("");
    pressAt(445, 135);
    ASSERT_TRUE(offersTheStart());
    EXPECT_FALSE(buttonShownAt(445, 160));
    EXPECT_FALSE(buttonShownAt(445, 235));
    backHome(true);

    // Less cargo: 78000 - 42600 - 300 x 102 - 3000 = 1800 kg fit.
    toConfirmFlight("");
    pressAt(445, 160);
    ASSERT_TRUE(offersTheStart());
    EXPECT_FALSE(buttonShownAt(445, 135));
    backHome(true);

    // Less fuel cannot help when the load alone is too heavy: back to the
    // fuel screen, no extra fuel.
    toConfirmFlight("");
    pressAt(445, 235);
    ASSERT_TRUE(waitForText("Fuel Up"));
    EXPECT_TRUE(buttonShown("Fuel Up!"));
    EXPECT_FALSE(buttonShown("Fly!"));
    backHome(false);

    // Without cargo, 5 t of extra fuel is too much: the fuel is cut to the
    // 4800 kg that fit, 1800 kg above the initial fuel.
    book("300", "0");
    toConfirmFlight("5000");
    pressAt(445, 235);
    ASSERT_TRUE(offersTheStart());
    EXPECT_EQ(fieldText(313, 205), "1800");
    press("Fly!");
    ASSERT_TRUE(waitForText("Flying"));
}

using quelby_test::FilesRefused;

const char* const kHeldNotice = "The flight report could not be saved in X-Plane's folder";

// The upload fails while X-Plane's folder takes no file: the report is held
// in memory, offered at the next login like a kept one and uploaded from
// there, and X-Plane's log says it was not saved.
TEST_F(PilotAtTheWindow, FailedUploadWhileNoFileCanBeSaved_keepsTheReportInMemory_untilUploaded) {
    site.injectFailure("writereport", testbed::Failure::httpError(503), 1);
    startFromTheGate();
    flyToTheGate();
    {
        const FilesRefused refused;
        press("End flight");
        ASSERT_TRUE(window.waitForTextBeginning("Your most recent flight report could not be", 20s))
            << window.drawnTextsLine();
        EXPECT_TRUE(sim().runUntil([&] { return buttonShown("Retry") && draws(kHeldNotice); }, 5s))
            << window.drawnTextsLine();
    }
    EXPECT_FALSE(contains(readFile(root.file("quelby_report.ini")), "Tarvex_Reports"))
        << "the report reached the disk after all";
    ASSERT_TRUE(sim().runUntil(
        [&] { return contains(sim().xplaneLog(), "Quelby: a flight report could not be saved"); },
        10s))
        << sim().xplaneLog();
    ASSERT_EQ(site.requests("writereport").size(), 1u);

    press("Upload saved Report");
    ASSERT_TRUE(waitForText("Home - News", 30s));
    const auto reports = site.requests("writereport");
    ASSERT_EQ(reports.size(), 2u);
    EXPECT_EQ(field(reports[1], "ManualUpload"), "1");
    EXPECT_EQ(field(reports[1], "Arr"), "EDDS");
}

// The folder takes files again before X-Plane quits: the stop saves the
// report held in memory, sealed, and the next start offers it from the disk.
TEST_F(PilotAtTheWindow, ReportHeldInMemory_isSavedAtTheStop_andOfferedAfterTheRestart) {
    site.injectFailure("writereport", testbed::Failure::httpError(503), 1);
    startFromTheGate();
    flyToTheGate();
    {
        const FilesRefused refused;
        press("End flight");
        ASSERT_TRUE(sim().runUntil([&] { return buttonShown("Retry"); }, 20s))
            << window.drawnTextsLine();
    }
    sim().unloadPlugin();
    EXPECT_TRUE(contains(readFile(root.file("quelby_report.ini")), "Tarvex_Reports"));

    loadPlugin();
    logIn();
    ASSERT_TRUE(window.waitForTextBeginning("Your most recent flight report could not be", 20s))
        << window.drawnTextsLine();
    EXPECT_FALSE(draws(kHeldNotice));
    EXPECT_FALSE(buttonShown("Retry"));
    press("Upload saved Report");
    ASSERT_TRUE(waitForText("Home - News", 30s));
    const auto reports = site.requests("writereport");
    ASSERT_EQ(reports.size(), 2u);
    EXPECT_EQ(field(reports[1], "Arr"), "EDDS");
}

// Typed fuel that is no quantity is refused on the fuel screen and nothing
// reaches the tanks; a pilot flying in pounds gets the fuel "Change" offers in
// pounds.
TEST_F(PilotAtTheWindow, FuelEntries_noQuantityIsRefused_andPoundsStayPounds) {
    const auto tanksKg = [&] {
        float sum = 0.0f;
        for (float kg : sim().getFloatArray("sim/flightmodel/weight/m_fuel")) sum += kg;
        return sum;
    };
    // The engines burn a little at the gate; a wrong quantity is off by
    // hundreds or thousands of kilograms.
    const auto tanksReach = [&](float kg) {
        return sim().runUntil([&] { return std::abs(tanksKg() - kg) < 60.0f; }, 10s);
    };
    // The booked A320 starts with 3000 kg; 300 passengers leave 1800 kg of
    // room for more fuel.
    book("300", "0");
    writeSettings("SimpleFuel = 1\n");
    parkAtGate();
    loadPlugin();
    logIn();
    ASSERT_TRUE(waitForText("Home - News"));
    press("Fly!");
    ASSERT_TRUE(waitForText("Fuel Up"));
    // The tanks are written at "Fuel Up!"; until then they hold what the
    // aircraft came with.
    const float parkedKg = tanksKg();
    for (const char* entry : {"1e10", "inf", "-5000", "lots", "99999999", "12.5.1"}) {
        SCOPED_TRACE(entry);
        type(313, 205, entry);
        press("Fuel Up!");
        ASSERT_TRUE(window.waitForTextBeginning(
            "\"" + std::string(entry).substr(0, 12) + "\" is no fuel quantity", 10s))
            << window.drawnTextsLine();
        sim().runFrames(30);
        EXPECT_FALSE(draws("Confirm Flight"));
        EXPECT_NEAR(tanksKg(), parkedKg, 60.0f) << "a refused entry reached the tanks";
    }
    type(313, 205, " 500 ");
    press("Fuel Up!");
    ASSERT_TRUE(waitForText("Confirm Flight"));
    EXPECT_TRUE(tanksReach(3500.0f)) << tanksKg();
    sim().unloadPlugin();

    // The same flight for a pilot who flies in pounds: 5 t more is too much,
    // and "Change" cuts the extra fuel to the 1800 kg that fit, shown in
    // pounds and read back in pounds.
    testbed::Pilot pounds = otherPilot(3, "pounds");
    pounds.weightUnit = "lbs";
    site.addPilot(pounds);
    book("300", "0", "EDDS", "pounds");
    parkAtGate();
    loadPlugin();
    logIn("pounds", "secret");
    ASSERT_TRUE(waitForText("Home - News"));
    press("Fly!");
    ASSERT_TRUE(waitForText("Fuel Up"));
    type(313, 205, "11023");  // 5000 kg
    press("Fuel Up!");
    ASSERT_TRUE(waitForText("Confirm Flight"));
    pressAt(445, 235);
    ASSERT_TRUE(sim().runUntil([&] { return buttonShown("Fly!"); }, 10s));
    EXPECT_EQ(fieldText(313, 205), "3968");
    EXPECT_TRUE(tanksReach(4800.0f)) << tanksKg();
    press("Fly!");
    ASSERT_TRUE(waitForText("Flying"));
    EXPECT_TRUE(tanksReach(4800.0f)) << "the start took the pounds for kilograms: " << tanksKg();
}

TEST_F(PilotAtTheWindow, FuelAddedInFlight_isTakenBackTenTimes_andTheEleventhAbortsTheFlight) {
    startFromTheGate();
    // The fuel goes in while the flight has started and the aircraft still
    // stands at the gate, where the client checks 20 times a second.
    quelby_test::CruiseRefueller refueller;
    refueller.model = model.get();
    refueller.onlyInCruise = false;
    XPLMRegisterDrawCallback(quelby_test::CruiseRefueller::onFrame, xplm_Phase_Window, 1,
                             &refueller);
    const bool aborted = sim().runUntil(
        [&] { return said("Inflight refueling recognized, flight aborted!"); }, 120s);
    XPLMUnregisterDrawCallback(quelby_test::CruiseRefueller::onFrame, xplm_Phase_Window, 1,
                               &refueller);
    ASSERT_TRUE(aborted) << model->progressLine() << ", fuel added " << refueller.added.load()
                         << " times";
    EXPECT_EQ(refueller.added.load(), 11);
    // The pilot is back at home, logged in again, and no report was sent.
    ASSERT_TRUE(waitForText("Home - News"));
    EXPECT_TRUE(site.requests("writereport").empty());
}

// Tanks run dry in flight: every engine fails now, as X-Plane reads its
// failure datarefs (6, inoperative; 1 would only arm a random failure).
TEST_F(PilotAtTheWindow, FuelExhausted_failsEveryEngineNow) {
    startFromTheGate();
    sim().setFloatArray("sim/flightmodel/weight/m_fuel", std::vector<float>(9, 0.0f));
    const auto allFailed = [&] {
        for (int engine = 0; engine < 4; ++engine)
            if (!sim().isFailed("sim/operation/failures/rel_engfir" + std::to_string(engine)))
                return false;
        return true;
    };
    ASSERT_TRUE(sim().runUntil(allFailed, 10s))
        << "engine 1 reads " << sim().getInt("sim/operation/failures/rel_engfir0");
    EXPECT_TRUE(logged("Event logged: Penalty - exhausted fuel supply"));
}

// Six simulation-rate violations are tolerated in a flight; a second flight
// in the same session starts with none, whatever the first one did.
TEST_F(PilotAtTheWindow, SecondFlightInOneSession_startsWithoutTheFirstsRateViolations) {
    startFromTheGate();
    // The route allows 4; the client sets 8 back at its next check.
    const auto runTooFast = [&] {
        sim().setInt("sim/time/sim_speed", 8);
        return sim().runUntil([&] { return sim().getInt("sim/time/sim_speed") == 4; }, 10s);
    };
    for (int violation = 1; violation <= 6; ++violation) {
        ASSERT_TRUE(runTooFast()) << "violation " << violation;
    }
    press("Exit");
    ASSERT_TRUE(waitForRequests("resetflight", 1, 10s));
    ASSERT_TRUE(sim().clickMenuItem("Quelby", "Show Client"));
    logIn();
    startBookedFlight();
    ASSERT_TRUE(runTooFast());
    sim().runFrames(120);
    EXPECT_FALSE(
        said("The maximum allowed simrate has been exceeded too many times, flight aborted!"));
    EXPECT_TRUE(draws("Flying"));
}

// X-Plane's ground-speed multiplier is time acceleration too: at 1x and 16x
// ground speed the client puts the multiplier back to 1 and leaves the rate.
TEST_F(PilotAtTheWindow, GroundSpeedMultiplied_isSetBackToOne_andTheRateLeftAlone) {
    startFromTheGate();
    for (int violation = 1; violation <= 2; ++violation) {
        SCOPED_TRACE("violation " + std::to_string(violation));
        sim().setInt("sim/time/ground_speed", 16);
        ASSERT_TRUE(
            sim().runUntil([&] { return sim().getInt("sim/time/ground_speed") == 1; }, 10s));
        EXPECT_EQ(sim().getInt("sim/time/sim_speed"), 1);
    }
    EXPECT_TRUE(logged("Set ground speed multiplier to: 1"));
    EXPECT_TRUE(draws("Flying"));
}

TEST_F(PilotAtTheWindow, AutoLogin_atStart_thenOptionsSavedForTheNextStart) {
    writeSettings("AutoLogin = 1\n\n[login]\nUser = demo\nPassword = demo\n");
    loadPlugin();
    // Nobody types: the saved name logs in on the client thread.
    ASSERT_TRUE(waitForText("Home - News"));
    EXPECT_EQ(fieldText(340, 195), "demo");

    press("Options");
    ASSERT_TRUE(waitForText("Options"));
    const XPWidgetID simpleFuel = widgetAt(3, 500, 165);
    ASSERT_NE(simpleFuel, nullptr);
    EXPECT_EQ(sim().widgetProperty(simpleFuel, 1302), 0);
    // A click ticks the box, as in X-Plane, where only the check-box
    // behaviour (not its look) makes it tick.
    ASSERT_TRUE(sim().clickButton(simpleFuel));
    EXPECT_EQ(sim().widgetProperty(simpleFuel, 1302), 1) << "the option box did not tick";
    press("Save changes");
    ASSERT_TRUE(waitForText("Home - News"));
    const std::string settings = readFile(root.file("quelby.ini"));
    EXPECT_TRUE(contains(settings, "SimpleFuel = 1")) << settings;
    EXPECT_TRUE(contains(settings, "AutoLogin = 1")) << settings;

    // The next start shows the saved choice and fuels the simple way.
    sim().unloadPlugin();
    parkAtGate();
    loadPlugin();
    ASSERT_TRUE(waitForText("Home - News"));
    EXPECT_EQ(sim().widgetProperty(widgetAt(3, 500, 165), 1302), 1);
    press("Fly!");
    ASSERT_TRUE(sim().runUntil(
        [&] {
            return fieldText(313, 205) != "<no field>" &&
                   sim().isWidgetShownOnScreen(widgetAt(4, 313, 205));
        },
        20s))
        << "the simple fuel screen did not open";
}

TEST_F(PilotAtTheWindow, SimulatorStopsWhileTheWebsiteDoesNotAnswer_stopIsNotHeldUp) {
    writeSettings();
    site.injectFailure("getversion", testbed::Failure::noAnswer());
    loadPlugin();
    logIn();
    ASSERT_TRUE(waitForRequests("getversion", 1));
    sim().runFrames(10);
    sim().unloadPlugin();
    EXPECT_LT(sim().lastStopDuration(), std::chrono::milliseconds(500));
}

// A red mark drawn just right of the "Login" button (270,250 to 470,269):
// the look of a failed login.
bool loginMarkedRed() {
    for (const testbed::DrawnText& text : testbed::Simulator::instance().lastFrameTexts()) {
        if (text.text == "!" && text.rgb[0] > 0.9f && text.rgb[1] < 0.5f && text.x > 470 &&
            text.x < 490 && text.y > 380 - 275 && text.y < 380 - 245)
            return true;
    }
    return false;
}

// With AltServer the whole run talks to the alternate website; the primary
// one here has nothing listening.
TEST_F(PilotAtTheWindow, AltServer_logsInAtTheAlternateWebsite) {
    writeFile(root.file("quelby.ini"), "[server]\nPrimary = 127.0.0.1:1\nAlternate = " +
                                           site.url() + "\n\n[settings]\nAltServer = 1\n");
    loadPlugin();
    ASSERT_TRUE(waitForText("connecting to " + site.url()));
    logIn();
    ASSERT_TRUE(waitForText("Home - News"));
    EXPECT_EQ(site.requests("getpilot").size(), 1u);
}

TEST_F(PilotAtTheWindow, LoginRefusals_wrongVersion_suspendedPilot_noConnection) {
    writeSettings();
    loadPlugin();

    // A wrong password: the login screen says so, with the button marked,
    // and the next login that works clears both.
    ASSERT_TRUE(waitForText("Login"));
    EXPECT_FALSE(loginMarkedRed());
    logIn("demo", "wrong");
    ASSERT_TRUE(waitForText("Wrong user name or password."));
    EXPECT_TRUE(loginMarkedRed());
    logIn();
    ASSERT_TRUE(waitForText("Home - News"));
    EXPECT_FALSE(draws("Wrong user name or password."));
    sim().unloadPlugin();
    loadPlugin();

    // A client the website no longer knows.
    site.setClientVersion("v2.0.11");
    logIn();
    ASSERT_TRUE(waitForText("Wrong Version"));
    // The update button is there but greyed out: it cannot be pressed.
    EXPECT_TRUE(buttonShown("Update now!"));
    EXPECT_EQ(sim().widgetProperty(sim().findWidgetByDescriptor("Update now!"), xpProperty_Enabled),
              0);
    EXPECT_FALSE(sim().pressButton("Update now!"));
    sim().runFrames(30);
    EXPECT_TRUE(draws("Wrong Version"));
    sim().unloadPlugin();

    // A suspended pilot sees why, and no way to fly.
    site.setClientVersion("v2.0.10b");
    testbed::Pilot grounded = otherPilot(2, "grounded");
    grounded.status = "2";
    site.addPilot(grounded);
    loadPlugin();
    logIn("grounded", "secret");
    ASSERT_TRUE(waitForText("You have been supended by the Quelby Staff"));
    EXPECT_TRUE(buttonShown("Home"));
    EXPECT_FALSE(buttonShown("Fly!"));
    EXPECT_FALSE(buttonShown("Flight Information"));
    sim().unloadPlugin();

    // The website cannot be reached: the pilot stays at the login.
    site.stop();
    loadPlugin();
    logIn();
    ASSERT_TRUE(sim().runUntil(
        [&] { return logged("Could not log in. No connection to the database."); }, 30s));
    ASSERT_TRUE(waitForText("No connection to the website."));
    EXPECT_TRUE(loginMarkedRed());
    EXPECT_TRUE(buttonShown("Login"));
}

}  // namespace
