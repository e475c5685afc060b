// What a pilot's hands do faster than the window changes: a second click
// before the screen has gone, typing before the client has filled a field,
// and a screen that must never show for a frame with the figures of before.
#include <atomic>
#include <chrono>
#include <map>
#include <stdexcept>
#include <thread>
#include <vector>

#include "CPlugin.h"
#include "PilotAtTheWindow.h"

namespace quelby_test {
namespace {

// The texts of the text fields shown on screen, by widget.
std::map<XPWidgetID, std::string> shownFields(testbed::Simulator& simulator) {
    std::map<XPWidgetID, std::string> fields;
    for (const testbed::WidgetInfo& widget : simulator.widgets()) {
        if (widget.widgetClass == 4 && simulator.isWidgetShownOnScreen(widget.id)) {
            fields[widget.id] = widget.descriptor;
        }
    }
    return fields;
}

TEST_F(PilotAtTheWindow, SecondFlyPress_beforeTheScreenHasGone_doesNotUndoTheStart) {
    writeSettings();
    parkAtGate();
    loadPlugin();
    logIn();
    toConfirmFlight();
    if (HasFatalFailure()) return;
    press("Fly!");
    // The pilot clicks again while "Fly!" is still drawn. Between frames the
    // client has time to finish the first press and hand over the hiding of
    // the button, which only the next frame carries out: a click then lands
    // on a button that the client's screen no longer shows.
    int presses = 1;
    const auto until = std::chrono::steady_clock::now() + 30s;
    while (!draws("Flying") && std::chrono::steady_clock::now() < until) {
        sim().runFrames(1);
        std::this_thread::sleep_for(20ms);
        if (sim().pressButton("Fly!")) ++presses;
    }
    ASSERT_TRUE(draws("Flying"));
    ASSERT_GT(presses, 1) << "no second click came before the screen changed";
    sim().runFrames(240);
    EXPECT_TRUE(draws("Flying")) << "a second \"Fly!\" sent the flight elsewhere";
    EXPECT_FALSE(buttonShown("Fuel Up!"));
    EXPECT_TRUE(logged("Press on a control the screen no longer shows ignored"));
}

TEST_F(PilotAtTheWindow, FuelScreen_showsItsFiguresInTheFrameThatShowsIt) {
    writeSettings();
    parkAtGate();
    loadPlugin();
    logIn();
    ASSERT_TRUE(waitForText("Home - News"));
    press("Fly!");
    std::vector<std::map<XPWidgetID, std::string>> framesShown;
    const auto until = std::chrono::steady_clock::now() + 30s;
    while (framesShown.size() < 120 && std::chrono::steady_clock::now() < until) {
        sim().runFrames(1);
        if (buttonShown("Fuel Up!")) framesShown.push_back(shownFields(sim()));
    }
    ASSERT_EQ(framesShown.size(), 120u) << "the fuel screen did not stay";
    const std::map<XPWidgetID, std::string>& settled = framesShown.back();
    ASSERT_FALSE(settled.empty());
    for (std::size_t frame = 0; frame < framesShown.size(); ++frame) {
        ASSERT_EQ(framesShown[frame], settled)
            << "frame " << frame << " of the fuel screen showed other field texts";
    }
}

TEST_F(PilotAtTheWindow, NameTypedBeforeTheClientFillsTheField_isTheOneThatLogsIn) {
    testbed::Pilot grounded = otherPilot(2, "grounded");
    grounded.status = "2";
    site.addPilot(grounded);
    // The settings remember the demo pilot, whose name the client puts into
    // the login fields once it has read them.
    writeSettings();
    // The pilot types before the first frame: whatever the client hands
    // over for the window runs after the typing.
    std::string error;
    ASSERT_TRUE(sim().loadPlugin(installed, &error)) << error;
    ASSERT_TRUE(sim().clickMenuItem("Quelby", "Show Client"));
    type(340, 195, "grounded");
    type(340, 220, "secret");
    ASSERT_TRUE(waitForText("Login"));
    sim().runFrames(60);
    EXPECT_EQ(fieldText(340, 195), "grounded") << "the client wrote over what the pilot typed";
    press("Login");
    EXPECT_TRUE(waitForText("You have been supended by the Quelby Staff"));
}

// The plug-in built into this test program rather than loaded from its
// binary, so that its client thread can be made to fail.
class PluginInThisProgram {
public:
    explicit PluginInThisProgram(std::function<void()> passHook) {
        CPlugin::setPassHookForTests(std::move(passHook));
        char name[256], signature[256], description[256];
        started = CPlugin::start(name, signature, description) == 1;
    }
    ~PluginInThisProgram() {
        if (started) CPlugin::stop();
        CPlugin::setPassHookForTests(nullptr);
    }
    bool started = false;
};

TEST_F(PilotAtTheWindow, ClientFailsInFlight_keepsTheReport_andStartsAgainAtTheLogin) {
    writeSettings();
    parkAtGate();
    std::atomic<bool> failNow{false};
    PluginInThisProgram plugin([&] {
        if (failNow.exchange(false)) throw std::runtime_error("disk on fire");
    });
    ASSERT_TRUE(plugin.started);
    ASSERT_TRUE(sim().clickMenuItem("Quelby", "Show Client"));
    logIn();
    startBookedFlight();
    if (HasFatalFailure()) return;
    model->holdAtGate(false);
    sim().runFrames(360);  // three seconds of taxi

    failNow = true;
    ASSERT_TRUE(waitForText("The client stopped: disk on fire"));
    EXPECT_TRUE(draws("It started again; the flight's report is kept."));
    EXPECT_TRUE(buttonShown("Login")) << "the client did not start again at the login";
    EXPECT_TRUE(logged("The client stopped: disk on fire"));
    EXPECT_NE(readFile(root.file("quelby_report.ini")).find("Tarvex_Reports"), std::string::npos)
        << "no kept report";

    // The window works again: the kept flight goes up from the next login.
    logIn();
    press("Upload saved Report");
    ASSERT_TRUE(waitForRequests("writereport", 1));
    EXPECT_NE(site.requests("writereport").front().body.find("ManualUpload=1"), std::string::npos);
}

}  // namespace
}  // namespace quelby_test
