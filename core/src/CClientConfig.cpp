// The client's fixed paths and platform name, the folders X-Plane names, and
// the means to move the paths for hosts that run elsewhere.
#include "CClientConfig.h"

#include <filesystem>

namespace {

// The data folder beneath X-Plane's folder when the plug-in's own file is
// unknown: where X-Plane installs it.
const char* const kInstalledDataFolder = "Resources/plugins/Quelby/";

bool endsInSeparator(const std::string& path) {
    // X-Plane's Windows paths end in '\'; either is a folder's end there, and
    // no folder a pilot names ends in a backslash elsewhere.
    return !path.empty() && (path.back() == '/' || path.back() == '\\');
}

std::string asFolderPrefix(const std::string& path) {
    if (path.empty() || endsInSeparator(path)) {
        return path;
    }
    return path + "/";
}

}  // namespace

CClientConfig::CClientConfig() { createConfig(); }

CClientConfig::~CClientConfig() = default;

void CClientConfig::createConfig() {
    m_logPath = "";
    m_iniPath = "";
    m_dataPath = kInstalledDataFolder;
    m_os = "Mac";
    m_bFolderWritable = true;
}

std::string CClientConfig::useXPlaneFolders(const std::string& xplaneFolder,
                                            const std::string& pluginFile) {
    if (xplaneFolder.empty()) {
        return "X-Plane named no folder of its own; the files stay in the working folder";
    }
    const std::string folder = asFolderPrefix(xplaneFolder);
    m_logPath = folder;
    m_iniPath = folder;
    namespace fs = std::filesystem;
    // u8path takes the text as UTF-8 on every system; on Windows it also
    // splits at '\'.
    const fs::path platformFolder = fs::u8path(pluginFile).parent_path();
    const fs::path dataFolder = platformFolder.parent_path();
    if (pluginFile.empty() || !platformFolder.has_relative_path() ||
        !dataFolder.has_relative_path()) {
        m_dataPath = folder + kInstalledDataFolder;
        return "X-Plane named no usable file for the plug-in (\"" + pluginFile +
               "\"); its data is looked for in " + m_dataPath;
    }
    m_dataPath = (dataFolder / "").u8string();
    return std::string();
}

void CClientConfig::setLogPath(const std::string& path) { m_logPath = asFolderPrefix(path); }

void CClientConfig::setIniPath(const std::string& path) { m_iniPath = asFolderPrefix(path); }

void CClientConfig::setDataPath(const std::string& path) { m_dataPath = asFolderPrefix(path); }
