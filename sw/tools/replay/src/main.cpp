// Plays a recording to a collector and shows what it does.
#include <sysexits.h>

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "eventText.hpp"
#include "expectation.hpp"
#include "options.hpp"
#include "player.hpp"
#include "printer.hpp"

namespace {

using namespace Replay;

constexpr int differs = 1;

int report(const std::string& what, int status) {
    std::cerr << "qdx-replay: " << what << '\n';
    return status;
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
    std::ifstream file(options.expected, std::ios::binary);
    if (std::filesystem::is_directory(options.expected)) {
        return report(options.expected + ": is a directory", EX_NOINPUT);
    }
    const std::string expected{std::istreambuf_iterator<char>(file), {}};
    if (!file) {
        return report(options.expected + ": cannot be read", EX_NOINPUT);
    }
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

int guardedMain(int argc, char** argv) {
    int status = EX_OK;
    const auto options = parseOptions(argc, argv, status);
    if (!options) {
        return status;
    }
    std::ifstream file;
    if (options->recording != "-") {
        file.open(options->recording, std::ios::binary);
        if (!file || file.peek() == std::ifstream::traits_type::eof()) {
            return report(options->recording + ": cannot be read, or is empty", EX_NOINPUT);
        }
    }
    try {
        Recording::Reader reader(options->recording == "-" ? std::cin : file);
        return act(reader, *options);
    } catch (const Recording::Fault& fault) {
        std::cout.flush();
        return report(options->recording + ": " + fault.what(), EX_DATAERR);
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return guardedMain(argc, argv);
    } catch (const std::exception& error) {
        return report(error.what(), EX_SOFTWARE);
    }
}
