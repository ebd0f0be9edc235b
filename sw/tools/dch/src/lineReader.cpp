#include "lineReader.hpp"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace Dch {

namespace {

void append(std::string& line, std::string_view piece, std::size_t longest) {
    line += piece.substr(0, longest - line.size());
}

}  // namespace

std::optional<std::string> LineReader::next() {
    if (rest_.empty() && !fill()) {
        return std::nullopt;
    }
    std::string line;
    do {
        const auto end = rest_.find('\n');
        append(line, rest_.substr(0, end), longestKept);
        rest_.remove_prefix(std::min(end, rest_.size()));
    } while (rest_.empty() && fill());
    rest_.remove_prefix(std::min<std::size_t>(1, rest_.size()));
    if (line.ends_with('\r')) {
        line.pop_back();
    }
    return line;
}

bool LineReader::fill() {
    constexpr std::size_t size = std::size_t{16} * 1024;
    buffer_.resize(size);
    ssize_t got = 0;
    do {
        got = read(fd_, buffer_.data(), buffer_.size());
    } while (got < 0 && errno == EINTR);
    if (got < 0) {
        throw std::system_error(errno, std::system_category(), "cannot read the commands");
    }
    rest_ = {buffer_.data(), static_cast<std::size_t>(got)};
    return got > 0;
}

}  // namespace Dch
