// Reading the sounds' WAV files: uncompressed PCM, 8 or 16 bits, mono or
// stereo, as OpenAL takes them, and as 16-bit samples for the simulator's
// mixer. Both players read their files here.
#pragma once

#include <string>
#include <vector>

#include "CSoundMixer.h"

struct tWaveData {
    int channels = 0;
    int bitsPerSample = 0;
    int sampleRate = 0;
    // Whole frames only, in the file's byte order (little-endian).
    std::vector<char> samples;
};

// Threads: any. False with why it was refused: no file, not a regular file
// (a device or a pipe), too large (reading stops there), not a RIFF/WAVE
// file, no "fmt " or "data" chunk, or a format OpenAL cannot play.
// A data chunk cut short by a damaged file gives the frames that are there.
bool parseWave(const std::string& bytes, tWaveData& out, std::string& why);
bool readWaveFile(const std::string& path, tWaveData& out, std::string& why);
// The frames as 16-bit samples in the machine's byte order, 8-bit ones
// widened, for a mixer that takes nothing else.
void pcmFromWave(const tWaveData& wave, tPcmSound& out);
// readWaveFile, then pcmFromWave; false as above.
bool readPcmSound(const std::string& path, tPcmSound& out, std::string& why);
