// The sounds the plug-in ships, made from a few sine tones: the same bytes on
// every run, so the files in data/sound are the generator's output and
// nothing else. How to regenerate them: see SoundGenerator.cpp.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace soundgen {

constexpr int kSampleRateHz = 22050;

// A whole WAV file (16-bit PCM mono at kSampleRateHz) by its path below the
// sound folder, e.g. "en/penalty.wav".
std::map<std::string, std::vector<std::uint8_t>> makeSounds();

}  // namespace soundgen
