// What the operating system adds to every request to the website: the
// certificate authorities it trusts, the proxy it is set to use and how far
// certificates are checked. One implementation per system.
#pragma once

#include <curl/curl.h>

#include <string>

namespace CHttpSystem {

// Sets the system's options on a transfer handle before it is performed.
// url is the request's address with its scheme in lower case ("http://" or
// "https://").
//
// Threads: any; the client thread and the tracker's senders call it.
void prepare(CURL* curl, const std::string& url);

}  // namespace CHttpSystem
