// The plug-in's face towards the simulator: the main window, the menu, the hot
// keys, the draw callback and the client thread, started and stopped here.
// The exported entry points forward to these functions.
//
// Threads: start(), stop(), receiveMessage() and every callback run on the
// simulator's thread; runClient() is the body of the client thread.
#pragma once

#include <atomic>
#include <functional>

#include "XPWidgetDefs.h"

class CClientModule;
class CThreadSync;
class CUserInterfaceXp;

extern CUserInterfaceXp theUserInterface;
extern XPWidgetID g_theWindow;
extern CThreadSync* g_pThreadSync;
extern std::atomic<CClientModule*> g_pClient;
extern std::atomic<bool> g_bEndClient;
extern bool g_bWindowInFront;
extern int g_nXpMenuShowClient;
extern int g_nXpMenuHideClient;

namespace CPlugin {

// How long stop waits for the client thread before it says so in the log.
// The client thread ends its pass within about 10 ms once the handshake is
// shut down; only a slow operation in progress can hold it longer.
constexpr int kStopJoinBoundMs = 2000;
// The client thread starts again this long after a failure of its own
// code, twice as long after each further failure, at most 64 times as long.
constexpr int kRestartPauseMs = 1000;

// The client thread's name, as the system shows it.
constexpr const char* kClientThreadName = "quelby-client";

int start(char* outName, char* outSig, char* outDesc);
void stop();
void receiveMessage(XPLMPluginID fromPlugin, int message, void* param);

// The client thread's body: one pass after another until the end flag is set.
void runClient();

// Test seam: work added to every pass of the client thread. Set it before
// start(); the plug-in binary never sets it.
void setPassHookForTests(std::function<void()> hook);

}  // namespace CPlugin
