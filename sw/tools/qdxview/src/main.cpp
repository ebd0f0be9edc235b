// Shows people what a pull gave.
#include <google/protobuf/stubs/logging.h>
#include <sys/ioctl.h>
#include <sysexits.h>
#include <unistd.h>

#include <exception>
#include <iostream>
#include <new>

#include "options.hpp"
#include "pull/badData.hpp"
#include "pull/catalogue.hpp"
#include "pull/inputFile.hpp"
#include "pull/pullReader.hpp"
#include "pull/table.hpp"

namespace {

using Qdxview::Options;

std::size_t terminalWidth() {
    winsize size{};
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : Qdx::Pull::TableStyle{}.width;
}

std::vector<Qdx::InfoObjectCollections> readPulls(const std::string& input) {
    if (input != "-") {
        return Qdx::Pull::readPulls(Qdx::Pull::readFile(input, Qdx::Pull::longestPullText), input);
    }
    const std::string source = "standard input";
    return Qdx::Pull::readPulls(Qdx::Pull::readAll(std::cin, source, Qdx::Pull::longestPullText),
                                source);
}

void show(const Options& options) {
    const auto catalogue = options.catalogue.empty()
                               ? Qdx::Pull::Catalogue()
                               : Qdx::Pull::Catalogue::read(options.catalogue);
    const Qdx::Pull::TableStyle style{options.width != 0 ? options.width : terminalWidth(),
                                      options.glyphs};
    const auto* separator = "";
    for (const auto& pull : readPulls(options.input)) {
        std::cout << separator;
        Qdx::Pull::printTable(std::cout, pull, catalogue, style);
        separator = "\n";
    }
}

int report(const std::string& what, int status) {
    std::cerr << "qdxview: " << what << '\n';
    return status;
}

int guardedMain(int argc, char** argv) {
    int status = EX_OK;
    const auto options = Qdxview::parseOptions(argc, argv, status);
    if (!options) {
        return status;
    }
    // What is wrong with a message is ours to tell, in one line.
    google::protobuf::SetLogHandler(nullptr);
    try {
        show(*options);
    } catch (const Qdx::Pull::NoInput& error) {
        return report(error.what(), EX_NOINPUT);
    } catch (const Qdx::Pull::BadData& error) {
        return report(error.what(), EX_DATAERR);
    }
    return std::cout.flush() ? EX_OK : report("cannot write the output", EX_IOERR);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return guardedMain(argc, argv);
    } catch (const std::bad_alloc&) {
        return report("not enough memory", EX_OSERR);
    } catch (const std::exception& error) {
        return report(error.what(), EX_SOFTWARE);
    }
}
