// The lines of a file or pipe.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tessel/commandProtocol.hpp"

namespace Dch {

// Cuts what a descriptor gives at newlines, and takes a carriage return off before them. The last
// line needs none. Of a line that is too long for any command just so much is kept that it still
// is, so that no input costs more memory than that.
class LineReader {
public:
    explicit LineReader(int fd) : fd_(fd) {}

    // Nothing at the end. Throws std::system_error.
    std::optional<std::string> next();

private:
    bool fill();

    // With a carriage return, and one character too many even without it.
    static constexpr std::size_t longestKept = Tessel::CommandProtocol::maxLine + 2;

    const int fd_;
    std::vector<char> buffer_;
    std::string_view rest_;  // of the buffer
};

}  // namespace Dch
