// Start and stop of the plug-in: the main window, the menu, the commands and
// hot keys, the flight loop that runs the client's simulator work, and the
// client thread.
#include "CPlugin.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>
#include <thread>

#include "CCallbackGuard.h"
#include "CClientConfig.h"
#include "CClientInterface.h"
#include "CClientModule.h"
#include "CIniParser.h"
#include "CJoinableThread.h"
#include "CLogger.h"
#include "CPluginWindow.h"
#include "CServerSettings.h"
#include "CSoundMixerUsingXpsdk.h"
#include "CThreadPriority.h"
#include "CThreadSync.h"
#include "CUserInterfaceObjectXp.h"
#include "CUserInterfaceXp.h"
#include "QuelbyVersion.h"
#include "XPLMDisplay.h"
#include "XPLMMenus.h"
#include "XPLMPlugin.h"
#include "XPLMProcessing.h"
#include "XPLMUtilities.h"
#include "XPStandardWidgets.h"
#include "XPWidgets.h"

CUserInterfaceXp theUserInterface;
XPWidgetID g_theWindow = nullptr;
CThreadSync* g_pThreadSync = nullptr;
std::atomic<CClientModule*> g_pClient{nullptr};
std::atomic<bool> g_bEndClient{false};
bool g_bWindowInFront = false;
int g_nXpMenuShowClient = 0;
int g_nXpMenuHideClient = 1;
int g_nXpMenuPopOut = 2;

namespace {

CJoinableThread* g_pMainThread = nullptr;
// Built and run by the client thread, destroyed by stop() after the join, so
// that the simulator's thread never posts into a module that is gone.
std::unique_ptr<CClientModule> g_clientModule;
std::function<void()> g_passHookForTests;
CPluginWindow g_window;
XPLMMenuID g_menu = nullptr;
int g_popOutMenuIndex = -1;
XPLMHotKeyID g_hotKeyToggleWindow = nullptr;
XPLMHotKeyID g_hotKeyLandingLights = nullptr;
XPLMFlightLoopID g_flightLoop = nullptr;

// What a pilot can bind to a key, a joystick button or a VR controller; the
// hot keys stay for those who know them.
struct tCommand {
    const char* name;
    const char* description;
    XPLMCommandRef ref;
};
tCommand g_commands[] = {
    {"quelby/toggle_window", "Toggle Window", nullptr},
    {"quelby/toggle_landing_lights", "Toggle Landing Lights", nullptr},
};

// Event posted by the "Toggle Landing Lights" hot key and command.
constexpr int kLandingLightsEvent = 27;

std::atomic<bool> g_flightLoopFailed{false};
std::atomic<bool> g_widgetFailed{false};
std::atomic<bool> g_menuFailed{false};
std::atomic<bool> g_hotKeyFailed{false};
std::atomic<bool> g_commandFailed{false};
std::atomic<bool> g_clientFailed{false};

void postButtonEvent(int id) {
    if (CClientModule* client = g_pClient.load()) {
        client->buttonEvent(id);
    }
}

int XPlaneWindowCallback(XPWidgetMessage message, XPWidgetID widget, intptr_t param1,
                         intptr_t param2) {
    (void)widget;
    (void)param2;
    return CCallbackGuard::run(g_widgetFailed, "XPlaneWindowCallback", 0, [&] {
        if (message == xpMessage_CloseButtonPushed) {
            theUserInterface.hideMainWindow();
        } else if (message == xpMsg_TextFieldChanged) {
            if (CUserInterfaceObjectXp* field =
                    theUserInterface.getObjectWithXpId(reinterpret_cast<XPWidgetID>(param1))) {
                field->notePilotEdit();
            }
        } else if (message == xpMsg_PushButtonPressed) {
            CUserInterfaceObjectXp* object =
                theUserInterface.getObjectWithXpId(reinterpret_cast<XPWidgetID>(param1));
            if (object != nullptr) {
                const int id = object->getId();
                if (id == CUserInterfaceXp::kExitButtonId) {
                    g_window.hide();
                }
                postButtonEvent(id);
            }
        }
        // Never marked handled: the standard widget behaviour goes on.
        return 0;
    });
}

// The hot keys' and the commands' one action: 0 toggles the window, 1 the
// landing lights.
void runAction(intptr_t which) {
    if (which == 0) {
        g_window.toggle();
    } else if (which == 1) {
        postButtonEvent(kLandingLightsEvent);
    }
}

void XPlaneHotkeyCallback(void* refcon) {
    CCallbackGuard::run(g_hotKeyFailed, "XPlaneHotkeyCallback",
                        [&] { runAction(reinterpret_cast<intptr_t>(refcon)); });
}

int XPlaneCommandCallback(XPLMCommandRef command, XPLMCommandPhase phase, void* refcon) {
    (void)command;
    return CCallbackGuard::run(g_commandFailed, "XPlaneCommandCallback", 0, [&] {
        // Once per press, however long the button is held.
        if (phase == xplm_CommandBegin) {
            runAction(reinterpret_cast<intptr_t>(refcon));
        }
        // The commands are the plug-in's own: nobody else needs to see them.
        return 0;
    });
}

void markPopOutItem() {
    if (g_menu != nullptr && g_popOutMenuIndex >= 0) {
        XPLMCheckMenuItem(g_menu, g_popOutMenuIndex,
                          g_window.isPoppedOut() ? xplm_Menu_Checked : xplm_Menu_Unchecked);
    }
}

void XPlaneMenuCallback(void* menuRef, void* itemRef) {
    (void)menuRef;
    CCallbackGuard::run(g_menuFailed, "XPlaneMenuCallback", [&] {
        if (itemRef == nullptr) {
            return;
        }
        // The item reference points to one of the two menu ints: act on the
        // value, not on the pointer.
        const int item = *static_cast<const int*>(itemRef);
        if (item == g_nXpMenuShowClient) {
            g_window.show();
        } else if (item == g_nXpMenuHideClient) {
            g_window.hide();
        } else if (item == g_nXpMenuPopOut) {
            g_window.togglePopOut();
            markPopOutItem();
        }
    });
}

// Every frame, drawn or not: the client thread's simulator work.
float XPlaneFlightLoopCallback(float sinceLastCall, float sinceLastLoop, int counter,
                               void* refcon) {
    (void)sinceLastCall;
    (void)sinceLastLoop;
    (void)counter;
    (void)refcon;
    CCallbackGuard::run(g_flightLoopFailed, "XPlaneFlightLoopCallback", [] {
        if (g_pThreadSync != nullptr) {
            g_pThreadSync->trywait();
        }
    });
    // Called again next frame, whatever happened in this one.
    return -1.0f;
}

void copyOut(char* out, const std::string& text) {
    // X-Plane hands over 256-byte buffers.
    std::snprintf(out, 256, "%s", text.c_str());
}

// Every file is found from the folders X-Plane names: its working folder is
// no promise (on macOS it is "/"). On the simulator's thread, at start,
// before the client thread reads any path; no file is touched here.
void findFilesThroughXPlane() {
    // Without it macOS names folders in the old colon form.
    const char* const kNativePaths = "XPLM_USE_NATIVE_PATHS";
    if (XPLMHasFeature(kNativePaths) != 0) {
        XPLMEnableFeature(kNativePaths, 1);
    }
    // X-Plane asks for 512 and 256 bytes at least and writes whole paths;
    // a pilot's folder may be deeper than that.
    constexpr std::size_t kPathBytes = 4096;
    std::unique_ptr<char[]> xplaneFolder(new char[kPathBytes]());
    std::unique_ptr<char[]> pluginFile(new char[kPathBytes]());
    XPLMGetSystemPath(xplaneFolder.get());
    XPLMGetPluginInfo(XPLMGetMyID(), nullptr, pluginFile.get(), nullptr, nullptr);
    xplaneFolder[kPathBytes - 1] = '\0';
    pluginFile[kPathBytes - 1] = '\0';
    // Lines of the start are held until the client thread begins the new log.
    CLogger::beginNewLog();
    const std::string problem =
        CClientConfig::instance()->useXPlaneFolders(xplaneFolder.get(), pluginFile.get());
    if (!problem.empty()) {
        CLogger("CPlugin", false).error(problem);
    }
}

// Support lines reach X-Plane's Log.txt on the simulator's thread, whichever
// thread says them; the first names the plug-in and its debug log.
void startSupportLines(CThreadSync* threadSync) {
    CLogger::setSupportSink([threadSync](const std::string& line) {
        threadSync->post([line] { XPLMDebugString(line.c_str()); });
    });
    CLogger::support("start", std::string("Quelby Client ") + kClientVersion +
                                  " started; its debug log is " + CLogger::logFileName());
}

// The debug log starts afresh on the client thread; a folder that takes no
// log takes no settings and no kept report either, and the pilot is told.
void startLog() {
    const std::string failure = CLogger::startNewLog();
    CClientConfig::instance()->setXPlaneFolderWritable(failure.empty());
    if (!failure.empty()) {
        CLogger::support("folder", "cannot write to X-Plane's folder " +
                                       CClientConfig::instance()->getIniPath() + " (" + failure +
                                       "): no debug log, settings or kept report is saved");
    }
}

}  // namespace

namespace CPlugin {

int start(char* outName, char* outSig, char* outDesc) {
    copyOut(outName, "Quelby Client");
    copyOut(outSig, "quelbyclient");
    copyOut(outDesc, std::string("Client plugin for Quelby. ") + kClientVersion + " (" +
                         kHomepageHost + ")");
    findFilesThroughXPlane();

    g_bEndClient = false;
    CClientInterface::abortTransfers(false);
    g_theWindow = g_window.create();
    XPAddWidgetCallback(g_theWindow, XPlaneWindowCallback);

    // The client's simulator work runs in a flight loop, which X-Plane calls
    // every frame even while it draws nothing.
    XPLMCreateFlightLoop_t loop{static_cast<int>(sizeof(XPLMCreateFlightLoop_t)),
                                xplm_FlightLoop_Phase_AfterFlightModel, XPlaneFlightLoopCallback,
                                nullptr};
    g_flightLoop = XPLMCreateFlightLoop(&loop);
    if (g_flightLoop != nullptr) {
        XPLMScheduleFlightLoop(g_flightLoop, -1.0f, 1);
    }

    g_menu = XPLMCreateMenu("Quelby", nullptr, 0, XPlaneMenuCallback, nullptr);
    XPLMAppendMenuItem(g_menu, "Show Client", &g_nXpMenuShowClient, 1);
    XPLMAppendMenuItem(g_menu, "Hide Client", &g_nXpMenuHideClient, 1);
    g_popOutMenuIndex = XPLMAppendMenuItem(g_menu, "Pop Out Window", &g_nXpMenuPopOut, 1);
    markPopOutItem();
    // Legacy windows cannot leave X-Plane's screen.
    XPLMEnableMenuItem(g_menu, g_popOutMenuIndex, g_window.canPopOut() ? 1 : 0);

    for (size_t i = 0; i < std::size(g_commands); ++i) {
        g_commands[i].ref = XPLMCreateCommand(g_commands[i].name, g_commands[i].description);
        if (g_commands[i].ref != nullptr) {
            XPLMRegisterCommandHandler(g_commands[i].ref, XPlaneCommandCallback, 1,
                                       reinterpret_cast<void*>(static_cast<intptr_t>(i)));
        }
    }

    g_hotKeyToggleWindow =
        XPLMRegisterHotKey(XPLM_VK_F, xplm_ControlFlag | xplm_DownFlag, "Toggle Window",
                           XPlaneHotkeyCallback, reinterpret_cast<void*>(intptr_t{0}));
    g_hotKeyLandingLights = XPLMRegisterHotKey(
        XPLM_VK_L, xplm_ShiftFlag | xplm_ControlFlag | xplm_DownFlag, "Toggle Landing Lights",
        XPlaneHotkeyCallback, reinterpret_cast<void*>(intptr_t{1}));

    g_pThreadSync = new CThreadSync();
    startSupportLines(g_pThreadSync);
    theUserInterface.initialize(g_theWindow, g_pThreadSync);
    CSoundMixerUsingXpsdk::lookUpFunctions();

    // Anything slow that start sets off runs on the client thread.
    g_pMainThread = new CJoinableThread(&CPlugin::runClient);
    return 1;
}

void stop() {
    // Nothing that could call into an unloaded plug-in stays registered.
    if (g_flightLoop != nullptr) {
        XPLMDestroyFlightLoop(g_flightLoop);
        g_flightLoop = nullptr;
    }
    for (size_t i = 0; i < std::size(g_commands); ++i) {
        if (g_commands[i].ref != nullptr) {
            XPLMUnregisterCommandHandler(g_commands[i].ref, XPlaneCommandCallback, 1,
                                         reinterpret_cast<void*>(static_cast<intptr_t>(i)));
            g_commands[i].ref = nullptr;
        }
    }
    for (XPLMHotKeyID* hotKey : {&g_hotKeyToggleWindow, &g_hotKeyLandingLights}) {
        if (*hotKey != nullptr) {
            XPLMUnregisterHotKey(*hotKey);
            *hotKey = nullptr;
        }
    }
    if (g_menu != nullptr) {
        XPLMDestroyMenu(g_menu);
        g_menu = nullptr;
        g_popOutMenuIndex = -1;
    }

    g_bEndClient = true;
    // A request to the website in progress gives up at once instead of
    // holding the simulator's stop for its time-out; a report it was sending
    // is kept as a backup.
    CClientInterface::abortTransfers(true);
    // No flight loop runs while this thread joins the client: a client thread
    // waiting for simulator access must be let go, or the join never ends.
    if (g_pThreadSync != nullptr) {
        g_pThreadSync->shutdown();
    }
    if (g_pMainThread != nullptr) {
        if (!g_pMainThread->tryJoinFor(std::chrono::milliseconds(kStopJoinBoundMs))) {
            CLogger logger("CPlugin", false);
            logger.error("Client thread still busy after " + std::to_string(kStopJoinBoundMs) +
                         "ms at stop; waiting for it to end");
            // Unloading code that a thread still runs would take the
            // simulator down; waiting longer is the lesser harm.
            g_pMainThread->join();
        }
        delete g_pMainThread;
        g_pMainThread = nullptr;
    }
    // The tracker's senders run the plug-in's code too; their transfers are
    // aborted above, so they end at once.
    CClientInterface::joinSenders();
    // X-Plane would report a sound's end into unloaded code.
    CSoundMixerUsingXpsdk::stopAll();
    // No thread of the plug-in is left to say a support line.
    CLogger::setSupportSink(nullptr);
    g_pClient = nullptr;
    g_clientModule.reset();
    // The window is a widget, so the widget library destroys it, with its
    // areas and controls; no thread of ours holds its ids any more.
    g_window.destroy();
    g_theWindow = nullptr;
    if (g_pThreadSync != nullptr) {
        // What the client's simulator access cost the simulator over the
        // whole run: the frames in which it ran the client's jobs.
        CLogger logger("CPlugin", false);
        logger.debug("Simulator thread: " + g_pThreadSync->heldSummary());
    }
    delete g_pThreadSync;
    g_pThreadSync = nullptr;
    // The settings and the INI store were made by the client thread, which
    // is gone: a plug-in started again reads its files afresh, and one that
    // is unloaded leaves nothing behind in the simulator's memory. The
    // client thread ended the store, with its last save; a store left only
    // by a client thread that never got that far goes here. It goes first:
    // its end may log, and a log line asks the settings for the log's folder.
    CIniParser::destroyInstance();
    CClientConfig::destroyInstance();
}

void receiveMessage(XPLMPluginID fromPlugin, int message, void* param) {
    (void)fromPlugin;
    (void)param;
    // The window follows the pilot into the headset and back out of it; a
    // popped-out window that went there is no longer popped out.
    if (message == XPLM_MSG_ENTERED_VR) {
        g_window.enteredVr();
        markPopOutItem();
        return;
    }
    if (message == XPLM_MSG_EXITING_VR) {
        g_window.exitingVr();
        markPopOutItem();
        return;
    }
    if (message != XPLM_MSG_PLANE_CRASHED) {
        return;
    }
    // A crash before the client thread has built its module is ignored.
    if (CClientModule* client = g_pClient.load()) {
        client->setAircraftCrashed();
    }
}

void setPassHookForTests(std::function<void()> hook) { g_passHookForTests = std::move(hook); }

void runClient() {
    // Named so that a profiler, or a look at /proc/<pid>/task/*/comm, tells
    // the client's time from the simulator's; named from inside, as macOS
    // has it.
    CThreadPriority::nameThisThread(kClientThreadName);
    // Background work for the system: waking up, the client thread never
    // takes the core the simulator's thread is drawing a frame on.
    CThreadPriority::makeThisThreadBackground();
    // An exception ends the client thread, never the simulator.
    CCallbackGuard::run(g_clientFailed, "runClient", [] {
        // The log's header names the website in use, so it is read first.
        CLogger::setServerUrl(CServerSettings::displayUrl(CServerSettings::load().hostInUse()));
        startLog();
        g_clientModule = std::make_unique<CClientModule>(theUserInterface, nullptr);
        g_pClient = g_clientModule.get();
    });
    if (!g_clientModule) {
        return;
    }
    // A failure of the client's own code does not leave the pilot with a
    // window of dead buttons: the flight is kept, the client made again and
    // the login screen says why. A client that fails again at once waits
    // longer each time before it starts again.
    int failures = 0;
    bool autoLogin = true;
    while (!g_bEndClient) {
        bool failed = false;
        std::string failure;
        try {
            // Files, the sound device and the automatic login are the client
            // thread's: the simulator never waits for them.
            theUserInterface.startClient(autoLogin);
            while (!g_bEndClient) {
                g_clientModule->checkMessages();
                if (g_passHookForTests) {
                    g_passHookForTests();
                }
                g_clientModule->run();
            }
        } catch (const std::exception& e) {
            failed = true;
            failure = e.what();
        } catch (...) {
            failed = true;
        }
        if (!failed) {
            break;
        }
        if (failure.empty()) {
            failure = "unknown exception";
        }
        CCallbackGuard::run(g_clientFailed, "runClient",
                            [&] { theUserInterface.clientFailed(failure); });
        CCallbackGuard::run(g_clientFailed, "runClient", [] { theUserInterface.stopClient(); });
        autoLogin = false;
        const auto pause = std::chrono::milliseconds(kRestartPauseMs << std::min(failures, 6));
        ++failures;
        const auto until = std::chrono::steady_clock::now() + pause;
        while (!g_bEndClient && std::chrono::steady_clock::now() < until) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    // Made here, so they go here, whether the loop ended or failed. The
    // settings' last save goes with them: a save may wait for a file that
    // another program holds, which the simulator's thread never does.
    CCallbackGuard::run(g_clientFailed, "runClient", [] {
        theUserInterface.stopClient();
        CIniParser::destroyInstance();
    });
}

}  // namespace CPlugin
