#include "options.hpp"

#include <CLI/CLI.hpp>
#include <map>

#include "commandLine/choice.hpp"
#include "commandLine/commandLine.hpp"

namespace QdxLoad {
namespace {

constexpr double lowestRate = 0.1;
constexpr double highestRate = 1e8;
constexpr double shortestRun = 0.1;
constexpr double longestRun = 3600;
constexpr std::uint32_t shortestPause = 1;
constexpr std::uint32_t longestPause = 60'000;

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
    app.add_option("--frontends", plan.frontends, "Frontends, each on a thread of its own; 1")
        ->type_name("N")
        ->check(CLI::Range(1U, mostFrontends));
    app.add_option("--objects", plan.objects, "Info objects, the same for all frontends; 3")
        ->type_name("N")
        ->check(CLI::Range(1U, mostObjects));
    app.add_option("--contexts", plan.contexts, "Contexts of each object, for each frontend; 10")
        ->type_name("N")
        ->check(CLI::Range(1U, mostContexts));
    app.add_option("--kinds", plan.kinds, "Kinds in turn, of measurement, counter and record")
        ->delimiter(',')
        ->type_name("KIND,...")
        ->transform(Qdx::CommandLine::oneOf(kinds));
    app.add_option("--record-size", plan.recordSize, "Bytes of the smallest record; 64")
        ->type_name("BYTES")
        ->check(CLI::Range(smallestRecord, largestRecord));
    app.add_option("--record-spread", plan.recordSpread, "Bytes that the largest has more; 0")
        ->type_name("BYTES")
        ->check(CLI::Range(std::size_t{0}, largestRecord));
    app.add_option("--seed", plan.seed, "Of the order of the series, and of the records; 1")
        ->type_name("N");
}

void addRun(CLI::App& app, Parsed& parsed) {
    app.add_option("--rate", parsed.rate, "Samples a second of all frontends; flat out")
        ->type_name("N")
        ->check(between(lowestRate, highestRate));
    app.add_option("--seconds", parsed.seconds, "How long to send; 10")
        ->type_name("SECONDS")
        ->check(between(shortestRun, longestRun));
    app.add_flag("--wait", parsed.options.load.waits,
                 "When the queue is full, instead of dropping");
    app.add_option("--collector", parsed.collector, "Process to measure, if not this unit's")
        ->type_name("PID")
        ->check(CLI::PositiveNumber);
    app.add_option("--ledger", parsed.options.ledger,
                   "What became of each sample, from a run to --check")
        ->type_name("FILE");
}

void addInsteadOfRun(CLI::App& app, Parsed& parsed) {
    auto* const list = app.add_option("--list", parsed.options.list,
                                      "Only write the info object list for the objects")
                           ->type_name("FILE");
    auto* const check = app.add_option("--check", parsed.options.pulls,
                                       "Only compare pulls with the run of --ledger")
                            ->type_name("PULL...")
                            ->excludes(list);
    app.add_flag("--from-start", parsed.fromStart,
                 "The filters of --check were there before all samples")
        ->needs(check);
}

void addFollow(CLI::App& app, Parsed& parsed) {
    auto* const follow = app.add_flag("--follow", parsed.follows,
                                      "Work with filters meanwhile, and follow each sample")
                             ->excludes(app.get_option("--check"));
    app.add_flag("--churn", parsed.follow.churns, "And delete, create, disable and enable them")
        ->needs(follow);
    app.add_flag("--pressure", parsed.follow.isUnderPressure, "With memory that need not suffice")
        ->needs(follow);
    app.add_flag("--quiet", parsed.follow.whenQuiet, "Only when all that was sent is handled")
        ->needs(follow);
    app.add_option("--pause", parsed.pause, "Between what is done to the filters; 100")
        ->needs(follow)
        ->type_name("MILLISECONDS")
        ->check(CLI::Range(shortestPause, longestPause));
    app.add_option("--sheet", parsed.follow.sheet, "Where the balance sheet goes as CSV")
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
    CLI::App app("Sends measurements, counters and records to the collector, and checks pulls.",
                 "qdxload");
    Qdx::CommandLine::prepare(app);
    addShape(app, parsed.options.plan);
    addRun(app, parsed);
    addInsteadOfRun(app, parsed);
    addFollow(app, parsed);
    if (const auto end = Qdx::CommandLine::parse(app, argc, argv)) {
        exitStatus = *end;
        return std::nullopt;
    }
    try {
        return finish(app, parsed);
    } catch (const CLI::ValidationError& fault) {
        exitStatus = Qdx::CommandLine::refuse(app, fault.what());
        return std::nullopt;
    }
}

}  // namespace QdxLoad
