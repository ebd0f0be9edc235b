#include "recording/encoder.hpp"

namespace Recording {

namespace {

constexpr int bitsPerByte = 7;
constexpr std::uint64_t more = 1U << bitsPerByte;

}  // namespace

Encoder::Encoder(const Header& header)
    : startSteady_(header.steady), startWall_(header.wall), last_(header.steady), bytes_(magic) {
    putNumber(header.maxMessageSize);
    putNumber(static_cast<std::uint64_t>(header.steady.count()));
    putNumber(static_cast<std::uint64_t>(header.wall.count()));
    putText(header.database);
    putNumber(header.listFiles.size());
    for (const auto& file : header.listFiles) {
        putText(file.name);
        putText(file.text);
    }
}

void Encoder::message(std::chrono::nanoseconds steady, std::uint32_t sender, std::uint32_t number,
                      std::span<const std::byte> payload) {
    begin('M', steady);
    putNumber(sender);
    putNumber(number);
    putText({reinterpret_cast<const char*>(payload.data()), payload.size()});
}

void Encoder::mailboxGone(std::chrono::nanoseconds steady, std::uint32_t sender) {
    begin('G', steady);
    putNumber(sender);
}

void Encoder::command(std::chrono::nanoseconds steady, const std::vector<std::string>& words) {
    begin('C', steady);
    std::string text;
    for (const auto& word : words) {
        text.append(&word == &words.front() ? 0 : 1, '\0').append(word);
    }
    putText(text);
}

void Encoder::steadyReading(std::chrono::nanoseconds steady) {
    begin('S', steady);
}

void Encoder::wallReading(std::chrono::nanoseconds steady, std::chrono::nanoseconds wall) {
    begin('W', steady);
    putSigned((wall - startWall_ - (steady - startSteady_)).count());
}

void Encoder::begin(char kind, std::chrono::nanoseconds steady) {
    bytes_ += kind;
    putSigned((steady - last_).count());
    last_ = steady;
}

void Encoder::putNumber(std::uint64_t number) {
    for (; number >= more; number >>= bitsPerByte) {
        bytes_ += static_cast<char>(number | more);
    }
    bytes_ += static_cast<char>(number);
}

void Encoder::putSigned(std::int64_t number) {
    const auto bits = static_cast<std::uint64_t>(number) << 1;
    putNumber(number < 0 ? ~bits : bits);
}

void Encoder::putText(std::string_view text) {
    putNumber(text.size());
    bytes_ += text;
}

}  // namespace Recording
