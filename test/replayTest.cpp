// Collectors whose traffic is recorded, and played to another collector afterwards: what this one
// writes and sends is what the first one did, to the byte.
//
// With RENEW_RECORDINGS in the environment the recordings and their output become those of
// test/recordings; scripts/renew-recordings does so.
#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <thread>

#include "controlClient.hpp"
#include "support/collector.hpp"

namespace {

using namespace Qdx::V1;
using namespace TestSupport;
using namespace std::chrono_literals;
using namespace qdxfilterctrli;
using Qdx::Test::ControlClient;
using testing::HasSubstr;

const std::string on = "enabled = 1\nradioObservabilityEnabled = 1\n";

std::string hexOf(const ControlClient::Bytes& bytes, std::size_t begin) {
    std::ostringstream text;
    text << std::hex << std::setfill('0');
    for (std::size_t i = begin; i < bytes.size(); ++i) {
        text << std::setw(2) << static_cast<unsigned>(bytes[i]);
    }
    return text.str();
}

class ReplayTest : public CollectorTest {
protected:
    ReplayTest() { std::filesystem::current_path(unit.path()); }
    void TearDown() override {
        CollectorTest::TearDown();
        std::filesystem::current_path("/");
    }

    // A list file that the database names by its name alone, so that the recording is the same
    // wherever it is made.
    void recordCollector(const std::string& toml, const std::string& list = objects) {
        write("objects.xml", list);
        recordCollectorOf("objects.xml", toml);
    }

    static void write(const std::filesystem::path& path, const std::string& text) {
        std::filesystem::create_directories(std::filesystem::absolute(path).parent_path());
        std::ofstream(path, std::ios::binary) << text;
    }

    // With the list files that were written.
    void recordCollectorOf(const std::string& listPath, const std::string& toml) {
        write("opt/zelvasw/srv/database/qdx/swdb.cfg",
              "[qdx]\ninfoObjectListFilePath = '" + listPath + "'\n" + toml);
        collector = std::make_unique<Process>(
            std::vector<std::string>{QDXD, "--library", QDXBE, "--record", "recording"});
        collector->awaitError("qdxd: ready");
    }

    // Types the line, and expects the same answer of the other collector.
    Answer typed(const std::string& line) {
        auto answer = type(line);
        std::string words;
        for (const auto& word : wordsOf(line)) {
            words.append(words.empty() ? 0 : 1, ' ').append(word);
        }
        expected.push_back(" " + words + "\n" + answer.output);
        expected.push_back(" status " + std::to_string(answer.status) + "\n");
        return answer;
    }

    void createFilterOf(const std::vector<std::string>& statements, const std::string& limit) {
        const auto created = typed("dch fs create limit " + limit).output;
        const auto id = wordsOf(created).back();
        const auto add = "dch fs add " + id + " ";
        for (const auto& statement : statements) {
            EXPECT_EQ(typed(add + statement).status, 0) << statement;
        }
        EXPECT_EQ(typed("dch fs commit " + id).status, 0);
    }

    // A frame that the other collector has to send too.
    ControlClient::Bytes received(ControlClient& client) {
        auto frame = client.receiveFrame();
        expected.push_back(" " + hexOf(frame, sizeof(std::uint32_t)) + "\n");
        return frame;
    }

    void stopAndCompare() {
        EXPECT_EQ(stopCollector(), 0);
        const auto replay = run({QDX_REPLAY, "recording"});
        EXPECT_EQ(replay.status, 0);
        std::size_t at = 0;
        for (const auto& piece : expected) {
            const auto found = replay.output.find(piece, at);
            ASSERT_NE(found, std::string::npos)
                << "the replay lacks " << piece << " behind " << replay.output.substr(0, at);
            at = found + piece.size();
        }
        EXPECT_EQ(run({QDX_REPLAY, "recording"}), replay);
    }

    // The same, and the recording is to be kept under this name.
    void stopAndCompare(const std::string& name) {
        stopAndCompare();
        if (std::getenv("RENEW_RECORDINGS") != nullptr && !HasFailure()) {
            const std::filesystem::path directory = RECORDINGS;
            std::filesystem::copy_file("recording", directory / (name + ".rec"),
                                       std::filesystem::copy_options::overwrite_existing);
            std::ofstream(directory / (name + ".txt"), std::ios::binary)
                << run({QDX_REPLAY, "recording"}).output;
        }
    }

    std::vector<std::string> expected;
};

// One sample of each kind, in two contexts.
MessageBytes samples(std::int64_t value) {
    BatchWriter batch(ozo_get_max_size());
    const unsigned char record[] = {'r', static_cast<unsigned char>(value)};
    EXPECT_TRUE(batch.addMeasurement("cpu:load", "deviceId=0", {value}));
    EXPECT_TRUE(batch.addMeasurement("cpu:load", "deviceId=1,rfBranch=-3", {-value}));
    EXPECT_TRUE(batch.addCounter("net:bytes", "", {value * 1000}));
    EXPECT_TRUE(batch.addRecord("net:event", "carrierId=7", record));
    return batch.take();
}

// Real time passes, for windows of seconds to end.
void sendSamplesFor(std::chrono::milliseconds time, std::chrono::milliseconds apart) {
    std::int64_t value = 0;
    for (std::chrono::milliseconds at{0}; at < time; at += apart) {
        ++value;
        Frontend::send(samples(value * value));
        std::this_thread::sleep_for(apart);
    }
    Frontend::awaitHandled();
}

TEST_F(ReplayTest, EveryAggregatorGivesTheSamePull) {
    recordCollector(on);
    createFilterOf({"tags CPU min count 1 4 max count 2 8 average count 3 9",
                    "tags CPU min duration 1 2 max duration 1 4 average duration 1 60",
                    "tags NET sum count 2 4 12 sum duration 1 2", "list count 5",
                    "context carrierId 7 deviceId 0 list duration 1"},
                   "0");
    const Frontend frontend;
    EXPECT_EQ(typed("dch filter pull keep 11").output, "Meta data is not set yet\n");
    Frontend::sendMetaData();
    sendSamplesFor(2500ms, 100ms);
    EXPECT_EQ(typed("dch filter pull keep 11").status, 0);
    EXPECT_EQ(typed("dch filter pull clear 11").status, 0);
    sendSamplesFor(300ms, 100ms);
    EXPECT_EQ(typed("dch filter pull clear 11").status, 0);
    stopAndCompare("everyAggregator");
}

TEST_F(ReplayTest, OldDataGivesWayToTheSameSamples) {
    recordCollector(on + "globalMemoryLimit = 14000\n");
    createFilterOf({"list count 1000 max count 2 200"}, "9000");
    createFilterOf({"tags NET list count 1000 list duration 100"}, "0");
    const Frontend frontend;
    Frontend::sendMetaData();
    for (int round = 0; round < 4; ++round) {
        for (std::int64_t value = 0; value < 60; ++value) {
            BatchWriter batch(ozo_get_max_size());
            const std::vector<unsigned char> record(static_cast<std::size_t>(value), 'r');
            const auto context = "deviceId=" + std::to_string(value % (5 + round));
            EXPECT_TRUE(batch.addMeasurement("cpu:load", context, {value}));
            EXPECT_TRUE(batch.addCounter("net:bytes", context, {value}));
            EXPECT_TRUE(batch.addRecord("net:event", "", record));
            Frontend::send(batch.take());
        }
        Frontend::awaitHandled();
        typed("dch filter pull keep 11");
        typed("dch filter pull keep 12");
    }
    stopAndCompare("tightBudget");
}

TEST_F(ReplayTest, ControlClientsGetTheSameFrames) {
    setenv("OZO_MAX_SIZE", "1024", 1);
    recordCollector(on + "maxFilterLimit = 2\n");
    createFilterOf({"list count 100"}, "0");
    createFilterOf({"tags NONE list count 1"}, "0");
    const Frontend frontend;
    ControlClient client("First");
    auto other = std::make_unique<ControlClient>("Second");
    const auto connect = [&](ControlClient& who) {
        ConnectionEstablishReq offer;
        offer.add_supported_revisions(1);
        who.send({.procedure = 77}, offer);
        return received(who);
    };
    connect(client);
    connect(*other);
    client.send({.procedure = 3, .connection = 1}, CapabilityExchangeReq());
    received(client);
    PullFilterDataReq pull;
    pull.set_filter_name("11");
    client.send({.procedure = 4, .connection = 1}, pull);
    received(client);  // no metadata
    Frontend::sendMetaData();
    sendSamplesFor(500ms, 10ms);
    client.send({.procedure = 5, .connection = 1}, pull);
    received(client);
    FilterContentsRData chunk;
    chunk.set_has_more_data(true);
    while (chunk.has_more_data()) {
        Qdx::Control::References references;
        ASSERT_TRUE(Qdx::Control::decode(received(client), references, chunk));
        client.acknowledge(references, chunk.stream_id());
    }
    pull.set_filter_name("none");
    other->send({.procedure = 6, .connection = 2}, pull);
    received(*other);
    pull.set_filter_name("12");
    pull.set_clear_data(true);
    other->send({.procedure = 7, .connection = 1}, pull);
    received(*other);
    other.reset();
    for (int i = 0; i < 10; ++i) {
        connect(client);
    }
    typed("dch filter status");
    stopAndCompare("controlClients");
}

TEST_F(ReplayTest, FiltersThatComeAndGoAnswerTheSame) {
    recordCollector(on + "maxFilterLimit = 3\n");
    const Frontend frontend;
    Frontend::sendMetaData();
    for (int round = 0; round < 3; ++round) {
        for (const std::string statement :
             {"tags CPU list count 3", "list count 2", "context deviceId 1 max count 2 4"}) {
            const auto id = wordsOf(typed("dch fs create limit 4000").output).back();
            const auto add = "dch fs add " + id + " ";
            typed(add + statement);
            typed("dch fs commit " + id);
            Frontend::send(samples(round));
        }
        Frontend::awaitHandled();
        const auto first = 11 + 3 * round;
        for (const auto* command : {"dch filter disable", "dch filter pull keep",
                                    "dch filter enable", "dch filter pull clear"}) {
            typed(std::string(command) + " " + std::to_string(first));
            Frontend::send(samples(7));
            Frontend::awaitHandled();
        }
        typed("dch filter status");
        typed("dch filter delete " + std::to_string(first + 1));
        typed("dch filter clearAll");
        typed("dch filter pull keep " + std::to_string(first + 2));
        typed("dch filter deleteAll");
    }
    for (const auto* line :
         {"dch fs create limit 0", "dch fs add 9 list count x", "dch fs add 9 max count 3 10",
          "dch fs commit 9", "dch fs commit 99", "dch fs create", "dch filter pull now 11",
          "dch filter delete 1", "dch filter nonsense", "rodc show 3", "rodc list"}) {
        typed(line);
    }
    stopAndCompare("churn");
}

TEST_F(ReplayTest, PrescribedFiltersGiveTheSameReports) {
    recordCollector(on + R"(
        [qdx.staticFilters]
        enabledByDefault = ["load"]
        printable = ["load", "net"]
        load = ["dch", "limit 50000", "dch", "tags CPU max count 2 10", "list count 4"]
        net = ["dch", "limit 0", "dch", "tags NET list duration 3600"]
    )");
    const Frontend frontend;
    for (const auto* line : {"rodc list", "rodc print load", "dch filter enable net", "rodc show 2",
                             "dch filter delete load"}) {
        typed(line);
    }
    Frontend::sendMetaData();
    sendSamplesFor(500ms, 50ms);
    for (const auto* line : {"rodc list", "rodc print load", "rodc print net", "rodc show 3",
                             "dch filter pull clear load", "rodc print load", "rodc print none"}) {
        typed(line);
    }
    stopAndCompare("staticFilters");
}

TEST_F(ReplayTest, AFaultyUnitIsAsFaulty) {
    recordCollector(on + R"(
        [qdx.staticFilters]
        enabledByDefault = ["bad"]
        bad = ["dch", "limit 50000", "dch", "tags CPU max count 3 10"]
    )");
    EXPECT_EQ(typed("dch filter status"), disabled);
    typed("rodc list");
    stopAndCompare("faulty");
}

std::string inList(const std::string& inner) {
    return "<infoObjectList>" + inner + "</infoObjectList>";
}

std::string utf16(const std::string& ascii) {
    std::string text = "\xFF\xFE";
    for (const auto character : ascii) {
        text += character;
        text += '\0';
    }
    return text;
}

TEST_F(ReplayTest, IncludesAreFoundHoweverTheyAreNamed) {
    const std::string object = R"(<object id="1" name="cpu:load" type="meas"/>)";
    write("lists/objects.xml",
          inList("<objects>" + object + "<include\n href = 'sub/&#x6d;ore.xml'/></objects>"));
    write("lists/sub/more.xml",
          utf16(inList(R"(<objects><include href="../common/sub/../more.xml"/></objects>)")));
    std::filesystem::create_directories("common/sub");
    write("common/more.xml", inList(R"(<objects><object id="2" name="net:bytes" type="counter"/>)"
                                    R"(<include href="/R&amp;D.xml"/></objects>)"));
    write("lists/R&#38;D.xml",
          inList(R"(<objects><object id="3" name="net:event" type="record"/></objects>)"));
    recordCollectorOf("lists/objects.xml", on);
    createFilterOf({"list count 5"}, "0");
    const Frontend frontend;
    Frontend::sendMetaData();
    Frontend::send(samples(7));
    Frontend::awaitHandled();
    typed("dch filter pull keep 11");
    stopAndCompare();
    const auto replay = run({QDX_REPLAY, "recording"});
    EXPECT_EQ(replay.output.find("error"), std::string::npos) << replay.output;
}

// A message of that number with these bytes behind its header.
MessageBytes message(std::uint32_t number, const std::string& behind) {
    MessageBytes bytes;
    appendHeader(bytes, number, {.procedure = 1, .connection = 0});
    bytes.insert(bytes.end(), behind.begin(), behind.end());
    return bytes;
}

// A batch of this measurement section, said to be of this length.
MessageBytes batchOf(const std::string& section, std::uint32_t length) {
    auto bytes = message(beProcessBatchesUreq, "");
    for (const auto word : {0U, length, 0U, 0U}) {
        appendUint32(bytes, word);
    }
    bytes.insert(bytes.end(), section.begin(), section.end());
    return bytes;
}

MessageBytes batchOf(const std::string& section) {
    return batchOf(section, static_cast<std::uint32_t>(section.size()));
}

std::string item(const std::string& key, const std::string& payload) {
    MessageBytes size;
    appendUint32(size, static_cast<std::uint32_t>(payload.size()));
    return (key + '\0').append(size.begin(), size.end()).append(payload);
}

TEST_F(ReplayTest, OddMessagesHaveTheSameEffect) {
    recordCollector(on);
    createFilterOf({"list count 20"}, "0");
    const Frontend frontend;
    Frontend::sendMetaData();
    const std::string eight("\0\0\0\0\0\0\0\5", 8);
    const auto good = item("cpu:load deviceId=0", eight);
    const auto odd = {
        batchOf(good + item("cpu:load", "four") + good),
        batchOf(good + good.substr(0, 22)),
        batchOf(good, 4000),
        batchOf(item("cpu:load  deviceId=5", eight) + good),
        batchOf(item(" cpu:load", eight)),
        batchOf(item("net:bytes", eight) + item("no:such", eight) + good),
        batchOf(item("cpu:load deviceId=1 more", eight)),
        batchOf(item("cpu:load whatever", eight)),
        batchOf(std::string("\0\0\0\0\0", 5)),
        message(beProcessBatchesUreq, ""),
        message(beProcessMetaDataUreq, std::string("CXP1\0", 5)),
        message(beProcessMetaDataUreq, "no end"),
        message(beConnectionReq, std::string("\0\0\0\2\0\0\0\1\0\0\1\0", 12)),
        message(beConnectionReq, std::string("\0\0\0\2\0\0\0\1", 8)),
        message(ConnectionEstablishReq::MESSAGE_NUMBER, "\xFF"),
        message(PullFilterDataReq::MESSAGE_NUMBER, "\x0A\x02\x31\x31"),
        message(FilterContentsRAck::MESSAGE_NUMBER, ""),
        message(4711, "nobody handles this"),
    };
    for (const auto& bytes : odd) {
        Frontend::send(bytes);
        Frontend::send(samples(1));
    }
    for (int i = 0; i < 2; ++i) {
        auto* rejection = ozo_receive(20'000);
        ASSERT_NE(rejection, nullptr);
        EXPECT_EQ(rejection->msgno, beConnectionRej);
        ozo_free(rejection);
    }
    Frontend::awaitHandled();
    EXPECT_EQ(typed("dch filter pull keep 11").status, 0);
    stopAndCompare("oddMessages");
}

TEST_F(ReplayTest, AHostsOwnFiguresComeOutTheSame) {
    std::ifstream list(HOST_OBJECTS);
    recordCollector(on, {std::istreambuf_iterator<char>(list), {}});
    createFilterOf({"tags CPU max count 2 10", "tags NET sum count 2 20 list count 4",
                    "tags MEMORY average duration 1 10"},
                   "100000");
    const auto host = run({HOSTFE, "--rate", "5", "--duration", "2.5"});
    EXPECT_EQ(host.status, 0) << host.output;
    EXPECT_EQ(typed("dch filter pull keep 11").status, 0);
    EXPECT_EQ(typed("dch filter pull clear 11").status, 0);
    stopAndCompare();  // not kept: it tells about the machine
}

// --- What goes wrong with recordings -----------------------------------------------------------

TEST_F(ReplayTest, AKilledCollectorLeavesARecordingOfAllThatItGot) {
    recordCollector(on);
    createFilterOf({"list count 3"}, "0");
    const Frontend frontend;
    Frontend::sendMetaData();
    Frontend::send(samples(1));
    Frontend::awaitHandled();
    EXPECT_EQ(typed("dch filter pull keep 11").status, 0);
    collector->signal(SIGKILL);
    collector->awaitExit();
    const auto replay = run({QDX_REPLAY, "recording"});
    EXPECT_EQ(replay.status, 0);
    EXPECT_THAT(replay.output, HasSubstr(expected[expected.size() - 2]));
}

TEST_F(ReplayTest, AFifoIsRecordedTo) {
    ASSERT_EQ(mkfifo("fifo", 0600), 0);
    Process reader({"/bin/sh", "-c", "cat fifo > recording"});
    std::ofstream("objects.xml") << objects;
    collector = std::make_unique<Process>(
        std::vector<std::string>{QDXD, "--library", QDXBE, "--record", "fifo"});
    collector->awaitError("qdxd: ready");
    typed("dch filter status");
    EXPECT_EQ(stopCollector(), 0);
    EXPECT_EQ(reader.awaitExit(), 0);
    EXPECT_THAT(run({QDX_REPLAY, "recording"}).output, HasSubstr(expected.front()));
}

TEST_F(ReplayTest, ARecordingThatCannotGoOnEndsWithOneLineAndTheCollectorStays) {
    collector = std::make_unique<Process>(
        std::vector<std::string>{QDXD, "--library", QDXBE, "--record", "/dev/full"});
    collector->awaitError("qdxd: ready");
    EXPECT_EQ(type("dch filter status").status, 0);
    EXPECT_EQ(type("dch filter status").status, 0);
    EXPECT_EQ(stopCollector(), 0);
    const std::string line = "qdxd: the recording ends here: /dev/full: No space left on device\n";
    const auto first = collector->error().find(line);
    EXPECT_NE(first, std::string::npos) << collector->error();
    EXPECT_EQ(collector->error().find(line, first + 1), std::string::npos);
}

TEST_F(ReplayTest, AFileThatCannotBeMadeKeepsTheCollectorFromStarting) {
    EXPECT_EQ(run({QDXD, "--library", QDXBE, "--record", "no/file"}),
              (Answer{73, "qdxd: cannot record to no/file: No such file or directory\n"}));
}

}  // namespace
