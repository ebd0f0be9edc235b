// Connections over real mailboxes, against a collector that the test plays.
#include <gmock/gmock.h>
#include <poll.h>

#include <cstdlib>
#include <map>
#include <numeric>
#include <system_error>

#include "allocationCounter.hpp"
#include "fakeCollector.hpp"
#include "qdx/frontend.hpp"

namespace Qdx::Frontend {
namespace {

using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using namespace std::chrono_literals;

constexpr char ownName[] = "TestFrontend";

class ConnectionTest : public ::testing::Test {
public:
    ~ConnectionTest() override { ::unsetenv("OZO_MAX_SIZE"); }

    // The smallest that a unit may set: a batch is full soon.
    static void useSmallMessages() { ::setenv("OZO_MAX_SIZE", "1024", 1); }

    // Does what a collector and poll() do until batches may flow.
    static void connect(Connection& connection, FakeCollector& collector) {
        connection.poll();
        collector.confirm();
        connection.poll();
        ASSERT_EQ(connection.state(), State::Connected);
    }

    static bool isReadable(const Connection& connection) {
        pollfd asked{.fd = connection.descriptor(), .events = POLLIN, .revents = 0};
        return ::poll(&asked, 1, 0) == 1;
    }

    OzoTest::TemporaryUnit unit;
};

// --- The way to the collector ------------------------------------------------------------------

TEST_F(ConnectionTest, SeeksUntilACollectorIsThere) {
    Connection connection(ownName);
    connection.poll();
    EXPECT_EQ(connection.state(), State::Seeking);
    FakeCollector collector;
    ASSERT_TRUE(connection.nextDeadline().has_value());
    connection.poll(*connection.nextDeadline() - 1ns);
    EXPECT_EQ(connection.state(), State::Seeking);
    connection.poll(*connection.nextDeadline());
    EXPECT_EQ(connection.state(), State::Asking);
}

TEST_F(ConnectionTest, DeliversMetaDataOnceItIsConfirmed) {
    FakeCollector collector;
    Connection connection(ownName, {.swProductNumber = "CXP1", .hwName = ""});
    connect(connection, collector);
    const RadioMetaData metaData = collector.metaData();
    EXPECT_EQ(metaData.swproductnumber(), "CXP1");
    EXPECT_TRUE(metaData.has_hwname());
    EXPECT_FALSE(metaData.has_swproductrevision());
    EXPECT_TRUE(collector.nothingWaits());
}

TEST_F(ConnectionTest, DeliversNoMetaDataWithoutAny) {
    FakeCollector collector;
    Connection connection(ownName);
    connect(connection, collector);
    EXPECT_TRUE(collector.nothingWaits());
    EXPECT_EQ(connection.nextDeadline(), std::nullopt);
}

TEST_F(ConnectionTest, AsksAgainIfTheCollectorDoesNotAnswerInTime) {
    FakeCollector collector;
    Connection connection(ownName);
    connection.poll();
    connection.poll(*connection.nextDeadline() - 1ns);
    EXPECT_EQ(collector.ignoreRequests(), 1u);
    connection.poll(*connection.nextDeadline());
    collector.confirm();
    connection.poll();
    EXPECT_EQ(connection.state(), State::Connected);
}

TEST_F(ConnectionTest, TakesAnAnswerToTheLastRequestOnly) {
    FakeCollector collector;
    Connection connection(ownName);
    connection.poll();
    connection.poll(*connection.nextDeadline());
    collector.confirm();
    connection.poll();
    EXPECT_EQ(connection.state(), State::Asking);
    collector.confirm();
    connection.poll();
    EXPECT_EQ(connection.state(), State::Connected);
}

TEST_F(ConnectionTest, HandlesFollowAConnectionThatIsMoved) {
    FakeCollector collector;
    Connection connection(ownName);
    const Counter counter(connection, "a");
    connect(connection, collector);
    Connection moved = std::move(connection);
    counter.add(1);
    EXPECT_TRUE(moved.flush());
    EXPECT_THAT(collector.batch().counters, SizeIs(1));
}

TEST_F(ConnectionTest, SendsNothingToACollectorThatRefuses) {
    FakeCollector collector;
    Connection connection(ownName, {.hwName = "radio"});
    const Counter counter(connection, "a");
    connection.poll();
    collector.reject();
    counter.add(1);
    connection.poll();
    EXPECT_EQ(connection.state(), State::Refused);
    EXPECT_FALSE(connection.flush());
    EXPECT_TRUE(collector.nothingWaits());
    EXPECT_EQ(connection.nextDeadline(), std::nullopt);
}

TEST_F(ConnectionTest, StartsOverWithMetaDataWhenTheCollectorRestarts) {
    std::optional<FakeCollector> collector(std::in_place);
    std::vector<State> states;
    Connection connection(ownName, {.hwName = "radio"},
                          {.onStateChange = [&states](State state) { states.push_back(state); }});
    const Counter counter(connection, "a");
    connect(connection, *collector);
    EXPECT_EQ(collector->metaData().hwname(), "radio");

    collector.reset();
    ASSERT_TRUE(isReadable(connection));
    connection.poll();
    EXPECT_EQ(connection.state(), State::Seeking);
    counter.add(5);
    EXPECT_FALSE(connection.flush());

    collector.emplace();
    connection.poll(*connection.nextDeadline());
    collector->confirm();
    connection.poll();
    EXPECT_EQ(collector->metaData().hwname(), "radio");
    EXPECT_TRUE(connection.flush());
    EXPECT_THAT(collector->batch().counters, ElementsAre(Item{"a", 5}));
    EXPECT_THAT(states, ElementsAre(State::Asking, State::Connected, State::Seeking, State::Asking,
                                    State::Connected));
    EXPECT_EQ(connection.statistics().connections, 2u);
}

TEST_F(ConnectionTest, FindsACollectorThatReplacedOneThatRefused) {
    std::optional<FakeCollector> collector(std::in_place);
    Connection connection(ownName);
    connection.poll();
    collector->reject();
    connection.poll();
    collector.reset();
    collector.emplace();
    connect(connection, *collector);
}

TEST_F(ConnectionTest, RefusesANameThatAnotherFrontendHas) {
    const OzoTest::MailboxThread other(ownName);
    try {
        const Connection connection(ownName);
        FAIL() << "it was created";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::address_in_use);
        EXPECT_THAT(error.what(), ::testing::HasSubstr(ownName));
    }
}

TEST_F(ConnectionTest, IsTheOnlyOneOfItsThread) {
    const Connection connection(ownName);
    try {
        const Connection second("SecondFrontend");
        FAIL() << "it was created";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::connection_already_in_progress);
    }
}

TEST_F(ConnectionTest, RefusesMetaDataLargerThanAMessage) {
    useSmallMessages();
    EXPECT_THROW(Connection(ownName, {.hwName = std::string(800, 'x')}), std::length_error);
    EXPECT_NO_THROW(Connection(ownName, {.hwName = std::string(700, 'x')}));
}

// --- Samples -----------------------------------------------------------------------------------

TEST_F(ConnectionTest, CarriesSamplesOfEachKind) {
    FakeCollector collector;
    Connection connection(ownName);
    connect(connection, collector);
    const Measurement measurement(connection, "m", "rfBranch=1");
    const Counter counter(connection, "c");
    const Record record(connection, "r", "carrierId=7,dfeId=-1");
    measurement.add(-5);
    counter.add(7);
    measurement.add(6);
    EXPECT_TRUE(record.add(std::vector<unsigned char>{'a', 0, 'b'}));
    EXPECT_TRUE(connection.flush());
    const Batch batch = collector.batch();
    EXPECT_THAT(batch.measurements, ElementsAre(Item{"m rfBranch=1", -5}, Item{"m rfBranch=1", 6}));
    EXPECT_THAT(batch.counters, ElementsAre(Item{"c", 7}));
    EXPECT_THAT(batch.records,
                ElementsAre(Item{"r carrierId=7,dfeId=-1", 0, std::string("a\0b", 3)}));
    EXPECT_TRUE(collector.nothingWaits());
}

TEST_F(ConnectionTest, RefusesNamesAndContextsThatTheCollectorCannotRead) {
    Connection connection(ownName);
    EXPECT_THROW(Measurement(connection, ""), std::invalid_argument);
    EXPECT_THROW(Counter(connection, "a b"), std::invalid_argument);
    EXPECT_THROW(Record(connection, "a", "rfBranch=1 "), std::invalid_argument);
    EXPECT_THROW(Record(connection, "a", "rfbranch=1"), std::invalid_argument);
    EXPECT_THROW(Counter(connection, "a", "colour=1"), std::invalid_argument);
}

TEST_F(ConnectionTest, HandlesOfOneCounterShareWhatWasDropped) {
    useSmallMessages();
    Connection connection(ownName, {}, {.queuedBatches = 1});
    const Counter first(connection, "a");
    const Counter second(connection, "a");
    const Counter other(connection, "b");
    std::int64_t added = 0;
    while (connection.statistics().notConnected.batches == 0) {
        first.add(1);
        ++added;
    }
    second.add(0);
    other.add(0);
    FakeCollector collector;
    connection.poll(*connection.nextDeadline());
    collector.confirm();
    connection.poll();
    EXPECT_TRUE(connection.flush());
    std::map<std::string, std::int64_t> totals;
    for (const Batch& batch : collector.batches()) {
        for (const Item& item : batch.counters) {
            totals[item.key] += item.value;
        }
    }
    EXPECT_EQ(totals, (std::map<std::string, std::int64_t>{{"a", added}, {"b", 0}}));
}

}  // namespace
}  // namespace Qdx::Frontend
