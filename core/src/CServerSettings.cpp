// Reads the server hosts from quelby.ini, falling back to the built-in ones.
// The INI library's template bodies are compiled in each file that uses it
// (the packaged header keeps them behind SI_IMPLEMENTATION).
#define SI_IMPLEMENTATION
#ifndef SI_NO_CONVERSION
#define SI_NO_CONVERSION
#endif
#include "CServerSettings.h"

#include <SimpleIni.h>

#include "CClientConfig.h"
#include "CFileAccess.h"
#include "CNumberText.h"
#include "QuelbyVersion.h"

namespace {
std::string trimmed(const char* value) {
    std::string text = value != nullptr ? value : "";
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string::npos) return std::string();
    const auto last = text.find_last_not_of(" \t/");
    return text.substr(first, last - first + 1);
}
}  // namespace

CServerSettings CServerSettings::load() {
    CServerSettings settings{kPrimaryServerHost, kAlternateServerHost};
    CSimpleIniA ini;
    // A missing or damaged file leaves the built-in hosts; CIniParser reports
    // the damage when it reads the same file.
    std::FILE* file = CFileAccess::open(CClientConfig::instance()->getIniPath() + "quelby.ini", "rb");
    if (file == nullptr) {
        return settings;
    }
    const SI_Error loaded = ini.LoadFile(file);
    std::fclose(file);
    if (loaded < 0) {
        return settings;
    }
    const std::string primary = trimmed(ini.GetValue("server", "Primary", ""));
    const std::string alternate = trimmed(ini.GetValue("server", "Alternate", ""));
    if (!primary.empty()) settings.primaryHost = primary;
    if (!alternate.empty()) settings.alternateHost = alternate;
    // A bool of the settings is true exactly when its value reads as 1.
    settings.useAlternate = CNumberText::toInt(ini.GetValue("settings", "AltServer", "0")) == 1;
    return settings;
}

std::string CServerSettings::displayUrl(const std::string& host) {
    const bool hasScheme = host.find("://") != std::string::npos;
    return (hasScheme ? "" : "http://") + host + kRequestPath;
}
