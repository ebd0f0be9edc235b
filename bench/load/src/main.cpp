// qdxload: a load for the collector, and a check of what it made of it.
#include <google/protobuf/stubs/logging.h>
#include <sysexits.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <system_error>

#include "audit.hpp"
#include "checker.hpp"
#include "collectorProcess.hpp"
#include "commandLine/fault.hpp"
#include "files/inputFile.hpp"
#include "followedRun.hpp"
#include "loadRun.hpp"
#include "options.hpp"
#include "pull/badData.hpp"
#include "pull/pullReader.hpp"
#include "report.hpp"

namespace {

using namespace QdxLoad;

constexpr int foundViolations = 1;
constexpr std::size_t mostLines = 100;

std::atomic<bool> stopped = false;
static_assert(std::atomic<bool>::is_always_lock_free);

void stop(int /*signal*/) {
    stopped = true;
}

int report(const std::string& what, int status) {
    return Qdx::CommandLine::report("qdxload", what, status);
}

// Calls write(stream) for the file.
template <typename Write>
int writeFile(const std::string& path, const Write& write) {
    std::ofstream file(path);
    write(file);
    return file.flush()
               ? EX_OK
               : report(path + ": " + std::generic_category().message(errno), EX_CANTCREAT);
}

// ---- Sending

void tell(Phase phase) {
    (void)report(phase == Phase::Sending ? "sending" : "waiting for the collector", EX_OK);
}

// Calls send(), which gives the outcome, and reports it.
template <typename Send>
int sendLoad(const Options& options, const Send& send) {
    std::signal(SIGINT, stop);
    std::signal(SIGTERM, stop);
    CollectorUse use;
    use.processBefore = options.collector ? options.collector : findCollector();
    use.before = use.processBefore ? readUse(*use.processBefore) : std::nullopt;
    const Outcome outcome = send();
    use.process = options.collector ? options.collector : findCollector();
    use.after = use.process ? readUse(*use.process) : std::nullopt;
    printReport(std::cout, outcome, options.load, use);
    if (!options.ledger.empty()) {
        const int status =
            writeFile(options.ledger, [&](std::ostream& out) { writeLedger(out, outcome.ledger); });
        if (status != EX_OK) {
            return status;
        }
    }
    return outcome.allHandled
               ? EX_OK
               : report("the collector did not take everything; it is gone, or too slow",
                        EX_UNAVAILABLE);
}

// ---- Checking

Ledger readLedgerFile(const std::string& path) {
    std::error_code unknown;
    if (std::filesystem::is_directory(path, unknown)) {
        throw Qdx::Pull::NoInput(path + ": is a directory");
    }
    std::ifstream file(path);
    if (!file) {
        throw Qdx::Pull::NoInput(path + ": " + std::generic_category().message(errno));
    }
    return readLedger(file, path);
}

void printViolations(const std::vector<std::string>& violations) {
    for (std::size_t i = 0; i < std::min(violations.size(), mostLines); ++i) {
        std::cout << violations[i] << '\n';
    }
    if (violations.size() > mostLines) {
        std::cout << "and " << violations.size() - mostLines << " more\n";
    }
}

int printFindings(const Checker& checker) {
    const auto& violations = checker.violations();
    printViolations(violations);
    std::cout << (violations.empty() ? "OK: " : "WRONG: ") << checker.checkedValues()
              << " values in " << checker.checkedCollections() << " collections checked";
    if (checker.windowsOfSeconds() > 0) {
        std::cout << ", " << checker.windowsOfSeconds() << " with windows of seconds left out";
    }
    std::cout << '\n';
    return violations.empty() ? EX_OK : foundViolations;
}

int checkPulls(const Options& options) {
    // What is wrong with a message is ours to tell, in one line.
    google::protobuf::SetLogHandler(nullptr);
    const auto ledger = readLedgerFile(options.ledger);
    Checker checker(ledger, options.began);
    for (const auto& path : options.pulls) {
        auto input = Qdx::Files::readFile(path, Qdx::Pull::longestInput);
        for (const auto& pull : Qdx::Pull::readPulls(std::move(input), path)) {
            checker.check(pull.collections);
        }
    }
    checker.finish();
    return printFindings(checker);
}

// ---- Following

QdxLedger::Follow followOf(const Options& options) {
    return {.work = {.churns = options.follow->churns,
                     .limitsFilters = options.follow->isUnderPressure,
                     .seed = options.plan.seed},
            .whenQuiet = options.follow->whenQuiet,
            .pause = options.follow->pause};
}

int printAudit(const QdxLedger::Audit& audit, std::size_t operations) {
    printViolations(audit.violations);
    std::cout << (audit.violations.empty() ? "OK: " : "WRONG: ") << audit.values << " values in "
              << audit.pulls << " pulls checked, of " << operations << " operations\n";
    audit.sheet.print(std::cout);
    return audit.violations.empty() ? EX_OK : foundViolations;
}

int followLoad(const Options& options) {
    QdxLedger::Journal journal;
    Ledger ledger;
    const int sent = sendLoad(options, [&] {
        auto followed =
            QdxLedger::runFollowed(options.plan, options.load, followOf(options), stopped, tell);
        journal = std::move(followed.journal);
        ledger = followed.outcome.ledger;
        return followed.outcome;
    });
    if (sent != EX_OK) {
        return sent;
    }
    (void)report("following each sample", EX_OK);
    const auto audit =
        QdxLedger::audit(ledger, journal,
                         options.follow->isUnderPressure ? QdxLedger::Memory::MayRefuse
                                                         : QdxLedger::Memory::Suffices);
    const int found = printAudit(audit, journal.size());
    const auto& sheet = options.follow->sheet;
    const int written =
        sheet.empty() ? EX_OK
                      : writeFile(sheet, [&](std::ostream& out) { audit.sheet.printCsv(out); });
    return found != EX_OK ? found : written;
}

int run(int argc, char** argv) {
    int status = EX_OK;
    const auto options = parseOptions(argc, argv, status);
    if (!options) {
        return status;
    }
    if (!options->list.empty()) {
        return writeFile(options->list,
                         [&](std::ostream& out) { writeObjectList(out, options->plan); });
    }
    if (options->check) {
        return checkPulls(*options);
    }
    return options->follow ? followLoad(*options) : sendLoad(*options, [&] {
        return run(options->plan, options->load, stopped, tell);
    });
}

int runToTheEnd(int argc, char** argv) {
    try {
        const int status = run(argc, argv);
        return status != EX_OK || std::cout.flush() ? status
                                                    : report("cannot write the output", EX_IOERR);
    } catch (const Qdx::Pull::NoInput& error) {
        return report(error.what(), EX_NOINPUT);
    } catch (const Qdx::Pull::BadData& error) {
        return report(error.what(), EX_DATAERR);
    } catch (const BadLedger& error) {
        return report(error.what(), EX_DATAERR);
    }
}

}  // namespace

int main(int argc, char** argv) {
    return Qdx::CommandLine::guarded("qdxload", EX_UNAVAILABLE,
                                     [&] { return runToTheEnd(argc, argv); });
}
