// Plays a recording to a collector and shows what it does.
#include <sysexits.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "commandLine/fault.hpp"
#include "eventText.hpp"
#include "expectation.hpp"
#include "options.hpp"
#include "player.hpp"
#include "printer.hpp"

namespace {

using namespace Replay;

constexpr int differs = 1;

int report(const std::string& what, int status) {
    return Qdx::CommandLine::report("qdx-replay", what, status);
}

class NoInput : public std::runtime_error {
public:
    using runtime_error::runtime_error;
};

std::ifstream openFile(const std::string& path) {
    std::error_code unknown;
    if (std::filesystem::is_directory(path, unknown)) {
        throw NoInput(path + ": is a directory");
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw NoInput(path + ": " + std::generic_category().message(errno));
    }
    return file;
}

void list(Recording::Reader& reader, std::size_t until) {
    const auto start = reader.header().steady;
    std::size_t number = 0;
    for (auto entry = reader.next(); entry && number < until; entry = reader.next()) {
        if (!isReading(*entry)) {
            std::cout << ++number << ' ' << secondsText(entry->steady - start) << ' '
                      << eventText(*entry) << '\n';
        }
    }
}

void play(Recording::Reader& reader, std::size_t until, std::ostream& out) {
    Printer printer(out);
    Player player(reader, printer);
    player.play(until);
}

int compare(Recording::Reader& reader, const Options& options) {
    auto file = openFile(options.expected);
    const std::string expected{std::istreambuf_iterator<char>(file), {}};
    std::ostringstream actual;
    play(reader, options.until, actual);
    const auto difference = firstDifference(expected, actual.str());
    return difference ? report(options.expected + ": " + *difference, differs) : EX_OK;
}

int act(Recording::Reader& reader, const Options& options) {
    int status = EX_OK;
    if (options.list) {
        list(reader, options.until);
    } else if (options.expected.empty()) {
        play(reader, options.until, std::cout);
    } else {
        status = compare(reader, options);
    }
    if (reader.isCutOff()) {
        report(options.recording + ": ends inside an entry, which is left out", EX_OK);
    }
    return std::cout.flush() ? status : report("cannot write the output", EX_IOERR);
}

int run(int argc, char** argv) {
    int status = EX_OK;
    const auto options = parseOptions(argc, argv, status);
    if (!options) {
        return status;
    }
    try {
        std::ifstream file;
        if (options->recording != "-") {
            file = openFile(options->recording);
            if (file.peek() == std::ifstream::traits_type::eof()) {
                throw NoInput(options->recording + ": is empty");
            }
        }
        Recording::Reader reader(options->recording == "-" ? std::cin : file);
        return act(reader, *options);
    } catch (const NoInput& error) {
        return report(error.what(), EX_NOINPUT);
    } catch (const Recording::Fault& fault) {
        std::cout.flush();
        return report(options->recording + ": " + fault.what(), EX_DATAERR);
    }
}

}  // namespace

int main(int argc, char** argv) {
    return Qdx::CommandLine::guarded("qdx-replay", EX_SOFTWARE, [&] { return run(argc, argv); });
}
