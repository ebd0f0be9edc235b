// Base64: any text decodes as the plain arithmetic says, and any bytes come back from their text,
// whatever stands behind it.
#include <string>
#include <vector>

#include "pieces.hpp"
#include "tessel/util.hpp"

namespace {

using Tessel::Util::Base64;
using Bytes = std::vector<unsigned char>;

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Bit by bit: six of each character until one is none, and of these every whole eight.
Bytes plainlyDecoded(const std::string& text) {
    std::vector<bool> bits;
    for (const char character : text) {
        const auto value = alphabet.find(character);
        if (value == std::string_view::npos) {
            break;
        }
        for (int bit = 5; bit >= 0; --bit) {
            bits.push_back(((value >> bit) & 1) != 0);
        }
    }
    Bytes bytes(bits.size() / 8);
    for (std::size_t i = 0; i < bytes.size() * 8; ++i) {
        bytes[i / 8] = static_cast<unsigned char>(bytes[i / 8] << 1 | (bits[i] ? 1 : 0));
    }
    return bytes;
}

void checkText(const std::string& text) {
    Qdx::Fuzz::require(Base64::decode(text) == plainlyDecoded(text));
}

void checkBytes(const Bytes& bytes) {
    const auto text = Base64::encode(bytes);
    Qdx::Fuzz::require(text.size() == (bytes.size() + 2) / 3 * 4);
    const auto end = text.find_first_not_of(alphabet);
    Qdx::Fuzz::require(end == std::string::npos || text.size() - end <= 2);
    Qdx::Fuzz::require(text.find_first_not_of('=', end) == std::string::npos ||
                       end == std::string::npos);
    Qdx::Fuzz::require(Base64::decode(text) == bytes);
    Qdx::Fuzz::require(Base64::decode(text + "=AAAA") == bytes || bytes.size() % 3 == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    checkText({data, data + size});
    checkBytes({data, data + size});
    return 0;
}
