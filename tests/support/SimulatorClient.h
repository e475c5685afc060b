// A client thread over the test-bed simulator, as the plug-in runs one: the
// simulator's draw callback grants the handshake, the thread's body reads and
// writes the simulator through it. Also a sound output that only remembers.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "CSound.h"
#include "CThreadSync.h"
#include "XPLMDisplay.h"

namespace quelby_test {

class SimulatorClient {
public:
    SimulatorClient() = default;
    ~SimulatorClient() { stop(); }
    SimulatorClient(const SimulatorClient&) = delete;
    SimulatorClient& operator=(const SimulatorClient&) = delete;

    // Runs body on the client thread; body returns when stopping() is true.
    // The simulator must be set up (reset) before: a reset drops callbacks.
    void start(std::function<void()> body) {
        m_stopping = false;
        XPLMRegisterDrawCallback(handshake, xplm_Phase_Window, 0, &sync);
        m_thread = std::thread(std::move(body));
    }
    bool stopping() const { return m_stopping; }
    // Ends the thread even while it waits for the simulator.
    void stop() {
        if (!m_thread.joinable()) return;
        m_stopping = true;
        sync.shutdown();
        m_thread.join();
        XPLMUnregisterDrawCallback(handshake, xplm_Phase_Window, 0, &sync);
    }

    CThreadSync sync;

private:
    static int handshake(XPLMDrawingPhase, int, void* refcon) {
        static_cast<CThreadSync*>(refcon)->trywait();
        return 1;
    }

    std::thread m_thread;
    std::atomic<bool> m_stopping{false};
};

// Keeps the names of the sounds it was asked to play.
class SilentSound : public CSound {
public:
    SilentSound() : CSound(nullptr) {}
    void play(const std::string& name, bool) override { played.push_back(name); }
    void play(unsigned int id) override { interfacePlayed.push_back(id); }
    std::vector<std::string> played;
    std::vector<unsigned int> interfacePlayed;
};

}  // namespace quelby_test
