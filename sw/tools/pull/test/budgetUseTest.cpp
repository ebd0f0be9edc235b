#include "pull/budgetUse.hpp"

#include <gmock/gmock.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace Qdx::Pull {
namespace {

// A line of the table: a pair that is captured by one aggregator, and its bytes.
struct Line {
    std::string sample;
    std::string method;
    std::string scope;
    int kept = 0;
    double bytes = 0;
};

// The lines with one aggregator, of cells "| sample | `method scope ...` | kept | main | content |
// sum |".
std::vector<Line> linesOfPage() {
    std::ifstream page(MEMORY_PAGE);
    std::vector<Line> lines;
    std::string text;
    while (std::getline(page, text) && !text.starts_with("| sample | captured by |")) {
    }
    while (std::getline(page, text) && text != "<!-- end -->") {
        std::vector<std::string> cells;
        std::istringstream row(text);
        for (std::string cell; std::getline(row, cell, '|');) {
            cells.push_back(cell);
        }
        if (cells.size() < 7 || cells[2].find('`') == std::string::npos ||
            cells[2].find("count 10 1000 max") != std::string::npos) {
            continue;
        }
        Line line;
        line.sample = cells[1];
        std::istringstream clause(cells[2].substr(cells[2].find('`') + 1));
        clause >> line.method >> line.scope;
        line.kept = std::stoi(cells[3]);
        line.bytes = std::stod(cells[6]);
        lines.push_back(line);
    }
    return lines;
}

template <typename Aggr>
void setScope(Aggr& aggr, const std::string& scope) {
    aggr.set_subtype(scope == "count" ? Qdx::COUNT : Qdx::DURATION);
    aggr.set_size(10);
}

void addMeasurement(Qdx::InfoObjectCollections& message, const Line& line) {
    auto& collection = *message.add_measurementcollections();
    if (line.method == "min") {
        setScope(*collection.mutable_min(), line.scope);
    } else if (line.method == "max") {
        setScope(*collection.mutable_max(), line.scope);
    } else if (line.method == "average") {
        setScope(*collection.mutable_avg(), line.scope);
    } else {
        setScope(*collection.mutable_list(), line.scope);
    }
    for (int i = 0; i < line.kept; ++i) {
        collection.add_values(i);
    }
}

void addCounter(Qdx::InfoObjectCollections& message, const Line& line) {
    auto& collection = *message.add_countercollections();
    if (line.method == "sum") {
        setScope(*collection.mutable_sum(), line.scope);
    } else {
        setScope(*collection.mutable_list(), line.scope);
    }
    for (int i = 0; i < line.kept; ++i) {
        collection.add_values(i);
    }
}

void addRecords(Qdx::InfoObjectCollections& message, const Line& line) {
    auto& collection = *message.add_recordcollections();
    setScope(*collection.mutable_list(), line.scope);
    for (int i = 0; i < line.kept; ++i) {
        collection.add_values(std::string(64, 'r'));
    }
}

Qdx::InfoObjectCollections pullOf(const Line& line) {
    Qdx::InfoObjectCollections message;
    if (line.sample.find("measurement") != std::string::npos) {
        addMeasurement(message, line);
    } else if (line.sample.find("counter") != std::string::npos) {
        addCounter(message, line);
    } else {
        addRecords(message, line);
    }
    return message;
}

TEST(BudgetUseTest, AgreesWithThePageOnMemoryWithinOnePercent) {
    const auto lines = linesOfPage();
    ASSERT_EQ(lines.size(), 14U);
    for (const auto& line : lines) {
        EXPECT_NEAR(static_cast<double>(budgetUseOf(pullOf(line))), line.bytes, line.bytes / 100)
            << line.sample << line.method << ' ' << line.scope;
    }
}

TEST(BudgetUseTest, AddsSeriesUp) {
    const auto line = linesOfPage().at(0);
    auto message = pullOf(line);
    const auto one = budgetUseOf(message);
    addMeasurement(message, line);
    EXPECT_EQ(budgetUseOf(message), 2 * one);
}

TEST(BudgetUseTest, LeavesOutWhatDoesNotTellHowItIsKept) {
    Qdx::InfoObjectCollections message;
    message.add_measurementcollections()->add_values(1);
    EXPECT_EQ(budgetUseOf(message), 0U);
}

}  // namespace
}  // namespace Qdx::Pull
