// qfci: the collector's control protocol from the command line.
#include <google/protobuf/stubs/logging.h>
#include <sysexits.h>

#include <iostream>
#include <system_error>

#include "commandLine/fault.hpp"
#include "commands.hpp"
#include "exitStatus.hpp"
#include "files/outputFile.hpp"
#include "pull/badData.hpp"

namespace {

using namespace Qfci;

int run(const Options& options) {
    switch (options.command) {
        case Command::Pull:
            return pull(options);
        case Command::Connect:
            return connect(options);
        case Command::Ping:
            return ping(options);
    }
    return EX_USAGE;
}

int run(int argc, char** argv) {
    int status = EX_OK;
    const auto options = parseOptions(argc, argv, status);
    if (!options) {
        return status;
    }
    try {
        return run(*options);
    } catch (const Qdx::Pull::NoInput& error) {
        return report(error.what(), EX_NOINPUT);
    } catch (const Qdx::Pull::BadData& error) {
        return report(error.what(), EX_DATAERR);
    } catch (const Qdx::Files::CannotCreate& error) {
        return report(error.what(), EX_CANTCREAT);
    } catch (const Qdx::Files::CannotWrite& error) {
        return report(error.what(), EX_IOERR);
    } catch (const std::system_error& error) {
        return report(error.what(), EX_OSERR);
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    // What is wrong with a message is ours to tell, in one line.
    google::protobuf::SetLogHandler(nullptr);
    return Qdx::CommandLine::guarded("qfci", EX_SOFTWARE, [&] { return run(argc, argv); });
}
