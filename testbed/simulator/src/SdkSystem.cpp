// X-Plane's system services: its own folder, the plug-in's identity and file,
// the SDK's features, and Log.txt; and the working folder a plug-in runs in,
// which X-Plane does not promise to be its own folder.
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>

#include "SimulatorState.h"
#include "XPLMPlugin.h"
#include "XPLMUtilities.h"

namespace fs = std::filesystem;

namespace testbed {

using namespace detail;

namespace {

// The one plug-in's id; 0 is X-Plane itself.
constexpr XPLMPluginID kPluginId = 1;

// Log.txt stops growing here, so that a plug-in logging every frame cannot
// eat the test process's memory.
constexpr std::size_t kMaxLogBytes = 4 * 1024 * 1024;

// What the SDK up to 3.0.2 knows; the X-Plane 11 played here has only
// legacy widget windows. Lock held.
bool isKnownFeature(const State& s, const std::string& name) {
    return name == "XPLM_USE_NATIVE_PATHS" ||
           (name == "XPLM_USE_NATIVE_WIDGET_WINDOWS" && s.xplaneVersion >= 12);
}

// Copies text and its terminator, as X-Plane does: whole, trusting the buffer.
void copyOut(char* out, const std::string& text) {
    if (out != nullptr) {
        std::memcpy(out, text.c_str(), text.size() + 1);
    }
}

// Guarded by the state lock.
std::string g_folderToRemoveAtExit;

void removeLastWorkingFolder() {
    std::string folder;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        folder.swap(g_folderToRemoveAtExit);
    }
    if (!folder.empty()) {
        std::error_code ignored;
        fs::remove_all(fs::u8path(folder), ignored);
    }
}

}  // namespace

namespace detail {

std::string makeWorkingFolder(std::string* error) {
    std::string previous;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        previous = g_folderToRemoveAtExit;
    }
    std::error_code ec;
    if (!previous.empty()) {
        fs::remove_all(fs::u8path(previous), ec);
    }
    static const bool registered = std::atexit(removeLastWorkingFolder) == 0;
    (void)registered;
    const fs::path temporary = fs::temp_directory_path(ec);
    if (ec) {
        if (error != nullptr) *error = "no temporary folder: " + ec.message();
        return std::string();
    }
    std::mt19937_64 random(
        std::random_device{}() ^
        static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()));
    for (int attempt = 0; attempt < 100; ++attempt) {
        const fs::path folder =
            temporary / ("quelby-testbed-cwd-" + std::to_string(random() % 1000000000u));
        if (fs::create_directory(folder, ec) && !ec) {
            const std::string made = fs::absolute(folder).u8string();
            std::lock_guard<std::mutex> lock(state().mutex);
            g_folderToRemoveAtExit = made;
            return made;
        }
    }
    if (error != nullptr) *error = "cannot make a working folder in " + temporary.u8string();
    return std::string();
}

void resetSystemServices(State& s) {
    s.enabledFeatures.clear();
    s.xplaneLog.clear();
    // A plug-in built into the test program (not loaded) asks for them too.
    s.systemFolder = s.rootFolder;
    s.pluginFile.clear();
}

}  // namespace detail

bool Simulator::isFeatureEnabled(const std::string& name) const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().enabledFeatures.count(name) != 0;
}

std::string Simulator::xplaneLog() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().xplaneLog;
}

std::string Simulator::workingFolder() const {
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().workingFolder;
}

}  // namespace testbed

using namespace testbed;
using namespace testbed::detail;

extern "C" {

XPLM_API void XPLMGetSystemPath(char* outSystemPath) {
    SdkCall call("XPLMGetSystemPath");
    if (outSystemPath == nullptr) {
        recordSdkMisuse(call.s, "XPLMGetSystemPath: null buffer");
        return;
    }
    // The folder as the system writes it, with its closing separator.
    copyOut(outSystemPath, (fs::u8path(call.s.systemFolder) / "").u8string());
}

XPLM_API void XPLMDebugString(const char* inString) {
    SdkCall call("XPLMDebugString");
    if (inString == nullptr) {
        recordSdkMisuse(call.s, "XPLMDebugString: null text");
        return;
    }
    if (call.s.xplaneLog.size() < kMaxLogBytes) {
        call.s.xplaneLog += inString;
    }
}

XPLM_API XPLMPluginID XPLMGetMyID(void) {
    SdkCall call("XPLMGetMyID");
    return call.s.pluginActive ? kPluginId : XPLM_NO_PLUGIN_ID;
}

XPLM_API void XPLMGetPluginInfo(XPLMPluginID inPlugin, char* outName, char* outFilePath,
                                char* outSignature, char* outDescription) {
    SdkCall call("XPLMGetPluginInfo");
    if (inPlugin != kPluginId || !call.s.pluginActive) {
        recordSdkMisuse(call.s,
                        "XPLMGetPluginInfo: unknown plug-in id " + std::to_string(inPlugin));
        for (char* out : {outName, outFilePath, outSignature, outDescription}) {
            copyOut(out, "");
        }
        return;
    }
    // Name, signature and description are known once XPluginStart returned.
    copyOut(outName, call.s.pluginName);
    copyOut(outFilePath, call.s.pluginFile);
    copyOut(outSignature, call.s.pluginSignature);
    copyOut(outDescription, call.s.pluginDescription);
}

XPLM_API int XPLMHasFeature(const char* inFeature) {
    SdkCall call("XPLMHasFeature");
    return inFeature != nullptr && isKnownFeature(call.s, inFeature) ? 1 : 0;
}

XPLM_API int XPLMIsFeatureEnabled(const char* inFeature) {
    SdkCall call("XPLMIsFeatureEnabled");
    if (inFeature == nullptr || !isKnownFeature(call.s, inFeature)) {
        recordSdkMisuse(call.s, std::string("XPLMIsFeatureEnabled: unknown feature ") +
                                    (inFeature != nullptr ? inFeature : "(null)"));
        return 0;
    }
    return call.s.enabledFeatures.count(inFeature) != 0 ? 1 : 0;
}

XPLM_API void XPLMEnableFeature(const char* inFeature, int inEnable) {
    SdkCall call("XPLMEnableFeature");
    if (inFeature == nullptr || !isKnownFeature(call.s, inFeature)) {
        recordSdkMisuse(call.s, std::string("XPLMEnableFeature: unknown feature ") +
                                    (inFeature != nullptr ? inFeature : "(null)"));
        return;
    }
    if (inEnable != 0) {
        call.s.enabledFeatures.insert(inFeature);
    } else {
        call.s.enabledFeatures.erase(inFeature);
    }
}

}  // extern "C"
