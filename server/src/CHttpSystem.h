// What the operating system adds to every request to the website: the
// certificate authorities it trusts, the proxy it is set to use and how far
// certificates are checked, and the sockets of its transfers, which a stop
// ends at once. One implementation per system.
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

// The sockets libcurl connects through, opened and closed as libcurl's own
// would be; CURL_SOCKET_BAD when none could be opened.
curl_socket_t openSocket(int family, int type, int protocol);
int closeSocket(curl_socket_t socket);
// Ends both directions of a socket that another thread is waiting on, which
// wakes that wait at once; the socket stays open until its owner closes it.
void shutDownSocket(curl_socket_t socket);

}  // namespace CHttpSystem
