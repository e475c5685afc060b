// Loading binaries into the emulated X-Plane: the real plug-in loads, unloads
// without leaving anything behind and loads again; what is not a plug-in is
// refused with a reason.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "TestSupport.h"
#include "TestbedFixture.h"
#include "XPLMDataAccess.h"

namespace {

using PluginLoadTest = PluginTestbedTest;

TEST_F(PluginLoadTest, RealPlugin_loadsUnloadsAndLoadsAgain) {
    const std::string before = std::filesystem::current_path().string();
    for (int round = 1; round <= 2; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        std::string error;
        ASSERT_TRUE(sim().loadPlugin(quelby_test::pluginPath(), &error)) << error;
        EXPECT_EQ(sim().pluginName(), "Quelby Client");
        EXPECT_EQ(sim().pluginSignature(), "quelbyclient");
        // X-Plane promises no working folder: a fresh one of the test bed's,
        // never the root nor the folder the test runs in.
        const std::filesystem::path working = std::filesystem::current_path();
        EXPECT_EQ(working.u8string(), sim().workingFolder());
        EXPECT_NE(working, std::filesystem::path(root.path()));
        EXPECT_NE(working.string(), before);
        EXPECT_THROW(sim().reset(), std::logic_error);
        sim().runFrames(5);

        sim().unloadPlugin();
        EXPECT_FALSE(sim().isPluginLoaded());
        EXPECT_EQ(std::filesystem::current_path().string(), before);
        EXPECT_TRUE(sim().widgets().empty());
        EXPECT_EQ(sim().drawCallbackCount(), 0);
        EXPECT_TRUE(sim().menuNames().empty());
        EXPECT_TRUE(sim().hotKeys().empty());
        // A binary that stays mapped would keep its statics for the next load.
        EXPECT_EQ(dlopen(quelby_test::pluginPath().c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr)
            << "the plug-in binary was not released";
    }
    EXPECT_TRUE(sim().dataRefMisuses().empty());
    EXPECT_TRUE(sim().threadViolations().empty()) << sim().threadViolations().front();
}

TEST_F(PluginLoadTest, NotAPlugin_isRefusedWithTheReason) {
    // The test bed's own library is a real shared object without entry points.
    Dl_info info{};
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&XPLMFindDataRef), &info), 0);
    const std::string garbage = root.file("garbage.xpl");
    quelby_test::writeFile(garbage, "not an ELF file");

    struct Case {
        std::string path;
        std::string reason;
    };
    const Case cases[] = {{root.file("missing.xpl"), "not found"},
                          {garbage, "cannot load"},
                          {info.dli_fname, "missing entry point(s) XPluginStart, XPluginStop"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path);
        std::string error;
        EXPECT_FALSE(sim().loadPlugin(c.path, &error));
        EXPECT_NE(error.find(c.reason), std::string::npos) << error;
        EXPECT_FALSE(sim().isPluginLoaded());
    }
}

}  // namespace
