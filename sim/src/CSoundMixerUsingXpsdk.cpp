// Sounds handed to X-Plane's mixer: the functions found by name, the sounds
// X-Plane holds kept alive until it reports their end, and every sound
// stopped before the plug-in goes.
#include "CSoundMixerUsingXpsdk.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "CCallbackGuard.h"
#include "CLogger.h"
#include "CThreadSync.h"
#include "XPLMUtilities.h"

namespace {

// X-Plane 12.04's mixer functions (SDK 4.0), reached only through these
// pointers: the plug-in must still load in X-Plane 11.50, which has neither,
// and it is built with the SDK of 11.50, which declares neither. Their types
// are X-Plane's, spelt here: FMOD's result and sample format are enumerations
// of int size, its channel an opaque pointer.
struct tFmodChannel;
using tFmodResult = int;
constexpr tFmodResult kFmodOk = 0;        // FMOD_OK
constexpr int kFmodSoundFormatPcm16 = 2;  // FMOD_SOUND_FORMAT_PCM16
constexpr int kAudioInterior = 7;         // xplm_AudioInterior: heard in the cockpit
using tPcmComplete = void (*)(void* inRefcon, tFmodResult status);
using tPlayPcmOnBus = tFmodChannel* (*)(void* audioBuffer, uint32_t bufferSize, int soundFormat,
                                        int freqHz, int numChannels, int loop, int audioType,
                                        tPcmComplete inCallback, void* inRefcon);
using tStopAudio = tFmodResult (*)(tFmodChannel* fmodChannel);

struct tMixerFunctions {
    tPlayPcmOnBus playPcmOnBus = nullptr;
    tStopAudio stopAudio = nullptr;
};

// A sound X-Plane holds: its samples must stay where they are until X-Plane
// reports its end.
struct tHeldSound {
    std::shared_ptr<const tPcmSound> sound;
    tFmodChannel* channel = nullptr;
};

// Written on the simulator's thread while the plug-in starts, read there.
tMixerFunctions g_functions;
std::atomic<bool> g_available{false};
// The simulator's thread only.
std::vector<std::unique_ptr<tHeldSound>> g_held;
// Sounds X-Plane refused or ended with an error, for the client's log.
std::atomic<unsigned long> g_refusals{0};
std::atomic<bool> g_endFailed{false};

std::vector<std::unique_ptr<tHeldSound>>::iterator findHeld(const void* refcon) {
    return std::find_if(
        g_held.begin(), g_held.end(),
        [refcon](const std::unique_ptr<tHeldSound>& held) { return held.get() == refcon; });
}

// X-Plane's report that a sound ended, on the simulator's thread, once per
// sound. The refcon is only compared, never followed: a report for a sound
// already let go finds nothing.
void onSoundEnded(void* refcon, tFmodResult status) {
    CCallbackGuard::run(g_endFailed, "onSoundEnded", [&] {
        if (status != kFmodOk) {
            g_refusals.fetch_add(1, std::memory_order_relaxed);
        }
        const auto held = findHeld(refcon);
        if (held != g_held.end()) {
            g_held.erase(held);
        }
    });
}

// Stops what plays; each stop reports its sound's end, which lets it go.
void stopHeld() {
    if (g_functions.stopAudio == nullptr) {
        return;
    }
    std::vector<tFmodChannel*> channels;
    for (const auto& held : g_held) {
        if (held->channel != nullptr) {
            channels.push_back(held->channel);
        }
    }
    for (tFmodChannel* channel : channels) {
        g_functions.stopAudio(channel);
    }
}

// On the simulator's thread.
void startSound(const std::shared_ptr<const tPcmSound>& sound) {
    if (g_functions.playPcmOnBus == nullptr) {
        return;
    }
    // One sound at a time, as the cockpit's chimes have always been.
    stopHeld();
    auto held = std::make_unique<tHeldSound>();
    held->sound = sound;
    void* const refcon = held.get();
    g_held.push_back(std::move(held));
    const auto bytes = static_cast<uint32_t>(sound->samples.size() * sizeof(std::int16_t));
    // X-Plane only reads the samples; its signature is not const.
    tFmodChannel* channel = g_functions.playPcmOnBus(
        const_cast<std::int16_t*>(sound->samples.data()), bytes, kFmodSoundFormatPcm16,
        sound->sampleRate, sound->channels, 0, kAudioInterior, onSoundEnded, refcon);
    const auto found = findHeld(refcon);
    if (found == g_held.end()) {
        return;  // refused, and its end reported already
    }
    if (channel == nullptr) {
        g_refusals.fetch_add(1, std::memory_order_relaxed);
        g_held.erase(found);
        return;
    }
    (*found)->channel = channel;
}

}  // namespace

void CSoundMixerUsingXpsdk::lookUpFunctions() {
    g_functions.playPcmOnBus = reinterpret_cast<tPlayPcmOnBus>(XPLMFindSymbol("XPLMPlayPCMOnBus"));
    g_functions.stopAudio = reinterpret_cast<tStopAudio>(XPLMFindSymbol("XPLMStopAudio"));
    // A sound that cannot be stopped could outlive the plug-in: both or none.
    if (g_functions.playPcmOnBus == nullptr || g_functions.stopAudio == nullptr) {
        g_functions = tMixerFunctions();
    }
    g_available.store(g_functions.playPcmOnBus != nullptr, std::memory_order_release);
}

void CSoundMixerUsingXpsdk::stopAll() {
    stopHeld();
    // X-Plane reports a stopped sound's end within the stop; anything left
    // is no longer X-Plane's to play.
    g_held.clear();
}

int CSoundMixerUsingXpsdk::soundsHeld() { return static_cast<int>(g_held.size()); }

CSoundMixerUsingXpsdk::CSoundMixerUsingXpsdk(CThreadSync* threadSync)
    : m_pLogger(std::make_unique<CLogger>("CSoundMixer")),
      m_pThreadSync(threadSync),
      m_refusalsLogged(g_refusals.load(std::memory_order_relaxed)) {}

CSoundMixerUsingXpsdk::~CSoundMixerUsingXpsdk() {
    // Refused once the plug-in stops: stopAll() then runs on the
    // simulator's thread itself.
    if (m_pThreadSync != nullptr && isAvailable()) {
        m_pThreadSync->post([] { stopAll(); });
    }
}

bool CSoundMixerUsingXpsdk::isAvailable() const {
    return g_available.load(std::memory_order_acquire);
}

void CSoundMixerUsingXpsdk::play(std::shared_ptr<const tPcmSound> sound) {
    logRefusals();
    if (!isAvailable() || m_pThreadSync == nullptr || !sound || sound->samples.empty()) {
        return;
    }
    m_pThreadSync->post([sound = std::move(sound)] { startSound(sound); });
}

void CSoundMixerUsingXpsdk::logRefusals() {
    const unsigned long refusals = g_refusals.load(std::memory_order_relaxed);
    if (refusals > m_refusalsLogged) {
        m_pLogger->error("X-Plane's mixer refused " + std::to_string(refusals - m_refusalsLogged) +
                         " sound(s)");
        m_refusalsLogged = refusals;
    }
}
