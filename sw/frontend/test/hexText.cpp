#include "hexText.hpp"

#include <charconv>
#include <cstring>

namespace Qdx::V1 {

std::string toHex(std::span<const unsigned char> bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        if (index > 0 && index % 4 == 0) {
            text += ' ';
        }
        text += digits[bytes[index] >> 4];
        text += digits[bytes[index] & 15];
    }
    return text;
}

std::vector<unsigned char> fromHex(std::string_view digits) {
    std::string packed(digits);
    std::erase(packed, ' ');
    std::vector<unsigned char> bytes(packed.size() / 2);
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        const char* const first = packed.data() + 2 * index;
        std::from_chars(first, first + 2, bytes[index], 16);
    }
    return bytes;
}

std::string numberInHostOrder(std::uint32_t number) {
    std::vector<unsigned char> bytes(sizeof(number));
    std::memcpy(bytes.data(), &number, sizeof(number));
    return toHex(bytes);
}

}  // namespace Qdx::V1
