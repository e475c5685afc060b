// MD5 and base64 on Linux (and later macOS): OpenSSL's libcrypto.
#include <openssl/evp.h>

#include "CDigest.h"

CDigest::Md5 CDigest::md5(const void* data, std::size_t length) {
    Md5 digest{};
    unsigned int digestBytes = 0;
    EVP_Digest(data, length, digest.data(), &digestBytes, EVP_md5(), nullptr);
    return digest;
}

std::string CDigest::base64Encode(const void* data, std::size_t length) {
    std::string out(4 * ((length + 2) / 3) + 1, '\0');
    const int written = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&out[0]),
                                        static_cast<const unsigned char*>(data),
                                        static_cast<int>(length));
    out.resize(written > 0 ? static_cast<std::size_t>(written) : 0);
    return out;
}

bool CDigest::decodeGroups(const std::string& padded, std::string& out) {
    std::string bytes(padded.size() / 4 * 3 + 1, '\0');
    const int decoded = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(&bytes[0]),
                                        reinterpret_cast<const unsigned char*>(padded.data()),
                                        static_cast<int>(padded.size()));
    if (decoded < 0) {
        return false;
    }
    // The block decoder counts the padding as zero bytes.
    std::size_t padding = 0;
    while (padding < 2 && padded[padded.size() - 1 - padding] == '=') {
        ++padding;
    }
    bytes.resize(static_cast<std::size_t>(decoded) - padding);
    out.swap(bytes);
    return true;
}
