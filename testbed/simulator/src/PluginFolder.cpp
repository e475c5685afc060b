// Installing the plug-in into an X-Plane folder, and its first settings.
#include "testbed/PluginFolder.h"

#include <fstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace testbed {

fs::path installPluginFolder(const fs::path& binary, const fs::path& root) {
    const fs::path pluginFolder = fs::absolute(binary).parent_path().parent_path();
    const fs::path plugins = root / "Resources" / "plugins";
    fs::create_directories(plugins);
    const fs::path installed = plugins / pluginFolder.filename();
    fs::remove_all(installed);
    fs::copy(pluginFolder, installed, fs::copy_options::recursive);
    return installed / binary.parent_path().filename() / binary.filename();
}

void writeClientSettings(const fs::path& root, const std::string& siteHost,
                         const std::string& extraLines) {
    std::ofstream ini(root / "quelby.ini", std::ios::trunc);
    ini << "[server]\nPrimary = " << siteHost << "\n\n[settings]\nFSMessages = 1\n" << extraLines;
    if (!ini.flush()) {
        throw std::runtime_error("cannot write " + (root / "quelby.ini").string());
    }
}

}  // namespace testbed
