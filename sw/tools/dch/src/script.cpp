#include "script.hpp"

#include <algorithm>

#include "output.hpp"

namespace Dch {

namespace {

// A line for an error message: not all of a long one, and nothing that a terminal might obey.
std::string quote(std::string_view line) {
    constexpr std::size_t longest = 60;
    constexpr unsigned char blank = 0x20;
    constexpr unsigned char del = 0x7F;
    const auto begin = std::min(line.find_first_not_of(blanks), line.size());
    line = line.substr(begin, line.find_last_not_of(blanks) + 1 - begin);
    std::string text(line.substr(0, longest));
    std::replace_if(
        text.begin(), text.end(), [](unsigned char byte) { return byte < blank || byte == del; },
        '?');
    return "'" + text + (line.size() > longest ? "...'" : "'");
}

std::string describe(const Outcome& outcome) {
    return outcome.reason.empty() ? " failed with status " + std::to_string(outcome.status)
                                  : " failed: " + outcome.reason;
}

}  // namespace

int runScript(LineReader& lines, Session& session, OnFailure onFailure) {
    int status = 0;
    std::size_t number = 0;
    while (const auto line = lines.next()) {
        ++number;
        const auto outcome = session.type(*line);
        if (outcome.status != 0) {
            writeError(session.name() + ": line " + std::to_string(number) + ": " + quote(*line) +
                       describe(outcome) + '\n');
            status = status != 0 ? status : outcome.status;
        }
        if (outcome.leave || (status != 0 && onFailure == OnFailure::Stop)) {
            break;
        }
    }
    return status;
}

}  // namespace Dch
