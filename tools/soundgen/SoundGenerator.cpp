// The tones of each shipped sound and their encoding as WAV files. After a
// change, regenerate the kept files from the repository's top folder with
//   cmake --build build --target quelby-soundgen && build/tools/soundgen/quelby-soundgen data/sound
// (a test fails while data/sound differs from this output).
#include "SoundGenerator.h"

#include <algorithm>
#include <cmath>

namespace soundgen {

namespace {

constexpr double kPi = 3.14159265358979323846;
// Every note fades in and out over 5 ms so that no sound starts with a click
// of its own.
constexpr double kFadeSeconds = 0.005;

struct Note {
    double frequencyHz;
    double startS;
    double lengthS;
    double amplitude;      // 0 to 1 of full scale
    double decayPerS;      // exponential decay rate; 0 holds the level
    double thirdHarmonic;  // share of the third harmonic, for a harder tone
};

std::vector<std::int16_t> render(const std::vector<Note>& notes, double lengthS) {
    const int count = static_cast<int>(lengthS * kSampleRateHz);
    std::vector<double> mix(static_cast<std::size_t>(count), 0.0);
    for (const Note& note : notes) {
        const int first = static_cast<int>(note.startS * kSampleRateHz);
        const int length = static_cast<int>(note.lengthS * kSampleRateHz);
        for (int i = 0; i < length && first + i < count; ++i) {
            const double t = static_cast<double>(i) / kSampleRateHz;
            const double fade =
                std::min({1.0, t / kFadeSeconds, (note.lengthS - t) / kFadeSeconds});
            const double phase = 2.0 * kPi * note.frequencyHz * t;
            const double wave = std::sin(phase) + note.thirdHarmonic * std::sin(3.0 * phase);
            mix[static_cast<std::size_t>(first + i)] += note.amplitude * fade *
                                                        std::exp(-note.decayPerS * t) * wave /
                                                        (1.0 + note.thirdHarmonic);
        }
    }
    std::vector<std::int16_t> samples;
    samples.reserve(mix.size());
    for (double value : mix) {
        const double clipped = std::max(-1.0, std::min(1.0, value));
        samples.push_back(static_cast<std::int16_t>(std::lround(clipped * 32767.0)));
    }
    return samples;
}

void put32(std::vector<std::uint8_t>& out, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

void put16(std::vector<std::uint8_t>& out, std::uint16_t value) {
    out.push_back(static_cast<std::uint8_t>(value));
    out.push_back(static_cast<std::uint8_t>(value >> 8));
}

std::vector<std::uint8_t> wavFile(const std::vector<std::int16_t>& samples) {
    const std::uint32_t dataBytes = static_cast<std::uint32_t>(samples.size() * 2);
    std::vector<std::uint8_t> out;
    out.reserve(44 + dataBytes);
    const char* riff = "RIFF";
    out.insert(out.end(), riff, riff + 4);
    put32(out, 36 + dataBytes);
    const char* waveFmt = "WAVEfmt ";
    out.insert(out.end(), waveFmt, waveFmt + 8);
    put32(out, 16);  // format chunk size
    put16(out, 1);   // PCM
    put16(out, 1);   // mono
    put32(out, kSampleRateHz);
    put32(out, kSampleRateHz * 2);  // bytes per second
    put16(out, 2);                  // bytes per frame
    put16(out, 16);                 // bits per sample
    const char* data = "data";
    out.insert(out.end(), data, data + 4);
    put32(out, dataBytes);
    for (std::int16_t sample : samples) put16(out, static_cast<std::uint16_t>(sample));
    return out;
}

}  // namespace

std::map<std::string, std::vector<std::uint8_t>> makeSounds() {
    std::map<std::string, std::vector<std::uint8_t>> sounds;
    // A short bright tick.
    sounds["snd_btn_click.wav"] = wavFile(render({{1800.0, 0.0, 0.05, 0.6, 60.0, 0.0}}, 0.05));
    // A dull knock: the button does nothing now.
    sounds["snd_btn_disabled.wav"] = wavFile(render({{300.0, 0.0, 0.09, 0.7, 25.0, 0.0}}, 0.09));
    // A low buzz.
    sounds["snd_error.wav"] = wavFile(render({{180.0, 0.0, 0.3, 0.6, 0.0, 0.5}}, 0.3));
    // A two-tone warning, high then low, twice.
    sounds["en/penalty.wav"] = wavFile(render({{880.0, 0.0, 0.2, 0.6, 0.0, 0.2},
                                               {660.0, 0.2, 0.2, 0.6, 0.0, 0.2},
                                               {880.0, 0.4, 0.2, 0.6, 0.0, 0.2},
                                               {660.0, 0.6, 0.2, 0.6, 0.0, 0.2}},
                                              0.8));
    // A chime: ding, then dong, each ringing out.
    sounds["en/ding_dong.wav"] = wavFile(
        render({{659.26, 0.0, 0.6, 0.6, 3.0, 0.0}, {523.25, 0.5, 0.7, 0.6, 3.0, 0.0}}, 1.2));
    return sounds;
}

}  // namespace soundgen
