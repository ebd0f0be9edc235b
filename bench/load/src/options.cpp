#include "options.hpp"

#include <sysexits.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <map>

namespace QdxLoad {
namespace {

constexpr double lowestRate = 0.1;
constexpr double highestRate = 1e8;
constexpr double shortestRun = 0.1;
constexpr double longestRun = 3600;
constexpr std::uint32_t shortestPause = 1;
constexpr std::uint32_t longestPause = 60'000;

constexpr const char* footer =
    "Examples:\n"
    "  qdxload --objects 6 --list objects.xml\n"
    "  qdxload --objects 6 --rate 100000 --seconds 5 --ledger run.ledger\n"
    "  dch filter pull keep 11 >pull.txt; qdxload --check pull.txt --ledger run.ledger\n"
    "  qdxload --rate 20000 --seconds 10 --follow --churn\n\n"
    "Exit status: 0; 1 --check or --follow found violations; 64 wrong usage; 65 input that is "
    "damaged;\n"
    "66 no such file; 69 no collector, or one that did not take everything; 73 output that cannot\n"
    "be created.";

// What CLI11 makes of the words.
struct Parsed {
    Options options;
    double seconds = options.load.duration.count();
    double rate = 0;
    pid_t collector = 0;
    bool fromStart = false;
    bool follows = false;
    FollowOptions follow;
    std::uint32_t pause = 100;
};

// Written so that "nan" is outside of every range.
CLI::Validator between(double low, double high) {
    const std::string range = CLI::detail::to_string(low) + " to " + CLI::detail::to_string(high);
    return {[low, high, range](std::string& text) {
                double value = 0;
                const bool good =
                    CLI::detail::lexical_cast(text, value) && value >= low && value <= high;
                return good ? std::string() : text + " is not a number from " + range;
            },
            range};
}

void addShape(CLI::App& app, Plan& plan) {
    static const std::map<std::string, Kind> kinds{
        {"measurement", Kind::Measurement}, {"counter", Kind::Counter}, {"record", Kind::Record}};
    app.add_option("--frontends", plan.frontends, "Frontends, each on a thread of its own")
        ->check(CLI::Range(1U, mostFrontends))
        ->capture_default_str();
    app.add_option("--objects", plan.objects, "Info objects, the same for all frontends")
        ->check(CLI::Range(1U, mostObjects))
        ->capture_default_str();
    app.add_option("--contexts", plan.contexts, "Contexts of each object, for each frontend")
        ->check(CLI::Range(1U, mostContexts))
        ->capture_default_str();
    app.add_option("--kinds", plan.kinds, "Kinds that the objects have in turn; all if not given")
        ->delimiter(',')
        ->type_name("measurement,counter,record")
        ->transform(CLI::CheckedTransformer(kinds).description(""));
    app.add_option("--record-size", plan.recordSize, "Bytes of each record, or of the smallest")
        ->check(CLI::Range(smallestRecord, largestRecord))
        ->capture_default_str();
    app.add_option("--record-spread", plan.recordSpread, "Bytes that the largest record has more")
        ->check(CLI::Range(std::size_t{0}, largestRecord))
        ->capture_default_str();
    app.add_option("--seed", plan.seed, "Of the order of the series, and of the records' bytes")
        ->capture_default_str();
}

void addRun(CLI::App& app, Parsed& parsed) {
    app.add_option("--rate", parsed.rate,
                   "Samples per second of all frontends together; flat out if not given")
        ->check(between(lowestRate, highestRate));
    app.add_option("--seconds", parsed.seconds, "How long to send")
        ->check(between(shortestRun, longestRun))
        ->capture_default_str();
    app.add_flag("--wait", parsed.options.load.waits,
                 "Wait while the queue to the collector is full, instead of dropping");
    app.add_option("--collector", parsed.collector,
                   "Process to measure, if not the one that serves this unit's commands")
        ->type_name("PID")
        ->check(CLI::PositiveNumber);
    app.add_option("--ledger", parsed.options.ledger,
                   "File of what became of each sample: written by a run, read by --check")
        ->type_name("FILE");
}

void addInsteadOfRun(CLI::App& app, Parsed& parsed) {
    auto* const list =
        app.add_option("--list", parsed.options.list,
                       "Only write the info object list that the objects need, and end")
            ->type_name("FILE");
    auto* const check = app.add_option("--check", parsed.options.pulls,
                                       "Only compare pulls with the run of --ledger, and end")
                            ->type_name("PULL...")
                            ->excludes(list);
    app.add_flag("--from-start", parsed.fromStart,
                 "The filters of --check were there before the first sample, with memory for all")
        ->needs(check);
}

void addFollow(CLI::App& app, Parsed& parsed) {
    auto* const follow =
        app.add_flag("--follow", parsed.follows,
                     "Create filters, pull and clear them meanwhile, and follow each sample to its "
                     "end; the collector must have no other filters")
            ->excludes(app.get_option("--check"));
    app.add_flag("--churn", parsed.follow.churns, "Delete, create, disable and enable filters, too")
        ->needs(follow);
    app.add_flag("--pressure", parsed.follow.isUnderPressure,
                 "Filters with small limits, in a collector whose memory need not suffice")
        ->needs(follow);
    app.add_flag("--quiet", parsed.follow.whenQuiet,
                 "Touch the filters only when the collector has handled all that was sent")
        ->needs(follow);
    app.add_option("--pause", parsed.pause, "Milliseconds between what is done to the filters")
        ->needs(follow)
        ->check(CLI::Range(shortestPause, longestPause))
        ->capture_default_str();
    app.add_option("--sheet", parsed.follow.sheet, "File for the balance sheet as CSV")
        ->needs(follow)
        ->type_name("FILE");
}

// What only becomes wrong together.
void require(bool good, const std::string& what) {
    if (!good) {
        throw CLI::ValidationError(what, CLI::ExitCodes::ValidationError);
    }
}

Options finish(const CLI::App& app, Parsed& parsed) {
    auto& options = parsed.options;
    options.check = app.count("--check") > 0;
    require(!options.check || !options.ledger.empty(), "--check needs --ledger");
    if (app.count("--rate") > 0) {
        options.load.samplesPerSecond = parsed.rate;
    }
    if (parsed.follows) {
        parsed.follow.pause = std::chrono::milliseconds(parsed.pause);
        options.follow = parsed.follow;
    }
    if (app.count("--collector") > 0) {
        options.collector = parsed.collector;
    }
    options.load.duration = std::chrono::duration<double>(parsed.seconds);
    options.began = parsed.fromStart ? Began::BeforeFirstSample : Began::Sometime;
    const auto fault = options.plan.fault();
    require(fault.empty(), fault);
    return options;
}

}  // namespace

std::optional<Options> parseOptions(int argc, const char* const* argv, int& exitStatus) {
    Parsed parsed;
    CLI::App app(
        "Sends a load of measurements, counters and records to the collector, and checks "
        "what is pulled.",
        "qdxload");
    app.footer(footer);
    app.set_version_flag("--version", "qdxload " QDX_VERSION);
    addShape(app, parsed.options.plan);
    addRun(app, parsed);
    addInsteadOfRun(app, parsed);
    addFollow(app, parsed);
    try {
        app.parse(argc, argv);
        return finish(app, parsed);
    } catch (const CLI::ParseError& end) {
        if (end.get_exit_code() == 0) {
            exitStatus = app.exit(end);
        } else {
            std::cerr << "qdxload: " << end.what() << "; see qdxload --help\n";
            exitStatus = EX_USAGE;
        }
        return std::nullopt;
    }
}

}  // namespace QdxLoad
