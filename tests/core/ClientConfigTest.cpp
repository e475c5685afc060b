// The folders X-Plane names become the client's: settings and the debug log in
// X-Plane's folder, the data beside the plug-in's platform folder, and a safe
// choice with a reason when X-Plane names something unusable.
#include <gtest/gtest.h>

#include <string>

#include "CClientConfig.h"

namespace {

class ClientConfigTest : public ::testing::Test {
protected:
    void TearDown() override { config().restoreDefaults(); }
    static CClientConfig& config() { return *CClientConfig::instance(); }
};

TEST_F(ClientConfigTest, XPlaneFolders_placeLogAndSettingsThereAndDataAbovePlatformFolder) {
    struct Case {
        const char* what;
        std::string xplaneFolder;
        std::string pluginFile;
        std::string filesFolder;
        std::string dataFolder;
        bool problem;
    };
    const std::string home = u8"/home/J\u00f6rg Stra\u00dfe/\u6771\u4eac/X-Plane 12/";
    const Case cases[] = {
        {"fat layout", "/xp/", "/xp/Resources/plugins/Quelby/lin_x64/Quelby.xpl", "/xp/",
         "/xp/Resources/plugins/Quelby/", false},
        {"any character in the folders", home, home + "Resources/plugins/Quelby/lin_x64/Quelby.xpl",
         home, home + "Resources/plugins/Quelby/", false},
        {"plug-in folder renamed by the pilot", "/xp/",
         "/xp/Resources/plugins/Quelby 2/lin_x64/Quelby.xpl", "/xp/",
         "/xp/Resources/plugins/Quelby 2/", false},
        {"folder without its separator", "/xp", "/xp/Resources/plugins/Quelby/lin_x64/Quelby.xpl",
         "/xp/", "/xp/Resources/plugins/Quelby/", false},
        {"no file for the plug-in", "/xp/", "", "/xp/", "/xp/Resources/plugins/Quelby/", true},
        {"a file at the top of the disk", "/xp/", "/Quelby.xpl", "/xp/",
         "/xp/Resources/plugins/Quelby/", true},
        {"a bare file name", "/xp/", "Quelby.xpl", "/xp/", "/xp/Resources/plugins/Quelby/", true},
        {"no X-Plane folder", "", "/xp/Resources/plugins/Quelby/lin_x64/Quelby.xpl", "",
         "Resources/plugins/Quelby/", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        config().restoreDefaults();
        const std::string problem = config().useXPlaneFolders(c.xplaneFolder, c.pluginFile);
        EXPECT_EQ(!problem.empty(), c.problem) << problem;
        EXPECT_EQ(config().getLogPath(), c.filesFolder);
        EXPECT_EQ(config().getIniPath(), c.filesFolder);
        EXPECT_EQ(config().getDataPath(), c.dataFolder);
    }
}

TEST_F(ClientConfigTest, FolderWritability_isAssumedUntilToldAndResetWithTheDefaults) {
    EXPECT_TRUE(config().isXPlaneFolderWritable());
    config().setXPlaneFolderWritable(false);
    EXPECT_FALSE(config().isXPlaneFolderWritable());
    config().restoreDefaults();
    EXPECT_TRUE(config().isXPlaneFolderWritable());
}

}  // namespace
