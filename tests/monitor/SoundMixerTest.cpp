// The sound player on each X-Plane, with the test bed's SDK and this thread
// as the simulator's: as X-Plane 12 every sound goes to the mixer's cockpit
// bus as the WAV's own samples and lives until the mixer reports its end; as
// X-Plane 11 OpenAL plays, and whatever OpenAL context was current before is
// current again after each use.
#include <AL/al.h>
#include <AL/alc.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "CLogger.h"
#include "CSharedLibrary.h"
#include "CSoundMixerPlayer.h"
#include "CSoundMixerUsingXpsdk.h"
#include "CSoundOpenAl.h"
#include "CSoundOutput.h"
#include "CThreadSync.h"
#include "CWaveFile.h"
#include "TestSupport.h"
#include "testbed/Simulator.h"

namespace {

using testbed::PlayedSound;
using namespace std::chrono_literals;

const std::string kSoundFolder = std::string(QUELBY_SOURCE_DIR) + "/data/sound";
// Mixer frames of 10 ms: the shipped sounds last 5 to 120 frames.
constexpr double kFrameSeconds = 0.01;

testbed::Simulator& sim() { return testbed::Simulator::instance(); }

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++found;
    return found;
}

// What the mixer must have been given for a file: its data chunk as it is
// (16-bit little-endian, as every machine this runs on), its rate and its
// channels, on the cockpit's bus.
void expectSoundOf(const PlayedSound& played, const std::string& file) {
    tWaveData wave;
    std::string why;
    ASSERT_TRUE(readWaveFile(file, wave, why)) << why;
    EXPECT_EQ(played.bus, 7) << "the cockpit's bus, xplm_AudioInterior";
    EXPECT_EQ(played.format, 2) << "FMOD_SOUND_FORMAT_PCM16";
    EXPECT_EQ(played.rateHz, wave.sampleRate);
    EXPECT_EQ(played.channels, wave.channels);
    EXPECT_FALSE(played.loop);
    EXPECT_EQ(played.bytes, wave.samples.size());
    EXPECT_EQ(played.checksum, testbed::pcmChecksum(wave.samples.data(), wave.samples.size()))
        << "not the samples of " << file;
}

class SoundMixerTest : public quelby_test::FolderTest {
protected:
    void SetUp() override {
        FolderTest::SetUp();
        sim().reset();
        sim().setFixedFrameSeconds(kFrameSeconds);
        CSoundMixerUsingXpsdk::lookUpFunctions();
    }
    void TearDown() override {
        CSoundMixerUsingXpsdk::stopAll();
        EXPECT_TRUE(sim().sdkMisuses().empty()) << sim().sdkMisuses().front();
        EXPECT_TRUE(sim().threadViolations().empty()) << sim().threadViolations().front();
        sim().reset();
        CSoundMixerUsingXpsdk::lookUpFunctions();
        FolderTest::TearDown();
    }
    static bool playOut() {
        return sim().runUntil([] { return sim().soundsHeld() == 0; }, 10s);
    }
    std::unique_ptr<CSound> makePlayer(const std::string& folder = kSoundFolder) {
        return CSoundOutput::makePlayer(nullptr, folder, "en", &m_mixer);
    }

    // Made on this thread, which is thus the simulator's: jobs run at once.
    CThreadSync m_sync;
    CSoundMixerUsingXpsdk m_mixer{&m_sync};
};

TEST_F(SoundMixerTest, AsXPlane12_everySoundGoesToTheCockpitBusAsTheWavesSamples) {
    const auto player = makePlayer();
    ASSERT_NE(dynamic_cast<CSoundMixerPlayer*>(player.get()), nullptr);
    EXPECT_EQ(count(log(), "Sounds play through X-Plane's mixer"), 1u) << log();
    EXPECT_EQ(count(log(), "OpenAL"), 0u) << log();

    const struct {
        const char* what;
        void (*play)(CSound&);
        const char* file;
    } cases[] = {
        {"click by id", [](CSound& p) { p.play(0u); }, "snd_btn_click.wav"},
        {"disabled click by id", [](CSound& p) { p.play(1u); }, "snd_btn_disabled.wav"},
        {"error by id", [](CSound& p) { p.play(2u); }, "snd_error.wav"},
        {"penalty", [](CSound& p) { p.play("penalty.wav", false); }, "en/penalty.wav"},
        {"chime", [](CSound& p) { p.play("ding_dong.wav", false); }, "en/ding_dong.wav"},
        {"by name with the interface sounds off",
         [](CSound& p) {
             p.disable();
             p.play("snd_error.wav", true);
             p.enable();
         },
         "snd_error.wav"},
    };
    std::size_t played = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        c.play(*player);
        ASSERT_EQ(sim().playedSounds().size(), ++played);
        EXPECT_EQ(sim().playedSounds().back().startFrame, 0u) << "started before a frame";
        ASSERT_TRUE(playOut());
        const PlayedSound sound = sim().playedSounds().back();
        expectSoundOf(sound, kSoundFolder + "/" + c.file);
        EXPECT_EQ(sound.end, PlayedSound::kCompleted);
        EXPECT_EQ(CSoundMixerUsingXpsdk::soundsHeld(), 0) << "its samples were kept after its end";
    }
    EXPECT_EQ(count(log(), "Error: "), 0u) << log();
}

TEST_F(SoundMixerTest, SoundThatMayNotPlay_reachesNoMixer) {
    const auto player = makePlayer();
    player->play(3u);
    player->disable();
    player->play(0u);
    EXPECT_TRUE(sim().playedSounds().empty());
}

TEST_F(SoundMixerTest, NewSound_stopsTheOneStillPlaying) {
    const auto player = makePlayer();
    player->play("penalty.wav", false);
    sim().runFrames(2);
    player->play(0u);
    ASSERT_TRUE(playOut());
    const auto played = sim().playedSounds();
    ASSERT_EQ(played.size(), 2u);
    expectSoundOf(played[0], kSoundFolder + "/en/penalty.wav");
    EXPECT_EQ(played[0].end, PlayedSound::kStopped);
    expectSoundOf(played[1], kSoundFolder + "/snd_btn_click.wav");
    EXPECT_EQ(played[1].end, PlayedSound::kCompleted);
}

TEST_F(SoundMixerTest, Sound_outlivesItsPlayer_untilTheMixerReportsItsEnd) {
    // Read for this one play: the player holds no copy of it.
    makePlayer()->play("penalty.wav", false);
    EXPECT_EQ(CSoundMixerUsingXpsdk::soundsHeld(), 1);
    sim().runFrames(3);
    ASSERT_NE(sim().playedSounds().at(0).startFrame, 0u);
    EXPECT_EQ(CSoundMixerUsingXpsdk::soundsHeld(), 1);
    // The test bed reads the samples again at the end: freed ones would show
    // under AddressSanitizer, changed ones as a misuse.
    ASSERT_TRUE(playOut());
    EXPECT_EQ(sim().playedSounds().at(0).end, PlayedSound::kCompleted);
    EXPECT_EQ(CSoundMixerUsingXpsdk::soundsHeld(), 0);
}

TEST_F(SoundMixerTest, Stop_endsEverySound_andNothingIsReportedLater) {
    const struct {
        const char* what;
        int framesFirst;
        void (*stop)(std::unique_ptr<CSoundMixerUsingXpsdk>&);
    } cases[] = {
        {"stopAll before the sound started", 0,
         [](std::unique_ptr<CSoundMixerUsingXpsdk>&) { CSoundMixerUsingXpsdk::stopAll(); }},
        {"stopAll while it plays", 2,
         [](std::unique_ptr<CSoundMixerUsingXpsdk>&) { CSoundMixerUsingXpsdk::stopAll(); }},
        {"the mixer goes while it plays", 2,
         [](std::unique_ptr<CSoundMixerUsingXpsdk>& mixer) { mixer.reset(); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        auto mixer = std::make_unique<CSoundMixerUsingXpsdk>(&m_sync);
        CSoundMixerPlayer player(nullptr, kSoundFolder, "en", mixer.get());
        player.play("ding_dong.wav", false);
        sim().runFrames(c.framesFirst);
        c.stop(mixer);
        EXPECT_EQ(sim().soundsHeld(), 0);
        EXPECT_EQ(CSoundMixerUsingXpsdk::soundsHeld(), 0);
        EXPECT_EQ(sim().playedSounds().back().end, PlayedSound::kStopped);
        sim().runFrames(5);
        EXPECT_EQ(sim().playedSounds().back().end, PlayedSound::kStopped);
    }
}

TEST_F(SoundMixerTest, UnreadableSound_isOneLogLineAndNothingPlays) {
    quelby_test::writeFile(m_folder.file("noise.wav"), "this is no sound at all");
    const struct {
        const char* what;
        std::string folder;
        void (*play)(CSound&);
        std::size_t linesAtStart;
        const char* why;
    } cases[] = {
        {"missing by name", kSoundFolder, [](CSound& p) { p.play("absent.wav", true); }, 0,
         "load wav: Failed to open file"},
        {"not a WAV file", m_folder.path(), [](CSound& p) { p.play("noise.wav", true); }, 3,
         "load wav: not a RIFF/WAVE file"},
        {"interface sound of a missing folder", m_folder.path() + "/none",
         [](CSound& p) { p.play(0u); }, 3, nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const std::size_t before = log().size();
        const auto player = makePlayer(c.folder);
        EXPECT_EQ(count(log().substr(before), "load wav: "), c.linesAtStart) << log();
        c.play(*player);
        const std::string lines = log().substr(before);
        EXPECT_EQ(count(lines, "load wav: "), c.linesAtStart + (c.why ? 1u : 0u)) << lines;
        if (c.why) {
            EXPECT_EQ(count(lines, c.why), 1u) << lines;
        }
        sim().runFrames(2);
        EXPECT_TRUE(sim().playedSounds().empty());
    }
}

// The rule file names its sounds, and anyone may edit it: a name leads to a
// regular file inside the sound folder, or nothing is read.
TEST_F(SoundMixerTest, RuleSoundOutsideTheFolderOrNoRegularFile_isRefusedWithALogLine) {
    namespace fs = std::filesystem;
    const std::string folder = m_folder.file("sound");
    fs::create_directories(folder + "/sub");
    const std::string shipped = kSoundFolder + "/snd_error.wav";
    fs::copy_file(shipped, m_folder.file("outside.wav"));
    fs::copy_file(shipped, folder + "/sub/inside.wav");
    // A pipe opened for reading waits for a writer; a device never ends.
    ASSERT_EQ(mkfifo((folder + "/pipe.wav").c_str(), 0600), 0);
    fs::create_symlink("/dev/zero", folder + "/zero.wav");
    // Beyond the size limit, without taking the disk space.
    { std::ofstream(folder + "/huge.wav"); }
    fs::resize_file(folder + "/huge.wav", 17u * 1024u * 1024u);

    const struct {
        std::string name;
        const char* why;  // nullptr: plays
    } cases[] = {
        {"sub/inside.wav", nullptr},
        {"../outside.wav", "refused: sounds are taken from the sound folder only"},
        {"sub/../../outside.wav", "refused: sounds are taken from the sound folder only"},
        {m_folder.file("outside.wav"), "refused: sounds are taken from the sound folder only"},
        {"pipe.wav", "load wav: not a regular file"},
        {"zero.wav", "load wav: not a regular file"},
        {"huge.wav", "load wav: file too large for a sound"},
    };
    const auto player = makePlayer(folder);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::size_t before = log().size();
        const std::size_t played = sim().playedSounds().size();
        player->play(c.name, true);
        sim().runFrames(2);
        const std::string lines = log().substr(before);
        if (c.why == nullptr) {
            EXPECT_EQ(sim().playedSounds().size(), played + 1);
            EXPECT_EQ(count(lines, "Error: "), 0u) << lines;
        } else {
            EXPECT_EQ(sim().playedSounds().size(), played);
            EXPECT_EQ(count(lines, c.why), 1u) << lines;
        }
    }
    ASSERT_TRUE(playOut());
}

// The machine's OpenAL, as the other add-ons of an X-Plane 11 use it.
struct OpenAl {
    CSharedLibrary library{"libopenal.so.1", "libopenal.so"};
    decltype(&alcOpenDevice) openDevice =
        reinterpret_cast<decltype(openDevice)>(library.symbol("alcOpenDevice"));
    decltype(&alcCloseDevice) closeDevice =
        reinterpret_cast<decltype(closeDevice)>(library.symbol("alcCloseDevice"));
    decltype(&alcCreateContext) createContext =
        reinterpret_cast<decltype(createContext)>(library.symbol("alcCreateContext"));
    decltype(&alcDestroyContext) destroyContext =
        reinterpret_cast<decltype(destroyContext)>(library.symbol("alcDestroyContext"));
    decltype(&alcMakeContextCurrent) makeCurrent =
        reinterpret_cast<decltype(makeCurrent)>(library.symbol("alcMakeContextCurrent"));
    decltype(&alcGetCurrentContext) current =
        reinterpret_cast<decltype(current)>(library.symbol("alcGetCurrentContext"));
};

TEST_F(SoundMixerTest, AsXPlane11_openAlPlays_andTheContextCurrentBeforeIsCurrentAfterEachUse) {
    sim().setXPlaneVersion(11);
    CSoundMixerUsingXpsdk::lookUpFunctions();
    EXPECT_FALSE(m_mixer.isAvailable());
    OpenAl al;
    ASSERT_TRUE(al.library.isOpen()) << al.library.failure();
    ASSERT_TRUE(al.openDevice && al.closeDevice && al.createContext && al.destroyContext &&
                al.makeCurrent && al.current);
    ALCdevice* device = al.openDevice(nullptr);
    ASSERT_NE(device, nullptr);
    ALCcontext* another = al.createContext(device, nullptr);
    ASSERT_NE(another, nullptr);

    for (ALCcontext* before : {another, static_cast<ALCcontext*>(nullptr)}) {
        SCOPED_TRACE(before ? "another add-on's context current" : "no context current");
        ASSERT_EQ(al.makeCurrent(before), ALC_TRUE);
        {
            const auto player = makePlayer();
            auto* openAl = dynamic_cast<CSoundOpenAl*>(player.get());
            ASSERT_NE(openAl, nullptr);
            ASSERT_TRUE(openAl->hasDevice());
            EXPECT_EQ(al.current(), before) << "after the start";
            player->play(0u);
            EXPECT_EQ(al.current(), before) << "after a click";
            player->play("penalty.wav", false);
            EXPECT_EQ(al.current(), before) << "after a sound by name";
            // Played in the player's own context, not in the one current.
            EXPECT_TRUE(openAl->isPlaying());
            EXPECT_EQ(al.current(), before) << "after asking whether it plays";
        }
        EXPECT_EQ(al.current(), before) << "after the player went";
    }
    al.makeCurrent(nullptr);
    al.destroyContext(another);
    al.closeDevice(device);
    EXPECT_TRUE(sim().playedSounds().empty()) << "X-Plane 11 has no mixer";
    EXPECT_EQ(count(log(), "Sounds play through OpenAL"), 2u) << log();
    EXPECT_EQ(count(log(), "Failed to"), 0u) << log();
}

TEST_F(SoundMixerTest, NeitherMixerNorOpenAl_oneLineSaysWhy_andNothingPlays) {
    sim().setXPlaneVersion(11);
    CSoundMixerUsingXpsdk::lookUpFunctions();
    std::vector<std::string> supportLines;
    CLogger::setSupportSink([&](const std::string& line) { supportLines.push_back(line); });
    for (int start = 0; start < 2; ++start) {
        const auto player = CSoundOutput::makePlayer(nullptr, kSoundFolder, "en", &m_mixer,
                                                     {"quelby-no-such-openal"});
        player->play(0u);
        player->play("penalty.wav", false);
    }
    CLogger::setSupportSink(nullptr);
    sim().runFrames(5);
    EXPECT_TRUE(sim().playedSounds().empty());
    EXPECT_EQ(count(log(), "init alure: OpenAL is not installed, sounds stay off"), 2u) << log();
    EXPECT_EQ(count(log(), "Sounds play through"), 0u) << log();
    // X-Plane's Log.txt hears it once, whatever the number of players.
    ASSERT_EQ(supportLines.size(), 1u);
    EXPECT_EQ(supportLines[0].rfind("Quelby: sounds are off", 0), 0u) << supportLines[0];
}

TEST(PcmSoundTest, FramesBecome16BitSamplesInTheMachinesOrder) {
    const struct {
        const char* what;
        int channels;
        int bits;
        std::string bytes;
        std::vector<std::int16_t> samples;
    } cases[] = {
        {"8-bit, unsigned around 128",
         1,
         8,
         std::string("\x00\x80\xff\x7f", 4),
         {-32768, 0, 32512, -256}},
        {"16-bit stereo, little-endian",
         2,
         16,
         std::string("\x01\x02\xff\xff\x00\x80\xff\x7f", 8),
         {0x0201, -1, -32768, 32767}},
        {"no frames", 1, 16, "", {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        tWaveData wave;
        wave.channels = c.channels;
        wave.bitsPerSample = c.bits;
        wave.sampleRate = 11025;
        wave.samples.assign(c.bytes.begin(), c.bytes.end());
        tPcmSound pcm;
        pcm.samples = {7};
        pcmFromWave(wave, pcm);
        EXPECT_EQ(pcm.samples, c.samples);
        EXPECT_EQ(pcm.channels, c.channels);
        EXPECT_EQ(pcm.sampleRate, 11025);
    }
}

}  // namespace
