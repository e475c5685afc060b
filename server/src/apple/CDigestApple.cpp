// MD5 on macOS: CommonCrypto, part of libSystem. The website's protocol
// fixes MD5, so the warning that it is weak for new uses does not apply.
#include <CommonCrypto/CommonDigest.h>

#include "CDigest.h"

CDigest::Md5 CDigest::md5(const void* data, std::size_t length) {
    static_assert(CC_MD5_DIGEST_LENGTH == std::tuple_size<Md5>::value, "MD5 has 16 bytes");
    Md5 digest{};
    CC_MD5_CTX context;
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
    CC_MD5_Init(&context);
    // CC_LONG is 32 bits: a longer text is given in pieces.
    const auto* next = static_cast<const unsigned char*>(data);
    while (length > 0) {
        const CC_LONG piece = length > 0x40000000u ? 0x40000000u : static_cast<CC_LONG>(length);
        CC_MD5_Update(&context, next, piece);
        next += piece;
        length -= piece;
    }
    CC_MD5_Final(digest.data(), &context);
#pragma clang diagnostic pop
    return digest;
}
