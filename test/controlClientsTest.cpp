// Control clients and the collector as processes: many at once, too many, and clients that stop,
// die, or do what isn't theirs. Whatever they do, the others are served and all comes back.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <iostream>
#include <thread>

#include "control/blockingClient.hpp"
#include "controlClient.hpp"
#include "support/collector.hpp"

namespace {

using namespace Qdx::V1;
using namespace TestSupport;
using namespace std::chrono_literals;
using namespace qdxfilterctrli;
using Qdx::Control::BlockingClient;
using Qdx::Control::Outcome;
using Qdx::Control::References;
using Qdx::Test::ControlClient;
using testing::HasSubstr;

constexpr int exUnavailable = 69;
constexpr int exTempFail = 75;
constexpr std::size_t connections = 10;

// What a process may keep of memory that came and went: the allocator's habits, not leaks.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t allocatorKeeps = std::size_t{1} << 30;  // a sanitizer keeps what was freed
#else
constexpr std::size_t allocatorKeeps = std::size_t{8} << 20;
#endif

Answer qfci(std::vector<std::string> words) {
    words.insert(words.begin(), QFCI);
    return run(words);
}

std::unique_ptr<Process> startQfci(std::vector<std::string> words) {
    words.insert(words.begin(), QFCI);
    return std::make_unique<Process>(words, std::map<std::string, std::string>(),
                                     Process::Input::Pipe);
}

std::unique_ptr<Process> holdConnection() {
    auto holder = startQfci({"connect", "--hold"});
    holder->awaitOutput("connection ");
    return holder;
}

// Repeats what can't be waited for: that the collector has heard of a client's end.
template <typename Condition>
bool comesTrue(const Condition& condition) {
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

class ControlClientsTest : public CollectorTest {
protected:
    ControlClientsTest() {
        writeDatabase("enabled = 1\nradioObservabilityEnabled = 1\nglobalMemoryLimit = " +
                      std::to_string(1'000'000'000) + "\n");
    }

    // Records of 8 KiB in that many series, each with that many of them.
    static void feedRecords(std::size_t series, std::size_t each) {
        const std::vector<unsigned char> record(8192, 'r');
        BatchWriter batch(ozo_get_max_size());
        for (std::size_t i = 0; i < series * each; ++i) {
            const auto context = "carrierId=" + std::to_string(i % series);
            while (!batch.addRecord("net:event", context, record)) {
                Frontend::send(batch.take());
                Frontend::awaitHandled();
            }
        }
        Frontend::send(batch.take());
        Frontend::awaitHandled();
    }

    void start() {
        startCollector();
        descriptorsAtStart = descriptors();
    }

    // A collector with contents of some chunks in filter 11.
    void startWithContents(std::size_t series = 10, std::size_t each = 10) {
        start();
        createFilter({"list count 1000"});
        const Frontend frontend;
        Frontend::sendMetaData();
        feedRecords(series, each);
    }

    std::size_t residentBytes() const {
        std::ifstream status("/proc/" + std::to_string(collector->id()) + "/status");
        for (std::string line; std::getline(status, line);) {
            if (line.starts_with("VmRSS:")) {
                return std::stoul(line.substr(6)) * 1024;
            }
        }
        ADD_FAILURE() << "no VmRSS";
        return 0;
    }

    std::ptrdiff_t descriptors() const {
        const auto folder = "/proc/" + std::to_string(collector->id()) + "/fd";
        return std::distance(std::filesystem::directory_iterator(folder),
                             std::filesystem::directory_iterator());
    }

    void expectDescriptorsAsAtStart() const {
        EXPECT_TRUE(comesTrue([this] { return descriptors() == descriptorsAtStart; }))
            << descriptors() << " instead of " << descriptorsAtStart;
    }

    // All connections are free once ten clients can have one each.
    static bool allConnectionsComeFree() {
        return comesTrue([] {
            std::vector<std::unique_ptr<Process>> holders;
            for (std::size_t i = 0; i < connections; ++i) {
                holders.push_back(startQfci({"connect"}));
            }
            return std::all_of(holders.begin(), holders.end(),
                               [](const auto& holder) { return holder->awaitExit() == 0; });
        });
    }

    std::ptrdiff_t descriptorsAtStart = 0;
};

// --- The commands ------------------------------------------------------------------------------

TEST_F(ControlClientsTest, PingTellsTheRoundTrip) {
    startCollector();
    const auto answer = qfci({"ping"});
    EXPECT_EQ(answer.status, 0);
    EXPECT_THAT(answer.output,
                testing::MatchesRegex("round trip [0-9.]+ ms \\(connected in [0-9.]+ ms\\)\n"));
}

TEST_F(ControlClientsTest, PullGivesTheBytesThatTheShellGives) {
    startWithContents(2, 3);
    const auto pulled = qfci({"pull", "11"});
    EXPECT_EQ(pulled.status, 0);
    Qdx::InfoObjectCollections collections;
    ASSERT_TRUE(collections.ParseFromString(pulled.output));
    EXPECT_EQ(collections.recordcollections_size(), 2);
    EXPECT_EQ(collections.radiometadata().hwname(), "radio");
    EXPECT_EQ(run({PULL_FILTER, "11"}), pulled) << "the example does the same";
}

TEST_F(ControlClientsTest, PullToClearLeavesNothing) {
    startWithContents(2, 3);
    const auto kept = qfci({"pull", "11"});
    EXPECT_EQ(qfci({"pull", "11", "--clear"}), kept);
    EXPECT_EQ(qfci({"pull", "11"}),
              (Answer{exTempFail, "qfci: filter \"11\": not enough data yet\n"}));
}

TEST_F(ControlClientsTest, PullComesInTheFormatsOfTheViewer) {
    startWithContents(1, 1);
    const auto file = (unit.path() / "pull.csv").string();
    EXPECT_EQ(qfci({"pull", "11", "--format", "csv", "--catalogue",
                    (unit.path() / "objects.xml").string(), "--output", file}),
              (Answer{0, ""}));
    std::ostringstream csv;
    csv << std::ifstream(file).rdbuf();
    EXPECT_THAT(csv.str(), HasSubstr("net:event"));
    EXPECT_THAT(qfci({"pull", "11", "--format", "json"}).output, HasSubstr("\"hwName\":\"radio\""));
    EXPECT_THAT(qfci({"pull", "11", "--format", "table"}).output, HasSubstr("carrierId=0"));
    EXPECT_THAT(qfci({"pull", "11", "--format", "text"}).output, HasSubstr("carrierId=0"));
}

TEST_F(ControlClientsTest, RejectedPullsTellTheirCause) {
    startCollector();
    createFilter({"list count 1"});
    EXPECT_EQ(qfci({"pull", "12"}),
              (Answer{66,
                      "qfci: filter \"12\": there is no such filter, or no memory to give its "
                      "data\n"}));
    EXPECT_EQ(qfci({"pull", "11"}),
              (Answer{exTempFail,
                      "qfci: filter \"11\": no frontend has told the radio's metadata yet\n"}));
    const Frontend frontend;
    Frontend::sendMetaData();
    Frontend::awaitHandled();
    EXPECT_EQ(type("dch filter disable 11").status, 0);
    EXPECT_EQ(qfci({"pull", "11"}), (Answer{66, "qfci: filter \"11\": the filter is disabled\n"}));
}

TEST_F(ControlClientsTest, HeldConnectionEndsWithStandardInputAndOnASignal) {
    startCollector();
    const auto first = holdConnection();
    EXPECT_EQ(first->output(), "connection 1, revision 1\n");
    first->closeInput();
    EXPECT_EQ(first->awaitExit(), 0);
    const auto second = holdConnection();
    EXPECT_EQ(second->output(), "connection 2, revision 1\n");
    second->signal(SIGTERM);
    EXPECT_EQ(second->awaitExit(), 0);
}

TEST_F(ControlClientsTest, HeldConnectionTellsThatTheCollectorIsGone) {
    startCollector();
    const auto holder = holdConnection();
    collector->signal(SIGKILL);
    EXPECT_EQ(holder->awaitExit(), exUnavailable);
    EXPECT_EQ(holder->error(), "qfci: the collector is gone\n");
}

TEST_F(ControlClientsTest, PullTellsThatTheCollectorWentInTheMiddle) {
    startWithContents(10, 20);
    // The pipe takes a few chunks; then the pull waits for its reader.
    const auto pull = startQfci({"pull", "11"});
    pull->awaitOutput("\x08\x01");
    collector->signal(SIGKILL);
    EXPECT_EQ(pull->awaitExit(), exUnavailable);
    EXPECT_EQ(pull->error(), "qfci: the collector is gone\n");
}

// --- Limits ------------------------------------------------------------------------------------

TEST_F(ControlClientsTest, EleventhConnectionIsRejectedAndAcceptedAfterOneGoes) {
    startCollector();
    std::vector<std::unique_ptr<Process>> holders;
    for (std::size_t i = 0; i < connections; ++i) {
        holders.push_back(holdConnection());
    }
    ControlClient eleventh("Eleventh");
    EXPECT_EQ(eleventh.connectInVain({1}),
              ConnectionEstablishRej::MAX_NUMBER_OF_CONNECTIONS_EXCEEDED);
    EXPECT_EQ(qfci({"ping"}),
              (Answer{exTempFail, "qfci: all connections of the collector are taken\n"}));

    holders.back()->signal(SIGKILL);
    EXPECT_EQ(holders.back()->awaitExit(), 128 + SIGKILL);
    EXPECT_TRUE(comesTrue([] { return qfci({"ping"}).status == 0; }));
    holders.clear();
    EXPECT_TRUE(allConnectionsComeFree());
}

TEST_F(ControlClientsTest, ThousandConnectionsLeaveNothingBehind) {
    start();
    std::size_t rejections = 0;
    const auto connectOnce = [&rejections] {
        while (true) {
            BlockingClient client;
            const auto result = client.connect();
            if (result.isDone()) {
                return;
            }
            // The collector hears of the last ones' ends in its own time.
            ASSERT_EQ(result.outcome, Outcome::TooManyConnections) << result.text;
            ASSERT_LT(++rejections, 100'000);
        }
    };
    for (int i = 0; i < 50; ++i) {
        connectOnce();
    }
    EXPECT_TRUE(allConnectionsComeFree());
    const auto memoryBefore = residentBytes();

    std::thread others([] {
        for (int i = 0; i < 10; ++i) {
            EXPECT_EQ(type("dch filter status"), (Answer{0, "No filters found\n"}));
        }
    });
    for (int i = 0; i < 1000; ++i) {
        connectOnce();
    }
    others.join();

    EXPECT_TRUE(allConnectionsComeFree());
    expectDescriptorsAsAtStart();
    EXPECT_LE(residentBytes(), memoryBefore + allocatorKeeps);
}

// --- Load --------------------------------------------------------------------------------------

// Sends batches at the rate of 100,000 samples a second, as far as the machine goes along.
class SteadyFrontend {
public:
    SteadyFrontend() : thread([this] { send(); }) {}
    ~SteadyFrontend() {
        if (thread.joinable()) {
            stop();
        }
    }
    SteadyFrontend(const SteadyFrontend&) = delete;
    SteadyFrontend& operator=(const SteadyFrontend&) = delete;

    // Samples per second that the collector has handled.
    double stop() {
        stopping = true;
        thread.join();
        return reached;
    }

private:
    static constexpr int perBatch = 1000;
    static constexpr auto period = 10ms;

    void send() {
        const Frontend frontend;
        BatchWriter batch(ozo_get_max_size());
        const auto begin = std::chrono::steady_clock::now();
        std::uint64_t batches = 0;
        while (!stopping) {
            for (int i = 0; i < perBatch; ++i) {
                EXPECT_TRUE(batch.addMeasurement("cpu:load", "", {i}));
            }
            Frontend::send(batch.take());
            ++batches;
            // Behind what it has time for, the collector is asked to catch up.
            if (batches % 16 == 0) {
                Frontend::awaitHandled();
            }
            std::this_thread::sleep_until(begin + batches * period);
        }
        Frontend::awaitHandled();
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
        EXPECT_EQ(ozo_get_drops().queue_full, 0);
        reached = static_cast<double>(batches * perBatch) / took.count();
    }

    std::atomic<bool> stopping = false;
    double reached = 0;
    std::thread thread;
};

// Pulls that often, each time with a client of its own; one that comes before the collector has
// heard of another's end tries again.
void pullRepeatedly(int times, std::atomic<int>& pulls) {
    while (times > 0) {
        const auto answer = qfci({"pull", "11"});
        if (answer.status == exTempFail) {
            EXPECT_THAT(answer.output, HasSubstr("all connections of the collector are taken"));
            continue;
        }
        --times;
        ++pulls;
        Qdx::InfoObjectCollections collections;
        ASSERT_EQ(answer.status, 0) << answer.output;
        ASSERT_TRUE(collections.ParseFromString(answer.output));
        EXPECT_EQ(collections.recordcollections_size(), 10);
    }
}

TEST_F(ControlClientsTest, TenClientsPullAtOnceWhileSamplesFlow) {
    constexpr int pullsOfEach = 3;
    startWithContents(10, 5);
    SteadyFrontend load;
    std::atomic<int> pulls = 0;
    std::vector<std::thread> clients;
    for (std::size_t i = 0; i < connections; ++i) {
        clients.emplace_back([&] { pullRepeatedly(pullsOfEach, pulls); });
    }
    for (auto& client : clients) {
        client.join();
    }
    const auto rate = load.stop();
    EXPECT_EQ(pulls, pullsOfEach * static_cast<int>(connections));
    EXPECT_GT(rate, 0);
    RecordProperty("samplesPerSecond", std::to_string(rate));
    std::cout << pulls << " pulls at " << rate << " samples/s\n";
}

TEST_F(ControlClientsTest, LargePullIsTheShellsToTheByteAndLeavesNoMemoryBehind) {
    startWithContents(65, 100);  // of 8 KiB
    const auto typed = (unit.path() / "typed.bin").string();
    const auto pulled = (unit.path() / "pulled.bin").string();
    ASSERT_EQ(run({"/bin/sh", "-c",
                   DCH " filter pull keep 11 | sed -e 's|</*QdxOutput>||g' | base64 -d >" + typed}),
              (Answer{0, ""}));
    // Encoding takes long in a collector that is built for tests.
    const std::vector<std::string> pull{"pull", "11", "--timeout", "120", "--output", pulled};
    ASSERT_EQ(qfci(pull), (Answer{0, ""}));
    EXPECT_GT(std::filesystem::file_size(pulled), 50'000'000);
    EXPECT_EQ(run({"/usr/bin/cmp", typed, pulled}), (Answer{0, ""}));

    ASSERT_TRUE(allConnectionsComeFree());
    const auto memoryBefore = residentBytes();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(qfci(pull), (Answer{0, ""}));
        EXPECT_EQ(run({"/usr/bin/cmp", typed, pulled}), (Answer{0, ""}));
    }
    ASSERT_TRUE(allConnectionsComeFree());
    EXPECT_LE(residentBytes(), memoryBefore + allocatorKeeps);
    expectDescriptorsAsAtStart();
}

// --- Clients that misbehave --------------------------------------------------------------------

// A client that drives its stream by hand.
class HandPull {
public:
    HandPull(ControlClient& client, const std::string& filter)
        : own(client), references{.procedure = 2, .connection = client.connect()} {
        PullFilterDataReq request;
        request.set_filter_name(filter);
        own.send(references, request);
        streamId = own.receive<PullFilterDataCfm>().body.stream_id();
        takeChunk();
    }

    void acknowledge() { own.acknowledge(references, streamId); }

    // False for the last.
    bool takeChunk() {
        const auto chunk = own.receive<FilterContentsRData>().body;
        contents += chunk.data_chunk();
        return chunk.has_more_data();
    }

    void finish() {
        do {
            acknowledge();
        } while (takeChunk());
        acknowledge();
    }

    std::uint32_t streamId = 0;
    std::string contents;

private:
    ControlClient& own;
    const References references;
};

TEST_F(ControlClientsTest, ClientThatStopsAcknowledgingHoldsNobodyUpAndMayGoOn) {
    startWithContents();
    ControlClient lazy("Lazy");
    HandPull stopped(lazy, "11");
    const auto whole = qfci({"pull", "11"});
    EXPECT_EQ(whole.status, 0);
    EXPECT_EQ(qfci({"ping"}).status, 0);
    EXPECT_EQ(type("dch filter status").status, 0);
    stopped.finish();
    EXPECT_TRUE(stopped.contents == whole.output);
}

TEST_F(ControlClientsTest, AcknowledgementForAnotherTakesTheChunkAndHarmsNoThird) {
    startWithContents();
    const auto whole = qfci({"pull", "11"}).output;
    ControlClient victim("Victim");
    HandPull robbed(victim, "11");
    ControlClient thief("Thief");
    const References thiefs{.procedure = 77, .connection = thief.connect()};
    thief.acknowledge(thiefs, robbed.streamId);
    const auto stolen = thief.receive<FilterContentsRData>();
    EXPECT_EQ(stolen.references, thiefs);
    EXPECT_EQ(stolen.body.stream_id(), robbed.streamId);

    EXPECT_TRUE(qfci({"pull", "11"}).output == whole);
    const auto firstChunk = robbed.contents.size();
    robbed.finish();
    EXPECT_EQ(robbed.contents.size() + stolen.body.data_chunk().size(), whole.size());
    robbed.contents.insert(firstChunk, stolen.body.data_chunk());
    EXPECT_TRUE(robbed.contents == whole);
}

TEST_F(ControlClientsTest, ClientKilledInMidStreamGivesItsConnectionBack) {
    startWithContents(10, 20);
    const auto whole = qfci({"pull", "11"});
    ASSERT_EQ(whole.status, 0);
    ASSERT_TRUE(allConnectionsComeFree());
    const auto memoryBefore = residentBytes();
    for (int i = 0; i < 3; ++i) {
        // Nobody reads on behind the first bytes, so the pull can't have ended.
        const auto killed = startQfci({"pull", "11"});
        killed->awaitOutput("\x08\x01");
        killed->signal(SIGKILL);
        EXPECT_EQ(killed->awaitExit(), 128 + SIGKILL);
        EXPECT_LT(killed->output().size(), whole.output.size());
        EXPECT_TRUE(qfci({"pull", "11"}).output == whole.output);
    }
    EXPECT_TRUE(allConnectionsComeFree());
    expectDescriptorsAsAtStart();
    // A stream that nobody acknowledges stays, once.
    EXPECT_LE(residentBytes(), memoryBefore + 3 * whole.output.size() + allocatorKeeps);
}

TEST_F(ControlClientsTest, InterruptedPullIsFetchedToItsEndAndTellsTheSignal) {
    startWithContents(10, 20);
    const auto pull = startQfci({"pull", "11"});
    pull->awaitOutput("\x08\x01");
    pull->signal(SIGINT);
    EXPECT_EQ(pull->awaitExit(), 128 + SIGINT);
    EXPECT_EQ(qfci({"pull", "11"}).status, 0);
}

TEST_F(ControlClientsTest, NothingOfTheBudgetIsLostToClientsThatDie) {
    writeDatabase("enabled = 1\nglobalMemoryLimit = 1000000\n");
    startCollector();
    createFilter({"list count 100000"});
    const Frontend frontend;
    Frontend::sendMetaData();
    std::vector<std::size_t> sizes;
    for (int round = 0; round < 4; ++round) {
        feedRecords(10, 15);  // more than the budget holds
        const auto killed = startQfci({"pull", "11"});
        killed->awaitOutput("\x08\x01");
        killed->signal(SIGKILL);
        killed->awaitExit();
        sizes.push_back(qfci({"pull", "11", "--clear"}).output.size());
    }
    EXPECT_GT(sizes.front(), 500'000);
    EXPECT_LT(sizes.front(), 1'000'000);
    EXPECT_EQ(sizes, std::vector<std::size_t>(4, sizes.front()));
}

}  // namespace
