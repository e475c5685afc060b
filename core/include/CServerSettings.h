// Which website the client talks to: the built-in hosts, or the ones named in
// section "server" of quelby.ini (keys "Primary" and "Alternate"; a host with
// an optional port and an optional scheme such as "https://"), and whether
// the pilot chose the alternate one (section "settings", key "AltServer").
//
// Threads: any; it reads the settings file without logging, so that the log's
// header can name the server in use before the first line is written.
#pragma once

#include <string>

struct CServerSettings {
    std::string primaryHost;
    std::string alternateHost;
    bool useAlternate = false;

    // The host the client talks to for the whole run: the alternate when the
    // settings ask for it, else the primary.
    const std::string& hostInUse() const { return useAlternate ? alternateHost : primaryHost; }

    // The built-in hosts, overridden by the settings file where it names one.
    static CServerSettings load();
    // The script's address on a host, as the log shows it ("http://" is what
    // a host without a scheme is reached with).
    static std::string displayUrl(const std::string& host);
};
