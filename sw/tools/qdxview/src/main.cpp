// Shows people what a pull gave, and gives other programs its data.
#include <google/protobuf/stubs/logging.h>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <sysexits.h>
#include <unistd.h>

#include <clocale>
#include <filesystem>
#include <iostream>
#include <string_view>

#include "collector.hpp"
#include "commandLine/fault.hpp"
#include "files/inputFile.hpp"
#include "files/outputFile.hpp"
#include "options.hpp"
#include "pull/badData.hpp"
#include "pull/catalogue.hpp"
#include "pull/pullReader.hpp"
#include "pull/pullWriter.hpp"
#include "pull/reportPage.hpp"
#include "reportTemplate.hpp"
#include "signals.hpp"
#include "terminal.hpp"
#include "top.hpp"

namespace {

using Qdx::Pull::Catalogue;
using Qdx::Pull::PulledMessage;
using Qdxview::Options;

int report(const std::string& what, int status) {
    return Qdx::CommandLine::report("qdxview", what, status);
}

// Of the output, if that is a terminal.
std::size_t widthFor(const Options& options) {
    if (options.width != 0) {
        return options.width;
    }
    winsize size{};
    const bool known =
        options.output == "-" && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : Qdx::Pull::TableStyle{}.width;
}

std::vector<PulledMessage> readPulls(const Options& options) {
    const bool isFile = options.input != "-";
    const auto source = isFile ? options.input : "standard input";
    auto input = isFile ? Qdx::Files::readFile(source, Qdx::Pull::longestInput)
                        : Qdx::Files::readAll(std::cin, source, Qdx::Pull::longestInput);
    return Qdx::Pull::readPulls(std::move(input), source, options.inputForm);
}

void write(std::ostream& out, const Options& options, const std::vector<PulledMessage>& pulls,
           const Catalogue& catalogue) {
    Qdx::Pull::PullWriter writer(out, options.format, catalogue,
                                 {widthFor(options), options.glyphs});
    for (const auto& pull : pulls) {
        writer.write(pull);
    }
}

void writePage(std::ostream& out, const Options& options, const std::vector<PulledMessage>& pulls,
               const Catalogue& catalogue) {
    const auto name = options.input == "-"
                          ? std::string()
                          : std::filesystem::path(options.input).filename().string();
    Qdx::Pull::writeReportPage(out, Qdxview::reportTemplate(), pulls, catalogue, name);
}

// Everything is read before the output is opened: a damaged input leaves an older file alone, and
// the output may be the input.
int convert(const Options& options) {
    const auto catalogue =
        options.catalogue.empty() ? Catalogue() : Catalogue::read(options.catalogue);
    const auto pulls = readPulls(options);
    Qdx::Files::OutputFile output(options.output);
    if (options.page) {
        writePage(output.stream(), options, pulls, catalogue);
    } else {
        write(output.stream(), options, pulls, catalogue);
    }
    output.commit();
    return EX_OK;
}

int showLiveView(const Options& options) {
    if (isatty(STDOUT_FILENO) == 0 || isatty(STDIN_FILENO) == 0) {
        return report("the live view needs a terminal; give --once to print it once", EX_USAGE);
    }
    auto liveView = options.liveView;
    // The screen knows only the characters of the locale.
    std::setlocale(LC_CTYPE, "");
    if (nl_langinfo(CODESET) != std::string_view("UTF-8")) {
        liveView.glyphs = Qdx::Pull::Glyphs::Ascii;
    }
    if (const int signal = Qdxview::showTop(liveView); signal != 0) {
        Qdxview::endBy(signal);
    }
    return EX_OK;
}

int printLiveView(const Options& options) {
    Qdxview::printTop(std::cout, options.liveView, widthFor(options));
    return std::cout.flush() ? EX_OK : report("cannot write the output", EX_IOERR);
}

int act(const Options& options) {
    if (!options.top) {
        return convert(options);
    }
    return options.once ? printLiveView(options) : showLiveView(options);
}

int run(int argc, char** argv) {
    int status = EX_OK;
    const auto options = Qdxview::parseOptions(argc, argv, status);
    if (!options) {
        return status;
    }
    if (options->format == Qdx::Pull::Format::Raw && options->output == "-" &&
        isatty(STDOUT_FILENO) != 0) {
        return report("raw bytes are not for a terminal; redirect them or give --output FILE",
                      EX_USAGE);
    }
    if (options->page && Qdxview::reportTemplate().empty()) {
        return report("this build has no report page; --format gives the data in other forms",
                      EX_UNAVAILABLE);
    }
    // What is wrong with a message is ours to tell, in one line.
    google::protobuf::SetLogHandler(nullptr);
    try {
        return act(*options);
    } catch (const Qdx::Pull::NoInput& error) {
        return report(error.what(), EX_NOINPUT);
    } catch (const Qdx::Pull::BadData& error) {
        return report(error.what(), EX_DATAERR);
    } catch (const Qdx::Files::CannotCreate& error) {
        return report(error.what(), EX_CANTCREAT);
    } catch (const Qdx::Files::CannotWrite& error) {
        return report(error.what(), EX_IOERR);
    } catch (const Qdxview::NoTerminal& error) {
        return report(error.what(), EX_USAGE);
    } catch (const Qdxview::NoAnswer& error) {
        return report(error.what(), EX_UNAVAILABLE);
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    return Qdx::CommandLine::guarded("qdxview", EX_SOFTWARE, [&] { return run(argc, argv); });
}
