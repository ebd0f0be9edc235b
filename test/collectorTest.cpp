// The collector as a user meets it: qdxd with the library, frontends over mailboxes, dch and rodc
// over the command socket.
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <regex>
#include <thread>

#include "InfoObjectCollections.pb.h"
#include "batchWriter.hpp"
#include "carrierEvent.pb.h"
#include "fakeHost.hpp"
#include "frontendMessages.hpp"
#include "ozo.h"
#include "registerInfo.pb.h"
#include "support/process.hpp"
#include "support/unitRoot.hpp"
#include "tessel/util.hpp"
#include "wireFormat.hpp"

namespace {

using namespace Qdx::V1;
using testing::HasSubstr;
using testing::StartsWith;
using TestSupport::Process;

const char* const objects = R"(<infoObjectList>
    <tags><tag name="CPU"/><tag name="NET"/></tags>
    <objects>
        <object id="1" name="cpu:load" type="meas"><tags>CPU</tags><unit type="%" res="0.01"/></object>
        <object id="2" name="net:bytes" type="counter"><tags>NET</tags></object>
        <object id="3" name="net:event" type="record"><tags>NET</tags></object>
    </objects></infoObjectList>)";

struct Answer {
    int status;
    std::string output;
    friend bool operator==(const Answer&, const Answer&) = default;
};

void PrintTo(const Answer& answer, std::ostream* out) {
    *out << answer.status << " \"" << answer.output << '"';
}

const Answer disabled{
    1, "Since data collection is disabled, the functionality for this command is disabled.\n"};

std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream stream(line);
    return {std::istream_iterator<std::string>(stream), {}};
}

// What a program writes and how it ends.
Answer run(std::vector<std::string> words) {
    Process process(std::move(words));
    const int status = process.awaitExit();
    return {status, process.output() + process.error()};
}

// A line typed at the shell: "dch filter status".
Answer type(const std::string& line) {
    auto words = wordsOf(line);
    words.front() = std::filesystem::path(DCH).replace_filename(words.front());
    return run(words);
}

// What stands between the marks of a pull.
std::string base64OfPull(const std::string& pullOutput) {
    const std::string before = "<QdxOutput>";
    const std::string after = "</QdxOutput>\n";
    EXPECT_THAT(pullOutput, testing::AllOf(StartsWith(before), testing::EndsWith(after)));
    return pullOutput.substr(before.size(), pullOutput.size() - before.size() - after.size());
}

// Types the lines of a transaction for a filter without a limit; gives the commit's answer.
Answer createFilter(const std::vector<std::string>& statements) {
    const auto created = type("dch fs create limit 0");
    const auto id = created.output.substr(std::string("Created transaction: ").size());
    const auto add = "dch fs add " + id + " ";
    for (const auto& statement : statements) {
        EXPECT_EQ(type(add + statement), (Answer{0, ""})) << statement;
    }
    return type("dch fs commit " + id);
}

// The test's thread as a frontend, connected to the collector.
class Frontend {
public:
    Frontend() : mailbox(ozo_create_mailbox("Frontend", 0)) {}
    ~Frontend() { ozo_delete_mailbox(mailbox); }
    Frontend(const Frontend&) = delete;
    Frontend& operator=(const Frontend&) = delete;

    static void send(const MessageBytes& bytes) {
        ozo_send(toOzoMessage(bytes), ozo_locate(collectorMailbox), OZO_MY_MAILBOX);
    }

    static void sendMetaData() {
        Qdx::RadioMetaData metaData;
        metaData.set_swproductnumber("CXP1");
        metaData.set_swproductrevision("R1A");
        metaData.set_hwproductnumber("KRC1");
        metaData.set_hwproductrevision("R2B");
        metaData.set_hwserialnumber("S123");
        metaData.set_hwname("radio");
        send(encodeMetaData({}, metaData));
    }

    // Returns once the collector has handled all that was sent before.
    static void awaitHandled() {
        send(encodeConnectionRequest({}, {protocolRevision}));
        auto* reply = ozo_receive(20'000);
        ASSERT_NE(reply, nullptr) << "the collector doesn't answer";
        EXPECT_EQ(reply->msgno, beConnectionCfm);
        ozo_free(reply);
    }

private:
    std::uint32_t mailbox;
};

class CollectorTest : public testing::Test {
protected:
    CollectorTest() {
        std::ofstream(unit.path() / "objects.xml") << objects;
        writeDatabase("enabled = 1\nradioObservabilityEnabled = 1\n");
    }

    void writeDatabase(const std::string& toml) {
        const auto path = unit.path() / "opt/zelvasw/srv/database/qdx/swdb.cfg";
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << "[qdx]\ninfoObjectListFilePath = '"
                            << (unit.path() / "objects.xml").string() << "'\n"
                            << toml;
    }

    void startCollector(const std::string& library = QDXBE) {
        collector = std::make_unique<Process>(std::vector<std::string>{QDXD, "--library", library});
        collector->awaitError("qdxd: ready");
    }

    int stopCollector() {
        collector->signal(SIGTERM);
        return collector->awaitExit();
    }

    // A pull as the schema's own tools decode it, with the wall clock taken out.
    std::string decode(const std::string& pullOutput) {
        std::ofstream(unit.path() / "pull.b64") << base64OfPull(pullOutput);
        const auto decoded =
            run({"/bin/sh", "-c",
                 "base64 -d '" + (unit.path() / "pull.b64").string() +
                     "' | '" PROTOC "' --decode=Qdx.InfoObjectCollections -I " SCHEMA_DIRECTORY
                     " InfoObjectCollections.proto"});
        EXPECT_EQ(decoded.status, 0) << decoded.output;
        return std::regex_replace(decoded.output, std::regex("timestamps: [0-9]{10}"),
                                  "timestamps: now");
    }

    TestSupport::UnitRoot unit;
    std::unique_ptr<Process> collector;
};

// --- The road of a sample ----------------------------------------------------------------------

TEST_F(CollectorTest, BatchesGoInAndAPullComesOut) {
    startCollector();
    EXPECT_EQ(createFilter({"tags CPU max count 2 10", "tags NET sum count 2 10",
                            "tags NET context carrierId 7 list count 5"}),
              (Answer{0, "Filter ID is: 11\n"}));

    const Frontend frontend;
    Frontend::sendMetaData();
    BatchWriter batch(ozo_get_max_size());
    const unsigned char record[] = {'a', 0, 'b'};
    ASSERT_TRUE(batch.addMeasurement("cpu:load", "deviceId=0", {5}));
    ASSERT_TRUE(batch.addMeasurement("cpu:load", "deviceId=0", {-3}));
    ASSERT_TRUE(batch.addMeasurement("cpu:load", "deviceId=1", {1}));
    ASSERT_TRUE(batch.addCounter("net:bytes", "", {10}));
    ASSERT_TRUE(batch.addCounter("net:bytes", "", {32}));
    ASSERT_TRUE(batch.addRecord("net:event", "carrierId=7", record));
    Frontend::send(batch.take());
    Frontend::awaitHandled();

    const auto pull = type("dch filter pull keep 11");
    EXPECT_EQ(pull.status, 0);
    EXPECT_EQ(decode(pull.output), R"(version: 1
measurementCollections {
  id: 1
  values: 5
  timestamps: now
  max {
    subtype: COUNT
    size: 2
  }
  context {
    device_id: 0
  }
}
counterCollections {
  id: 2
  values: 42
  timestamps: now
  sum {
    subtype: COUNT
    size: 2
  }
}
recordCollections {
  id: 3
  values: "a\000b"
  timestamps: now
  list {
    subtype: COUNT
    size: 5
  }
  context {
    carrier_id: 7
  }
}
radioMetaData {
  swProductNumber: "CXP1"
  swProductRevision: "R1A"
  hwProductNumber: "KRC1"
  hwProductRevision: "R2B"
  hwSerialNumber: "S123"
  hwName: "radio"
}
)");
}

TEST_F(CollectorTest, PullToKeepRepeatsItselfAndPullToClearEmpties) {
    startCollector();
    createFilter({"list count 100"});
    const Frontend frontend;
    Frontend::sendMetaData();
    BatchWriter batch(ozo_get_max_size());
    ASSERT_TRUE(batch.addMeasurement("cpu:load", "", {1}));
    Frontend::send(batch.take());
    Frontend::awaitHandled();

    const auto first = type("dch filter pull keep 11");
    EXPECT_EQ(type("dch filter pull keep 11"), first);
    EXPECT_EQ(type("dch filter pull clear 11"), first);
    EXPECT_EQ(type("dch filter pull keep 11"),
              (Answer{2, "Not enough data yet or not enough filter memory\n"}));
}

TEST_F(CollectorTest, PullWaitsForTheMetaData) {
    startCollector();
    createFilter({"list count 100"});
    EXPECT_EQ(type("dch filter pull keep 11"), (Answer{2, "Meta data is not set yet\n"}));
}

TEST_F(CollectorTest, FiltersAreManagedFromTheShell) {
    startCollector();
    EXPECT_EQ(type("dch filter status"), (Answer{0, "No filters found\n"}));
    createFilter({"tags CPU NET list count 1"});
    createFilter({"list count 1"});
    EXPECT_EQ(type("dch filter disable 12"), (Answer{0, ""}));
    EXPECT_EQ(type("dch filter status"),
              (Answer{0,
                      "Current Filter(s):\n"
                      " Filter 11 (11): Enabled: Yes, FilterTag(s): CPU, NET\n"
                      " Filter 12 (12): Enabled: No, FilterTag(s):\n"}));
    EXPECT_EQ(type("dch filter enable 12"), (Answer{0, ""}));
    EXPECT_EQ(type("dch filter clearAll"),
              (Answer{0,
                      "Clearing data for FilterId 11\nClearing data for FilterId 12\n"
                      "Clearing all filter data complete.\n"}));
    EXPECT_EQ(type("dch filter delete 11"), (Answer{0, "Deleting filter with ID: 11\n"}));
    EXPECT_EQ(type("dch filter delete 11"), (Answer{1, "No entry with this filterID\n"}));
    EXPECT_EQ(type("dch filter deleteAll"),
              (Answer{0, "Deleting all filters except static filters\n"}));
    EXPECT_EQ(type("dch filter status"), (Answer{0, "No filters found\n"}));
    EXPECT_EQ(type("rodc list"), (Answer{0, "No printable filters exist\n"}));
    EXPECT_EQ(type("dch fs add 99 list count 1"), (Answer{2, "Failed to execute command\n"}));
}

TEST_F(CollectorTest, OldDataGivesWayInsideTheBudget) {
    writeDatabase("enabled = 1\nglobalMemoryLimit = 30000\n");
    startCollector();
    createFilter({"list count 1000000"});
    const Frontend frontend;
    Frontend::sendMetaData();
    BatchWriter batch(ozo_get_max_size());
    constexpr std::int64_t samples = 20'000;
    for (std::int64_t i = 0; i < samples; ++i) {
        while (!batch.addMeasurement("cpu:load", "", {i})) {
            Frontend::send(batch.take());
            Frontend::awaitHandled();
        }
    }
    Frontend::send(batch.take());
    Frontend::awaitHandled();

    const auto decoded = decode(type("dch filter pull keep 11").output);
    EXPECT_THAT(decoded, HasSubstr("values: 19999\n"));
    EXPECT_THAT(decoded, testing::Not(HasSubstr("values: 0\n")));
}

// A measurement and a counter that carry the number, each in 21 and 22 bytes behind the 28 of the
// header.
MessageBytes batchOf(std::size_t number) {
    const auto value = static_cast<std::int64_t>(number);
    BatchWriter batch(ozo_get_max_size());
    EXPECT_TRUE(batch.addMeasurement("cpu:load", "", {value}));
    EXPECT_TRUE(batch.addCounter("net:bytes", "", {value}));
    return batch.take();
}

std::string repeated(const std::string& line, std::size_t times) {
    std::string text;
    while (times-- > 0) {
        text += line;
    }
    return text;
}

// Batches cut everywhere, each with the size of what is left of it for its values: those whose
// measurement is whole give that, and the whole batch its counter too.
TEST_F(CollectorTest, MessagesThatLieHarmNobody) {
    constexpr std::size_t measurementEnd = 28 + 21;
    constexpr std::size_t whole = measurementEnd + 22;
    startCollector();
    createFilter({"list count 100"});
    const Frontend frontend;
    Frontend::sendMetaData();
    std::string survivors;
    for (std::size_t size = sizeof(ozo_msg); size <= whole; ++size) {
        auto message = batchOf(size);
        ASSERT_EQ(message.size(), whole);
        message.resize(size);
        Frontend::send(message);
        if (size >= measurementEnd) {
            survivors += "  values: " + std::to_string(size) + "\n";
        }
    }
    Frontend::awaitHandled();

    const std::string list = "  list {\n    subtype: COUNT\n    size: 100\n  }\n}\n";
    EXPECT_THAT(decode(type("dch filter pull keep 11").output),
                StartsWith("version: 1\nmeasurementCollections {\n  id: 1\n" + survivors +
                           repeated("  timestamps: now\n", whole - measurementEnd + 1) + list +
                           "counterCollections {\n  id: 2\n  values: " + std::to_string(whole) +
                           "\n  timestamps: now\n" + list + "radioMetaData {\n"));
    EXPECT_EQ(stopCollector(), 0) << collector->error();
}

// --- Start and stop ----------------------------------------------------------------------------

TEST_F(CollectorTest, CollectorThatIsNotThereIsSaidInOneLine) {
    const auto answer = type("dch filter status");
    EXPECT_EQ(answer.status, 69);
    EXPECT_THAT(answer.output, HasSubstr((unit.path() / "run/tessel/command.sock").string()));
    EXPECT_EQ(std::count(answer.output.begin(), answer.output.end(), '\n'), 1);
}

TEST_F(CollectorTest, UnconfiguredUnitAnswersThatItIsDisabled) {
    std::filesystem::remove_all(unit.path() / "opt");
    startCollector();
    EXPECT_EQ(type("dch filter status"), disabled);
    EXPECT_EQ(type("dch fs create limit 0"), disabled);
    EXPECT_EQ(type("rodc list").status, 1);
    EXPECT_EQ(ozo_locate("QuardexBeI"), OZO_NO_MAILBOX);
    EXPECT_EQ(stopCollector(), 0);
}

TEST_F(CollectorTest, BudgetOfZeroAnswersThatItIsDisabled) {
    writeDatabase("enabled = 1\nglobalMemoryLimit = 0\n");
    startCollector();
    EXPECT_EQ(type("dch filter status"), disabled);
    EXPECT_EQ(ozo_locate("QuardexBeI"), OZO_NO_MAILBOX);
}

TEST_F(CollectorTest, FilterLimitOfZeroAnswersThatItIsDisabled) {
    writeDatabase("enabled = 1\nmaxFilterLimit = 0\n");
    startCollector();
    EXPECT_EQ(type("dch filter status"), disabled);
    EXPECT_EQ(ozo_locate("QuardexBeI"), OZO_NO_MAILBOX);
}

TEST_F(CollectorTest, MailboxNameInUseAnswersThatItIsDisabled) {
    const auto taken = ozo_create_mailbox("QuardexBeI", 0);
    startCollector();
    EXPECT_EQ(type("dch filter status"), disabled);
    ozo_delete_mailbox(taken);
}

TEST_F(CollectorTest, WithoutObservabilityOnlyRodcIsDisabled) {
    writeDatabase("enabled = 1\n");
    startCollector();
    EXPECT_EQ(type("dch filter status").status, 0);
    EXPECT_EQ(type("rodc list"),
              (Answer{1,
                      "Since radio observability data collection is disabled, the functionality "
                      "for this command is disabled.\n"}));
}

TEST_F(CollectorTest, RunsWithoutItsTraceProvider) {
    const auto alone = unit.path() / "libqdxbe.so";
    std::filesystem::copy_file(QDXBE, alone);
    startCollector(alone);
    EXPECT_EQ(type("dch filter status"), (Answer{0, "No filters found\n"}));
    EXPECT_EQ(stopCollector(), 0) << collector->error();
}

TEST_F(CollectorTest, StopsCleanlyWhileBatchesFlow) {
    startCollector();
    createFilter({"list count 100"});
    std::atomic<bool> done = false;
    std::thread sender([&] {
        const Frontend frontend;
        BatchWriter batch(ozo_get_max_size());
        while (!done) {
            for (int i = 0; i < 100; ++i) {
                EXPECT_TRUE(batch.addMeasurement("cpu:load", "", {i}));
            }
            Frontend::send(batch.take());
        }
    });
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(type("dch filter status").status, 0);
    }
    EXPECT_EQ(stopCollector(), 0) << collector->error();
    done = true;
    sender.join();
}

TEST_F(CollectorTest, StartsAgainAfterACrash) {
    startCollector();
    createFilter({"list count 100"});
    collector->signal(SIGKILL);
    EXPECT_EQ(collector->awaitExit(), 128 + SIGKILL);
    EXPECT_EQ(ozo_locate("QuardexBeI"), OZO_NO_MAILBOX);

    startCollector();
    EXPECT_EQ(type("dch filter status"), (Answer{0, "No filters found\n"}));
    const Frontend frontend;
    Frontend::awaitHandled();
}

// --- The host as a frontend --------------------------------------------------------------------

// Pulls until there is data, each time after the collector has been asked something else.
Answer pullOnceThereIsData() {
    for (int tries = 0; tries < 2000; ++tries) {
        auto answer = type("dch filter pull keep 11");
        if (answer.status == 0) {
            return answer;
        }
    }
    return {-1, "no data"};
}

TEST_F(CollectorTest, HostFrontendFeedsACollectorThatStartsLaterAndAgain) {
    std::ofstream(unit.path() / "objects.xml") << std::ifstream(HOST_OBJECTS).rdbuf();
    const Process hostfe({HOSTFE, "--rate", "50"});
    for (int round = 0; round < 2; ++round) {
        startCollector();
        createFilter({"tags CPU list count 10"});
        const auto decoded = decode(pullOnceThereIsData().output);
        EXPECT_THAT(decoded, HasSubstr("hwSerialNumber"));
        EXPECT_THAT(decoded, HasSubstr("device_id: 0"));
        collector->signal(SIGKILL);
        collector->awaitExit();
    }
}

class CollectedRecordsTest : public CollectorTest {
protected:
    CollectedRecordsTest() {
        std::ofstream(unit.path() / "objects.xml") << std::ifstream(HOST_OBJECTS).rdbuf();
        host.interface("eth0", 4);
    }

    void startHostFrontend() {
        hostfe = std::make_unique<Process>(
            std::vector<std::string>{HOSTFE, "--rate", "50", "--host-root", host.root().string()});
    }

    // A RegisterInfo as the schema's own tools decode it.
    std::string decodeRegisterInfo(const std::string& record) {
        std::ofstream(unit.path() / "record") << record;
        const auto decoded =
            run({"/bin/sh", "-c",
                 "'" PROTOC "' --decode=Qdx.Records.RegisterInfo -I " RECORD_DIRECTORY
                 " registerInfo.proto <'" +
                     (unit.path() / "record").string() + "'"});
        EXPECT_EQ(decoded.status, 0) << decoded.output;
        return decoded.output;
    }

    // The records that filter 11 holds of the interface, once there are so many.
    static std::vector<std::string> awaitRecords(int count) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (std::chrono::steady_clock::now() < deadline) {
            const auto records = pullRecords();
            if (records.values_size() >= count) {
                EXPECT_EQ(records.context().device_id(), 4);
                return {records.values().begin(), records.values().end()};
            }
        }
        throw std::runtime_error("the records don't come");
    }

    HostFe::FakeHost host;
    std::unique_ptr<Process> hostfe;

private:
    // The only series of the pull; without values if there is none yet.
    static Qdx::RecordCollection pullRecords() {
        const auto answer = type("dch filter pull keep 11");
        if (answer.status != 0) {
            return {};
        }
        const auto bytes = Tessel::Util::Base64::decode(base64OfPull(answer.output));
        Qdx::InfoObjectCollections message;
        EXPECT_TRUE(message.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())));
        if (message.recordcollections().empty()) {
            return {};
        }
        EXPECT_EQ(message.recordcollections_size(), 1);
        return message.recordcollections(0);
    }
};

TEST_F(CollectedRecordsTest, LinkThatGoesDownComesOutAsACarrierEvent) {
    startCollector();
    createFilter({"tags NET EVENT list count 10"});
    startHostFrontend();
    Qdx::Records::CarrierEvent event;
    ASSERT_TRUE(event.ParseFromString(awaitRecords(1).at(0)));
    EXPECT_EQ(event.ShortDebugString(), R"(carrier_id: 4 kind: ACTIVATED reason: "seen first" )"
                                        R"(carrier_name: "eth0" bandwidth_bps: 1000000000)");

    host.file("sys/class/net/eth0/carrier", "0\n")
        .file("sys/class/net/eth0/speed", "-1\n")
        .file("sys/class/net/eth0/operstate", "down\n");
    ASSERT_TRUE(event.ParseFromString(awaitRecords(2).at(1)));
    EXPECT_EQ(event.ShortDebugString(),
              R"(carrier_id: 4 kind: FAILED reason: "no carrier" carrier_name: "eth0")");
}

TEST_F(CollectedRecordsTest, ErrorComesOutAsARegisterInfo) {
    startCollector();
    createFilter({"tags NET REGISTER list count 10"});
    startHostFrontend();
    Qdx::Records::RegisterInfo info;
    ASSERT_TRUE(info.ParseFromString(awaitRecords(1).at(0)));
    EXPECT_EQ(info.cause(), Qdx::Records::RegisterInfo::PERIODIC);

    host.file("sys/class/net/eth0/statistics/rx_errors", "3\n");
    const auto fault = awaitRecords(2).at(1);
    EXPECT_EQ(decodeRegisterInfo(fault), R"(block: "eth0"
base_address: 0
cause: FAULT
registers {
  offset: 0
  value: 70
  name: "rx_packets"
}
registers {
  offset: 32
  value: 3
  name: "rx_errors"
  trigger: true
}
)");
}

}  // namespace
