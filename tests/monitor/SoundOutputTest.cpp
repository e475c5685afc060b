// Sound really rendered: OpenAL Soft writes what it plays into a wave file,
// and the tones found there are the ones of the file played. Also the
// shipped sounds, which must be exactly the generator's output.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <boost/filesystem.hpp>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "AircraftData.h"
#include "CFlightState.h"
#include "CReport.h"
#include "CSoundOpenAl.h"
#include "SoundGenerator.h"
#include "TestSupport.h"

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kRateHz = 22050;

// OpenAL Soft reads its configuration once per process, at its first call,
// so the wave-file output is chosen before any test runs: mono 16-bit at the
// sounds' own rate, so that the rendered samples are the played ones.
struct WaveOutput {
    std::string folder;
    std::string file;
    WaveOutput() {
        char pattern[] = "/tmp/quelby-sound-XXXXXX";
        folder = mkdtemp(pattern);
        file = folder + "/rendered.wav";
        const std::string config = folder + "/alsoft.conf";
        quelby_test::writeFile(config,
                               "[general]\ndrivers = wave\nfrequency = 22050\nchannels = mono\n"
                               "sample-type = int16\n[wave]\nfile = " +
                                   file + "\n");
        setenv("ALSOFT_CONF", config.c_str(), 1);
        setenv("ALSOFT_LOGLEVEL", "0", 1);
    }
    ~WaveOutput() {
        boost::system::error_code ignored;
        boost::filesystem::remove_all(folder, ignored);
    }
};
const WaveOutput g_wave;

const std::string kSoundFolder = std::string(QUELBY_SOURCE_DIR) + "/data/sound";

// The samples of a 16-bit mono wave file.
std::vector<std::int16_t> readSamples(const std::string& path) {
    const std::string bytes = quelby_test::readFile(path);
    const std::size_t data = bytes.find("data");
    std::vector<std::int16_t> samples;
    if (data == std::string::npos) return samples;
    for (std::size_t i = data + 8; i + 1 < bytes.size(); i += 2) {
        std::int16_t sample;
        std::memcpy(&sample, &bytes[i], 2);
        samples.push_back(sample);
    }
    return samples;
}

// The first sample well above the noise floor, or -1 for silence.
long onset(const std::vector<std::int16_t>& samples) {
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (std::abs(samples[i]) > 1000) return static_cast<long>(i);
    }
    return -1;
}

// Goertzel's power of one frequency over a window of the samples.
double power(const std::vector<std::int16_t>& samples, long from, long count, double hz) {
    const double coefficient = 2.0 * std::cos(2.0 * kPi * hz / kRateHz);
    double s1 = 0.0, s2 = 0.0;
    for (long i = from; i < from + count && i < static_cast<long>(samples.size()); ++i) {
        const double s0 = samples[static_cast<std::size_t>(i)] + coefficient * s1 - s2;
        s2 = s1;
        s1 = s0;
    }
    return s1 * s1 + s2 * s2 - coefficient * s1 * s2;
}

// Which of the candidate frequencies is loudest in the window.
double loudest(const std::vector<std::int16_t>& samples, long from, long count) {
    const double candidates[] = {180, 300, 523.25, 659.26, 660, 880, 1800};
    double best = 0.0, bestPower = -1.0;
    for (double hz : candidates) {
        const double p = power(samples, from, count, hz);
        if (p > bestPower) {
            bestPower = p;
            best = hz;
        }
    }
    return best;
}

// Plays through a fresh device and returns what it rendered once the sound
// has ended and the device is closed.
template <typename Play>
std::vector<std::int16_t> render(const std::string& folder, Play play) {
    {
        CSoundOpenAl player(nullptr, folder, "en");
        EXPECT_TRUE(player.hasDevice());
        play(player);
        for (int waitedMs = 0; player.isPlaying() && waitedMs < 5000; waitedMs += 10) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        EXPECT_FALSE(player.isPlaying()) << "still playing after 5 s";
    }
    return readSamples(g_wave.file);
}

class SoundOutputTest : public quelby_test::FolderTest {};

TEST_F(SoundOutputTest, PlayedFiles_areRenderedWithTheirTones) {
    const struct {
        const char* name;
        bool common;
        double toneHz;
    } cases[] = {
        {"penalty.wav", false, 880},       // in the language's folder
        {"ding_dong.wav", false, 659.26},  // its first note
        {"snd_error.wav", true, 180},      // a rule's sound, in the folder itself
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto samples =
            render(kSoundFolder, [&](CSoundOpenAl& player) { player.play(c.name, c.common); });
        const long start = onset(samples);
        ASSERT_GE(start, 0) << "only silence was rendered";
        EXPECT_EQ(loudest(samples, start, kRateHz / 10), c.toneHz);
    }
    // The warning's second tone follows its first.
    const auto warning =
        render(kSoundFolder, [](CSoundOpenAl& player) { player.play("penalty.wav", false); });
    EXPECT_EQ(loudest(warning, onset(warning) + kRateHz / 4, kRateHz / 10), 660);
}

TEST_F(SoundOutputTest, InterfaceSounds_playByIdOnlyWhileEnabled) {
    const auto click = render(kSoundFolder, [](CSoundOpenAl& player) { player.play(0u); });
    ASSERT_GE(onset(click), 0);
    EXPECT_EQ(loudest(click, onset(click), kRateHz / 50), 1800);

    const auto none = render(kSoundFolder, [](CSoundOpenAl& player) {
        player.play(3u);
        player.disable();
        player.play(0u);
        // Files by name are heard even with the interface sounds off.
        player.play("snd_btn_disabled.wav", true);
    });
    ASSERT_GE(onset(none), 0);
    EXPECT_EQ(loudest(none, onset(none), kRateHz / 20), 300);
}

TEST_F(SoundOutputTest, MissingFiles_areLoggedAndStaySilent) {
    const auto samples = render(m_folder.path() + "/no-sounds", [](CSoundOpenAl& player) {
        player.play(0u);
        player.play("penalty.wav", false);
        // Rule sounds are not looked up in the language's folder.
        player.play("penalty.wav", true);
    });
    EXPECT_EQ(onset(samples), -1);
    std::size_t loadErrors = 0;
    for (std::size_t at = log().find("load wav: "); at != std::string::npos;
         at = log().find("load wav: ", at + 1)) {
        ++loadErrors;
    }
    EXPECT_EQ(loadErrors, 5u) << log();
}

TEST_F(SoundOutputTest, NoDevice_logsAndEveryPlayIsSafe) {
    // The wave device cannot open its file: no device at all.
    const std::string moved = g_wave.folder + "-away";
    boost::filesystem::rename(g_wave.folder, moved);
    {
        CSoundOpenAl player(nullptr, kSoundFolder, "en");
        EXPECT_FALSE(player.hasDevice());
        player.play(0u);
        player.play("penalty.wav", false);
        EXPECT_FALSE(player.isPlaying());
    }
    boost::filesystem::rename(moved, g_wave.folder);
    EXPECT_NE(log().find("init alure: "), std::string::npos) << log();
}

TEST_F(SoundOutputTest, NewPenalty_soundsTheWarning) {
    CReport report;
    tagAircraftData data;
    data.reset();
    // 300 kt at 5000 ft: the overspeed below FL100.
    data.dAltitudeFt = 5000.0;
    data.nHeightAglFt = 4000;
    data.nIndicatedAirspeedKts = 300;
    data.bLandingLights = true;
    data.nFlightState = 5;
    const auto samples = render(kSoundFolder, [&](CSoundOpenAl& player) {
        CFlightState state(&data, &report, &player);
        state.check();
    });
    EXPECT_TRUE(report.isPenalty(7));
    ASSERT_GE(onset(samples), 0) << "the penalty was not heard";
    EXPECT_EQ(loudest(samples, onset(samples), kRateHz / 10), 880);
}

TEST(ShippedSoundsTest, AreExactlyTheGeneratorsOutput) {
    for (const auto& [name, bytes] : soundgen::makeSounds()) {
        SCOPED_TRACE(name);
        const std::string shipped = quelby_test::readFile(kSoundFolder + "/" + name);
        ASSERT_EQ(shipped.size(), bytes.size());
        EXPECT_EQ(std::memcmp(shipped.data(), bytes.data(), bytes.size()), 0);
    }
}

}  // namespace
