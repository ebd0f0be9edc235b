// Works on the filters of a run, and writes down what it does.
#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "journal.hpp"
#include "loadRun.hpp"
#include "plan.hpp"
#include "random.hpp"

namespace QdxLedger {

// A command that failed, or an answer that makes no sense; one line.
class BadAnswer : public std::runtime_error {
    using runtime_error::runtime_error;
};

struct Answer {
    int status = 0;
    std::string output;
};
// Types a line at the collector.
using Shell = std::function<Answer(const std::string& line)>;

// Whether nothing was under way to the collector when a command was given.
enum class Traffic { Flowing, Quiet };

struct Work {
    bool churns = false;         // creates, deletes, disables and enables filters, too
    bool limitsFilters = false;  // gives them limits that are too small for what they capture
    std::uint64_t seed = 1;
};

// Used as begin step* finish, all by one thread at a time. All throw BadAnswer, and what the shell
// throws. What is referred to must outlive it.
class Operator {
public:
    Operator(const Plan& runPlan, const QdxLoad::Progress& runProgress, Shell typing,
             const Work& work);

    // Creates the first filters. REQUIRES: nothing was sent yet.
    void begin();
    // Does one thing by chance: mostly a pull.
    void step(Traffic traffic);
    // Pulls each filter that is enabled a last time. REQUIRES: the collector has handled all.
    void finish();

    const Journal& journal() const { return operations; }

private:
    struct Filter {
        FilterNumber number;
        bool isEnabled;
    };

    void create(Traffic traffic);
    void remove(std::size_t place, Traffic traffic);
    void toggle(std::size_t place, Traffic traffic);
    void clearAll(Traffic traffic);
    void pull(const Filter& filter, Command command, Traffic traffic);
    void pullFilter(std::size_t place, Traffic traffic);

    std::string type(const std::string& line) const;
    Operation& note(Command command, FilterNumber filter, Traffic traffic);
    std::size_t chance(std::size_t choices) { return random.next() % choices; }

    const Plan& plan;
    const QdxLoad::Progress& progress;
    const Shell shell;
    const Work kind;
    const std::vector<FilterSpec> specs;
    QdxLoad::Random random;
    std::size_t nextSpec = 0;
    std::vector<Filter> filters;
    Journal operations;
};

}  // namespace QdxLedger
