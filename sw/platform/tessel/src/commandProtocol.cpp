#include "tessel/commandProtocol.hpp"

#include <cstdlib>

namespace Tessel::CommandProtocol {

namespace {

constexpr std::size_t wordSize = 4;

void putWord(std::uint32_t value, char* out) {
    for (std::size_t i = 0; i < wordSize; ++i) {
        out[i] = static_cast<char>((value >> (8 * i)) & 0xFF);
    }
}

std::uint32_t getWord(const char* bytes) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < wordSize; ++i) {
        value |= std::uint32_t{static_cast<unsigned char>(bytes[i])} << (8 * i);
    }
    return value;
}

}  // namespace

HeaderBytes encodeHeader(Kind kind, std::size_t length) {
    HeaderBytes bytes{static_cast<char>(kind)};
    putWord(static_cast<std::uint32_t>(length), bytes.data() + 1);
    return bytes;
}

Header decodeHeader(const HeaderBytes& bytes) {
    return {static_cast<Kind>(bytes[0]), getWord(bytes.data() + 1)};
}

std::string encodeWords(const std::vector<std::string>& words) {
    std::string bytes;
    for (const auto& word : words) {
        std::array<char, wordSize> length{};
        putWord(static_cast<std::uint32_t>(word.size()), length.data());
        bytes.append(length.data(), length.size()).append(word);
    }
    return bytes;
}

std::optional<std::vector<std::string>> decodeWords(std::string_view bytesUntrusted) {
    std::vector<std::string> words;
    while (!bytesUntrusted.empty()) {
        if (bytesUntrusted.size() < wordSize) {
            return std::nullopt;
        }
        const std::size_t length = getWord(bytesUntrusted.data());
        bytesUntrusted.remove_prefix(wordSize);
        const auto word = bytesUntrusted.substr(0, length);
        if (word.size() < length || word.find('\0') != std::string_view::npos) {
            return std::nullopt;
        }
        words.emplace_back(word);
        bytesUntrusted.remove_prefix(length);
    }
    return words;
}

std::string encodeStatus(int status) {
    std::string bytes(wordSize, '\0');
    putWord(static_cast<std::uint32_t>(status), bytes.data());
    return bytes;
}

std::optional<int> decodeStatus(std::string_view bytesUntrusted) {
    if (bytesUntrusted.size() != wordSize) {
        return std::nullopt;
    }
    return static_cast<int>(getWord(bytesUntrusted.data()));
}

std::size_t lineLength(const std::vector<std::string>& words) {
    std::size_t length = words.empty() ? 0 : words.size() - 1;
    for (const auto& word : words) {
        length += word.size();
    }
    return length;
}

std::string runDirectory() {
    const char* const root = secure_getenv("UNIT_ROOT");
    return std::string(root == nullptr ? "" : root) + "/run/tessel";
}

std::string socketPath() {
    return runDirectory() + "/command.sock";
}

}  // namespace Tessel::CommandProtocol
