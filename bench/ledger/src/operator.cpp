#include "operator.hpp"

#include <algorithm>
#include <utility>
#include <variant>

#include "pull/pullReader.hpp"

namespace QdxLedger {
namespace {

constexpr std::size_t mostFilters = 4;
constexpr const char* noDataYet = "Not enough data yet or not enough filter memory\n";
constexpr const char* notEnoughMemory = "Not enough memory Error\n";

Clause list(std::uint32_t kept) {
    return {.method = Method::List, .samples = 1, .kept = kept};
}

Clause window(Method method, std::uint32_t samples, std::uint32_t kept) {
    return {.method = method, .samples = samples, .kept = kept};
}

// A list beside all windows: it tells best where a pull was made.
std::vector<FilterSpec> makeSpecs() {
    return {
        {.limit = 40'000,
         .statements = {{.kind = Kind::Measurement,
                         .clauses = {list(50), window(Method::Min, 5, 20),
                                     window(Method::Max, 7, 10)}},
                        {.kind = Kind::Counter, .clauses = {list(40), window(Method::Sum, 4, 10)}},
                        {.kind = Kind::Record, .clauses = {list(20)}}}},
        {.limit = 25'000, .statements = {{.context = 0, .clauses = {list(1000)}}}},
        {.limit = 15'000,
         .statements = {{.kind = Kind::Measurement,
                         .clauses = {list(10), window(Method::Average, 10, 20)}},
                        {.kind = Kind::Record, .clauses = {list(200)}}}},
        {.limit = 0,
         .statements = {
             {.kind = Kind::Counter,
              .clauses = {list(300), window(Method::Sum, 10, 50), window(Method::Sum, 100, 5)}},
             {.kind = Kind::Record, .clauses = {list(60)}}}}};
}

// The number behind the words of an answer.
std::int64_t numberBehind(const std::string& words, const std::string& answer) {
    std::size_t read = 0;
    if (answer.starts_with(words)) {
        const auto rest = answer.substr(words.size());
        try {
            const auto number = std::stoll(rest, &read);
            if (rest.substr(read) == "\n") {
                return number;
            }
        } catch (const std::logic_error&) {
            read = 0;
        }
    }
    throw BadAnswer("\"" + words + "\" and a number expected, not: " + answer);
}

}  // namespace

Operator::Operator(const Plan& runPlan, const QdxLoad::Progress& runProgress, Shell typing,
                   const Work& work)
    : plan(runPlan),
      progress(runProgress),
      shell(std::move(typing)),
      kind(work),
      specs(makeSpecs()),
      random(work.seed) {}

void Operator::begin() {
    for (std::size_t i = 0; i < specs.size(); ++i) {
        create(Traffic::Quiet);
    }
}

void Operator::step(Traffic traffic) {
    const auto choice = kind.churns ? chance(100) : chance(70);
    if (filters.empty() || (choice >= 90 && filters.size() < mostFilters)) {
        return create(traffic);
    }
    const auto place = chance(filters.size());
    if (choice < 65) {
        pullFilter(place, traffic);
    } else if (choice < 70) {
        clearAll(traffic);
    } else if (choice < 85) {
        toggle(place, traffic);
    } else {
        remove(place, traffic);
    }
}

void Operator::finish() {
    for (const auto& filter : filters) {
        if (filter.isEnabled) {
            pull(filter, Command::PullKeep, Traffic::Quiet);
        }
    }
}

// ---- What is done

void Operator::create(Traffic traffic) {
    auto spec = specs[nextSpec++ % specs.size()];
    spec.limit = kind.limitsFilters ? spec.limit : 0;
    const auto transaction = std::to_string(numberBehind(
        "Created transaction: ", type("dch fs create limit " + std::to_string(spec.limit))));
    for (const auto& statement : spec.statements) {
        type("dch fs add " + transaction + " " + textOf(statement));
    }
    const auto answer = shell("dch fs commit " + transaction);
    if (answer.status != 0 && answer.output == notEnoughMemory) {
        return;
    }
    const auto number = numberBehind("Filter ID is: ", answer.output);
    note(Command::Create, number, traffic).spec = std::move(spec);
    filters.push_back({.number = number, .isEnabled = true});
}

void Operator::remove(std::size_t place, Traffic traffic) {
    const auto number = filters[place].number;
    type("dch filter delete " + std::to_string(number));
    note(Command::Delete, number, traffic);
    filters.erase(filters.begin() + static_cast<std::ptrdiff_t>(place));
}

void Operator::toggle(std::size_t place, Traffic traffic) {
    auto& filter = filters[place];
    type((filter.isEnabled ? "dch filter disable " : "dch filter enable ") +
         std::to_string(filter.number));
    note(filter.isEnabled ? Command::Disable : Command::Enable, filter.number, traffic);
    filter.isEnabled = !filter.isEnabled;
}

void Operator::clearAll(Traffic traffic) {
    type("dch filter clearAll");
    note(Command::ClearAll, 0, traffic);
}

void Operator::pullFilter(std::size_t place, Traffic traffic) {
    const auto& filter = filters[place];
    if (filter.isEnabled) {
        pull(filter, chance(3) == 0 ? Command::PullClear : Command::PullKeep, traffic);
    } else {
        toggle(place, traffic);
    }
}

void Operator::pull(const Filter& filter, Command command, Traffic traffic) {
    const auto line = std::string("dch filter pull ") +
                      (command == Command::PullClear ? "clear " : "keep ") +
                      std::to_string(filter.number);
    auto answer = shell(line);
    auto& operation = note(command, filter.number, traffic);
    if (answer.status != 0) {
        if (answer.output != noDataYet) {
            throw BadAnswer(line + ": " + answer.output);
        }
        return;
    }
    for (const auto& message : Qdx::Pull::readPulls(std::move(answer.output), line)) {
        for (auto& collection : collectionsOf(plan, message.collections)) {
            if (auto* const fault = std::get_if<std::string>(&collection)) {
                operation.faults.push_back(std::move(*fault));
            } else {
                operation.pulled.push_back(std::move(std::get<PulledCollection>(collection)));
            }
        }
    }
}

// ---- How

// The answer; throws if it isn't success.
std::string Operator::type(const std::string& line) const {
    auto answer = shell(line);
    if (answer.status != 0) {
        throw BadAnswer(line + ": " + answer.output);
    }
    return std::move(answer.output);
}

Operation& Operator::note(Command command, FilterNumber filter, Traffic traffic) {
    Operation operation{.command = command, .filter = filter};
    for (std::uint32_t frontend = 0; frontend < plan.frontends; ++frontend) {
        operation.added.push_back(progress.added[frontend].load(std::memory_order_relaxed));
    }
    operation.isExact = traffic == Traffic::Quiet;
    operations.push_back(std::move(operation));
    return operations.back();
}

}  // namespace QdxLedger
