// MD5 and base64 from the system's own cryptography: OpenSSL's libcrypto on
// Linux, Windows' CNG and CryptoAPI on Windows. One implementation per
// operating system.
//
// Threads: any.
#pragma once

#include <array>
#include <cstddef>
#include <string>

class CDigest {
public:
    using Md5 = std::array<unsigned char, 16>;
    static Md5 md5(const void* data, std::size_t length);
    // Standard base64 with "=" padding and no line breaks.
    static std::string base64Encode(const void* data, std::size_t length);
    // Decodes padded base64 whose length is a multiple of four, into exactly
    // the bytes it carries; false for anything else.
    static bool base64Decode(const std::string& padded, std::string& out);

private:
    // The system's decoder, for a non-empty text of whole groups.
    static bool decodeGroups(const std::string& padded, std::string& out);
};
