// Start and stop of the plug-in: the main window and its three areas, the
// menu, the hot keys, the draw callback and the client thread.
#include "CPlugin.h"

#include <pthread.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "CCallbackGuard.h"
#include "CClientConfig.h"
#include "CClientInterface.h"
#include "CClientModule.h"
#include "CIniParser.h"
#include "CJoinableThread.h"
#include "CLogger.h"
#include "CServerSettings.h"
#include "CThreadPriority.h"
#include "CThreadSync.h"
#include "CUserInterfaceObjectXp.h"
#include "CUserInterfaceXp.h"
#include "QuelbyVersion.h"
#include "XPLMDisplay.h"
#include "XPLMMenus.h"
#include "XPLMPlugin.h"
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

namespace {

CJoinableThread* g_pMainThread = nullptr;
// Built and run by the client thread, destroyed by stop() after the join, so
// that the simulator's thread never posts into a module that is gone.
std::unique_ptr<CClientModule> g_clientModule;
std::function<void()> g_passHookForTests;
XPLMMenuID g_menu = nullptr;
XPLMHotKeyID g_hotKeyToggleWindow = nullptr;
XPLMHotKeyID g_hotKeyLandingLights = nullptr;
bool g_bDrawCallbackRegistered = false;

// Event posted by the "Toggle Landing Lights" hot key.
constexpr int kLandingLightsEvent = 27;

std::atomic<bool> g_drawFailed{false};
std::atomic<bool> g_widgetFailed{false};
std::atomic<bool> g_menuFailed{false};
std::atomic<bool> g_hotKeyFailed{false};
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
        } else if (message == xpMsg_PushButtonPressed) {
            CUserInterfaceObjectXp* object =
                theUserInterface.getObjectWithXpId(reinterpret_cast<XPWidgetID>(param1));
            if (object != nullptr) {
                const int id = object->getId();
                if (id == CUserInterfaceXp::kExitButtonId) {
                    XPHideWidget(g_theWindow);
                }
                postButtonEvent(id);
            }
        }
        // Never marked handled: the standard widget behaviour goes on.
        return 0;
    });
}

void XPlaneHotkeyCallback(void* refcon) {
    CCallbackGuard::run(g_hotKeyFailed, "XPlaneHotkeyCallback", [&] {
        const intptr_t which = reinterpret_cast<intptr_t>(refcon);
        if (which == 0) {
            if (XPIsWidgetVisible(g_theWindow)) {
                XPHideWidget(g_theWindow);
            } else {
                XPShowWidget(g_theWindow);
            }
        } else if (which == 1) {
            postButtonEvent(kLandingLightsEvent);
        }
    });
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
            XPShowWidget(g_theWindow);
        } else if (item == g_nXpMenuHideClient) {
            XPHideWidget(g_theWindow);
        }
    });
}

int XPlaneDrawCallback(XPLMDrawingPhase phase, int isBefore, void* refcon) {
    (void)phase;
    (void)isBefore;
    (void)refcon;
    return CCallbackGuard::run(g_drawFailed, "XPlaneDrawCallback", 1, [] {
        // The handshake comes first, whether the window is shown or not.
        if (g_pThreadSync != nullptr) {
            g_pThreadSync->trywait();
        }
        if (g_theWindow != nullptr && XPIsWidgetVisible(g_theWindow)) {
            theUserInterface.drawTextPanel();
        }
        return 1;
    });
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

XPWidgetID createArea(const char* descriptor, int left, int top, int right, int bottom) {
    return XPCreateWidget(left, top, right, bottom, 1, descriptor, 0, g_theWindow,
                          xpWidgetClass_SubWindow);
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
    g_theWindow =
        XPCreateWidget(0, 380, 600, 0, 1, "Quelby Client", 1, nullptr, xpWidgetClass_MainWindow);
    XPSetWidgetProperty(g_theWindow, xpProperty_MainWindowHasCloseBoxes, 1);
    XPHideWidget(g_theWindow);

    XPWidgetID infoArea = createArea("Info Area", 15, 305, 183, 160);
    XPWidgetID buttonArea = createArea("Button Area", 15, 150, 183, 15);
    XPWidgetID mainArea = createArea("Main Area", 193, 305, 585, 15);
    for (XPWidgetID area : {infoArea, buttonArea, mainArea}) {
        XPSetWidgetProperty(area, xpProperty_Refcon, 1);
    }
    XPAddWidgetCallback(g_theWindow, XPlaneWindowCallback);

    g_bDrawCallbackRegistered =
        XPLMRegisterDrawCallback(XPlaneDrawCallback, xplm_Phase_Window, 0, nullptr) != 0;

    g_menu = XPLMCreateMenu("Quelby", nullptr, 0, XPlaneMenuCallback, nullptr);
    XPLMAppendMenuItem(g_menu, "Show Client", &g_nXpMenuShowClient, 1);
    XPLMAppendMenuItem(g_menu, "Hide Client", &g_nXpMenuHideClient, 1);

    g_hotKeyToggleWindow =
        XPLMRegisterHotKey(XPLM_VK_F, xplm_ControlFlag | xplm_DownFlag, "Toggle Window",
                           XPlaneHotkeyCallback, reinterpret_cast<void*>(intptr_t{0}));
    g_hotKeyLandingLights = XPLMRegisterHotKey(
        XPLM_VK_L, xplm_ShiftFlag | xplm_ControlFlag | xplm_DownFlag, "Toggle Landing Lights",
        XPlaneHotkeyCallback, reinterpret_cast<void*>(intptr_t{1}));

    g_pThreadSync = new CThreadSync();
    startSupportLines(g_pThreadSync);
    theUserInterface.initialize(g_theWindow, g_pThreadSync);

    // Anything slow that start sets off runs on the client thread.
    g_pMainThread = new CJoinableThread(&CPlugin::runClient);
    // Named so that a profiler, or a look at /proc/<pid>/task/*/comm, tells
    // the client's time from the simulator's. Threads it starts inherit the
    // name. At most 15 characters.
    pthread_setname_np(g_pMainThread->nativeHandle(), kClientThreadName);
    return 1;
}

void stop() {
    // Nothing that could call into an unloaded plug-in stays registered.
    if (g_bDrawCallbackRegistered) {
        XPLMUnregisterDrawCallback(XPlaneDrawCallback, xplm_Phase_Window, 0, nullptr);
        g_bDrawCallbackRegistered = false;
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
    }

    g_bEndClient = true;
    // A request to the website in progress gives up at once instead of
    // holding the simulator's stop for its time-out; a report it was sending
    // is kept as a backup.
    CClientInterface::abortTransfers(true);
    // No frame is drawn while this thread joins the client: a client thread
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
    // No thread of the plug-in is left to say a support line.
    CLogger::setSupportSink(nullptr);
    g_pClient = nullptr;
    g_clientModule.reset();
    // The window is a widget, so the widget library destroys it, with its
    // areas and controls; no thread of ours holds its ids any more.
    if (g_theWindow != nullptr) {
        XPDestroyWidget(g_theWindow, 1);
        g_theWindow = nullptr;
    }
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
    // is unloaded leaves nothing behind in the simulator's memory.
    // The store goes first: its end may log, and a log line asks the
    // settings for the log's folder.
    CIniParser::destroyInstance();
    CClientConfig::destroyInstance();
}

void receiveMessage(XPLMPluginID fromPlugin, int message, void* param) {
    (void)fromPlugin;
    (void)param;
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
        // Files, the sound device and the automatic login are the client
        // thread's: the simulator never waits for them.
        theUserInterface.startClient();
        while (!g_bEndClient) {
            g_clientModule->checkMessages();
            if (g_passHookForTests) {
                g_passHookForTests();
            }
            g_clientModule->run();
        }
    });
    // Made here, so they go here, whether the loop ended or failed.
    CCallbackGuard::run(g_clientFailed, "runClient", [] { theUserInterface.stopClient(); });
}

}  // namespace CPlugin
