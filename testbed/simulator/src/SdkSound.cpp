// X-Plane's mixer for plug-ins (X-Plane 12.04 and later) and the look-up of
// SDK functions by name. A sound starts at the next frame's audio update and
// plays for as long as its samples last in simulated frame time; its end is
// reported once, on the simulator's thread. The samples are read when the
// sound starts and when it ends, as the mixer reads them, so that a buffer
// freed too early shows up under AddressSanitizer and a changed one is
// recorded.
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "SdkSymbols.h"
#include "SimulatorState.h"
#include "XPLMSound.h"
#include "XPLMUtilities.h"

using namespace testbed::detail;
using testbed::PlayedSound;

namespace {

// What the mixer answers a call it refuses: an FMOD error, told from FMOD_OK.
constexpr FMOD_RESULT kFmodRefused = static_cast<FMOD_RESULT>(31);
constexpr int kLastBus = 10;

// The functions X-Plane 11 does not have.
bool isMixerFunction(const std::string& name) {
    return name == "XPLMPlayPCMOnBus" || name == "XPLMStopAudio";
}

// A report of a sound's end, made without the lock.
struct SoundEnd {
    XPLMPCMComplete_f callback = nullptr;
    void* refcon = nullptr;
    FMOD_RESULT status = FMOD_OK;
};

void report(const std::vector<SoundEnd>& ends) {
    for (const SoundEnd& end : ends) {
        if (end.callback != nullptr) {
            PluginCodeScope inPluginCode;
            end.callback(end.refcon, end.status);
        }
    }
}

// Reads the samples as the mixer does; a sound whose samples changed while
// the mixer held them is recorded. Lock held.
void readSamples(State& s, const SoundChannel& channel, const char* when) {
    const uint32_t checksum = testbed::pcmChecksum(channel.buffer, channel.bytes);
    if (checksum != s.playedSounds[channel.record].checksum) {
        recordSdkMisuse(s, std::string("XPLMPlayPCMOnBus: the samples changed before the sound ") +
                               when + " (the buffer must stay until the completion callback)");
    }
}

// Ends a sound. Lock held.
SoundEnd endSound(State& s, std::map<void*, SoundChannel>::iterator channel,
                  testbed::PlayedSound::End how, FMOD_RESULT status) {
    if (channel->second.started) {
        readSamples(s, channel->second, "ended");
    }
    testbed::PlayedSound& record = s.playedSounds[channel->second.record];
    record.end = how;
    record.status = status;
    const SoundEnd end{channel->second.callback, channel->second.refcon, status};
    s.soundChannels.erase(channel);
    return end;
}

// The mixer's functions are X-Plane's own only on the simulator's thread: it
// reports a sound's end on the thread that started it, which for X-Plane is
// the main thread even while that thread waits for another.
void recordOffMainThread(SdkCall& call, const char* function) {
    if (!onSimulatorThread() && call.s.pluginCodeDepth.load() > 0 &&
        call.s.threadViolations.size() < kMaxRecords) {
        call.s.threadViolations.push_back(function);
    }
}

}  // namespace

uint32_t testbed::pcmChecksum(const void* data, size_t bytes) {
    uint32_t hash = 2166136261u;
    const auto* at = static_cast<const unsigned char*>(data);
    for (size_t i = 0; i < bytes; ++i) {
        hash = (hash ^ at[i]) * 16777619u;
    }
    return hash;
}

namespace testbed::detail {

void updateSound(double frameSeconds) {
    State& s = state();
    std::vector<SoundEnd> ends;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        for (auto channel = s.soundChannels.begin(); channel != s.soundChannels.end();) {
            SoundChannel& sound = channel->second;
            if (!sound.started) {
                // Handed over since the last update: it starts now.
                sound.started = true;
                s.playedSounds[sound.record].startFrame = s.frameCount + 1;
                readSamples(s, sound, "started");
                ++channel;
                continue;
            }
            sound.playedSeconds += frameSeconds;
            const double lengthSeconds = static_cast<double>(sound.bytes) /
                                         (2.0 * sound.channels * static_cast<double>(sound.rateHz));
            // Frame times summed up fall a hair short of the length they make.
            if (!sound.loop && sound.playedSeconds >= lengthSeconds - 1e-9) {
                const auto next = std::next(channel);
                ends.push_back(endSound(s, channel, PlayedSound::kCompleted, FMOD_OK));
                channel = next;
            } else {
                ++channel;
            }
        }
    }
    report(ends);
}

void resetSound(State& s) {
    s.xplaneVersion = 12;
    s.soundChannels.clear();
    s.playedSounds.clear();
}

void dropPluginSounds(State& s) {
    for (auto channel = s.soundChannels.begin(); channel != s.soundChannels.end();) {
        if (!channel->second.ownedByPlugin) {
            ++channel;
            continue;
        }
        recordSdkMisuse(s, std::string("XPLMPlayPCMOnBus: a sound still held when the plug-in was "
                                       "unloaded") +
                               (channel->second.callback != nullptr
                                    ? " (its completion callback would call unloaded code)"
                                    : ""));
        s.playedSounds[channel->second.record].end = PlayedSound::kDroppedAtUnload;
        channel = s.soundChannels.erase(channel);
    }
}

}  // namespace testbed::detail

extern "C" {

XPLM_API void* XPLMFindSymbol(const char* inString) {
    SdkCall call("XPLMFindSymbol");
    if (inString == nullptr) {
        recordSdkMisuse(call.s, "XPLMFindSymbol: null name");
        return nullptr;
    }
    const std::string name = inString;
    // Only the SDK's names: the library exports its C++ interface as well.
    if (name.rfind("XP", 0) != 0 || (call.s.xplaneVersion < 12 && isMixerFunction(name))) {
        return nullptr;
    }
    return testbedExport(inString);
}

XPLM_API FMOD_CHANNEL* XPLMPlayPCMOnBus(void* audioBuffer, uint32_t bufferSize,
                                        FMOD_SOUND_FORMAT soundFormat, int freqHz, int numChannels,
                                        int loop, XPLMAudioBus audioType,
                                        XPLMPCMComplete_f inCallback, void* inRefcon) {
    SdkCall call("XPLMPlayPCMOnBus");
    recordOffMainThread(call, "XPLMPlayPCMOnBus");
    State& s = call.s;
    if (s.xplaneVersion < 12) {
        recordSdkMisuse(s, "XPLMPlayPCMOnBus: called in X-Plane " +
                               std::to_string(s.xplaneVersion) + ", which does not have it");
    }
    PlayedSound record;
    record.bus = audioType;
    record.format = soundFormat;
    record.rateHz = freqHz;
    record.channels = numChannels;
    record.loop = loop != 0;
    record.bytes = bufferSize;
    std::string refused;
    if (audioBuffer == nullptr || bufferSize == 0) {
        refused = "no samples";
    } else if (soundFormat != FMOD_SOUND_FORMAT_PCM16) {
        refused = "format " + std::to_string(soundFormat) + " is not PCM16";
    } else if (freqHz <= 0 || numChannels < 1 || numChannels > 2) {
        refused =
            "rate " + std::to_string(freqHz) + " Hz, " + std::to_string(numChannels) + " channels";
    } else if (bufferSize % (2u * static_cast<uint32_t>(numChannels)) != 0) {
        refused = "a size that is not whole frames";
    } else if (audioType < 0 || audioType > kLastBus) {
        refused = "bus " + std::to_string(audioType);
    }
    if (s.playedSounds.size() >= kMaxRecords) {
        refused = "more sounds than the test bed records";
    }
    if (!refused.empty()) {
        recordSdkMisuse(s, "XPLMPlayPCMOnBus: refused, " + refused);
        record.end = PlayedSound::kRefused;
        record.status = kFmodRefused;
        if (s.playedSounds.size() < kMaxRecords) {
            s.playedSounds.push_back(record);
        }
        call.lock.unlock();
        report({SoundEnd{inCallback, inRefcon, kFmodRefused}});
        return nullptr;
    }
    record.checksum = testbed::pcmChecksum(audioBuffer, bufferSize);
    s.playedSounds.push_back(record);
    SoundChannel channel;
    channel.buffer = static_cast<const unsigned char*>(audioBuffer);
    channel.bytes = bufferSize;
    channel.rateHz = freqHz;
    channel.channels = numChannels;
    channel.loop = loop != 0;
    channel.callback = inCallback;
    channel.refcon = inRefcon;
    channel.record = s.playedSounds.size() - 1;
    channel.ownedByPlugin = s.pluginActive;
    void* const handle = newHandle(s);
    s.soundChannels.emplace(handle, channel);
    return handle;
}

XPLM_API FMOD_RESULT XPLMStopAudio(FMOD_CHANNEL* fmod_channel) {
    SdkCall call("XPLMStopAudio");
    recordOffMainThread(call, "XPLMStopAudio");
    const auto channel = call.s.soundChannels.find(fmod_channel);
    if (channel == call.s.soundChannels.end()) {
        recordSdkMisuse(call.s, "XPLMStopAudio: " + handleText(fmod_channel) +
                                    " is no sound playing (ended, stopped or never started)");
        return kFmodRefused;
    }
    const SoundEnd end = endSound(call.s, channel, PlayedSound::kStopped, FMOD_OK);
    call.lock.unlock();
    // The end is reported within the stop, before the channel is forgotten.
    report({end});
    return FMOD_OK;
}

}  // extern "C"

namespace testbed {

void Simulator::setXPlaneVersion(int major) {
    if (major != 11 && major != 12) {
        throw std::invalid_argument("testbed::Simulator::setXPlaneVersion: 11 or 12, not " +
                                    std::to_string(major));
    }
    std::lock_guard<std::mutex> lock(state().mutex);
    state().xplaneVersion = major;
}

int Simulator::xplaneVersion() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().xplaneVersion;
}

std::vector<PlayedSound> Simulator::playedSounds() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().playedSounds;
}

int Simulator::soundsHeld() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return static_cast<int>(state().soundChannels.size());
}

}  // namespace testbed
