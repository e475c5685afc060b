// X-Plane's mixer (X-Plane 12.04 and later): sounds played on the cockpit's
// bus, heard at the pilot's own volume settings. Older X-Plane has no such
// functions; the plug-in still loads there, and the player then uses OpenAL.
//
// Threads: lookUpFunctions() and stopAll() on the simulator's thread, while
// the plug-in starts and stops; the mixer's own operations on the client
// thread, which hands each sound to the simulator's thread through
// CThreadSync. The sounds X-Plane holds are touched only on the simulator's
// thread: X-Plane starts them and reports their end there.
#pragma once

#include <atomic>
#include <memory>

#include "CSoundMixer.h"

class CLogger;
class CThreadSync;

class CSoundMixerUsingXpsdk : public CSoundMixer {
public:
    // Looks the mixer's functions up by name, once while the plug-in starts;
    // until then, and where X-Plane lacks them, the mixer is not available.
    static void lookUpFunctions();
    // Stops every sound still playing. X-Plane reports each one's end before
    // it returns, so nothing X-Plane holds points into the plug-in afterwards.
    // Called while the plug-in stops, after the client thread has ended.
    static void stopAll();
    // How many sounds X-Plane still holds for the plug-in (simulator's thread).
    static int soundsHeld();

    explicit CSoundMixerUsingXpsdk(CThreadSync* threadSync);
    // Stops the sounds still playing when the simulator's thread still takes
    // jobs; at the plug-in's stop, stopAll() does it.
    ~CSoundMixerUsingXpsdk() override;
    CSoundMixerUsingXpsdk(const CSoundMixerUsingXpsdk&) = delete;
    CSoundMixerUsingXpsdk& operator=(const CSoundMixerUsingXpsdk&) = delete;

    bool isAvailable() const override;
    void play(std::shared_ptr<const tPcmSound> sound) override;

private:
    // Says once per refusal that X-Plane refused sounds since the last play.
    void logRefusals();

    std::unique_ptr<CLogger> m_pLogger;
    CThreadSync* m_pThreadSync;
    unsigned long m_refusalsLogged = 0;
};
