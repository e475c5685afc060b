// A fresh X-Plane folder with the plug-in installed as a person installs it,
// and the client's settings pointed at the stand-in website.
#pragma once

#include <filesystem>
#include <string>

namespace testbed {

// Copies the plug-in's folder (the folder above the binary's lin_x64) into
// root/Resources/plugins and returns the installed binary. Throws
// std::filesystem::filesystem_error when it cannot.
std::filesystem::path installPluginFolder(const std::filesystem::path& binary,
                                          const std::filesystem::path& root);

// Writes root/quelby.ini: the website at siteHost ("127.0.0.1:PORT"), the
// simulator messages on, then the extra lines as they are.
void writeClientSettings(const std::filesystem::path& root, const std::string& siteHost,
                         const std::string& extraLines = "");

}  // namespace testbed
