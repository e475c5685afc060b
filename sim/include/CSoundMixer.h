// The simulator's own sound mixer as the sound player sees it: where the
// simulator mixes plug-ins' sounds itself, the player hands them over here
// instead of opening an audio device of its own.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

// One sound as 16-bit samples in the machine's byte order, frames of
// `channels` samples each.
struct tPcmSound {
    std::vector<std::int16_t> samples;
    int sampleRate = 0;
    int channels = 0;
};

// Threads: isAvailable() and play() on the client thread or the simulator's.
class CSoundMixer {
public:
    virtual ~CSoundMixer() = default;
    // Whether the simulator mixes plug-ins' sounds; without it play() does
    // nothing.
    virtual bool isAvailable() const = 0;
    // Starts a sound and cuts the one still playing. The sound is shared, not
    // copied: the mixer keeps it until the simulator has finished with it.
    virtual void play(std::shared_ptr<const tPcmSound> sound) = 0;
};
