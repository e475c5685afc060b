// Fuzzes the report comment's base64: any text decoded under any limit, and
// any bytes encoded under a limit and decoded back.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "CReport.h"
#include "FuzzSupport.h"

namespace {

[[noreturn]] void fail(const std::string& what, const std::string& input) {
    std::fprintf(stderr, "base64: %s (input of %zu bytes)\n", what.c_str(), input.size());
    std::abort();
}

// The Comment64 field's width bounds every real limit; beyond it a few
// larger ones, and the degenerate 0 and negatives.
int pickLimit(FuzzedDataProvider& provider) {
    return provider.ConsumeIntegralInRange<int>(-2, 5000);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    quelby_fuzz::prepareProcess();
    FuzzedDataProvider provider(data, size);
    const int limit = pickLimit(provider);
    const std::string text = provider.ConsumeRemainingBytesAsString();

    // Decoding: never more than the limit, never more than three bytes per
    // four characters, and a lower limit gives a prefix of the full result.
    const std::string full = CReport::base64_decode(text, 1 << 20);
    if (full.size() > text.size() / 4 * 3 + 2) {
        fail("decoded more bytes than the text can carry", text);
    }
    const std::string limited = CReport::base64_decode(text, limit);
    const std::size_t allowed = limit > 0 ? static_cast<std::size_t>(limit) : 0;
    if (limited.size() > allowed) {
        fail("decoded past the limit " + std::to_string(limit), text);
    }
    if (limited != full.substr(0, limited.size()) ||
        limited.size() != std::min(full.size(), allowed)) {
        fail("a limit changed the decoded bytes, not just their number", text);
    }

    // Encoding the same bytes: the output stays within the limit rounded up
    // to a group, holds only the alphabet and padding, and decodes to the
    // bytes it covered.
    const std::string encoded = CReport::base64_encode(text, limit);
    if (encoded.size() > (allowed + 3) / 4 * 4 || encoded.size() % 4 != 0) {
        fail("encoded length " + std::to_string(encoded.size()) + " for limit " +
                 std::to_string(limit),
             text);
    }
    const std::size_t covered = std::min(text.size(), encoded.size() / 4 * 3);
    if (CReport::base64_decode(encoded, 1 << 20) != text.substr(0, covered)) {
        fail("encoded bytes did not decode back", text);
    }
    return 0;
}
