// What a recording holds: a unit as a collector found it, and all that reached the collector.
//
//     recording  magic  header  entry...
//     magic      "QDXREC1\n"
//     header     number: largest message in bytes
//                number: steady clock at the start, ns    number: wall clock at the start, ns
//                text: configuration database
//                number of list files; for each  text: name  text: contents
//     entry      kind    1 byte
//                signed: ns since the entry before, for the first since the start
//                'M'     message: number: sender  number: message number  text: behind that number
//                'G'     mailbox gone: number: sender
//                'C'     command: text: the words, a NUL between each two
//                'S'     the collector read the steady clock: what it saw is the entry's time
//                'W'     the collector read the wall clock
//                            signed: ns by which it has run ahead of the steady clock since the
//                            start
//
// A number is unsigned, seven bits a byte, the lowest first, each byte but the last with 0x80. A
// signed is a number that has its sign in the lowest bit. A text is its length and its bytes.
//
// Readings of clocks belong to the message, command or mailbox before them. Senders are numbered
// from 1 in the order in which they appear.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace Recording {

inline constexpr std::string_view magic = "QDXREC1\n";

// Limits of a recording; beyond them it can't be read. Those of times keep their sums and
// differences within 64 bits.
inline constexpr std::size_t maxText = std::size_t{16} * 1024 * 1024;  // a file of the header
inline constexpr std::size_t maxListFiles = 100;
inline constexpr std::size_t leastMaxMessage = 1024;  // the range of the unit's own limit
inline constexpr std::size_t maxMessage = std::size_t{128} * 1024;
inline constexpr std::size_t maxCommand = 4096;
inline constexpr std::int64_t maxSteady = std::int64_t{1} << 61;  // 73 years, in ns
inline constexpr std::int64_t maxWall = std::int64_t{1} << 62;

// The info object list file has the first place; the files that it includes have names relative to
// its directory.
struct ListFile {
    std::string name;
    std::string text;
};

struct Header {
    std::uint32_t maxMessageSize = 65536;
    std::chrono::nanoseconds steady{};
    std::chrono::nanoseconds wall{};
    std::string database;  // TOML
    std::vector<ListFile> listFiles;
};

struct Message {
    std::uint32_t sender = 0;
    std::uint32_t number = 0;
    std::string payload;  // what stands behind the number
};

struct MailboxGone {
    std::uint32_t sender = 0;
};

struct Command {
    std::vector<std::string> words;
};

struct SteadyReading {};

struct WallReading {
    std::chrono::nanoseconds wall{};
};

struct Entry {
    std::chrono::nanoseconds steady{};  // when it was written, by the steady clock
    std::variant<Message, MailboxGone, Command, SteadyReading, WallReading> what;
};

// Whether it is no event, but a reading of a clock that belongs to the event before.
inline bool isReading(const Entry& entry) {
    return std::holds_alternative<SteadyReading>(entry.what) ||
           std::holds_alternative<WallReading>(entry.what);
}

}  // namespace Recording
