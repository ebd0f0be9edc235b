#include "report.hpp"

#include <map>
#include <set>

#include "nearestWord.hpp"
#include "plainText.hpp"
#include "saturating.hpp"
#include "textTable.hpp"

namespace DchFilter {

using namespace Qdx::Backend;

namespace {

// More names than these tell less than their number.
constexpr std::size_t mostNames = 40;

using Rows = std::vector<std::vector<std::string>>;

std::string nameOf(InfoObjectType type) {
    switch (type) {
        case InfoObjectType::Measurement:
            return "measurement";
        case InfoObjectType::Counter:
            return "counter";
        case InfoObjectType::Record:
            break;
    }
    return "record";
}

std::string counted(std::uint64_t number, const std::string& noun) {
    return std::to_string(number) + ' ' + noun + (number == 1 ? "" : "s");
}

// --- what a statement captures -------------------------------------------------------------------

struct Group {
    std::string names;  // without the prefix
    std::size_t size = 0;
};

// By the part of the name up to its last colon.
std::map<std::string, Group> groupsOf(const std::vector<const InfoObject*>& objects) {
    std::map<std::string, Group> groups;
    for (const auto* object : objects) {
        const auto name = plainText(object->getName());
        const auto prefix = name.substr(0, name.rfind(':') + 1);
        auto& group = groups[prefix];
        group.names += ' ' + name.substr(prefix.size());
        ++group.size;
    }
    return groups;
}

void printObjects(std::ostream& out, const std::vector<const InfoObject*>& objects) {
    constexpr std::size_t indent = 4;
    for (const auto& [prefix, group] : groupsOf(objects)) {
        out << wrapped(objects.size() <= mostNames ? prefix + group.names
                                                   : prefix + ' ' + counted(group.size, "object"),
                       indent);
    }
}

std::string kindsOf(const std::vector<const InfoObject*>& objects) {
    std::map<InfoObjectType, std::size_t> counts;
    for (const auto* object : objects) {
        ++counts[object->getType()];
    }
    std::string text;
    for (const auto& [type, count] : counts) {
        text.append(text.empty() ? "" : ", ").append(counted(count, nameOf(type)));
    }
    return text;
}

std::vector<std::string> tagsOf(const Catalogue& catalogue) {
    std::set<std::string> tags;
    for (const auto& object : catalogue) {
        tags.insert(object.getTags().begin(), object.getTags().end());
    }
    return {tags.begin(), tags.end()};
}

void printCaptured(std::ostream& out, const Coverage& coverage, const Catalogue& catalogue) {
    if (coverage.captured.empty()) {
        out << "  warning: captures no object of the catalogue\n";
    } else {
        out << "  captures " << coverage.captured.size() << " of "
            << counted(catalogue.size(), "object") << ": " << kindsOf(coverage.captured) << '\n';
        printObjects(out, coverage.captured);
    }
    for (const auto& tag : coverage.strangeTags) {
        const auto nearest = nearestWord(tag, tagsOf(catalogue));
        out << "  no object has the tag " << tag
            << (nearest.empty() ? "" : "; did you mean " + nearest + '?') << '\n';
    }
    for (const auto& [type, count] : coverage.leftOut) {
        out << "  leaves out " << counted(count, nameOf(type))
            << " with its tags: no aggregator of it takes them\n";
    }
}

// --- what its aggregators cost -------------------------------------------------------------------

std::vector<std::string> rowOf(const AggregatorUse& use) {
    std::vector<std::string> row{use.clause.text(), nameOf(use.type)};
    if (!use.cost) {
        row.insert(row.end(), {"nothing", "", "", ""});
        return row;
    }
    const auto main = std::to_string(use.cost->main);
    if (const auto& content = use.cost->content) {
        row.insert(row.end(), {std::to_string(content->values), main,
                               std::to_string(content->whenFull), std::to_string(content->peak)});
    } else {
        row.insert(row.end(), {"no limit", main, "", ""});
    }
    return row;
}

void printCosts(std::ostream& out, const Coverage& coverage) {
    if (coverage.uses.empty()) {
        return;
    }
    Rows rows{{"AGGREGATOR", "OF EACH", "VALUES", "MAIN", "CONTENT", "PEAK"}};
    for (const auto& use : coverage.uses) {
        rows.push_back(rowOf(use));
    }
    out << laidOut(rows, 2);
}

void printStatement(std::ostream& out, const Statement& statement, const Coverage& coverage,
                    const Catalogue& catalogue) {
    constexpr std::size_t indent = 2;
    out << "Line " << statement.line.number << '\n'
        << wrapped(statementText(statement.line), indent);
    printCaptured(out, coverage, catalogue);
    printCosts(out, coverage);
    out << '\n';
}

// --- the filter as a whole -----------------------------------------------------------------------

void printFit(std::ostream& out, const std::string& budgetName, std::uint64_t bytes,
              const Shares& shares, const FilterBudget& budget) {
    out << budgetName << " of " << bytes << " bytes: ";
    if (!budget.hasLimit) {
        out << "used up, since an aggregator grows without limit\n";
        return;
    }
    const auto contexts = contextsWithin(shares, budget);
    if (contexts == 0) {
        out << "too little for each object in one context\n";
    } else {
        out << "room for each object in " << counted(contexts, "context") << ",\n  "
            << counted(saturatingMultiply(contexts, budget.pairs), "captured pair") << '\n';
    }
}

void printTotal(std::ostream& out, const FilterBudget& budget) {
    const auto text = [](std::uint64_t bytes) { return std::to_string(bytes); };
    out << "The whole filter, in bytes\n"
        << laidOut({{"", "MAIN", "CONTENT"},
                    {"the filter itself", text(budget.filterMain), "0"},
                    {"each context", text(budget.contextMain), "0"},
                    {"each pair that comes and is not captured", text(budget.uncapturedMain), "0"},
                    {counted(budget.pairs, "captured pair") + ", each object in one context",
                     text(budget.pairsMain), text(budget.pairsContent)}},
                   2);
}

}  // namespace

void printReport(std::ostream& out, const FilterCheck& check, const Catalogue& catalogue,
                 const ReportOptions& options) {
    std::vector<Coverage> coverages;
    for (const auto& statement : check.statements) {
        coverages.push_back(coverageOf(statement, catalogue, options.load));
        printStatement(out, statement, coverages.back(), catalogue);
    }
    const auto budget = budgetOf(check.statements, coverages, catalogue, options.load);
    printTotal(out, budget);
    if (check.limit != 0) {
        printFit(out, "The filter's limit", check.limit, sharesOfFilter(check.limit), budget);
    }
    if (options.unitBudget) {
        printFit(out, "The unit's budget", *options.unitBudget, sharesOfUnit(*options.unitBudget),
                 budget);
    }
}

}  // namespace DchFilter
