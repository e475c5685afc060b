// X-Plane's system services in the emulated X-Plane: its folder with its
// separator, the plug-in's own file, features and Log.txt, and a working
// folder of the plug-in's that is never X-Plane's.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "TestSupport.h"
#include "TestbedFixture.h"
#include "XPLMDataAccess.h"
#include "XPLMPlugin.h"
#include "XPLMUtilities.h"

namespace {

namespace fs = std::filesystem;

TEST_F(TestbedTest, Features_knownOnesAreRecorded_unknownOnesAreMisuse) {
    struct Case {
        const char* feature;
        bool known;
    };
    const Case cases[] = {
        {"XPLM_USE_NATIVE_PATHS", true},
        {"XPLM_USE_NATIVE_WIDGET_WINDOWS", true},
        {"XPLM_WANTS_DATAREF_NOTIFICATIONS", false},  // SDK 4, after what is emulated
        {"", false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.feature);
        sim().reset();
        EXPECT_EQ(XPLMHasFeature(c.feature), c.known ? 1 : 0);
        XPLMEnableFeature(c.feature, 1);
        EXPECT_EQ(sim().isFeatureEnabled(c.feature), c.known);
        EXPECT_EQ(XPLMIsFeatureEnabled(c.feature), c.known ? 1 : 0);
        XPLMEnableFeature(c.feature, 0);
        EXPECT_FALSE(sim().isFeatureEnabled(c.feature));
        // Enabling and asking about an unknown feature are two errors.
        EXPECT_EQ(sim().sdkMisuses().size(), c.known ? 0u : 3u);
    }
    sim().reset();
    XPLMEnableFeature("XPLM_USE_NATIVE_PATHS", 1);
    sim().reset();
    EXPECT_FALSE(sim().isFeatureEnabled("XPLM_USE_NATIVE_PATHS")) << "reset forgets features";
}

TEST_F(TestbedTest, DebugString_isKeptAsLogTxt_untilReset) {
    XPLMDebugString("Quelby: first\n");
    XPLMDebugString("Quelby: second\n");
    XPLMDebugString(nullptr);
    EXPECT_EQ(sim().xplaneLog(), "Quelby: first\nQuelby: second\n");
    EXPECT_EQ(sim().sdkMisuses().size(), 1u);
    sim().reset();
    EXPECT_EQ(sim().xplaneLog(), "");
}

TEST_F(TestbedTest, PluginInfo_withoutAPlugin_isNoPlugin) {
    EXPECT_EQ(XPLMGetMyID(), XPLM_NO_PLUGIN_ID);
    char path[512] = "untouched";
    XPLMGetPluginInfo(1, nullptr, path, nullptr, nullptr);
    EXPECT_STREQ(path, "");
    EXPECT_EQ(sim().sdkMisuses().size(), 1u);
}

TEST_F(PluginTestbedTest, LoadedPlugin_runsInAFreshFolder_andXPlaneNamesItsFolderAndFile) {
    const fs::path before = fs::current_path();
    std::string error;
    ASSERT_TRUE(sim().loadPlugin(quelby_test::pluginPath(), &error)) << error;

    char folder[4096] = {0};
    XPLMGetSystemPath(folder);
    EXPECT_EQ(std::string(folder), (fs::u8path(root.path()) / "").u8string());
    EXPECT_EQ(std::string(folder).back(), '/');

    char name[256] = {0};
    char file[4096] = {0};
    char signature[256] = {0};
    char description[256] = {0};
    XPLMGetPluginInfo(XPLMGetMyID(), name, file, signature, description);
    EXPECT_EQ(std::string(file), fs::absolute(quelby_test::pluginPath()).u8string());
    EXPECT_EQ(std::string(name), "Quelby Client");
    EXPECT_EQ(std::string(signature), "quelbyclient");
    EXPECT_EQ(std::string(description), sim().pluginDescription());

    const std::string working = sim().workingFolder();
    EXPECT_EQ(fs::current_path().u8string(), working);
    EXPECT_NE(working, root.path());
    EXPECT_NE(fs::u8path(working), before);
    sim().unloadPlugin();
    EXPECT_EQ(fs::current_path(), before) << "the unload gives the process its folder back";
    EXPECT_TRUE(fs::is_directory(fs::u8path(working))) << "kept for the test to look into";

    // Each load runs in a folder of its own; the one before goes.
    ASSERT_TRUE(sim().loadPlugin(quelby_test::pluginPath(), &error)) << error;
    EXPECT_NE(sim().workingFolder(), working);
    EXPECT_FALSE(fs::exists(fs::u8path(working)));
    EXPECT_TRUE(sim().sdkMisuses().empty()) << sim().sdkMisuses().front();
}

TEST_F(TestbedTest, HiddenDataRef_isNotFound_butStillSteeredByTheTest_untilReset) {
    const char* const current = "sim/cockpit2/controls/flap_system_deploy_ratio";
    const char* const former = "sim/flightmodel2/controls/flap_handle_deploy_ratio";
    // X-Plane 12 answers the replaced name with the same value.
    ASSERT_NE(XPLMFindDataRef(former), nullptr);
    EXPECT_EQ(XPLMFindDataRef(former), XPLMFindDataRef(current));
    sim().hideDataRef(current);
    EXPECT_EQ(XPLMFindDataRef(current), nullptr);
    sim().setFloat(current, 0.5f);
    EXPECT_EQ(XPLMGetDataf(XPLMFindDataRef(former)), 0.5f);
    sim().reset();
    EXPECT_NE(XPLMFindDataRef(current), nullptr);
}

}  // namespace
