// The client's fixed paths and platform name, and the means to move the paths
// for hosts that run elsewhere than in the simulator's folder.
#include "CClientConfig.h"

namespace {

std::string asFolderPrefix(const std::string& path) {
    if (path.empty() || path.back() == '/') {
        return path;
    }
    return path + "/";
}

}  // namespace

CClientConfig::CClientConfig() { createConfig(); }

CClientConfig::~CClientConfig() = default;

void CClientConfig::createConfig() {
    m_logPath = defaultLogPath();
    m_iniPath = "";
    m_dataPath = "Resources/plugins/Quelby/";
    m_os = "Mac";
}

void CClientConfig::setLogPath(const std::string& path) { m_logPath = asFolderPrefix(path); }

void CClientConfig::setIniPath(const std::string& path) { m_iniPath = asFolderPrefix(path); }

void CClientConfig::setDataPath(const std::string& path) { m_dataPath = asFolderPrefix(path); }
