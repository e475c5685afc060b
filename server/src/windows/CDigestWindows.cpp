// MD5 and base64 on Windows: CNG's hash and CryptoAPI's text encoding, both
// part of every Windows.
#include <windows.h>
// After windows.h, which they need.
#include <bcrypt.h>
#include <wincrypt.h>

#include "CDigest.h"

namespace {

// Opened once and shared: an algorithm handle may serve several threads.
BCRYPT_ALG_HANDLE md5Provider() {
    static const BCRYPT_ALG_HANDLE provider = [] {
        BCRYPT_ALG_HANDLE handle = nullptr;
        if (BCryptOpenAlgorithmProvider(&handle, BCRYPT_MD5_ALGORITHM, nullptr, 0) != 0) {
            handle = nullptr;
        }
        return handle;
    }();
    return provider;
}

}  // namespace

CDigest::Md5 CDigest::md5(const void* data, std::size_t length) {
    Md5 digest{};
    BCRYPT_HASH_HANDLE hash = nullptr;
    if (md5Provider() == nullptr ||
        BCryptCreateHash(md5Provider(), &hash, nullptr, 0, nullptr, 0, 0) != 0) {
        return digest;
    }
    BCryptHashData(hash, static_cast<PUCHAR>(const_cast<void*>(data)), static_cast<ULONG>(length),
                   0);
    BCryptFinishHash(hash, digest.data(), static_cast<ULONG>(digest.size()), 0);
    BCryptDestroyHash(hash);
    return digest;
}

std::string CDigest::base64Encode(const void* data, std::size_t length) {
    if (length == 0) {
        return std::string();
    }
    const DWORD flags = CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF;
    const auto* bytes = static_cast<const BYTE*>(data);
    DWORD size = 0;
    if (!CryptBinaryToStringA(bytes, static_cast<DWORD>(length), flags, nullptr, &size)) {
        return std::string();
    }
    std::string out(size, '\0');
    if (!CryptBinaryToStringA(bytes, static_cast<DWORD>(length), flags, &out[0], &size)) {
        return std::string();
    }
    out.resize(size);
    return out;
}

bool CDigest::decodeGroups(const std::string& padded, std::string& out) {
    DWORD size = static_cast<DWORD>(padded.size());
    std::string bytes(size, '\0');
    if (!CryptStringToBinaryA(padded.data(), static_cast<DWORD>(padded.size()),
                              CRYPT_STRING_BASE64, reinterpret_cast<BYTE*>(&bytes[0]), &size,
                              nullptr, nullptr)) {
        return false;
    }
    bytes.resize(size);
    out.swap(bytes);
    return true;
}
