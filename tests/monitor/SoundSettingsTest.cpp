// The sound player's settings: defaults, the given directory and language,
// switching on and off, and the messages they log.
#include <gtest/gtest.h>

#include <string>

#include "CClientConfig.h"
#include "CIniParser.h"
#include "CLogger.h"
#include "CSound.h"
#include "TestSupport.h"

namespace {

class SilentSound : public CSound {
public:
    using CSound::CSound;
    void play(const std::string&, bool) override {}
    void play(unsigned int) override {}
};

class SoundSettingsTest : public quelby_test::FolderTest {
protected:
    // Where the line is in the log, failing the test when it is missing.
    std::size_t lineAt(const std::string& line) const {
        const std::string text = log();
        const std::size_t at = text.find(line);
        EXPECT_NE(at, std::string::npos) << "missing \"" << line << "\" in:\n" << text;
        return at;
    }
};

TEST_F(SoundSettingsTest, DefaultConstruction_usesSoundFolderInEnglishAndIsEnabled) {
    SilentSound sound(nullptr);

    EXPECT_EQ(sound.getPath(), "sound");
    EXPECT_EQ(sound.getLanguage(), "en");
    EXPECT_FALSE(sound.isPathSet());
    EXPECT_TRUE(sound.isEnabled());
    EXPECT_EQ(sound.getMessage(), "");
    lineAt("Debug: [CSound] Sound enabled.");
    EXPECT_EQ(log().find("Sound directory"), std::string::npos);
}

TEST_F(SoundSettingsTest, ConstructionWithPath_setsAndLogsDirectoryThenLanguageThenEnabled) {
    SilentSound sound(nullptr, "/sim/Resources/plugins/Quelby/sound", "de");

    EXPECT_EQ(sound.getPath(), "/sim/Resources/plugins/Quelby/sound");
    EXPECT_EQ(sound.getLanguage(), "de");
    EXPECT_TRUE(sound.isPathSet());
    EXPECT_TRUE(sound.isEnabled());
    EXPECT_EQ(sound.getMessage(), "Sound language: de");

    const std::size_t directory =
        lineAt("Debug: [CSound] Sound directory: /sim/Resources/plugins/Quelby/sound");
    const std::size_t language = lineAt("Debug: [CSound] Sound language: de");
    const std::size_t enabled = lineAt("Debug: [CSound] Sound enabled.");
    EXPECT_LT(directory, language);
    EXPECT_LT(language, enabled);
}

TEST_F(SoundSettingsTest, DisableThenEnable_switchesAndLogsEachTime) {
    SilentSound sound(nullptr);
    sound.disable();
    EXPECT_FALSE(sound.isEnabled());
    const std::size_t disabled = lineAt("Debug: [CSound] Sound disabled.");

    sound.enable();
    EXPECT_TRUE(sound.isEnabled());
    EXPECT_NE(log().find("Debug: [CSound] Sound enabled.", disabled), std::string::npos) << log();
}

}  // namespace
