#include "commandLine/choice.hpp"
#include "commandLine/commandLine.hpp"
#include "commandLine/range.hpp"

#include <gmock/gmock.h>
#include <sysexits.h>

#include <CLI/CLI.hpp>
#include <algorithm>

namespace {

using namespace Qdx::CommandLine;
using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

class CommandLineTest : public testing::Test {
protected:
    CommandLineTest() {
        prepare(app);
        app.add_option("FILE", file, "What to show; standard input if not given");
        app.add_option("-w,--width", width, "Columns to fill")
            ->type_name("COLUMNS")
            ->check(between(20, 1000));
    }

    struct Run {
        std::optional<int> end;
        std::string output;
        std::string error;
    };

    Run parse(std::vector<const char*> words) {
        words.insert(words.begin(), "/somewhere/show");
        CaptureStdout();
        CaptureStderr();
        const auto end = Qdx::CommandLine::parse(app, static_cast<int>(words.size()), words.data());
        return {end, GetCapturedStdout(), GetCapturedStderr()};
    }

    CLI::App app{"Shows things.", "show"};
    std::string file;
    int width = 80;
    bool flag = false;
};

TEST_F(CommandLineTest, GoodWordsGoOn) {
    const auto run = parse({"--width", "40", "some"});
    EXPECT_EQ(run.end, std::nullopt);
    EXPECT_EQ(width, 40);
    EXPECT_EQ(file, "some");
}

TEST_F(CommandLineTest, HelpHasARowForEachThingToType) {
    const auto run = parse({"--help"});
    EXPECT_EQ(run.end, EX_OK);
    EXPECT_EQ(run.output,
              "usage: show [OPTION...] [FILE]\n"
              "Shows things.\n"
              "  FILE                   What to show; standard input if not given\n"
              "  -w, --width COLUMNS    Columns to fill\n"
              "  -h, --help, --version  Print this, or the version\n");
    EXPECT_EQ(run.error, "");
}

TEST_F(CommandLineTest, HelpWrapsLongTextsInTheirColumn) {
    app.add_flag("--all", flag, "One two three four five six seven eight nine ten eleven twelve");
    EXPECT_THAT(
        parse({"-h"}).output,
        testing::HasSubstr(
            "  --all                  One two three four five six seven eight nine ten eleven\n"
            "                         twelve\n"));
}

TEST_F(CommandLineTest, HelpPutsTheTextBelowALongName) {
    app.add_flag("--a-name-that-takes-much-room", flag, "Text");
    EXPECT_THAT(parse({"-h"}).output, testing::HasSubstr("  --a-name-that-takes-much-room\n"
                                                         "                         Text\n"));
}

TEST_F(CommandLineTest, CommandsHaveHelpOfTheirOwn) {
    app.footer("Examples");
    app.add_subcommand("count", "Counts things")->add_flag("--twice", flag, "Count again");
    EXPECT_THAT(parse({"--help"}).output, testing::HasSubstr("  count                  Counts "));
    EXPECT_THAT(parse({"--help"}).output, testing::EndsWith("\n\nExamples\n"));
    EXPECT_EQ(parse({"count", "--help"}).output,
              "usage: show count [OPTION...]\n"
              "Counts things\n"
              "  --twice     Count again\n"
              "  -h, --help  Print this\n");
}

TEST_F(CommandLineTest, TheVersionIsOneLine) {
    const auto run = parse({"--version"});
    EXPECT_EQ(run.end, EX_OK);
    EXPECT_THAT(run.output, testing::MatchesRegex("show [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(CommandLineTest, FaultsAreOneLine) {
    for (const auto& words : std::vector<std::vector<const char*>>{
             {"--bogus"}, {"--width"}, {"--width", "5"}, {"--width", "x"}, {"a", "b"}}) {
        const auto run = parse(words);
        EXPECT_EQ(run.end, EX_USAGE);
        EXPECT_EQ(run.output, "");
        EXPECT_THAT(run.error, testing::StartsWith("show: "));
        EXPECT_THAT(run.error, testing::EndsWith("; see show --help\n"));
        EXPECT_EQ(std::count(run.error.begin(), run.error.end(), '\n'), 1);
    }
}

TEST_F(CommandLineTest, AnUnknownWordIsToldBeforeAMissingOne) {
    app.add_option("OTHER", file)->required();
    EXPECT_THAT(parse({"--bogus"}).error, testing::HasSubstr("--bogus"));
    EXPECT_THAT(parse({}).error, testing::HasSubstr("OTHER"));
}

TEST_F(CommandLineTest, AChoiceTakesItsNamesAndTellsThem) {
    enum class Color { Red, Green };
    auto color = Color::Red;
    app.add_option("--color", color)
        ->transform(
            oneOf(std::map<std::string, Color>{{"red", Color::Red}, {"green", Color::Green}}));
    EXPECT_EQ(parse({"--color", "green"}).end, std::nullopt);
    EXPECT_EQ(color, Color::Green);
    for (const auto* wrong : {"blue", "1", ""}) {
        EXPECT_EQ(
            parse({"--color", wrong}).error,
            "show: --color: '" + std::string(wrong) + "' is none of green, red; see show --help\n");
    }
}

TEST_F(CommandLineTest, ANumberOutsideItsRangeIsToldTheRange) {
    double seconds = 2;
    app.add_option("--every", seconds)->check(between(0.5, 3600.0));
    for (const auto* good : {"0.5", "3600", "1e2"}) {
        EXPECT_EQ(parse({"--every", good}).end, std::nullopt);
    }
    for (const auto* wrong : {"0.1", "3600.5", "-1", "nan", "inf", "x", "1x"}) {
        EXPECT_EQ(parse({"--every", wrong}).error,
                  "show: --every: " + std::string(wrong) +
                      " is not a number from 0.5 to 3600; see show --help\n");
    }
    for (const auto* wrong : {"19", "1001", "20.5", "99999999999999999999", "x"}) {
        EXPECT_EQ(parse({"--width", wrong}).error,
                  "show: --width: " + std::string(wrong) +
                      " is not a whole number from 20 to 1000; see show --help\n");
    }
}

TEST_F(CommandLineTest, AFaultBehindTheParsingReadsLikeOthers) {
    CaptureStderr();
    EXPECT_EQ(refuse(app, "too many things"), EX_USAGE);
    EXPECT_EQ(GetCapturedStderr(), "show: too many things; see show --help\n");
}

}  // namespace
