// The proxy for a request, chosen from a proxy setting in the form Windows
// keeps it. The text rules alone, so that every system can test them; the
// Windows seam reads the setting.
#pragma once

#include <string>

namespace CSystemProxy {

// The proxy for url, as libcurl takes it ("host:port", or with a scheme such
// as "socks4://host:port"), or "" to go direct.
//
// proxyList: "host:port" for every scheme, or entries "scheme=host:port"
// ("http=", "https=", "socks=") separated by ";" or blanks. bypassList: host
// patterns separated by ";" or blanks, "*" matching any run of characters,
// case-blind; "<local>" stands for every host name without a dot.
//
// Threads: any.
std::string choose(const std::string& proxyList, const std::string& bypassList,
                   const std::string& url);

}  // namespace CSystemProxy
