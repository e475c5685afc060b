// libcurl's process-wide set-up, done once before the first handle.
#pragma once

#include <curl/curl.h>

#include <mutex>

namespace testbed {

inline void setUpCurl() {
    static std::once_flag done;
    std::call_once(done, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

}  // namespace testbed
