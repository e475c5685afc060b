// base64 on macOS, whose libSystem has no public base64: Boost's base64
// iterators, header-only, turn 6-bit groups into characters and back; the
// padding is what they leave to the caller.
#include <boost/archive/iterators/base64_from_binary.hpp>
#include <boost/archive/iterators/binary_from_base64.hpp>
#include <boost/archive/iterators/dataflow_exception.hpp>
#include <boost/archive/iterators/transform_width.hpp>

#include "CDigest.h"

namespace {

using Encoder = boost::archive::iterators::base64_from_binary<
    boost::archive::iterators::transform_width<const char*, 6, 8>>;
using Decoder = boost::archive::iterators::transform_width<
    boost::archive::iterators::binary_from_base64<const char*>, 8, 6>;

}  // namespace

std::string CDigest::base64Encode(const void* data, std::size_t length) {
    const auto* bytes = static_cast<const char*>(data);
    std::string out(Encoder(bytes), Encoder(bytes + length));
    out.append((3 - length % 3) % 3, '=');
    return out;
}

bool CDigest::decodeGroups(const std::string& padded, std::string& out) {
    std::size_t padding = 0;
    while (padding < 2 && padded[padded.size() - 1 - padding] == '=') {
        ++padding;
    }
    const std::size_t characters = padded.size() - padding;
    // A group of four carries at least two characters, and "=" only pads.
    if (characters % 4 == 1 || padded.find('=') < characters) {
        return false;
    }
    const char* text = padded.data();
    std::string bytes;
    try {
        bytes.assign(Decoder(text), Decoder(text + characters));
    } catch (const boost::archive::iterators::dataflow_exception&) {
        return false;  // a character outside base64's alphabet
    }
    bytes.resize(characters * 6 / 8);
    out.swap(bytes);
    return true;
}
