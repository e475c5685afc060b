// The pilot's password and its digest in what the real plug-in leaves on the
// disk: the settings keep the password for the automatic login, and no
// other file, the debug log least of all, holds either of them, whatever
// the website answered.
#include <filesystem>
#include <string>
#include <vector>

#include "CClientInterface.h"
#include "PilotAtTheWindow.h"

namespace {

namespace fs = std::filesystem;
using quelby_test::PilotAtTheWindow;
using quelby_test::readFile;
using namespace std::chrono_literals;

TEST_F(PilotAtTheWindow, PasswordAndItsDigest_areInNoFileButTheSettings) {
    const std::string password = "Kite-7-Harbour";
    const std::string digest = CClientInterface::md5Hex(password.data(), password.size());
    testbed::Pilot pilot = otherPilot(7, "kite");
    pilot.password = password;
    ASSERT_GT(site.addPilot(pilot), 0);
    writeSettings();
    loadPlugin();

    // The first answer breaks off before its end, and the log shows it; the
    // answer holds the pilot's record, digest and all.
    site.injectFailure("getpilot", testbed::Failure::missingDataEnd(), 1);
    logIn("kite", password);
    ASSERT_TRUE(sim().runUntil([&] { return logged("Bad answer from website"); }, 20s));
    press("Login");
    ASSERT_TRUE(waitForText("Home - News"));
    press("Options");
    ASSERT_TRUE(waitForText("General Client Settings"));
    press("Save changes");
    ASSERT_TRUE(waitForText("Home - News"));
    sim().unloadPlugin();

    std::vector<std::string> files;
    for (const std::string& folder : {root.path(), sim().workingFolder()}) {
        for (const auto& entry : fs::recursive_directory_iterator(fs::u8path(folder))) {
            if (entry.is_regular_file()) files.push_back(entry.path().u8string());
        }
    }
    bool settingsSeen = false;
    for (const std::string& file : files) {
        const std::string contents = readFile(file);
        const bool settings = fs::u8path(file).filename() == "quelby.ini";
        settingsSeen = settingsSeen || settings;
        if (!settings) {
            EXPECT_EQ(contents.find(password), std::string::npos) << file << " holds the password";
        }
        EXPECT_EQ(contents.find(digest), std::string::npos) << file << " holds its digest";
    }
    EXPECT_TRUE(settingsSeen);
    EXPECT_NE(readFile(root.file("quelby.ini")).find(password), std::string::npos)
        << "the automatic login has no password";
    for (const std::string& secret : {password, digest}) {
        EXPECT_EQ(sim().xplaneLog().find(secret), std::string::npos) << "X-Plane's Log.txt";
    }
    EXPECT_NE(readFile(root.file("quelby_debug.txt")).find("Bad answer from website"),
              std::string::npos);
}

}  // namespace
