// Making recordings, in memory.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "recording/entry.hpp"

namespace Recording {

// Turns what happens into the bytes of a recording, of which the first are the header's.
//
// REQUIRES of the header and of each entry: the limits of entry.hpp.
class Encoder {
public:
    explicit Encoder(const Header& header);

    // Each is given the steady clock, but for the reading of it, which is its own time.
    void message(std::chrono::nanoseconds steady, std::uint32_t sender, std::uint32_t number,
                 std::span<const std::byte> payload);
    void mailboxGone(std::chrono::nanoseconds steady, std::uint32_t sender);
    void command(std::chrono::nanoseconds steady, const std::vector<std::string>& words);
    void steadyReading(std::chrono::nanoseconds steady);
    void wallReading(std::chrono::nanoseconds steady, std::chrono::nanoseconds wall);

    // What was made since the last call of clear().
    const std::string& bytes() const { return bytes_; }
    void clear() { bytes_.clear(); }

private:
    void begin(char kind, std::chrono::nanoseconds steady);
    void putNumber(std::uint64_t number);
    void putSigned(std::int64_t number);
    void putText(std::string_view text);

    const std::chrono::nanoseconds startSteady_;
    const std::chrono::nanoseconds startWall_;
    std::chrono::nanoseconds last_;
    std::string bytes_;
};

}  // namespace Recording
