// How programs take their command lines: help that fits a screen, the version, and faults in one
// line.
//
//     CLI::App app("Shows what a pull gave.", "qdxview");
//     Qdx::CommandLine::prepare(app);
//     app.add_option("--format", ...)->type_name("FORMAT");
//     if (const auto end = Qdx::CommandLine::parse(app, argc, argv)) {
//         return *end;
//     }
#pragma once

#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace Qdx::CommandLine {

// Gives the program -h, --help and --version, and its help one layout. To be called before options
// and commands are added: commands take the layout from the program.
void prepare(CLI::App& app);

// Takes the words. Empty if the program is to go on; otherwise the exit status to end with, after
// help or the version went to standard output, or a fault to standard error.
std::optional<int> parse(CLI::App& app, int argc, const char* const* argv);

// Tells a fault that shows only behind the parsing, and gives EX_USAGE.
int refuse(const CLI::App& app, const std::string& fault);

}  // namespace Qdx::CommandLine
