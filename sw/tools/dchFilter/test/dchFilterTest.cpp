// The program by its command line, and against a collector that is a process.
#include <gmock/gmock.h>
#include <sysexits.h>

#include <filesystem>
#include <fstream>

#include "support/process.hpp"
#include "support/unitRoot.hpp"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;
using TestSupport::Process;

struct Ended {
    int status;
    std::string output;
    std::string error;
};

Ended run(std::vector<std::string> words) {
    Process process(std::move(words));
    const int status = process.awaitExit();
    return {status, process.output(), process.error()};
}

class DchFilterTest : public testing::Test {
protected:
    std::string write(const std::string& text) const {
        const auto path = unit.path() / "some.filter";
        std::ofstream(path) << text;
        return path;
    }

    void startCollector(const std::string& settings = "enabled = 1\n") {
        const auto path = unit.path() / "opt/zelvasw/srv/database/qdx/swdb.cfg";
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << "[qdx]\ninfoObjectListFilePath = '" << HOST_OBJECTS << "'\n"
                            << settings;
        collector = std::make_unique<Process>(std::vector<std::string>{QDXD, "--library", QDXBE});
        collector->awaitError("qdxd: ready");
    }

    static std::string status() { return run({DCH, "filter", "status"}).output; }

    const TestSupport::UnitRoot unit;
    std::unique_ptr<Process> collector;
};

const char* const good = "limit 65536\ntags CPU max count 2 50\ntags NET list count 5\n";

// --- with a collector ----------------------------------------------------------------------------

TEST_F(DchFilterTest, MakesTheFilter) {
    startCollector();
    const auto made = run({DCH_FILTER, write(good)});
    EXPECT_EQ(made.status, 0);
    EXPECT_EQ(made.output, "Filter ID is: 11\n");
    EXPECT_EQ(made.error, "");
    EXPECT_THAT(status(), HasSubstr(" Filter 11 (11): Enabled: Yes, FilterTag(s): CPU"));
}

TEST_F(DchFilterTest, MakesTheFilterOfStandardInput) {
    startCollector();
    const auto made = run({"/bin/sh", "-c", std::string(DCH_FILTER) + " <" + write(good)});
    EXPECT_EQ(made.output, "Filter ID is: 11\n");
    const auto dash = run({"/bin/sh", "-c", std::string(DCH_FILTER) + " - <" + write(good)});
    EXPECT_EQ(dash.output, "Filter ID is: 12\n");
}

TEST_F(DchFilterTest, MakesTheExampleFilters) {
    startCollector();
    for (const auto& entry : std::filesystem::directory_iterator(EXAMPLE_FILTERS)) {
        const auto made = run({DCH_FILTER, entry.path()});
        EXPECT_EQ(made.status, 0) << entry.path() << made.error;
        EXPECT_THAT(made.output, StartsWith("Filter ID is: 1"));
    }
}

TEST_F(DchFilterTest, MakesAFilterWithTheLongestStatement) {
    startCollector();
    const std::string statement = "list count " + std::string(4074 - 12, '0') + '5';
    EXPECT_EQ(run({DCH_FILTER, write("limit 0\n" + statement + '\n')}).output,
              "Filter ID is: 11\n");
}

TEST_F(DchFilterTest, DoesNotTouchTheCollectorForABadFile) {
    startCollector();
    const auto bad = run({DCH_FILTER, write("limit 0\nlist count 5\nlist count x\n")});
    EXPECT_EQ(bad.status, EX_DATAERR);
    EXPECT_EQ(status(), "No filters found\n");
    // The first transaction is still to come.
    EXPECT_EQ(run({DCH, "fs", "create", "limit", "0"}).output, "Created transaction: 0\n");
}

// As the manual page of dch warns.
TEST_F(DchFilterTest, FindsTheNumberThatBreaksACommandInSilence) {
    startCollector();
    const std::string statement = "list count 99999999999";
    EXPECT_EQ(run({DCH, "fs", "create", "limit", "0"}).output, "Created transaction: 0\n");
    const auto added = run({"/bin/sh", "-c", DCH " fs add 0 " + statement});
    EXPECT_EQ(added.status, 0);
    EXPECT_EQ(added.output + added.error, "");
    EXPECT_EQ(run({DCH, "fs", "commit", "0"}).status, 2);  // an empty transaction
    const auto checked = run({DCH_FILTER, "--check", write("limit 0\n" + statement + '\n')});
    EXPECT_EQ(checked.status, EX_DATAERR);
    EXPECT_THAT(checked.error, HasSubstr("some.filter:2:12: "));
}

TEST_F(DchFilterTest, OnlyChecksWhenAskedTo) {
    startCollector();
    const auto checked = run({DCH_FILTER, "--check", write(good)});
    EXPECT_EQ(checked.status, 0);
    EXPECT_THAT(checked.output, HasSubstr("some.filter: good, statements: 2\n"));
    EXPECT_EQ(run({DCH_FILTER, "--catalogue", HOST_OBJECTS, write(good)}).status, 0);
    EXPECT_EQ(status(), "No filters found\n");
}

TEST_F(DchFilterTest, TellsThatTheTableOfFiltersIsFull) {
    startCollector("enabled = 1\nmaxFilterLimit = 1\n");
    EXPECT_EQ(run({DCH_FILTER, write(good)}).status, 0);
    const auto refused = run({DCH_FILTER, write(good)});
    EXPECT_EQ(refused.status, EX_TEMPFAIL);
    EXPECT_EQ(refused.error,
              "dch-filter: dch fs create: the collector says: Reached maximum number of "
              "filters.\n");
}

TEST_F(DchFilterTest, TellsThatTheUnitHasNoMemoryForTheFilter) {
    startCollector("enabled = 1\nglobalMemoryLimit = 100\n");
    const auto refused = run({DCH_FILTER, write(good)});
    EXPECT_EQ(refused.status, EX_CANTCREAT);
    EXPECT_EQ(refused.error,
              "dch-filter: dch fs commit: the collector says: Not enough memory Error\n");
}

TEST_F(DchFilterTest, TellsThatTheCollectorIsDisabled) {
    startCollector("enabled = 0\n");
    const auto refused = run({DCH_FILTER, write(good)});
    EXPECT_EQ(refused.status, EX_CONFIG);
    EXPECT_THAT(refused.error, HasSubstr("data collection is disabled"));
}

// --- without one ---------------------------------------------------------------------------------

TEST_F(DchFilterTest, TellsThatThereIsNoCollector) {
    const auto refused = run({DCH_FILTER, write(good)});
    EXPECT_EQ(refused.status, EX_UNAVAILABLE);
    EXPECT_THAT(refused.error, StartsWith("dch-filter: no collector answers at "));
}

TEST_F(DchFilterTest, TellsEveryFaultOfAFile) {
    const auto path = write("limit 0\nmin count 10 25\nlist count 5\n  tags  cpu list count 5\n");
    const auto bad = run({DCH_FILTER, "--check", path});
    EXPECT_EQ(bad.status, EX_DATAERR);
    EXPECT_EQ(bad.output, "");
    EXPECT_EQ(bad.error,
              path +
                  ":2:14: 25 is not a multiple of 10; a multiple of 10 is expected here\n"
                  "  min count 10 25\n"
                  "               ^~\n" +
                  path +
                  ":4:9: found \"cpu\"; tags are written in capital letters: CPU\n"
                  "    tags  cpu list count 5\n"
                  "          ^~~\n");
}

TEST_F(DchFilterTest, NamesStandardInputInFaults) {
    const auto bad = run({"/bin/sh", "-c", "echo limit | " + std::string(DCH_FILTER)});
    EXPECT_THAT(bad.error, StartsWith("standard input:1:6: "));
}

TEST_F(DchFilterTest, TellsWarningsAndGoesOn) {
    const auto warned = run({DCH_FILTER, "--check", write("limit 0\nmin count 5 0\n")});
    EXPECT_EQ(warned.status, 0);
    EXPECT_THAT(warned.error, HasSubstr("some.filter:2:13: warning: a span of 0"));
}

TEST_F(DchFilterTest, ShowsWhatAFilterCapturesAndCosts) {
    const auto shown = run({DCH_FILTER, "--catalogue", HOST_OBJECTS, "--budget", "2097152",
                            "--rate", "0.5", "--record-size", "10", write(good)});
    EXPECT_EQ(shown.status, 0);
    EXPECT_THAT(shown.output, AllOf(HasSubstr("\n  captures "), HasSubstr("host:cpu: "),
                                    HasSubstr("limit of 65536 bytes: room for each object in "),
                                    HasSubstr("budget of 2097152 bytes: room for ")));
}

TEST_F(DchFilterTest, TellsWhyAFileOrACatalogueCannotBeUsed) {
    const auto missing = (unit.path() / "missing").string();
    EXPECT_EQ(run({DCH_FILTER, missing}).status, EX_NOINPUT);
    EXPECT_EQ(run({DCH_FILTER, "--catalogue", missing, write(good)}).status, EX_NOINPUT);
    EXPECT_EQ(run({DCH_FILTER, "--check", "/dev/zero"}).status, EX_DATAERR);
    const auto bad = run({DCH_FILTER, "--catalogue", write(good), write(good)});
    EXPECT_EQ(bad.status, EX_DATAERR);
    EXPECT_THAT(bad.error, StartsWith("dch-filter: "));
}

TEST_F(DchFilterTest, RefusesAFileThatIsTooLong) {
    const std::string filter = "limit 0\nlist count 5\n#";
    const auto longest = filter + std::string(131072 - filter.size(), 'x');
    EXPECT_EQ(run({DCH_FILTER, "--check", write(longest)}).status, 0);
    const auto refused = run({DCH_FILTER, "--check", write(longest + 'x')});
    EXPECT_EQ(refused.status, EX_DATAERR);
    EXPECT_THAT(refused.error, HasSubstr("some.filter: longer than 131072 bytes\n"));
}

TEST_F(DchFilterTest, RefusesWrongUsage) {
    const auto status = [](const std::string& words) {
        return run({"/bin/sh", "-c", std::string(DCH_FILTER) + ' ' + words}).status;
    };
    for (const auto* words : {"--bogus", "a b", "--rate 1 x", "--record-size 1 x", "--budget 1 x",
                              "--catalogue x --rate 0 y", "--catalogue x --rate nan y",
                              "--catalogue x --rate 10001 y", "--catalogue x --budget -1 y",
                              "--catalogue x --budget 0 y", "--catalogue x --record-size -1 y"}) {
        EXPECT_EQ(status(words), EX_USAGE) << words;
    }
}

TEST_F(DchFilterTest, TellsItsOptionsAndItsVersion) {
    const auto help = run({DCH_FILTER, "--help"});
    EXPECT_EQ(help.status, 0);
    for (const auto* option :
         {"--check", "--catalogue", "--rate", "--record-size", "--budget", "--version"}) {
        EXPECT_THAT(help.output, HasSubstr(option));
    }
    const auto version = run({DCH_FILTER, "--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_THAT(version.output, StartsWith("dch-filter "));
}

TEST_F(DchFilterTest, TellsOfLostOutput) {
    const auto lost =
        run({"/bin/sh", "-c", std::string(DCH_FILTER) + " --check " + write(good) + " >/dev/full"});
    EXPECT_EQ(lost.status, EX_IOERR);
    EXPECT_EQ(lost.error, "dch-filter: cannot write the output\n");
}

// The collector's classes are linked in; none of them may start anything by itself.
TEST_F(DchFilterTest, LeavesNothingInTheUnit) {
    const auto path = write(good);
    EXPECT_EQ(run({DCH_FILTER, "--catalogue", HOST_OBJECTS, path}).status, 0);
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(unit.path())) {
        files.push_back(entry.path());
    }
    EXPECT_THAT(files, testing::ElementsAre(path));
}

}  // namespace
