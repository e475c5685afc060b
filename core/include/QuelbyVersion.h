// The client's version and the website it talks to by default. The settings
// file may name other primary and alternate hosts.
#pragma once

// Shown in the debug log's header and sent to the website's version check.
constexpr const char* kClientVersion = "v2.0.10b";

// Server hosts used when the settings name none.
constexpr const char* kPrimaryServerHost = "www.quelby.net";
constexpr const char* kAlternateServerHost = "alt.quelby.net";
constexpr const char* kHomepageHost = "www.quelby.net";

// Every request is posted to this path on the chosen host.
constexpr const char* kRequestPath = "/client_interface2.php5";

// The largest request or answer, in bytes, exchanged with the website.
constexpr int kMaxData = 4096;
