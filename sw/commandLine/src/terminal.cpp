#include "commandLine/terminal.hpp"

#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace Qdx::CommandLine {

namespace {

std::string_view valueOf(const char* variable) {
    const char* const value = std::getenv(variable);
    return value == nullptr ? "" : value;
}

}  // namespace

bool takesEscapes(int fd) {
    const auto terminal = valueOf("TERM");
    return isatty(fd) != 0 && !terminal.empty() && terminal != "dumb" &&
           valueOf("NO_COLOR").empty();
}

}  // namespace Qdx::CommandLine
