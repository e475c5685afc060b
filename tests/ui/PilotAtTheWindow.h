// The real plug-in loaded into the test-bed simulator, the stand-in website
// on loopback and the test bed's flight model: a test works the window as a
// pilot does (typing, pressing buttons) and checks what the window draws,
// what the simulator says and what the website receives.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

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
        namespace fs = std::filesystem;
        const fs::path data = fs::path(root.path()) / "Resources/plugins/Quelby";
        fs::create_directories(data);
        fs::copy(fs::path(QUELBY_SOURCE_DIR) / "data", data, fs::copy_options::recursive);
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

    // The settings the pilot left last time; the website is always the
    // stand-in one.
    void writeSettings(const std::string& settings = "") {
        testbed::writeClientSettings(root.path(), site.url(), settings);
    }

    // The aircraft parked at the departure gate of the booked hop, held there
    // until the flight starts.
    void parkAtGate(double timeScale = 45.0, bool forgetParkingBrake = false) {
        testbed::FlightDescription flight = bookedHop(timeScale);
        flight.forgetParkingBrake = forgetParkingBrake;
        model = std::make_unique<testbed::FlightModel>(flight);
        model->attach();
        model->holdAtGate(true);
    }

    void loadPlugin() {
        std::string error;
        ASSERT_TRUE(sim().loadPlugin(QUELBY_PLUGIN_PATH, &error)) << error;
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
        for (const std::string& spoken : sim().spokenTexts()) {
            if (spoken == text) return true;
        }
        return false;
    }

    // The widget of a class (3 button, 4 text field) at a place of the
    // window, from its top-left corner.
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
        ASSERT_TRUE(waitForText("Home - News"));
        press("Fly!");
        ASSERT_TRUE(waitForText("Fuel Up"));
        press("Fuel Up!");
        ASSERT_TRUE(waitForText("Confirm Flight"));
        press("Fly!");
        ASSERT_TRUE(waitForText("Flying"));
    }

    // Lets the aircraft go and waits for the comment screen, which the
    // client opens by itself once the aircraft stands at the gate with its
    // brake set; a pilot who forgot the brake ends the flight by hand.
    void flyToTheGate() {
        model->holdAtGate(false);
        ASSERT_TRUE(sim().runUntil([&] { return model->hasArrived(); }, 150s))
            << "the flight did not reach the gate: " << model->progressLine();
        if (model->flight().forgetParkingBrake) {
            press("End flight");
        }
        ASSERT_TRUE(sim().runUntil([&] { return !draws("Flying"); }, 20s))
            << "the flight did not end at the gate: " << model->progressLine();
    }

    // Waits for the website to receive requests, drawing frames meanwhile:
    // the client needs them to read the window.
    bool waitForRequests(const std::string& function, std::size_t count,
                         std::chrono::milliseconds timeout = 20s) {
        return sim().runUntil([&] { return site.requests(function).size() >= count; }, timeout);
    }
    std::string debugLog() const { return readFile(root.file("quelby_debug.txt")); }
    bool logged(const std::string& line) const {
        return debugLog().find(line) != std::string::npos;
    }
    // The booked route with another load, or to another airport.
    void book(const std::string& passengers, const std::string& cargoKg,
              const std::string& arrival = "EDDS") {
        int routeId = 1;
        if (arrival != "EDDS") {
            testbed::Route route;
            route.id = 2;
            route.airlineId = 1;
            route.airline = "QLB";
            route.number = "QLB202";
            route.departure = "EDDF";
            route.arrival = arrival;
            route.departureTime = "0830";
            route.arrivalTime = "0930";
            route.route = "DCT";
            route.price = "150";
            route.simrate = 4;
            route.aircraftTypeId = 1;
            routeId = site.addRoute(route);
        }
        testbed::Booking booking;
        booking.user = "demo";
        booking.routeId = routeId;
        booking.aircraftId = 1;
        booking.distanceNm = "85";
        booking.durationMin = "45";
        booking.passengers = passengers;
        booking.cargoKg = cargoKg;
        ASSERT_GT(site.book(booking), 0);
    }

    ScratchFolder root{"quelby-pilot"};
    testbed::WindowDriver window{sim(), "Quelby Client"};
    testbed::Website site;
    std::unique_ptr<testbed::FlightModel> model;
};

}  // namespace quelby_test
