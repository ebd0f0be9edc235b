// The example filters are good, and capture what the example frontend reports.
#include <gtest/gtest.h>

#include <filesystem>

#include "catalogue.hpp"
#include "files/inputFile.hpp"
#include "filterBudget.hpp"
#include "filterCheck.hpp"

namespace DchFilter {
namespace {

// Ten samples a second, as the example frontend sends them.
const Load load{std::chrono::milliseconds(100)};

std::vector<std::string> exampleFilters() {
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::directory_iterator(EXAMPLE_FILTERS)) {
        paths.push_back(entry.path());
    }
    return paths;
}

class ExampleFilters : public testing::TestWithParam<std::string> {};

TEST_P(ExampleFilters, CaptureWithEveryStatementAndKeepItAll) {
    const auto& path = GetParam();
    const auto check =
        checkFilter(readFilterFile(path, Qdx::Files::readFile(path, longestFilterFile)));
    EXPECT_TRUE(check.diagnostics.empty());
    const auto catalogue = readCatalogue(HOST_OBJECTS);
    std::vector<Coverage> coverages;
    for (const auto& statement : check.statements) {
        coverages.push_back(coverageOf(statement, catalogue, load));
        EXPECT_FALSE(coverages.back().captured.empty()) << statementText(statement.line);
        EXPECT_TRUE(coverages.back().strangeTags.empty()) << statementText(statement.line);
    }
    const auto budget = budgetOf(check.statements, coverages, catalogue, load);
    EXPECT_GE(contextsWithin(sharesOfFilter(check.limit), budget), 4U);
}

INSTANTIATE_TEST_SUITE_P(All, ExampleFilters, testing::ValuesIn(exampleFilters()),
                         [](const auto& test) {
                             return std::filesystem::path(test.param).stem().string();
                         });

}  // namespace
}  // namespace DchFilter
