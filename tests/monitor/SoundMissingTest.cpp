// Sound on a machine that cannot give any: no OpenAL at all, or the
// system's own without a device. The plug-in says so once and every sound
// is silent, on Linux as on Windows.
#include <gtest/gtest.h>

#include <string>

#include "CSoundOpenAl.h"
#include "TestSupport.h"

namespace {

const std::string kSoundFolder = std::string(QUELBY_SOURCE_DIR) + "/data/sound";

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++found;
    return found;
}

class SoundMissingTest : public quelby_test::FolderTest {
protected:
    static void playEverything(CSoundOpenAl& player) {
        player.play(0u);
        player.play(1u);
        player.play(2u);
        player.play("penalty.wav", false);
        player.play("ding_dong.wav", false);
    }
};

TEST_F(SoundMissingTest, NoOpenAlOnTheMachine_logsItOnceAndEveryPlayIsSilentAndSafe) {
    CSoundOpenAl player(nullptr, kSoundFolder, "en", {"quelby-no-such-openal"});
    EXPECT_FALSE(player.hasDevice());
    EXPECT_EQ(count(log(), "init alure: OpenAL is not installed"), 1u) << log();
    playEverything(player);
    EXPECT_FALSE(player.isPlaying());
    EXPECT_EQ(count(log(), "Failed to"), 0u) << log();
}

// Whatever the machine has, the player either has a device or has said once
// why it has none; neither way does a sound fail.
TEST_F(SoundMissingTest, SystemsOwnSound_playsOrSaysOnceWhyNot) {
    {
        CSoundOpenAl player(nullptr, kSoundFolder, "en");
        playEverything(player);
        if (player.hasDevice()) {
            EXPECT_EQ(count(log(), "init alure: "), 0u) << log();
        } else {
            EXPECT_EQ(count(log(), "init alure: "), 1u) << log();
            EXPECT_FALSE(player.isPlaying());
        }
    }
    EXPECT_EQ(count(log(), "Failed to"), 0u) << log();
}

}  // namespace
