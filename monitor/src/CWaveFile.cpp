// RIFF/WAVE chunks read by their sizes, never past the end of the file.
#include "CWaveFile.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <system_error>

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
    const std::filesystem::path file = std::filesystem::u8path(path);
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(file, error);
    if (status.type() == std::filesystem::file_type::not_found) {
        why = "Failed to open file";
        return false;
    }
    // A device or a pipe would never end, or never begin: opening a pipe
    // waits for a writer.
    if (!std::filesystem::is_regular_file(status)) {
        why = "not a regular file";
        return false;
    }
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        why = "Failed to open file";
        return false;
    }
    // Read up to one byte beyond the limit, whatever size the file claims or
    // grows to while it is read.
    std::string bytes;
    char block[65536];
    while (in && bytes.size() <= kMaxFileBytes) {
        in.read(block, sizeof(block));
        bytes.append(block, static_cast<std::size_t>(in.gcount()));
    }
    if (bytes.size() > kMaxFileBytes) {
        why = "file too large for a sound";
        return false;
    }
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
