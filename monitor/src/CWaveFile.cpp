// RIFF/WAVE chunks read by their sizes, never past the end of the file.
#include "CWaveFile.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

// The shipped sounds are a few hundred kilobytes; a file far beyond that is
// not a sound of this plug-in and is not read into memory.
constexpr std::size_t kMaxFileBytes = 16u * 1024u * 1024u;

std::uint32_t littleEndian(const std::string& bytes, std::size_t at, int count) {
    std::uint32_t value = 0;
    for (int i = count - 1; i >= 0; --i) {
        value = (value << 8) | static_cast<unsigned char>(bytes[at + static_cast<std::size_t>(i)]);
    }
    return value;
}

}  // namespace

bool parseWave(const std::string& bytes, tWaveData& out, std::string& why) {
    out = tWaveData();
    if (bytes.size() < 12 || bytes.compare(0, 4, "RIFF") != 0 || bytes.compare(8, 4, "WAVE") != 0) {
        why = "not a RIFF/WAVE file";
        return false;
    }
    bool haveFormat = false;
    std::size_t at = 12;
    while (at + 8 <= bytes.size()) {
        const std::string id = bytes.substr(at, 4);
        const std::size_t size = littleEndian(bytes, at + 4, 4);
        const std::size_t body = at + 8;
        const std::size_t available = bytes.size() - body;
        if (id == "fmt ") {
            if (size < 16 || available < 16) {
                why = "format chunk too short";
                return false;
            }
            const std::uint32_t tag = littleEndian(bytes, body, 2);
            out.channels = static_cast<int>(littleEndian(bytes, body + 2, 2));
            out.sampleRate = static_cast<int>(littleEndian(bytes, body + 4, 4));
            out.bitsPerSample = static_cast<int>(littleEndian(bytes, body + 14, 2));
            if (tag != 1 || (out.channels != 1 && out.channels != 2) ||
                (out.bitsPerSample != 8 && out.bitsPerSample != 16) || out.sampleRate <= 0) {
                why = "unsupported format (PCM, 8 or 16 bits, mono or stereo only)";
                return false;
            }
            haveFormat = true;
        } else if (id == "data") {
            if (!haveFormat) {
                why = "data before the format chunk";
                return false;
            }
            const std::size_t frameBytes =
                static_cast<std::size_t>(out.channels * out.bitsPerSample / 8);
            std::size_t length = size < available ? size : available;
            length -= length % frameBytes;
            out.samples.assign(bytes.begin() + static_cast<std::ptrdiff_t>(body),
                               bytes.begin() + static_cast<std::ptrdiff_t>(body + length));
            return true;
        }
        if (size > available) {
            break;
        }
        // Chunks are padded to an even length.
        at = body + size + (size & 1u);
    }
    why = haveFormat ? "no data chunk" : "no format chunk";
    return false;
}

bool readWaveFile(const std::string& path, tWaveData& out, std::string& why) {
    // Paths are UTF-8 on every system.
    std::ifstream file(std::filesystem::u8path(path), std::ios::binary);
    if (!file) {
        why = "Failed to open file";
        return false;
    }
    file.seekg(0, std::ios::end);
    const std::streamoff size = file.tellg();
    if (size < 0 || static_cast<std::size_t>(size) > kMaxFileBytes) {
        why = "file too large for a sound";
        return false;
    }
    file.seekg(0);
    const std::string bytes((std::istreambuf_iterator<char>(file)),
                            std::istreambuf_iterator<char>());
    return parseWave(bytes, out, why);
}

void pcmFromWave(const tWaveData& wave, tPcmSound& out) {
    out = tPcmSound();
    out.sampleRate = wave.sampleRate;
    out.channels = wave.channels;
    const std::vector<char>& bytes = wave.samples;
    if (wave.bitsPerSample == 8) {
        // 8-bit WAV samples are unsigned, centred on 128.
        out.samples.reserve(bytes.size());
        for (char byte : bytes) {
            const int centred = static_cast<int>(static_cast<unsigned char>(byte)) - 128;
            out.samples.push_back(static_cast<std::int16_t>(centred * 256));
        }
        return;
    }
    out.samples.reserve(bytes.size() / 2);
    for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
        const auto low = static_cast<unsigned char>(bytes[at]);
        const auto high = static_cast<unsigned char>(bytes[at + 1]);
        out.samples.push_back(
            static_cast<std::int16_t>(static_cast<std::uint16_t>(low | high << 8)));
    }
}

bool readPcmSound(const std::string& path, tPcmSound& out, std::string& why) {
    out = tPcmSound();
    tWaveData wave;
    if (!readWaveFile(path, wave, why)) {
        return false;
    }
    pcmFromWave(wave, out);
    return true;
}
