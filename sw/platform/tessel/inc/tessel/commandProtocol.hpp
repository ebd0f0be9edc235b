// What goes over the command socket.
//
// A client connects, sends one request frame and gets frames back until the exit frame; then the
// connection ends. A frame is
//
//     kind    1 byte
//     length  4 bytes, little-endian: bytes of the payload
//     payload
//
// Requests are
//
//     Run       the words typed
//     List      nothing; answered with the words of the commands, one per line
//     Table     one command word; answered with a line "syntax TAB help" per subcommand
//     Complete  a command word and a parameter of its syntax; answered with the values that the
//               parameter can have now, one per line
//
// and answers any number of the first two, then the third as the last frame:
//
//     Output    bytes for standard output
//     Error     bytes for standard error
//     Exit      the status for the shell, 4 bytes little-endian
//
// Words are each a length of 4 bytes, little-endian, and their bytes without a NUL.
//
// A client that closes its side, or sends more than its request, gives up the answer.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Tessel::CommandProtocol {

enum class Kind : char {
    Run = 'R',
    List = 'L',
    Table = 'T',
    Complete = 'C',
    Output = 'O',
    Error = 'E',
    Exit = 'X'
};

inline constexpr std::size_t headerSize = 1 + 4;
using HeaderBytes = std::array<char, headerSize>;

struct Header {
    Kind kind{};
    std::uint32_t lengthUntrusted = 0;
};

// The longest line that a command gets, its words joined with single blanks. The standard library's
// regular expressions, which commands use on it, recurse once per character.
inline constexpr std::size_t maxLine = 4096;
// The longest words payload that such a line can give: every byte of it an empty word's blank.
inline constexpr std::size_t maxRequest = maxLine + 4 * (maxLine + 1);
// The longest payload of an answering frame.
inline constexpr std::size_t maxAnswer = std::size_t{64} * 1024;

// Exit statuses of the service itself, as shells and sysexits.h have them.
inline constexpr int statusUsage = 64;
inline constexpr int statusUnavailable = 69;
inline constexpr int statusSoftware = 70;
inline constexpr int statusUnknownCommand = 127;

HeaderBytes encodeHeader(Kind kind, std::size_t length);
Header decodeHeader(const HeaderBytes& bytes);

std::string encodeWords(const std::vector<std::string>& words);
// Nothing if the bytes are no words, also if a word has a NUL.
std::optional<std::vector<std::string>> decodeWords(std::string_view bytesUntrusted);

std::string encodeStatus(int status);
std::optional<int> decodeStatus(std::string_view bytesUntrusted);

// Characters of the words joined with single blanks.
std::size_t lineLength(const std::vector<std::string>& words);

// $UNIT_ROOT/run/tessel, and the socket in it. The environment is read at each call.
std::string runDirectory();
std::string socketPath();

}  // namespace Tessel::CommandProtocol
