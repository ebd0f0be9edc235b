// The load generator against a collector that runs: what comes out of it is what went in, and what
// doesn't is counted.
#include <chrono>

#include "support/collector.hpp"

namespace {

using namespace TestSupport;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::StartsWith;

using Words = std::vector<std::string>;

Words operator+(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

std::string contentOf(const std::filesystem::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

class LoadTest : public CollectorTest {
protected:
    LoadTest() {
        EXPECT_EQ(run({QDXLOAD, "--list", (unit.path() / "objects.xml").string()}),
                  (Answer{0, ""}));
        writeDatabase("enabled = 1\nglobalMemoryLimit = 300000000\n");
    }

    // Lists of so many samples, records apart, and windows of all methods.
    static void createFilterOf(const std::string& samples, const std::string& records) {
        const std::string windows =
            "tags MEASUREMENT min count 10 1000 max count 7 700 average count 100 1000";
        EXPECT_EQ(
            createFilter({"tags MEASUREMENT list count " + samples,
                          "tags COUNTER list count " + samples, "tags RECORD list count " + records,
                          windows, "tags COUNTER sum count 10 1000 10000"}),
            (Answer{0, "Filter ID is: 11\n"}));
    }

    Words loadWords(const Words& options) const {
        return Words{QDXLOAD, "--ledger", path("ledger")} + options;
    }

    void pull() const {
        const auto pulled = type("dch filter pull keep 11");
        EXPECT_EQ(pulled.status, 0) << pulled.output;
        std::ofstream(path("pull")) << pulled.output;
    }

    Answer check(const Words& options = {}) const {
        return run(Words{QDXLOAD, "--check", path("pull"), "--ledger", path("ledger")} + options);
    }

    std::string path(const std::string& name) const { return (unit.path() / name).string(); }

    // The number in a row of the report.
    static std::uint64_t row(const std::string& report, const std::string& label) {
        std::smatch match;
        const std::regex pattern("\\n *" + label + " +([0-9]+)");
        EXPECT_TRUE(std::regex_search(report, match, pattern)) << report;
        return match.empty() ? 0 : std::stoull(match[1]);
    }
};

TEST_F(LoadTest, AtARateEverySampleArrives) {
    startCollector();
    createFilterOf("1000000", "1000000");
    const auto load = run(loadWords({"--frontends", "2", "--rate", "10000", "--seconds", "2"}));
    EXPECT_EQ(load.status, 0);
    const auto added = row(load.output, "samples added");
    EXPECT_EQ(row(load.output, "samples sent"), added);
    EXPECT_GT(added, 15'000U);
    EXPECT_LE(added, 20'000U);
    EXPECT_EQ(row(load.output, "slowCollector"), 0U);

    pull();
    const auto checked = check({"--from-start"});
    EXPECT_EQ(checked.status, 0) << checked.output;
    EXPECT_THAT(checked.output, StartsWith("OK: "));
}

TEST_F(LoadTest, FlatOutWhatIsMissingWasCounted) {
    startCollector();
    createFilterOf("1000", "20");
    const auto load = run(loadWords({"--frontends", "2", "--seconds", "2"}));
    EXPECT_EQ(load.status, 0) << load.output;
    EXPECT_EQ(row(load.output, "samples added"),
              row(load.output, "samples sent") + row(load.output, "slowCollector"));

    pull();
    const auto checked = check({"--from-start"});
    EXPECT_EQ(checked.status, 0) << checked.output;
    EXPECT_THAT(checked.output, StartsWith("OK: "));
}

TEST_F(LoadTest, ACollectorThatStandsStillGetsTheNewestAndTheRestIsCounted) {
    startCollector();
    createFilterOf("1000000", "1000000");
    Process load(loadWords({"--rate", "100000", "--seconds", "2"}));
    load.awaitError("sending");
    collector->signal(SIGSTOP);
    load.awaitError("waiting for the collector");
    collector->signal(SIGCONT);
    EXPECT_EQ(load.awaitExit(), 0) << load.error();
    EXPECT_GT(row(load.output(), "slowCollector"), 0U);
    EXPECT_THAT(contentOf(path("ledger")), HasSubstr("slowCollector at "));

    pull();
    const auto checked = check({"--from-start"});
    EXPECT_EQ(checked.status, 0) << checked.output;
}

TEST_F(LoadTest, WaitingForASlowCollectorDropsNothing) {
    startCollector();
    createFilterOf("100", "10");
    const auto load = run(loadWords({"--seconds", "1", "--wait"}));
    EXPECT_EQ(load.status, 0) << load.output;
    EXPECT_EQ(row(load.output, "samples added"), row(load.output, "samples sent"));
    pull();
    EXPECT_THAT(check({"--from-start"}).output, StartsWith("OK: "));
}

TEST_F(LoadTest, ACollectorThatIsKilledLosesOnlyWhatItHadTaken) {
    startCollector();
    createFilterOf("100000", "1000");
    Process load(loadWords({"--frontends", "2", "--rate", "10000", "--seconds", "6"}));
    load.awaitError("sending");
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (type("dch filter pull keep 11").status != 0) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "no samples arrive";
    }
    collector->signal(SIGKILL);
    collector->awaitExit();
    startCollector();
    createFilterOf("100000", "1000");
    EXPECT_EQ(load.awaitExit(), 0) << load.error();
    const auto lost = row(load.output(), "lost with a collector");
    EXPECT_GT(lost, 0U);
    EXPECT_LT(lost, row(load.output(), "samples sent"));
    EXPECT_THAT(load.output(), HasSubstr(": started during the run; peak memory "));
    EXPECT_THAT(contentOf(path("ledger")),
                AllOf(HasSubstr("connection 1\n"), HasSubstr("connection 2\n")));

    pull();
    const auto checked = check();
    EXPECT_EQ(checked.status, 0) << checked.output;
    EXPECT_THAT(checked.output, StartsWith("OK: "));
}

TEST_F(LoadTest, ACollectorThatStaysAwayIsReported) {
    startCollector();
    Process load(loadWords({"--rate", "1000", "--seconds", "1"}));
    load.awaitError("sending");
    collector->signal(SIGKILL);
    collector->awaitExit();
    EXPECT_EQ(load.awaitExit(), 69);
    EXPECT_THAT(load.error(), HasSubstr("qdxload: the collector did not take everything"));
    EXPECT_THAT(load.output(), HasSubstr("collector             not found"));
    EXPECT_THAT(contentOf(path("ledger")), HasSubstr(" last-connection 0\n"));
}

TEST_F(LoadTest, APullThatIsNotOfTheRunIsRefused) {
    startCollector();
    createFilterOf("100", "10");
    EXPECT_EQ(run(loadWords({"--rate", "10000", "--seconds", "1"})).status, 0);
    pull();
    EXPECT_EQ(check().status, 0);
    const auto written = contentOf(path("ledger"));
    std::ofstream(path("ledger")) << std::regex_replace(
        written, std::regex("sent ([0-9]+) ([0-9]+) connection 1"), "dropped $1 $2 noMemory at $2");
    const auto checked = check();
    EXPECT_EQ(checked.status, 1);
    EXPECT_THAT(checked.output,
                AllOf(StartsWith("undelivered: "), HasSubstr(", which was dropped (noMemory), in "),
                      ContainsRegex("\nand [0-9]+ more\n"), HasSubstr("\nWRONG: ")));
}

// The samples of the report, each of which must have ended somewhere.
class FollowTest : public LoadTest {
protected:
    void follow(const Words& options, const std::string& memory) {
        writeDatabase("enabled = 1\nglobalMemoryLimit = " + memory + "\n");
        startCollector();
        const Words words{"--frontends", "2",        "--contexts", "2",          "--rate",
                          "2000",        "--follow", "--sheet",    path("sheet")};
        const auto followed = run(Words{QDXLOAD} + words + options);
        EXPECT_EQ(followed.status, 0) << followed.output;
        EXPECT_THAT(followed.output, ContainsRegex("\nOK: [1-9][0-9]* values in [1-9][0-9]* pulls "
                                                   "checked, of [1-9][0-9]* operations\n"));
        const auto sheet = contentOf(path("sheet"));
        EXPECT_THAT(sheet,
                    ContainsRegex("\nevery sample,.*," +
                                  std::to_string(row(followed.output, "samples added")) + "\n"));
    }

    // Samples with that end, each once.
    std::uint64_t endOf(const std::string& name) const {
        std::istringstream sheet(contentOf(path("sheet")));
        std::string names;
        std::string counts;
        std::getline(sheet, names);
        while (std::getline(sheet, counts) && !counts.starts_with("every sample,")) {
        }
        std::istringstream nameCells(names);
        std::istringstream countCells(counts);
        for (std::string cell; std::getline(nameCells, cell, ',');) {
            std::string count;
            std::getline(countCells, count, ',');
            if (cell == name) {
                return std::stoull(count);
            }
        }
        ADD_FAILURE() << name << " is not in the sheet";
        return 0;
    }
};

TEST_F(FollowTest, EverySampleOfFiltersThatComeAndGoEndsSomewhere) {
    follow({"--churn", "--pause", "20", "--seconds", "2"}, "300000000");
}

TEST_F(FollowTest, AtQuietPointsItIsKnownWhereExactly) {
    follow({"--churn", "--pause", "200", "--seconds", "1", "--quiet"}, "300000000");
}

TEST_F(FollowTest, EverySampleOfFiltersWithoutMemoryEndsSomewhere) {
    follow({"--pressure", "--record-spread", "400", "--seconds", "2"}, "30000");
    EXPECT_GT(endOf("refused") + endOf("cut off"), 0U);
    EXPECT_GT(endOf("given way"), 0U);
}

TEST_F(FollowTest, FiltersComeAndGoWithoutMemory) {
    follow({"--pressure", "--churn", "--record-spread", "400", "--pause", "20", "--seconds", "2"},
           "30000");
}

// The model takes it that memory suffices, and it doesn't.
TEST_F(FollowTest, ACollectorThatDoesNotKeepWhatItShouldIsFound) {
    writeDatabase("enabled = 1\nglobalMemoryLimit = 20000\n");
    startCollector();
    const auto followed = run(
        {QDXLOAD, "--contexts", "8", "--rate", "10000", "--seconds", "1", "--follow", "--quiet"});
    EXPECT_EQ(followed.status, 1) << followed.output;
    EXPECT_THAT(followed.output, AllOf(HasSubstr("\norder: at #"), HasSubstr("\nWRONG: ")));
}

TEST_F(LoadTest, MeasuresTheCollector) {
    startCollector();
    EXPECT_THAT(run(loadWords({"--rate", "10000", "--seconds", "1"})).output,
                ContainsRegex("collector             process [0-9]+: [0-9.]+ s of CPU, [0-9]+ ns a "
                              "sample; peak memory [1-9][0-9]+ KiB\n"));
    const auto own = std::to_string(getpid());
    EXPECT_THAT(run(loadWords({"--rate", "10000", "--seconds", "1", "--collector", own})).output,
                HasSubstr("process " + own + ": "));
}

TEST_F(LoadTest, EndsEarlyWhenInterrupted) {
    startCollector();
    Process load(loadWords({"--rate", "10000", "--seconds", "3600"}));
    load.awaitError("sending");
    load.signal(SIGINT);
    EXPECT_EQ(load.awaitExit(), 0) << load.error();
    EXPECT_THAT(contentOf(path("ledger")), testing::EndsWith("end\n"));
}

TEST_F(LoadTest, TwoInOneUnitDoNotMix) {
    startCollector();
    Process first(loadWords({"--rate", "1000", "--seconds", "3600"}));
    first.awaitError("sending");
    const auto second = run({QDXLOAD, "--seconds", "1"});
    EXPECT_EQ(second.status, 69);
    EXPECT_EQ(second.output,
              "qdxload: cannot create the mailbox QdxLoad0: Address already in use\n");
}

TEST_F(LoadTest, FaultyInputIsToldInOneLine) {
    EXPECT_EQ(check(),
              (Answer{66, "qdxload: " + path("ledger") + ": No such file or directory\n"}));
    std::ofstream(path("ledger")) << "nonsense\n";
    EXPECT_EQ(check(),
              (Answer{65, "qdxload: " + path("ledger") + ":1: not a ledger of qdxload\n"}));
    std::ofstream(path("ledger")) << "qdxload ledger 2\nplan 1 1 1 1 16 0 record\n"
                                     "frontend 0 added 0 last-connection 1\nend\n";
    EXPECT_EQ(check(), (Answer{66, "qdxload: " + path("pull") + ": No such file or directory\n"}));
    std::ofstream(path("pull")) << "nonsense\n";
    const auto checked = check();
    EXPECT_EQ(checked.status, 65);
    EXPECT_THAT(checked.output, StartsWith("qdxload: " + path("pull") + ": no <QdxOutput> in it"));
    EXPECT_EQ(
        run({QDXLOAD, "--list", path("missing/objects.xml")}),
        (Answer{73, "qdxload: " + path("missing/objects.xml") + ": No such file or directory\n"}));
}

}  // namespace
