// Sound really rendered: OpenAL Soft writes what it mixes into a wave file,
// which must then hold the samples of the file played, or silence where
// nothing may sound. Also the shipped sounds, the generator's exact output.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "CSoundOpenAl.h"
#include "CWaveFile.h"
#include "SoundGenerator.h"
#include "TestSupport.h"

namespace {

namespace fs = std::filesystem;
using Samples = std::vector<std::int16_t>;
using Play = std::function<void(CSoundOpenAl&)>;

// OpenAL Soft reads its configuration once per process, at its first call.
// This object is built while the program loads, before any test can make that
// call, and chooses the wave-file output: mono 16-bit at the sounds' own rate
// without dither, so that the rendered samples are the played ones.
struct WaveOutput {
    quelby_test::ScratchFolder folder{"quelby-sound"};
    // The output has a folder of its own so that a test can take it away
    // while the configuration stays readable.
    std::string output = folder.file("out");
    std::string file = output + "/rendered.wav";
    WaveOutput() {
        fs::create_directory(output);
        const std::string config = folder.file("alsoft.conf");
        quelby_test::writeFile(config,
                               "[general]\ndrivers = wave\nfrequency = 22050\nchannels = mono\n"
                               "sample-type = int16\ndither = false\noutput-limiter = false\n"
                               "[wave]\nfile = " +
                                   file + "\n");
        setenv("ALSOFT_CONF", config.c_str(), 1);
        // The wave driver of the configuration, not the test run's silence.
        unsetenv("ALSOFT_DRIVERS");
        setenv("ALSOFT_LOGLEVEL", "0", 1);
    }
};
const WaveOutput g_wave;

const std::string kSoundFolder = std::string(QUELBY_SOURCE_DIR) + "/data/sound";

// The samples of a 16-bit mono wave file; none when it has no data.
Samples readSamples(const std::string& path) {
    const std::string bytes = quelby_test::readFile(path);
    const std::size_t data = bytes.find("data");
    Samples samples;
    for (std::size_t i = data + 8; data != std::string::npos && i + 1 < bytes.size(); i += 2) {
        std::int16_t sample;
        std::memcpy(&sample, &bytes[i], 2);
        samples.push_back(sample);
    }
    return samples;
}

int peak(const Samples& samples) {
    int most = 0;
    for (std::int16_t sample : samples) most = std::max(most, std::abs(int{sample}));
    return most;
}

// Where the sound starts: the first sample well above the noise floor.
long onset(const Samples& samples) {
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (std::abs(samples[i]) > 1000) return static_cast<long>(i);
    }
    return -1;
}

// How closely the rendered samples follow the played ones: the normalised
// correlation at the best alignment near the two onsets; 1 is a perfect copy.
double match(const Samples& rendered, const Samples& played) {
    if (onset(rendered) < 0 || onset(played) < 0) return 0.0;
    const long shift = onset(rendered) - onset(played);
    double best = 0.0;
    for (long lag = shift - 32; lag <= shift + 32; ++lag) {
        double both = 0.0, own = 0.0, other = 0.0;
        for (long i = std::max(0L, -lag); i < static_cast<long>(played.size()); ++i) {
            const double p = played[static_cast<std::size_t>(i)];
            const double r = i + lag < static_cast<long>(rendered.size())
                                 ? rendered[static_cast<std::size_t>(i + lag)]
                                 : 0.0;
            both += p * r;
            own += p * p;
            other += r * r;
        }
        if (own > 0.0 && other > 0.0) best = std::max(best, both / std::sqrt(own * other));
    }
    return best;
}

// Plays through a fresh device and returns what it rendered, once the sound
// has ended and the closed device has written its file.
Samples render(const std::string& folder, const std::string& language, const Play& play) {
    fs::remove(g_wave.file);
    {
        CSoundOpenAl player(nullptr, folder, language);
        EXPECT_TRUE(player.hasDevice());
        play(player);
        for (int polls = 0; player.isPlaying() && polls < 1000; ++polls) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        EXPECT_FALSE(player.isPlaying()) << "the sound never ended";
    }
    EXPECT_TRUE(fs::exists(g_wave.file)) << "the device wrote nothing";
    return readSamples(g_wave.file);
}

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++found;
    }
    return found;
}

class SoundOutputTest : public quelby_test::FolderTest {};

TEST_F(SoundOutputTest, PlayedSound_isRenderedSampleForSample) {
    const struct {
        const char* what;
        Play play;
        const char* file;
    } cases[] = {
        {"click by id", [](CSoundOpenAl& p) { p.play(0u); }, "snd_btn_click.wav"},
        {"disabled click by id", [](CSoundOpenAl& p) { p.play(1u); }, "snd_btn_disabled.wav"},
        {"error by id", [](CSoundOpenAl& p) { p.play(2u); }, "snd_error.wav"},
        {"penalty", [](CSoundOpenAl& p) { p.play("penalty.wav", false); }, "en/penalty.wav"},
        {"chime", [](CSoundOpenAl& p) { p.play("ding_dong.wav", false); }, "en/ding_dong.wav"},
        {"by name with the interface sounds off",
         [](CSoundOpenAl& p) {
             p.disable();
             p.play("snd_error.wav", true);
         },
         "snd_error.wav"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const Samples rendered = render(kSoundFolder, "en", c.play);
        const Samples played = readSamples(kSoundFolder + "/" + c.file);
        ASSERT_GT(peak(rendered), peak(played) / 2) << "only silence or a whisper was rendered";
        EXPECT_GT(match(rendered, played), 0.99);
    }
    EXPECT_EQ(count(log(), "Failed to"), 0u) << log();
}

TEST_F(SoundOutputTest, SoundThatMayNotPlay_rendersSilence) {
    const struct {
        const char* what;
        Play play;
        const char* logged;  // a line the attempt leaves, or null for none
    } cases[] = {
        {"id 3", [](CSoundOpenAl& p) { p.play(3u); }, nullptr},
        {"click while disabled",
         [](CSoundOpenAl& p) {
             p.disable();
             p.play(0u);
         },
         nullptr},
        {"missing file", [](CSoundOpenAl& p) { p.play("absent.wav", true); }, "load wav: "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const std::size_t logged = log().size();
        EXPECT_EQ(peak(render(kSoundFolder, "en", c.play)), 0);
        const std::string lines = log().substr(logged);
        EXPECT_EQ(count(lines, "Error: "), c.logged ? 1u : 0u) << lines;
        if (c.logged) {
            EXPECT_EQ(count(lines, c.logged), 1u) << lines;
        }
    }
}

TEST_F(SoundOutputTest, SoundByName_isTakenFromTheFolderOrItsLanguageFolder) {
    // Each name is present in both places, with different tones.
    const auto sounds = soundgen::makeSounds();
    const std::string buzz = "snd_error.wav", chime = "en/ding_dong.wav",
                      warning = "en/penalty.wav";
    const std::string folder = m_folder.path() + "/sound";
    for (const char* sub : {"/en", "/de"}) fs::create_directories(folder + sub);
    const auto put = [&](const std::string& name, const std::string& sound) {
        const auto& bytes = sounds.at(sound);
        quelby_test::writeFile(folder + "/" + name, std::string(bytes.begin(), bytes.end()));
    };
    put("alarm.wav", buzz);
    put("en/alarm.wav", chime);
    put("ding_dong.wav", buzz);
    put("en/ding_dong.wav", chime);
    put("de/ding_dong.wav", warning);

    const struct {
        const char* name;
        bool common;
        const char* language;
        std::string expected;
    } cases[] = {
        {"alarm.wav", true, "en", buzz},
        {"ding_dong.wav", false, "en", chime},
        {"ding_dong.wav", false, "de", warning},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " in " + c.language);
        const Samples rendered = render(
            folder, c.language, [&](CSoundOpenAl& player) { player.play(c.name, c.common); });
        EXPECT_GT(match(rendered, readSamples(kSoundFolder + "/" + c.expected)), 0.99);
    }
}

TEST_F(SoundOutputTest, MissingSoundFolder_logsEachLoadAndStaysSilent) {
    const Samples rendered = render(m_folder.path() + "/no-sounds", "en", [&](CSoundOpenAl& p) {
        EXPECT_EQ(count(log(), "load wav: "), 3u) << log();
        p.play(0u);
        p.play(2u);
        p.play("penalty.wav", false);
        p.play("alarm.wav", true);
    });
    EXPECT_EQ(peak(rendered), 0);
    EXPECT_EQ(count(log(), "load wav: "), 5u) << log();
}

TEST_F(SoundOutputTest, NoDevice_logsWhyAndEveryPlayIsSilentAndSafe) {
    // The wave device cannot create its file: no device opens at all.
    struct Moved {
        std::string away = g_wave.output + "-away";
        Moved() { fs::rename(g_wave.output, away); }
        ~Moved() { fs::rename(away, g_wave.output); }
    } moved;
    CSoundOpenAl player(nullptr, kSoundFolder, "en");
    EXPECT_FALSE(player.hasDevice());
    EXPECT_EQ(count(log(), "init alure: "), 1u) << log();
    player.play(0u);
    player.play("penalty.wav", false);
    EXPECT_FALSE(player.isPlaying());
    EXPECT_EQ(count(log(), "Failed to"), 0u) << log();
    EXPECT_FALSE(fs::exists(g_wave.file));
}

// A sound file as a damaged disk or a stray download may leave it.
TEST(WaveFileTest, EachFileIsReadOrRefusedWithItsReason) {
    const auto le = [](std::uint32_t value, int bytes) {
        std::string out;
        for (int i = 0; i < bytes; ++i) out += static_cast<char>((value >> (8 * i)) & 0xFF);
        return out;
    };
    const auto format = [&](int tag, int channels, int rate, int bits) {
        const int frame = channels * bits / 8;
        return "fmt " + le(16, 4) + le(tag, 2) + le(channels, 2) + le(rate, 4) +
               le(rate * frame, 4) + le(frame, 2) + le(bits, 2);
    };
    const auto riff = [&](const std::string& chunks) {
        return "RIFF" + le(static_cast<std::uint32_t>(4 + chunks.size()), 4) + "WAVE" + chunks;
    };
    const std::string fourFrames = "\x01\x02\x03\x04\x05\x06\x07\x08";
    const struct {
        const char* what;
        std::string bytes;
        std::size_t sampleBytes;  // read; or 0 when refused
        const char* why;
    } cases[] = {
        {"mono 16-bit", riff(format(1, 1, 22050, 16) + "data" + le(8, 4) + fourFrames), 8, ""},
        {"stereo 8-bit after a list chunk with odd padding",
         riff("LIST" + le(3, 4) + "abc" + std::string(1, '\0') + format(1, 2, 8000, 8) + "data" +
              le(8, 4) + fourFrames),
         8, ""},
        {"data cut short keeps the whole frames",
         riff(format(1, 2, 22050, 16) + "data" + le(100, 4) + fourFrames.substr(0, 7)), 4, ""},
        {"empty file", "", 0, "not a RIFF/WAVE file"},
        {"a text file", "this is no sound at all", 0, "not a RIFF/WAVE file"},
        {"compressed", riff(format(2, 1, 22050, 4) + "data" + le(8, 4) + fourFrames), 0,
         "unsupported format"},
        {"24-bit", riff(format(1, 1, 22050, 24) + "data" + le(6, 4) + "123456"), 0,
         "unsupported format"},
        {"six channels", riff(format(1, 6, 22050, 16) + "data" + le(12, 4) + "123456789012"), 0,
         "unsupported format"},
        {"data without a format", riff("data" + le(8, 4) + fourFrames), 0,
         "data before the format chunk"},
        {"format without data", riff(format(1, 1, 22050, 16)), 0, "no data chunk"},
        {"a chunk size beyond the file", riff("JUNK" + le(0xFFFFFFF0u, 4) + "xx"), 0,
         "no format chunk"},
        {"a cut format chunk", riff("fmt " + le(16, 4) + le(1, 2)), 0, "format chunk too short"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        tWaveData wave;
        std::string why;
        const bool read = parseWave(c.bytes, wave, why);
        EXPECT_EQ(read, c.sampleBytes > 0) << why;
        if (read) {
            EXPECT_EQ(wave.samples.size(), c.sampleBytes);
            EXPECT_EQ(std::string(wave.samples.begin(), wave.samples.end()),
                      fourFrames.substr(0, c.sampleBytes));
        } else {
            EXPECT_EQ(why.rfind(c.why, 0), 0u) << "refused for: " << why;
        }
    }
}

TEST(ShippedSoundsTest, AreTheGeneratorsOutputInTheShippedFormat) {
    std::set<std::string> shipped;
    for (const auto& entry : fs::recursive_directory_iterator(kSoundFolder)) {
        if (entry.is_regular_file()) {
            shipped.insert(fs::relative(entry.path(), kSoundFolder).string());
        }
    }
    std::set<std::string> generated;
    for (const auto& [name, bytes] : soundgen::makeSounds()) {
        SCOPED_TRACE(name);
        generated.insert(name);
        const std::string kept = quelby_test::readFile(kSoundFolder + "/" + name);
        EXPECT_TRUE(kept == std::string(bytes.begin(), bytes.end())) << "regenerate the sounds";
        ASSERT_GE(bytes.size(), 44u);
        const auto field = [&](std::size_t at, int size) {
            std::uint32_t value = 0;
            for (int i = size - 1; i >= 0; --i) value = value << 8 | bytes[at + i];
            return value;
        };
        // PCM, mono, 22050 Hz, 16 bits, and between 0.05 s and 1.2 s long.
        EXPECT_EQ(field(20, 2), 1u);
        EXPECT_EQ(field(22, 2), 1u);
        EXPECT_EQ(field(24, 4), 22050u);
        EXPECT_EQ(field(34, 2), 16u);
        const double seconds = field(40, 4) / 2.0 / 22050.0;
        EXPECT_GE(seconds, 0.049);
        EXPECT_LE(seconds, 1.2);
    }
    EXPECT_EQ(shipped, generated);
}

}  // namespace
