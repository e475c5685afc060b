// What the digest does alike on every system; the rest is the system's.
#include "CDigest.h"

bool CDigest::base64Decode(const std::string& padded, std::string& out) {
    out.clear();
    if (padded.empty()) {
        return true;
    }
    if (padded.size() % 4 != 0) {
        return false;
    }
    return decodeGroups(padded, out);
}
