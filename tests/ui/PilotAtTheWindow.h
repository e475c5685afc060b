// The real plug-in loaded into the test-bed simulator, the stand-in website
// on loopback and the test bed's flight model: a test works the window as a
// pilot does (typing, pressing buttons) and checks what the window draws,
// what the simulator says and what the website receives.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

#include "FlownFlight.h"
#include "TestSupport.h"
#include "testbed/FlightModel.h"
#include "testbed/PluginFolder.h"
#include "testbed/Simulator.h"
#include "testbed/Website.h"
#include "testbed/WindowDriver.h"

namespace quelby_test {

using namespace std::chrono_literals;

class PilotAtTheWindow : public ::testing::Test {
protected:
    static testbed::Simulator& sim() { return testbed::Simulator::instance(); }

    void SetUp() override {
        // No sound card on the test machines: OpenAL renders to nothing.
        setenv("ALSOFT_DRIVERS", "null", 1);
        sim().reset();
        sim().setRootFolder(root.path());
        sim().setFrameRate(120);
        ASSERT_TRUE(site.start());
        site.seedDemo();
        // Installed as a pilot installs it: the data beside its platform folder.
        installed = testbed::installPluginFolder(QUELBY_PLUGIN_PATH, root.path()).u8string();
    }

    void TearDown() override {
        if (sim().isPluginLoaded()) sim().unloadPlugin();
        if (model) model->detach();
        if (HasFailure()) {
            const std::string log = debugLog();
            std::cout << "--- end of the plug-in's log:\n"
                      << log.substr(log.size() > 6000 ? log.size() - 6000 : 0) << "\n";
        }
    }

    // The settings the pilot left last time, with the stand-in website.
    void writeSettings(const std::string& settings = "") {
        testbed::writeClientSettings(root.path(), site.url(), settings);
    }

    // The aircraft at the booked hop's departure gate, held there until released.
    void parkAtGate(bool forgetParkingBrake = false) {
        testbed::FlightDescription flight = bookedHop();
        flight.forgetParkingBrake = forgetParkingBrake;
        model = std::make_unique<testbed::FlightModel>(flight);
        model->attach();
        model->holdAtGate(true);
    }

    void loadPlugin() {
        std::string error;
        ASSERT_TRUE(sim().loadPlugin(installed, &error)) << error;
        ASSERT_TRUE(sim().clickMenuItem("Quelby", "Show Client"));
        // The texts of the last frame drawn before are no longer on screen.
        sim().runFrames(1);
    }

    bool draws(const std::string& text) const { return window.draws(text); }
    // Runs frames until the window draws the text; says what it drew instead.
    ::testing::AssertionResult waitForText(const std::string& text,
                                           std::chrono::milliseconds timeout = 20s) {
        if (window.waitForText(text, timeout)) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure()
               << "the window never drew \"" << text << "\"; it draws:" << window.drawnTextsLine()
               << (model ? "\nflight: " + model->progressLine() : std::string());
    }
    bool said(const std::string& text) const {
        for (const std::string& spoken : sim().spokenTexts())
            if (spoken == text) return true;
        return false;
    }

    // Places are taken from the window's top-left corner; widget class 3 is a
    // button, 4 a text field.
    XPWidgetID widgetAt(int widgetClass, int x, int y) const {
        return window.widgetAt(widgetClass, x, y);
    }
    std::string fieldText(int x, int y) const { return window.fieldText(x, y); }
    bool buttonShown(const std::string& caption) const { return window.buttonShown(caption); }
    bool buttonShownAt(int x, int y) const { return window.buttonShownAt(x, y); }
    void pressAt(int x, int y) {
        ASSERT_TRUE(window.pressAt(x, y, 10s)) << "no button is shown at " << x << "," << y;
    }
    void type(int x, int y, const std::string& text) {
        ASSERT_TRUE(window.type(x, y, text)) << "no text field is shown at " << x << "," << y;
    }
    // Presses a button once it is shown (the client shows it on its own
    // thread, a few frames after asking).
    void press(const std::string& caption) {
        ASSERT_TRUE(window.press(caption, 10s)) << "no button \"" << caption << "\" is shown";
    }

    void logIn(const std::string& user = "demo", const std::string& password = "demo") {
        ASSERT_TRUE(waitForText("Login"));
        type(340, 195, user);
        type(340, 220, password);
        press("Login");
    }

    // From the home screen through the checks and the fuel screen to the
    // start of the flight.
    void startBookedFlight() {
        toConfirmFlight();
        if (HasFatalFailure()) return;
        press("Fly!");
        ASSERT_TRUE(waitForText("Flying"));
    }
    // From the home screen through the checks and the fuel screen to the
    // last screen before the start.
    void toConfirmFlight() {
        ASSERT_TRUE(waitForText("Home - News"));
        press("Fly!");
        ASSERT_TRUE(waitForText("Fuel Up"));
        press("Fuel Up!");
        ASSERT_TRUE(waitForText("Confirm Flight"));
    }

    // From the simulator's start to the start of the booked flight.
    void startFromTheGate(bool forgetParkingBrake = false) {
        writeSettings();
        parkAtGate(forgetParkingBrake);
        loadPlugin();
        if (!HasFatalFailure()) logIn();
        if (!HasFatalFailure()) startBookedFlight();
    }

    // Lets the aircraft go and waits for the comment screen, which the
    // client opens by itself once the aircraft stands at the gate with its
    // brake set; a pilot who forgot the brake ends the flight by hand.
    void flyToTheGate() {
        model->holdAtGate(false);
        ASSERT_TRUE(sim().runUntil([&] { return model->hasArrived(); }, 150s))
            << "the flight did not reach the gate: " << model->progressLine();
        if (model->flight().forgetParkingBrake) press("End flight");
        ASSERT_TRUE(sim().runUntil([&] { return !draws("Flying"); }, 20s))
            << "the flight did not end at the gate: " << model->progressLine();
    }

    // Waits for the website to receive requests, drawing frames meanwhile:
    // the client needs them to read the window.
    bool waitForRequests(const std::string& function, std::size_t count,
                         std::chrono::milliseconds timeout = 20s) {
        return sim().runUntil([&] { return site.requests(function).size() >= count; }, timeout);
    }
    // The first report the website received, once it came.
    testbed::ReceivedRequest firstReport() {
        EXPECT_TRUE(waitForRequests("writereport", 1)) << "no report arrived";
        const auto reports = site.requests("writereport");
        return reports.empty() ? testbed::ReceivedRequest{} : reports.front();
    }
    std::string debugLog() const { return readFile(root.file("quelby_debug.txt")); }
    bool logged(const std::string& line) const {
        return debugLog().find(line) != std::string::npos;
    }
    // Another pilot of the demo airline, with the password "secret"; the
    // test sets what is special about them, then adds them to the site.
    static testbed::Pilot otherPilot(int id, const std::string& user) {
        testbed::Pilot pilot;
        pilot.id = id;
        pilot.user = user;
        pilot.password = "secret";
        pilot.airlineId = 1;
        return pilot;
    }

    // Books a pilot (the demo pilot unless named) on the booked route with
    // another load, or on a copy of it to another airport.
    void book(const std::string& passengers, const std::string& cargoKg,
              const std::string& arrival = "EDDS", const std::string& user = "demo") {
        const int routeId = arrival == "EDDS"
                                ? 1
                                : site.addRoute({2, 1, "QLB", "QLB202", "EDDF", arrival, "0830",
                                                 "0930", "DCT", "150", "", 4, "0", 1});
        ASSERT_GT(site.book({0, user, routeId, 1, "85", "45", passengers, cargoKg, "1", "0", {}}),
                  0);
    }

    ScratchFolder root{"quelby-pilot"};
    // The plug-in binary inside root's Resources/plugins.
    std::string installed;
    testbed::WindowDriver window{sim(), "Quelby Client"};
    testbed::Website site;
    std::unique_ptr<testbed::FlightModel> model;
};

}  // namespace quelby_test
