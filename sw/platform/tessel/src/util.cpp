#include "tessel/util.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Tessel::Util {

namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t outside = 0xFF;

constexpr std::array<std::uint8_t, 256> makeValues() {
    std::array<std::uint8_t, 256> values{};
    values.fill(outside);
    for (std::size_t value = 0; value < alphabet.size(); ++value) {
        values[static_cast<unsigned char>(alphabet[value])] = static_cast<std::uint8_t>(value);
    }
    return values;
}

constexpr auto values = makeValues();

// Writes the four characters of 24 bits.
char* putQuad(std::uint32_t bits, char* out) {
    *out++ = alphabet[bits >> 18];
    *out++ = alphabet[(bits >> 12) & 63];
    *out++ = alphabet[(bits >> 6) & 63];
    *out++ = alphabet[bits & 63];
    return out;
}

}  // namespace

std::vector<std::string> tokenize(const std::string& text, const std::string& delimiters) {
    std::vector<std::string> tokens;
    std::size_t begin = 0;
    for (;;) {
        const auto end = text.find_first_of(delimiters, begin);
        tokens.push_back(text.substr(begin, end - begin));
        if (end == std::string::npos) {
            return tokens;
        }
        begin = end + 1;
    }
}

std::string trim(const std::string& text, const std::string& characters) {
    const auto begin = text.find_first_not_of(characters);
    if (begin == std::string::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(characters) - begin + 1);
}

std::string Base64::encode(const std::vector<unsigned char>& bytes) {
    const std::size_t whole = bytes.size() / 3 * 3;
    const std::size_t rest = bytes.size() - whole;
    std::string text((bytes.size() + 2) / 3 * 4, '=');
    char* out = text.data();
    for (std::size_t i = 0; i < whole; i += 3) {
        const auto bits = (std::uint32_t{bytes[i]} << 16) | (std::uint32_t{bytes[i + 1]} << 8) |
                          std::uint32_t{bytes[i + 2]};
        out = putQuad(bits, out);
    }
    if (rest != 0) {
        const auto second = rest == 2 ? std::uint32_t{bytes[whole + 1]} : 0U;
        out = putQuad((std::uint32_t{bytes[whole]} << 16) | (second << 8), out);
        text.replace(text.size() - (3 - rest), 3 - rest, 3 - rest, '=');
    }
    return text;
}

std::vector<unsigned char> Base64::decode(const std::string& text) {
    std::vector<unsigned char> bytes;
    bytes.reserve(text.size() / 4 * 3 + 3);
    std::uint32_t accumulator = 0;
    int bits = -8;
    for (const char character : text) {
        const auto value = values[static_cast<unsigned char>(character)];
        if (value == outside) {
            break;
        }
        accumulator = accumulator * 64 + value;
        bits += 6;
        if (bits >= 0) {
            bytes.push_back(static_cast<unsigned char>((accumulator >> bits) & 0xFF));
            bits -= 8;
        }
    }
    return bytes;
}

}  // namespace Tessel::Util
