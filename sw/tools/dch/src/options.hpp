// The program's own command line.
#pragma once

#include <stdexcept>

#include "words.hpp"

namespace Dch {

struct Options {
    enum class Mode {
        Type,  // words is a command, the program's name first
        Help,
        Version,
        Complete,  // words is what completion gets, the program's name first, something behind it
        Session,
    };

    Mode mode = Mode::Type;
    Words words;
    bool keepGoing = false;
};

class WrongUsage : public std::runtime_error {
    using runtime_error::runtime_error;
};

// From the words of the command line, the program's name first. Words behind a subcommand are the
// command's, whatever they look like. Throws WrongUsage.
Options parseOptions(const Words& words);

// The options that begin with the text.
Words completeOption(const std::string& text);

}  // namespace Dch
