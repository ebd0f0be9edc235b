// Makes a filter of the collector from a file that describes it.
#include <sysexits.h>

#include <iostream>

#include "catalogue.hpp"
#include "commandLine/fault.hpp"
#include "diagnosticText.hpp"
#include "files/badInput.hpp"
#include "files/inputFile.hpp"
#include "filterCheck.hpp"
#include "options.hpp"
#include "report.hpp"
#include "tessel/commandClient.hpp"
#include "transaction.hpp"

namespace {

using namespace DchFilter;

int report(const std::string& what, int status) {
    return Qdx::CommandLine::report("dch-filter", what, status);
}

FilterFile readInput(const std::string& input) {
    if (input != "-") {
        return readFilterFile(input, Qdx::Files::readFile(input, longestFilterFile));
    }
    const std::string source = "standard input";
    return readFilterFile(source, Qdx::Files::readAll(std::cin, source, longestFilterFile));
}

Answer askCollector(const std::vector<std::string>& words) {
    std::string text;
    const auto collect = [&text](std::string_view bytes) { text += bytes; };
    const int status = Tessel::CommandClient::run(words, {collect, collect});
    return {status, text};
}

int create(const FilterCheck& check, const std::string& fileName) {
    const auto outcome = createFilter(check, fileName, askCollector);
    if (outcome.exitStatus != EX_OK) {
        return report(outcome.message, outcome.exitStatus);
    }
    std::cout << outcome.message << '\n';
    return EX_OK;
}

int act(const Options& options) {
    const auto file = readInput(options.input);
    const auto check = checkFilter(file);
    printDiagnostics(std::cerr, file.name, check.diagnostics);
    if (!check.isGood()) {
        return EX_DATAERR;
    }
    if (!options.catalogue.empty()) {
        printReport(std::cout, check, readCatalogue(options.catalogue), options.report);
        return EX_OK;
    }
    if (options.checkOnly) {
        std::cout << file.name << ": good, statements: " << check.statements.size() << '\n';
        return EX_OK;
    }
    return create(check, file.name);
}

int run(int argc, char** argv) {
    int status = EX_OK;
    const auto options = parseOptions(argc, argv, status);
    if (!options) {
        return status;
    }
    try {
        status = act(*options);
    } catch (const Qdx::Files::NoInput& error) {
        return report(error.what(), EX_NOINPUT);
    } catch (const Qdx::Files::BadInput& error) {
        return report(error.what(), EX_DATAERR);
    }
    return std::cout.flush() ? status : report("cannot write the output", EX_IOERR);
}

}  // namespace

int main(int argc, char** argv) {
    return Qdx::CommandLine::guarded("dch-filter", EX_SOFTWARE, [&] { return run(argc, argv); });
}
