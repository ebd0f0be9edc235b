// The road of a sample from a frontend to a pull, and the start and the stop of the collector.
#include <atomic>
#include <thread>

#include "controlFrame.hpp"
#include "qdxFilterCtrlI.pb.h"
#include "support/collector.hpp"

namespace {

using namespace Qdx::V1;
using namespace TestSupport;
using testing::HasSubstr;
using testing::StartsWith;

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

// A request of the test's mailbox as a control client.
template <typename Body>
void request(std::uint32_t connectionReference, const Body& body) {
    MessageBytes frame(Qdx::Control::frameSize(body));
    ASSERT_TRUE(Qdx::Control::encode(Body::MESSAGE_NUMBER, {1, connectionReference}, body, frame));
    ozo_send(toOzoMessage(frame), ozo_locate("QdxFilterCtrlI"), OZO_MY_MAILBOX);
}

// The reply to it, which must be a Body.
template <typename Body>
Body awaitReply(Qdx::Control::References& references) {
    const std::shared_ptr<ozo_msg> reply(ozo_receive(20'000), ozo_free);
    Body body;
    EXPECT_TRUE(reply && reply->msgno == Body::MESSAGE_NUMBER &&
                Qdx::Control::decode(bytesOf(reply.get()), references, body))
        << Body::descriptor()->name() << " didn't come";
    return body;
}

TEST_F(CollectorTest, ControlClientPullsInChunksWhatFrontendsSent) {
    using namespace qdxfilterctrli;
    startCollector();
    createFilter({"list count 100"});
    const Frontend frontend;
    Frontend::sendMetaData();
    const std::vector<unsigned char> record(60'000, 'r');
    for (int i = 0; i < 2; ++i) {
        BatchWriter batch(ozo_get_max_size());
        ASSERT_TRUE(batch.addRecord("net:event", "", record));
        Frontend::send(batch.take());
    }

    Qdx::Control::References references;
    ConnectionEstablishReq offer;
    offer.add_supported_revisions(protocolRevision);
    request(0, offer);
    EXPECT_EQ(awaitReply<ConnectionEstablishCfm>(references).selected_protocol_rev(), 1);
    PullFilterDataReq pull;
    pull.set_filter_name("11");
    request(references.connection, pull);
    FilterContentsRAck acknowledgement;
    acknowledgement.set_stream_id(awaitReply<PullFilterDataCfm>(references).stream_id());
    std::string contents;
    int chunks = 0;
    for (bool hasMoreData = true; hasMoreData && !HasFailure(); ++chunks) {
        const auto data = awaitReply<FilterContentsRData>(references);
        contents += data.data_chunk();
        hasMoreData = data.has_more_data();
        request(references.connection, acknowledgement);
    }
    EXPECT_EQ(chunks, 2);
    Qdx::InfoObjectCollections collections;
    ASSERT_TRUE(collections.ParseFromString(contents));
    const std::string text(record.begin(), record.end());
    EXPECT_THAT(collections.recordcollections(0).values(), testing::ElementsAre(text, text));
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

}  // namespace
