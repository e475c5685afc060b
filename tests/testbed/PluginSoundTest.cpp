// The real plug-in's sounds in the emulated X-Plane: as X-Plane 12 a button's
// click goes to the mixer's cockpit bus as the shipped WAV's samples, and a
// sound still playing at unload is stopped by the plug-in itself; as X-Plane
// 11 nothing reaches the mixer.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "CWaveFile.h"
#include "TestSupport.h"
#include "TestbedFixture.h"
#include "testbed/PluginFolder.h"
#include "testbed/WindowDriver.h"

using namespace std::chrono_literals;

namespace {

namespace fs = std::filesystem;
using testbed::PlayedSound;

class PluginSoundTest : public PluginTestbedTest {
protected:
    void SetUp() override {
        PluginTestbedTest::SetUp();
        m_installed = testbed::installPluginFolder(fs::u8path(quelby_test::pluginPath()),
                                                   fs::u8path(root.path()));
        // Nothing listens on port 9: "Login" fails after its click.
        testbed::writeClientSettings(fs::u8path(root.path()), "127.0.0.1:9", "Sound = 1\n");
    }
    // Loads the plug-in and logs in on its window: a click, then the
    // website's absence is shown.
    void logIn() {
        std::string error;
        ASSERT_TRUE(sim().loadPlugin(m_installed.u8string(), &error)) << error;
        ASSERT_TRUE(sim().clickMenuItem("Quelby", "Show Client"));
        ASSERT_TRUE(m_window.waitForText("Login", 20s)) << m_window.drawnTextsLine();
        ASSERT_TRUE(m_window.type(340, 195, "demo"));
        ASSERT_TRUE(m_window.type(340, 220, "demo"));
        ASSERT_TRUE(m_window.press("Login", 10s));
    }
    testbed::WindowDriver m_window{sim(), "Quelby Client"};
    std::string log() const { return quelby_test::readFile(root.file("quelby_debug.txt")); }
    fs::path m_installed;
};

TEST_F(PluginSoundTest, AsXPlane12_theClickGoesToTheMixer_andIsStoppedAtUnload) {
    // Sounds then last hundreds of frames: the last one still plays at unload.
    sim().setFixedFrameSeconds(0.0001);
    logIn();
    // The click, and the failed login's sound, which may cut it before it
    // starts: the last one plays on.
    ASSERT_TRUE(sim().runUntil(
        [] {
            const auto played = sim().playedSounds();
            return !played.empty() && played.back().startFrame != 0 &&
                   played.back().end == PlayedSound::kNotEnded;
        },
        20s))
        << log();
    const PlayedSound click = sim().playedSounds()[0];
    EXPECT_EQ(click.bus, 7);
    EXPECT_EQ(click.format, 2);
    tWaveData wave;
    std::string why;
    ASSERT_TRUE(
        readWaveFile(std::string(QUELBY_SOURCE_DIR) + "/data/sound/snd_btn_click.wav", wave, why))
        << why;
    EXPECT_EQ(click.rateHz, wave.sampleRate);
    EXPECT_EQ(click.channels, wave.channels);
    EXPECT_EQ(click.checksum, testbed::pcmChecksum(wave.samples.data(), wave.samples.size()));
    ASSERT_GT(sim().soundsHeld(), 0);

    sim().unloadPlugin();
    EXPECT_EQ(sim().soundsHeld(), 0);
    for (const PlayedSound& sound : sim().playedSounds()) {
        EXPECT_NE(sound.end, PlayedSound::kNotEnded);
        EXPECT_NE(sound.end, PlayedSound::kDroppedAtUnload) << "X-Plane would call unloaded code";
    }
    EXPECT_EQ(sim().playedSounds().back().end, PlayedSound::kStopped);
    EXPECT_TRUE(sim().sdkMisuses().empty()) << sim().sdkMisuses().front();
    EXPECT_TRUE(sim().threadViolations().empty()) << sim().threadViolations().front();
    const std::string lines = log();
    EXPECT_NE(lines.find("Sounds play through X-Plane's mixer"), std::string::npos) << lines;
    EXPECT_EQ(lines.find("OpenAL"), std::string::npos) << lines;
}

TEST_F(PluginSoundTest, AsXPlane11_nothingReachesTheMixer) {
    sim().setXPlaneVersion(11);
    logIn();
    // The click came before the login, whose failure is now shown.
    ASSERT_TRUE(m_window.waitForText("No connection to the website.", 30s))
        << m_window.drawnTextsLine();
    sim().runFrames(20);
    sim().unloadPlugin();
    EXPECT_TRUE(sim().playedSounds().empty());
    EXPECT_TRUE(sim().sdkMisuses().empty()) << sim().sdkMisuses().front();
    EXPECT_TRUE(sim().threadViolations().empty()) << sim().threadViolations().front();
    const std::string lines = log();
    EXPECT_EQ(lines.find("X-Plane's mixer"), std::string::npos) << lines;
    // With the test run's silent OpenAL driver a device opens; without
    // OpenAL at all its one line says why.
    EXPECT_TRUE(lines.find("Sounds play through OpenAL") != std::string::npos ||
                lines.find("init alure: ") != std::string::npos)
        << lines;
}

}  // namespace
