// Cutting the client's request bodies and checking their request code.
#include "FormBody.h"

#include <openssl/evp.h>

#include <memory>
#include <stdexcept>

namespace testbed {

FormFields parseFormBody(const std::string& body) {
    FormFields fields;
    std::size_t start = 0;
    while (start <= body.size()) {
        std::size_t end = body.find('&', start);
        if (end == std::string::npos) {
            end = body.size();
        }
        const std::string piece = body.substr(start, end - start);
        // "a=1&&b=2" or a trailing '&' leave empty pieces, which carry nothing.
        if (!piece.empty()) {
            const std::size_t equals = piece.find('=');
            if (equals == std::string::npos) {
                fields.emplace_back(piece, std::string());
            } else {
                fields.emplace_back(piece.substr(0, equals), piece.substr(equals + 1));
            }
        }
        start = end + 1;
    }
    return fields;
}

std::string md5Hex(const std::string& text) {
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                    &EVP_MD_CTX_free);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int digestLength = 0;
    if (!context || EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr) != 1 ||
        EVP_DigestUpdate(context.get(), text.data(), text.size()) != 1 ||
        EVP_DigestFinal_ex(context.get(), digest, &digestLength) != 1) {
        throw std::runtime_error("MD5 digest failed");
    }
    static const char kHexDigits[] = "0123456789abcdef";
    std::string hex;
    hex.reserve(2 * digestLength);
    for (unsigned int i = 0; i < digestLength; ++i) {
        hex += kHexDigits[digest[i] >> 4];
        hex += kHexDigits[digest[i] & 0x0f];
    }
    return hex;
}

std::string requestCode(const std::string& textBeforeCode) {
    const std::string hex = md5Hex(textBeforeCode);
    return {hex[10], hex[5], hex[2]};
}

bool hasValidRequestCode(const std::string& body) {
    static const std::string kMarker = "&code=";
    // The code is appended last, so a value that happens to hold the marker
    // does not matter.
    const std::size_t at = body.rfind(kMarker);
    if (at == std::string::npos) {
        return false;
    }
    return body.substr(at + kMarker.size()) == requestCode(body.substr(0, at));
}

}  // namespace testbed
