// The tables of doc/memory.md hold what the budgets count.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <set>
#include <sstream>

#include "filter.hpp"
#include "filterMemory.hpp"
#include "outputEncoderIf.hpp"
#include "parsedStatement.hpp"

namespace Qdx::Backend {
namespace {

constexpr unsigned objects = 10;
constexpr unsigned contexts = 10;
constexpr unsigned pairs = objects * contexts;  // two decimals hold the mean exactly
// Fill a list of a hundred samples, and a history of a hundred windows of ten.
constexpr unsigned secondsForList = 110;
constexpr unsigned secondsForWindows = 1010;
constexpr std::size_t recordBytes = 64;

enum class Kind { Measurement, Counter, Record };

struct Line {
    Kind kind;
    std::string statement;
};

const Line lines[] = {
    {Kind::Measurement, "min count 10 1000"},
    {Kind::Measurement, "max count 10 1000"},
    {Kind::Measurement, "average count 10 1000"},
    {Kind::Counter, "sum count 10 1000"},
    {Kind::Measurement, "list count 100"},
    {Kind::Counter, "list count 100"},
    {Kind::Record, "list count 100"},
    {Kind::Measurement, "min duration 10 1000"},
    {Kind::Measurement, "max duration 10 1000"},
    {Kind::Measurement, "average duration 10 1000"},
    {Kind::Counter, "sum duration 10 1000"},
    {Kind::Measurement, "list duration 100"},
    {Kind::Counter, "list duration 100"},
    {Kind::Record, "list duration 100"},
    {Kind::Measurement, "min count 10 1000 max count 10 1000 average count 10 1000 list count 100"},
};

std::string nameOf(Kind kind) {
    switch (kind) {
        case Kind::Measurement:
            return "measurement";
        case Kind::Counter:
            return "counter";
        case Kind::Record:
            return "record of " + std::to_string(recordBytes) + " bytes";
    }
    return "";
}

InfoObjectType typeOf(Kind kind) {
    switch (kind) {
        case Kind::Measurement:
            return InfoObjectType::Measurement;
        case Kind::Counter:
            return InfoObjectType::Counter;
        case Kind::Record:
            return InfoObjectType::Record;
    }
    return {};
}

// A filter in a memory without limit, with all that its pairs can keep.
class FullFilter {
public:
    explicit FullFilter(const Line& line)
        : kind(line.kind),
          filter(std::allocate_shared<Filter>(
              std::pmr::polymorphic_allocator<Filter>(memory.getMainResource()), "f",
              Qdx::Test::parsedAll({line.statement}), Enabled::Yes, Static::No, Printable::No,
              memory.getContentResource(), memory.getMainResource())),
          emptyMain(memory.getMainResource()->getAllocatedSize()),
          emptyContent(memory.getContentResource()->getAllocatedSize()) {
        for (unsigned i = 0; i < objects; ++i) {
            infoObjects.emplace_back(InfoObjectId{i + 1}, "rf:tx:power:mean:" + std::to_string(i),
                                     typeOf(kind), "", "", "", std::set<std::string>());
        }
        for (unsigned i = 0; i < contexts; ++i) {
            texts.push_back("rfBranch=" + std::to_string(i) + ",carrierId=7");
        }
        const bool isList = line.statement.starts_with("list");
        for (const auto end =
                 now + std::chrono::seconds(isList ? secondsForList : secondsForWindows);
             now < end; now += std::chrono::seconds(1)) {
            pushAll();
        }
    }

    unsigned long main() const { return memory.getMainResource()->getAllocatedSize() - emptyMain; }
    unsigned long content() const {
        return memory.getContentResource()->getAllocatedSize() - emptyContent;
    }

    // Values in a pull.
    std::size_t kept() const {
        const auto encoder = OutputEncoderIf::create({});
        filter->pullData(now, encoder.get(), Clear::No);
        InfoObjectCollections all;
        EXPECT_TRUE(all.ParseFromString(encoder->build()));
        return valuesIn(all.measurementcollections()) + valuesIn(all.countercollections()) +
               valuesIn(all.recordcollections());
    }

private:
    template <typename Collections>
    static std::size_t valuesIn(const Collections& collections) {
        std::size_t values = 0;
        for (const auto& collection : collections) {
            values += static_cast<std::size_t>(collection.timestamps_size());
        }
        return values;
    }

    void pushAll() {
        for (const auto& object : infoObjects) {
            for (const auto& context : texts) {
                push(object, context);
            }
        }
    }

    void push(const InfoObject& object, const std::string& context) {
        static const std::vector<unsigned char> record(recordBytes);
        switch (kind) {
            case Kind::Measurement:
                return filter->pushMeasurement(object, context, now, {1});
            case Kind::Counter:
                return filter->pushCounter(object, context, now, {1});
            case Kind::Record:
                return filter->pushRecord(object, context, now, record);
        }
    }

    Kind kind;
    GlobalMemory global{1'000'000'000};
    mutable FilterMemory memory{"f", std::nullopt, &global};
    std::shared_ptr<Filter> filter;
    unsigned long emptyMain;
    unsigned long emptyContent;
    std::vector<InfoObject> infoObjects;
    std::vector<std::string> texts;
    time_point now{};
};

// The mean of a pair.
std::string perPair(std::size_t ofAll) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(2) << static_cast<double>(ofAll) / pairs;
    auto digits = text.str();
    return digits.ends_with(".00") ? digits.substr(0, digits.size() - 3) : digits;
}

std::string table() {
    std::ostringstream out;
    out << "| sample | captured by | kept | main | content | sum |\n"
           "|---|---|--:|--:|--:|--:|\n";
    for (const auto& line : lines) {
        const FullFilter full(line);
        const auto main = full.main();
        const auto content = full.content();  // a pull may free some
        out << "| " << nameOf(line.kind) << " | `" << line.statement << "` | "
            << perPair(full.kept()) << " | " << perPair(main) << " | " << perPair(content) << " | "
            << perPair(main + content) << " |\n";
    }
    return out.str();
}

// --- The parts ---------------------------------------------------------------------------------

// A filter with these statements, in a memory without limit.
class CountedFilter {
public:
    explicit CountedFilter(const std::vector<std::string>& statements)
        : filter(std::allocate_shared<Filter>(
              std::pmr::polymorphic_allocator<Filter>(memory.getMainResource()), "f",
              Qdx::Test::parsedAll(statements), Enabled::Yes, Static::No, Printable::No,
              memory.getContentResource(), memory.getMainResource())) {}

    unsigned long main() { return memory.getMainResource()->getAllocatedSize(); }

    // By how much main grows with the first sample of a pair.
    unsigned long growthBy(Kind kind, std::uint32_t id, const std::string& context) {
        const auto before = main();
        const InfoObject object(InfoObjectId{id}, "a", typeOf(kind), "", "", "", {});
        if (kind == Kind::Counter) {
            filter->pushCounter(object, context, {}, {1});
        } else {
            filter->pushMeasurement(object, context, {}, {1});
        }
        return main() - before;
    }

private:
    GlobalMemory global{1'000'000'000};
    FilterMemory memory{"f", std::nullopt, &global};
    std::shared_ptr<Filter> filter;
};

// What a pair takes of main by one aggregator.
unsigned long aggregator(const std::string& clause) {
    const auto kind = clause.starts_with("sum") ? Kind::Counter : Kind::Measurement;
    CountedFilter filter({clause});
    filter.growthBy(kind, 1, "a");  // brings the context as well
    return filter.growthBy(kind, 2, "a");
}

std::string partsTable() {
    const auto filter = CountedFilter({}).main();
    const auto statement = CountedFilter({"list count 1"}).main() - filter;
    CountedFilter strangers({"tags NOBODY list count 1"});
    strangers.growthBy(Kind::Counter, 1, "a");
    const auto uncaptured = strangers.growthBy(Kind::Counter, 2, "a");
    const auto context = strangers.growthBy(Kind::Counter, 1, std::string(15, 'a')) - uncaptured;
    const auto longer = strangers.growthBy(Kind::Counter, 1, std::string(40, 'a')) - uncaptured;
    const std::pair<std::string, unsigned long> parts[] = {
        {"the filter itself", filter},
        {"each of its statements", statement},
        {"each context whose text has up to 15 characters", context},
        {"each longer one, and a byte for each character", longer - 40},
        {"each pair that came and isn't captured", uncaptured},
        {"each pair captured by `min`, `max`, `average` or `sum count`",
         aggregator("average count 1 2")},
        {"each pair captured by `list count`", aggregator("list count 1")},
        {"each pair captured by `min`, `max` or `sum duration`", aggregator("sum duration 1 2")},
        {"each pair captured by `average duration`", aggregator("average duration 1 2")},
        {"each pair captured by `list duration`", aggregator("list duration 1")},
    };
    std::ostringstream out;
    out << "| part | main |\n|---|--:|\n";
    for (const auto& [part, bytes] : parts) {
        out << "| " << part << " | " << bytes << " |\n";
    }
    return out.str();
}

TEST(MemoryPageTest, WindowsOfOnePeriodCostTheSame) {
    for (const std::string method : {"min", "max", "sum"}) {
        EXPECT_EQ(aggregator(method + " count 1 2"), aggregator("average count 1 2")) << method;
        EXPECT_EQ(aggregator(method + " duration 1 2"), aggregator("sum duration 1 2")) << method;
    }
}

// --- The page ----------------------------------------------------------------------------------

// The page around one of its tables, the one behind this comment.
struct Page {
    std::string before, table, after;

    static Page read(const std::string& name) {
        std::ifstream file(QDX_MEMORY_PAGE, std::ios::binary);
        const std::string text(std::istreambuf_iterator<char>(file), {});
        const auto begin =
            "<!-- " + name + ": held by MemoryPageTest; scripts/renew-golden writes it -->\n";
        const auto first = text.find(begin);
        const auto last = text.find("<!-- end -->", first);
        if (first == std::string::npos || last == std::string::npos) {
            return {};
        }
        const auto start = first + begin.size();
        return {text.substr(0, start), text.substr(start, last - start), text.substr(last)};
    }
};

void expectTable(const std::string& name, const std::string& counted) {
    const auto page = Page::read(name);
    ASSERT_FALSE(page.before.empty()) << "no table of " << name << " in " QDX_MEMORY_PAGE;
    if (std::getenv("RENEW_GOLDEN") != nullptr) {
        std::ofstream(QDX_MEMORY_PAGE, std::ios::binary) << page.before << counted << page.after;
    }
    EXPECT_EQ(counted, Page::read(name).table)
        << QDX_MEMORY_PAGE " differs; if it is meant to, run scripts/renew-golden";
}

// One test, since tests that renew run side by side.
TEST(MemoryPageTest, GoldenTablesHoldWhatTheBudgetsCount) {
    expectTable("parts", partsTable());
    expectTable("full pairs", table());
}

}  // namespace
}  // namespace Qdx::Backend
