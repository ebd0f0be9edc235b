#include "report.hpp"

#include <gmock/gmock.h>

#include <sstream>

#include "golden.hpp"

namespace DchFilter {
namespace {

using namespace Qdx::Backend;
using testing::HasSubstr;

Catalogue smallCatalogue() {
    Catalogue objects;
    objects.emplace(InfoObjectId{1}, "host:cpu:load", InfoObjectType::Measurement, "", "", "",
                    std::set<std::string>{"CPU"});
    objects.emplace(InfoObjectId{2}, "host:cpu:busy", InfoObjectType::Counter, "", "", "",
                    std::set<std::string>{"CPU", "TIME"});
    objects.emplace(InfoObjectId{3}, "host:event", InfoObjectType::Record, "", "", "",
                    std::set<std::string>{"EVENT"});
    objects.emplace(InfoObjectId{4}, "plain", InfoObjectType::Measurement, "", "", "",
                    std::set<std::string>{"CPU"});
    return objects;
}

Catalogue largeCatalogue() {
    Catalogue objects;
    for (unsigned i = 0; i < 50; ++i) {
        objects.emplace(InfoObjectId{i}, (i < 49 ? "a:b:c" : "a:d:c") + std::to_string(i),
                        InfoObjectType::Counter, "", "", "", std::set<std::string>{"CPU"});
    }
    return objects;
}

std::string reportOf(std::string_view file, const Catalogue& catalogue,
                     const ReportOptions& options = {}) {
    std::ostringstream out;
    const auto check = checkFilter(readFilterFile("", file));
    EXPECT_TRUE(check.isGood());
    printReport(out, check, catalogue, options);
    return out.str();
}

const char* const smallFilter =
    "# A filter\n"
    "limit 65536\n"
    "tags CPU context deviceId 0 max count 2 50 500\n"
    "\n"
    "tags CPU TIME sum count 10 100 max duration 1 10\n"
    "tags EVENT list count 3\n"
    "tags TIEM list count 1\n"
    "tags EVENT sum count 1 2\n";

TEST(ReportGolden, TellsWhatEachStatementCapturesAndCosts) {
    ReportOptions options;
    options.unitBudget = 1'000'000;
    Qdx::Test::expectGolden("report.txt", reportOf(smallFilter, smallCatalogue(), options));
}

TEST(Report, FitsOnTheScreen) {
    std::istringstream lines(reportOf(smallFilter, smallCatalogue(), {}));
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 80U) << line;
    }
}

TEST(Report, CountsManyObjectsByTheirPrefix) {
    const auto text = reportOf("limit 0\nlist count 1\n", largeCatalogue());
    EXPECT_THAT(text, HasSubstr("    a:b: 49 objects\n    a:d: 1 object\n"));
}

TEST(Report, TellsThatTheLimitIsTooSmallForOneContext) {
    EXPECT_THAT(reportOf("limit 10000\nlist count 1000\n", smallCatalogue()),
                HasSubstr("limit of 10000 bytes: too little for each object in one context\n"));
}

TEST(Report, TellsThatAnAggregatorWithoutLimitUsesUpTheMemory) {
    EXPECT_THAT(reportOf("limit 10000\nlist count 0\n", smallCatalogue()),
                HasSubstr("limit of 10000 bytes: used up, since an aggregator grows"));
}

TEST(Report, SaysNothingOfBudgetsThatItDoesNotKnow) {
    const auto text = reportOf("limit 0\nlist count 1\n", smallCatalogue());
    EXPECT_EQ(text.find("limit of"), std::string::npos);
    EXPECT_EQ(text.find("budget of"), std::string::npos);
}

TEST(Report, TakesRateAndSizeOfRecords) {
    ReportOptions options;
    options.load = {std::chrono::milliseconds(100), 1000};
    const auto text = reportOf("limit 0\ntags EVENT list duration 1\n", smallCatalogue(), options);
    // 11 records of 1000 bytes, in room for 20 of 40 bytes.
    EXPECT_THAT(text, HasSubstr("  11 "));
    EXPECT_THAT(text, HasSubstr(" 11800 "));
}

}  // namespace
}  // namespace DchFilter
