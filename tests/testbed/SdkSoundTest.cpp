// The emulated X-Plane's mixer for plug-ins and XPLMFindSymbol: the mixer's
// functions exist only as X-Plane 12, a sound starts at the next frame and
// plays for its length in frame time, its end is reported once with its
// refcon, and a plug-in's misuses are recorded.
#include <gtest/gtest.h>

#include <cstdint>
#include <thread>
#include <vector>

#include "TestbedFixture.h"
#include "XPLMDataAccess.h"
#include "XPLMSound.h"
#include "XPLMUtilities.h"

namespace {

using testbed::PlayedSound;

using PlayPcmOnBus = FMOD_CHANNEL* (*)(void*, uint32_t, FMOD_SOUND_FORMAT, int, int, int,
                                       XPLMAudioBus, XPLMPCMComplete_f, void*);
using StopAudio = FMOD_RESULT (*)(FMOD_CHANNEL*);

struct Ends {
    std::vector<FMOD_RESULT> statuses;
    std::vector<std::thread::id> threads;
};

void onEnd(void* refcon, FMOD_RESULT status) {
    auto* ends = static_cast<Ends*>(refcon);
    ends->statuses.push_back(status);
    ends->threads.push_back(std::this_thread::get_id());
}

class SdkSoundTest : public TestbedTest {
public:
    void SetUp() override {
        TestbedTest::SetUp();
        sim().setFixedFrameSeconds(0.01);
        play = reinterpret_cast<PlayPcmOnBus>(XPLMFindSymbol("XPLMPlayPCMOnBus"));
        stop = reinterpret_cast<StopAudio>(XPLMFindSymbol("XPLMStopAudio"));
        ASSERT_NE(play, nullptr);
        ASSERT_NE(stop, nullptr);
    }
    // A tenth of a second of 22050 Hz mono: 10 frames of 10 ms.
    std::vector<std::int16_t> m_samples = std::vector<std::int16_t>(2205, 1000);
    uint32_t bytes() const { return static_cast<uint32_t>(m_samples.size() * 2); }
    FMOD_CHANNEL* start(Ends& ends) {
        return play(m_samples.data(), bytes(), FMOD_SOUND_FORMAT_PCM16, 22050, 1, 0,
                    xplm_AudioInterior, onEnd, &ends);
    }
    PlayPcmOnBus play = nullptr;
    StopAudio stop = nullptr;
};

TEST_F(SdkSoundTest, FindSymbol_givesTheSdkFunctionsOfTheXPlanePlayed) {
    const struct {
        const char* name;
        int version;
        bool found;
    } cases[] = {
        {"XPLMFindDataRef", 12, true},
        {"XPLMFindDataRef", 11, true},
        {"XPLMPlayPCMOnBus", 12, true},
        {"XPLMPlayPCMOnBus", 11, false},
        {"XPLMStopAudio", 12, true},
        {"XPLMStopAudio", 11, false},
        {"XPLMSetAudioPosition", 12, false},
        {"XPLMNoSuchFunction", 12, false},
        {"malloc", 12, false},
        {"", 12, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " in X-Plane " + std::to_string(c.version));
        sim().setXPlaneVersion(c.version);
        EXPECT_EQ(sim().xplaneVersion(), c.version);
        EXPECT_EQ(XPLMFindSymbol(c.name) != nullptr, c.found);
    }
    sim().setXPlaneVersion(12);
    EXPECT_EQ(XPLMFindSymbol("XPLMFindDataRef"), reinterpret_cast<void*>(&XPLMFindDataRef));
    sim().setXPlaneVersion(11);
    sim().reset();
    EXPECT_EQ(sim().xplaneVersion(), 12) << "reset plays X-Plane 12 again";
    EXPECT_THROW(sim().setXPlaneVersion(10), std::invalid_argument);
}

TEST_F(SdkSoundTest, Sound_startsAtTheNextFrame_andEndsOnceAfterItsLength) {
    Ends ends;
    FMOD_CHANNEL* channel = start(ends);
    ASSERT_NE(channel, nullptr);
    ASSERT_EQ(sim().playedSounds().size(), 1u);
    EXPECT_EQ(sim().playedSounds()[0].startFrame, 0u);
    sim().runFrames(1);
    EXPECT_EQ(sim().playedSounds()[0].startFrame, sim().frameCount());
    sim().runFrames(9);
    EXPECT_TRUE(ends.statuses.empty()) << "ended before its tenth of a second";
    sim().runFrames(1);
    ASSERT_EQ(ends.statuses.size(), 1u);
    EXPECT_EQ(ends.statuses[0], FMOD_OK);
    EXPECT_EQ(ends.threads[0], std::this_thread::get_id());
    sim().runFrames(20);
    EXPECT_EQ(ends.statuses.size(), 1u) << "reported once";
    const PlayedSound sound = sim().playedSounds()[0];
    EXPECT_EQ(sound.end, PlayedSound::kCompleted);
    EXPECT_EQ(sound.bus, xplm_AudioInterior);
    EXPECT_EQ(sound.rateHz, 22050);
    EXPECT_EQ(sound.channels, 1);
    EXPECT_EQ(sound.bytes, bytes());
    EXPECT_EQ(sound.checksum, testbed::pcmChecksum(m_samples.data(), bytes()));
    EXPECT_EQ(sim().soundsHeld(), 0);
    EXPECT_TRUE(sim().sdkMisuses().empty()) << sim().sdkMisuses().front();
}

TEST_F(SdkSoundTest, Stop_reportsTheEndWithinTheStop_andAStoppedChannelIsGone) {
    for (int framesFirst : {0, 3}) {
        SCOPED_TRACE(framesFirst);
        Ends ends;
        FMOD_CHANNEL* channel = start(ends);
        sim().runFrames(framesFirst);
        EXPECT_EQ(stop(channel), FMOD_OK);
        ASSERT_EQ(ends.statuses.size(), 1u);
        EXPECT_EQ(sim().playedSounds().back().end, PlayedSound::kStopped);
        sim().runFrames(20);
        EXPECT_EQ(ends.statuses.size(), 1u);
        EXPECT_TRUE(sim().sdkMisuses().empty()) << sim().sdkMisuses().front();
        EXPECT_NE(stop(channel), FMOD_OK);
        EXPECT_EQ(sim().sdkMisuses().size(), 1u);
        sim().reset();
        sim().setFixedFrameSeconds(0.01);
    }
}

TEST_F(SdkSoundTest, Misuse_isRecorded) {
    const struct {
        const char* what;
        void (*misuse)(SdkSoundTest&, Ends&);
        const char* recorded;
        bool threadViolation;
    } cases[] = {
        {"samples changed while playing",
         [](SdkSoundTest& t, Ends& ends) {
             t.start(ends);
             sim().runFrames(2);
             t.m_samples[100] = 0;
             sim().runFrames(20);
         },
         "the samples changed before the sound ended", false},
        {"a format other than PCM16",
         [](SdkSoundTest& t, Ends& ends) {
             EXPECT_EQ(t.play(t.m_samples.data(), t.bytes(), static_cast<FMOD_SOUND_FORMAT>(1),
                              22050, 1, 0, xplm_AudioInterior, onEnd, &ends),
                       nullptr);
             ASSERT_EQ(ends.statuses.size(), 1u) << "a refusal is reported too";
             EXPECT_NE(ends.statuses[0], FMOD_OK);
         },
         "is not PCM16", false},
        {"played from another thread",
         [](SdkSoundTest& t, Ends& ends) { std::thread([&] { t.stop(t.start(ends)); }).join(); },
         nullptr, true},
        {"played as X-Plane 11",
         [](SdkSoundTest& t, Ends& ends) {
             sim().setXPlaneVersion(11);
             t.stop(t.start(ends));
         },
         "does not have it", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        sim().reset();
        sim().setFixedFrameSeconds(0.01);
        Ends ends;
        c.misuse(*this, ends);
        const auto misuses = sim().sdkMisuses();
        if (c.recorded) {
            ASSERT_EQ(misuses.size(), 1u);
            EXPECT_NE(misuses[0].find(c.recorded), std::string::npos) << misuses[0];
        } else {
            EXPECT_TRUE(misuses.empty()) << misuses.front();
        }
        EXPECT_EQ(sim().threadViolations().size(), c.threadViolation ? 2u : 0u);
    }
}

}  // namespace
