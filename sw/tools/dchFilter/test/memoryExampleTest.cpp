// The worked example of the page about memory: its arithmetic, the collector's count and the
// estimate of this tool are one.
#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <sstream>

#include "catalogue.hpp"
#include "files/inputFile.hpp"
#include "filterBudget.hpp"
#include "filterCheck.hpp"
#include "quardex.hpp"
#include "unitRoot.hpp"

namespace DchFilter {
namespace {

using namespace Qdx::Backend;

// As the page says: what comes in these contexts, each second, for so long.
const std::vector<std::string> contexts = {"rfBranch=0", "rfBranch=1", "rfBranch=2"};
constexpr int seconds = 700;
const Load load{.betweenSamples = std::chrono::seconds(1), .recordSize = 100};

std::string page() {
    std::ifstream file(MEMORY_PAGE, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// What stands between two marks.
std::string cut(const std::string& text, const std::string& begin, const std::string& end) {
    const auto first = text.find(begin);
    const auto last = text.find(end, first + begin.size());
    if (first == std::string::npos || last == std::string::npos) {
        throw std::runtime_error("nothing between " + begin + " and " + end + " in " MEMORY_PAGE);
    }
    return text.substr(first + begin.size(), last - first - begin.size());
}

// "3 × 64 × 16 + 5"
std::uint64_t valueOf(const std::string& arithmetic) {
    std::istringstream words(arithmetic);
    std::uint64_t sum = 0;
    std::uint64_t product = 1;
    for (std::string word; words >> word;) {
        if (word == "+") {
            sum += product;
            product = 1;
        } else if (word != "×") {
            product *= std::stoull(word);
        }
    }
    return sum + product;
}

// The result of a cell "arithmetic = result", which must be right; 0 for an empty one.
std::uint64_t resultOf(const std::string& cell) {
    const auto equals = cell.find('=');
    if (equals == std::string::npos) {
        EXPECT_EQ(cell.find_first_not_of(' '), std::string::npos) << cell;
        return 0;
    }
    const auto result = std::stoull(cell.substr(equals + 1));
    EXPECT_EQ(valueOf(cell.substr(0, equals)), result) << cell;
    return result;
}

struct Bytes {
    std::uint64_t main = 0;
    std::uint64_t content = 0;
    friend bool operator==(const Bytes&, const Bytes&) = default;
};

void PrintTo(const Bytes& bytes, std::ostream* out) {
    *out << bytes.main << " main, " << bytes.content << " content";
}

// The rows of the page's table, added up.
Bytes arithmeticOfThePage() {
    std::istringstream rows(cut(page(), "<!-- held by MemoryExample -->\n", "<!-- end -->"));
    Bytes sum;
    std::string row;
    std::getline(rows, row);  // heads
    std::getline(rows, row);
    while (std::getline(rows, row)) {
        std::istringstream cells(row);
        std::string what, main, content;
        std::getline(cells, what, '|');
        std::getline(cells, what, '|');
        std::getline(cells, main, '|');
        std::getline(cells, content, '|');
        sum.main += resultOf(main);
        sum.content += resultOf(content);
    }
    return sum;
}

void offer(Quardex& collector, const InfoObject& object, const std::string& context) {
    switch (object.getType()) {
        case InfoObjectType::Measurement:
            return collector.handleMeasurement(object, context, {1});
        case InfoObjectType::Counter:
            return collector.handleCounter(object, context, {1});
        case InfoObjectType::Record:
            return collector.handleRecord(object, context,
                                          std::vector<unsigned char>(load.recordSize));
    }
}

Bytes countOfTheCollector(const FilterCheck& check, const Catalogue& catalogue) {
    const Qdx::Test::UnitRoot unit;
    Quardex collector;
    EXPECT_TRUE(collector.allocateGlobalMemory() && collector.determineMaxNumberOfFilters());
    std::vector<CaptureStatement> statements;
    for (const auto& statement : check.statements) {
        statements.push_back(statement.parsed);
    }
    EXPECT_EQ(collector.createFilter(FilterId{11}, "11", statements, check.limit, Enabled::Yes,
                                     Static::No, Printable::No),
              ErrorType::NoError);
    for (int second = 0; second < seconds; ++second) {
        collector.setCurrTime(time_point(std::chrono::seconds(second)));
        for (const auto& context : contexts) {
            for (const auto& object : catalogue) {
                offer(collector, object, context);
            }
        }
    }
    auto* memory = collector.getFilterMemory(FilterId{11});
    return {memory->getMainResource()->getAllocatedSize(),
            memory->getContentResource()->getAllocatedSize()};
}

Bytes estimateOfThisTool(const FilterCheck& check, const Catalogue& catalogue) {
    std::vector<Coverage> coverages;
    for (const auto& statement : check.statements) {
        coverages.push_back(coverageOf(statement, catalogue, load));
    }
    const auto budget = budgetOf(check.statements, coverages, catalogue, load);
    EXPECT_EQ(contextsWithin(sharesOfFilter(check.limit), budget), contexts.size());
    return {budget.filterMain + contexts.size() * budget.roundMain,
            contexts.size() * budget.pairsContent};
}

TEST(MemoryExample, ArithmeticIsTheCollectorsCountAndTheEstimate) {
    const auto text = cut(page(), "```filter\n", "```\n");
    EXPECT_EQ(text, Qdx::Files::readFile(BUDGET_FILTER, longestFilterFile));
    const auto check = checkFilter(readFilterFile(BUDGET_FILTER, text));
    ASSERT_TRUE(check.isGood());
    const auto catalogue = readCatalogue(RADIO_OBJECTS);
    const auto arithmetic = arithmeticOfThePage();
    EXPECT_EQ(arithmetic, countOfTheCollector(check, catalogue));
    EXPECT_EQ(arithmetic, estimateOfThisTool(check, catalogue));
    const auto all = "| all | " + std::to_string(arithmetic.main) + " | " +
                     std::to_string(arithmetic.content) + " |\n";
    EXPECT_NE(page().find(all), std::string::npos) << all;
}

}  // namespace
}  // namespace DchFilter
