// The command line.
#include "options.hpp"

#include <gmock/gmock.h>
#include <sysexits.h>

namespace {

using namespace QdxLoad;
using testing::HasSubstr;

struct Parsing {
    std::optional<Options> options;
    int status = -1;
    std::string error;
};

Parsing parse(std::vector<const char*> words) {
    words.insert(words.begin(), "qdxload");
    Parsing result;
    testing::internal::CaptureStderr();
    result.options = parseOptions(static_cast<int>(words.size()), words.data(), result.status);
    result.error = testing::internal::GetCapturedStderr();
    return result;
}

TEST(OptionsTest, ARunIsFlatOutUnlessARateIsGiven) {
    const auto options = parse({}).options;
    ASSERT_TRUE(options);
    EXPECT_EQ(options->load.samplesPerSecond, std::nullopt);
    EXPECT_FALSE(options->check);
    EXPECT_EQ(options->collector, std::nullopt);
}

TEST(OptionsTest, AllOfARunCanBeGiven) {
    const auto options = parse({"--frontends",   "3",           "--objects", "4",
                                "--contexts",    "5",           "--kinds",   "record,counter",
                                "--record-size", "100",         "--seed",    "6",
                                "--rate",        "7.5",         "--seconds", "8",
                                "--wait",        "--collector", "9",         "--ledger",
                                "file"})
                             .options;
    ASSERT_TRUE(options);
    EXPECT_EQ(options->plan, (Plan{.frontends = 3,
                                   .objects = 4,
                                   .contexts = 5,
                                   .kinds = {Kind::Record, Kind::Counter},
                                   .seed = 6,
                                   .recordSize = 100}));
    EXPECT_EQ(options->load.samplesPerSecond, 7.5);
    EXPECT_EQ(options->load.duration.count(), 8);
    EXPECT_TRUE(options->load.waits);
    EXPECT_EQ(options->collector, 9);
    EXPECT_EQ(options->ledger, "file");
}

TEST(OptionsTest, ACheckTakesPullsAndALedger) {
    const auto options =
        parse({"--check", "one", "two", "--ledger", "file", "--from-start"}).options;
    ASSERT_TRUE(options);
    EXPECT_TRUE(options->check);
    EXPECT_THAT(options->pulls, testing::ElementsAre("one", "two"));
    EXPECT_EQ(options->began, Began::BeforeFirstSample);
}

TEST(OptionsTest, ARunCanBeFollowed) {
    const auto options = parse({"--follow", "--churn", "--pressure", "--quiet", "--pause", "7",
                                "--sheet", "file", "--record-spread", "10"})
                             .options;
    ASSERT_TRUE(options);
    ASSERT_TRUE(options->follow);
    EXPECT_TRUE(options->follow->churns);
    EXPECT_TRUE(options->follow->isUnderPressure);
    EXPECT_TRUE(options->follow->whenQuiet);
    EXPECT_EQ(options->follow->pause, std::chrono::milliseconds(7));
    EXPECT_EQ(options->follow->sheet, "file");
    EXPECT_EQ(options->plan.recordSpread, 10U);
    EXPECT_FALSE(parse({}).options->follow);
}

struct Wrong {
    std::vector<const char*> words;
    const char* message;
};

class WrongUsageTest : public testing::TestWithParam<Wrong> {};

TEST_P(WrongUsageTest, IsToldInOneLine) {
    const auto parsing = parse(GetParam().words);
    EXPECT_FALSE(parsing.options);
    EXPECT_EQ(parsing.status, EX_USAGE);
    EXPECT_THAT(parsing.error, testing::StartsWith("qdxload: "));
    EXPECT_THAT(parsing.error, HasSubstr(GetParam().message));
    EXPECT_THAT(parsing.error, testing::EndsWith("; see qdxload --help\n"));
    EXPECT_EQ(std::count(parsing.error.begin(), parsing.error.end(), '\n'), 1);
}

INSTANTIATE_TEST_SUITE_P(
    Words, WrongUsageTest,
    testing::Values(
        Wrong{{"--frontends", "65"}, "--frontends"}, Wrong{{"--frontends", "-1"}, "--frontends"},
        Wrong{{"--objects", "0"}, "--objects"}, Wrong{{"--contexts", "65537"}, "--contexts"},
        Wrong{{"--objects", "4096", "--contexts", "4096"}, "16777216 series"},
        Wrong{{"--objects", "1"}, "more kinds than objects"},
        Wrong{{"--kinds", "record,quantity"}, "--kinds"},
        Wrong{{"--record-size", "15"}, "--record-size"}, Wrong{{"--rate", "0"}, "--rate"},
        Wrong{{"--rate", "nan"}, "--rate"}, Wrong{{"--rate", "1e9"}, "--rate"},
        Wrong{{"--seconds", "3601"}, "--seconds"}, Wrong{{"--collector", "0"}, "--collector"},
        Wrong{{"--check", "pull"}, "--check needs --ledger"}, Wrong{{"--from-start"}, "--check"},
        Wrong{{"--churn"}, "--follow"}, Wrong{{"--sheet", "file"}, "--follow"},
        Wrong{{"--follow", "--check", "pull", "--ledger", "file"}, "--follow"},
        Wrong{{"--follow", "--pause", "0"}, "--pause"},
        Wrong{{"--record-spread", "60000"}, "60000 bytes of difference"},
        Wrong{{"--bogus"}, "--bogus"}));

}  // namespace
