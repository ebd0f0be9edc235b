#include <sysexits.h>
#include <unistd.h>

#include <csignal>
#include <iostream>

#include "commandLine/terminal.hpp"
#include "commands.hpp"
#include "control/blockingClient.hpp"
#include "exitStatus.hpp"
#include "files/outputFile.hpp"

#include "progress.hpp"
#include "pull/catalogue.hpp"
#include "pull/pullReader.hpp"
#include "pull/pullWriter.hpp"
#include "signals.hpp"

namespace Qfci {

namespace {

using namespace Qdx::Control;
using Qdx::Files::OutputFile;
using Qdx::Pull::Catalogue;
using Qdx::Pull::Format;

constexpr int signalStatus = 128;

// Raw contents go out as they come; the other formats need them whole.
class Contents {
public:
    Contents(OutputFile& file, const Options& pullOptions) : output(file), options(pullOptions) {}

    bool take(std::string_view chunk) {
        if (options.format != Format::Raw) {
            collected += chunk;
            return true;
        }
        return static_cast<bool>(output.stream() << chunk);
    }

    // Throws Qdx::Pull::BadData.
    void finish(const Catalogue& catalogue) {
        if (options.format == Format::Raw) {
            return;
        }
        const auto message =
            Qdx::Pull::readMessage(std::move(collected), "filter \"" + options.filter + "\"");
        Qdx::Pull::PullWriter(output.stream(), options.format, catalogue).write(message);
    }

private:
    OutputFile& output;
    const Options& options;
    std::string collected;
};

Result fetch(BlockingClient& client, const Options& options, Contents& contents) {
    auto result = client.connect();
    if (!result.isDone()) {
        return result;
    }
    // From now on the collector holds a stream for us, which it keeps unless it is fetched whole.
    catchStopSignals();
    signal(SIGPIPE, SIG_IGN);
    Progress progress(Qdx::CommandLine::takesEscapes(STDERR_FILENO) ? &std::cerr : nullptr,
                      std::chrono::steady_clock::now());
    return client.pull({options.filter, options.clear}, [&](std::string_view chunk) {
        progress.add(chunk.size(), std::chrono::steady_clock::now());
        return caughtSignal() == 0 && contents.take(chunk);
    });
}

}  // namespace

int pull(const Options& options) {
    // Whatever can go wrong here goes wrong before a filter is cleared.
    const auto catalogue =
        options.catalogue.empty() ? Catalogue() : Catalogue::read(options.catalogue);
    OutputFile output(options.output);
    Contents contents(output, options);
    auto settings = clientOptions(options);
    if (options.format != Format::Raw) {
        settings.largestContents = Qdx::Pull::longestMessage;
    }
    BlockingClient client(settings);
    const auto result = fetch(client, options, contents);
    if (caughtSignal() != 0) {
        return signalStatus + caughtSignal();
    }
    if (result.outcome == Outcome::Stopped) {
        throw Qdx::Files::CannotWrite(options.output);
    }
    if (!result.isDone()) {
        return report(result);
    }
    contents.finish(catalogue);
    output.commit();
    return EX_OK;
}

}  // namespace Qfci
