// The command line.
#pragma once

#include <optional>
#include <string>

#include "pull/pullReader.hpp"
#include "pull/pullWriter.hpp"
#include "top.hpp"

namespace Qdxview {

struct Options {
    std::string input = "-";   // a file, or "-" for standard input
    std::string output = "-";  // a file, or "-" for standard output
    bool page = false;         // the output is a report page, whatever the format
    std::string catalogue;     // an info object list file; empty for none
    Qdx::Pull::InputForm inputForm = Qdx::Pull::InputForm::Any;
    Qdx::Pull::Format format = Qdx::Pull::Format::Table;
    std::size_t width = 0;  // columns; 0 for the terminal's
    Qdx::Pull::Glyphs glyphs = Qdx::Pull::Glyphs::Unicode;
    bool top = false;     // a live view instead of a pull from a file
    bool once = false;    // one picture of it
    TopOptions liveView;  // its other options; catalogue and glyphs are those above
};

// Empty when the program is to end at once, with the status to exit with: after --help and
// --version, or a line on standard error about what is wrong.
std::optional<Options> parseOptions(int argc, char** argv, int& exitStatus);

}  // namespace Qdxview
