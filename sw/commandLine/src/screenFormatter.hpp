// Lays help out for a screen of 80 columns: a line of usage, what the program is for, and a row for
// each thing to type.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace Qdx::CommandLine {

class ScreenFormatter final : public CLI::Formatter {
public:
    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode mode) const override;
};

}  // namespace Qdx::CommandLine
