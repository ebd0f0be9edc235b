// How a connection finds the collector, loses it and finds the next one.
#include <gmock/gmock.h>

#include <sys/time.h>
#include <csignal>
#include <cstring>
#include <future>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "allocationCounter.hpp"
#include "connectionFixture.hpp"
#include "frontendMessages.hpp"

namespace Qdx::Frontend {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;
using namespace std::chrono_literals;

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

// Callers subtract the time from it.
TEST_F(ConnectionTest, WantsToSeekAtOnceAtATimeThatCanBeCountedFrom) {
    const Connection connection(ownName);
    const auto deadline = connection.nextDeadline();
    ASSERT_TRUE(deadline.has_value());
    EXPECT_LE(*deadline - Clock::now(), 0s);
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

// --- Peers that lie ----------------------------------------------------------------------------

class ConnectionAmongStrangersTest : public ConnectionTest {
protected:
    void say(const V1::MessageBytes& message) {
        const std::uint32_t frontend = ozo_locate(ownName);
        stranger.run([&] { ozo_send(V1::toOzoMessage(message), frontend, OZO_MY_MAILBOX); });
    }

    OzoTest::MailboxThread stranger{"Stranger"};
};

TEST_F(ConnectionAmongStrangersTest, TakesAnswersOfTheCollectorOnly) {
    FakeCollector collector;
    Connection connection(ownName);
    connection.poll();
    V1::MessageBytes reply;
    V1::appendHeader(reply, V1::beConnectionCfm, {.procedure = 1, .connection = 1});
    V1::appendUint32(reply, 1);
    say(reply);
    connection.poll();
    EXPECT_EQ(connection.state(), State::Asking);
}

TEST_F(ConnectionAmongStrangersTest, BelievesOnlyItsOwnMailboxThatTheCollectorIsGone) {
    FakeCollector collector;
    Connection connection(ownName);
    connect(connection, collector);
    const std::uint32_t mailbox = ozo_locate(V1::collectorMailbox);
    for (std::uint32_t number = 0; number < 16; ++number) {
        V1::MessageBytes notice(8);
        std::memcpy(notice.data(), &number, sizeof(number));
        std::memcpy(&notice[4], &mailbox, sizeof(mailbox));
        say(notice);
    }
    connection.poll();
    EXPECT_EQ(connection.state(), State::Connected);
}

TEST_F(ConnectionAmongStrangersTest, HandlesAFloodInPieces) {
    Connection connection(ownName);
    for (std::uint32_t number = 0; number < 100; ++number) {
        say(V1::MessageBytes(4));
    }
    connection.poll();
    EXPECT_TRUE(isReadable(connection));
    connection.poll();
    EXPECT_FALSE(isReadable(connection));
}

// --- Without an event loop ---------------------------------------------------------------------

TEST_F(ConnectionTest, DrainWaitsForACollectorThatTakesAll) {
    FakeCollector collector;
    Connection connection(ownName, {.hwName = "radio"});
    const Counter counter(connection, "a");
    counter.add(1);
    auto batches = std::async(std::launch::async, [&] { return collector.serve(1); });
    EXPECT_TRUE(connection.drain(20s));
    EXPECT_THAT(batches.get(), SizeIs(1));
}

TEST_F(ConnectionTest, DrainGivesUpWhenItsPatienceEnds) {
    Connection connection(ownName);
    const Counter counter(connection, "a");
    counter.add(1);
    const auto begin = Clock::now();
    EXPECT_FALSE(connection.drain(20ms));
    EXPECT_GE(Clock::now() - begin, 20ms);
}

TEST_F(ConnectionTest, DrainOfNothingNeedsNoCollector) {
    Connection connection(ownName);
    EXPECT_TRUE(connection.drain(0s));
}

TEST_F(ConnectionTest, ServesUntilTheGivenTime) {
    Connection connection(ownName, {}, {.retryPeriod = 1ms});
    const auto end = Clock::now() + 20ms;
    connection.serveUntil(end);
    EXPECT_GE(Clock::now(), end);
}

TEST_F(ConnectionTest, ServesTheConnectionMeanwhile) {
    FakeCollector collector;
    Connection connection(ownName, {}, {.batchAge = 1ms});
    const Counter counter(connection, "a");
    counter.add(1);
    // The last of the two lets the loop end: it was sent by age after the first had been taken.
    auto batches = std::async(std::launch::async, [&] { return collector.serve(2); });
    while (connection.statistics().sentBatches < 2) {
        connection.serveUntil(Clock::now() + 2ms);
        counter.add(1);
    }
    EXPECT_THAT(batches.get(), SizeIs(2));
}

TEST_F(ConnectionTest, SignalEndsServingEarly) {
    Connection connection(ownName);
    const auto previous = ::signal(SIGALRM, [](int) {});
    // Again and again, in case that the first comes before the wait.
    const itimerval soon{.it_interval = {.tv_sec = 0, .tv_usec = 10'000},
                         .it_value = {.tv_sec = 0, .tv_usec = 10'000}};
    ::setitimer(ITIMER_REAL, &soon, nullptr);
    const auto end = Clock::now() + 60s;
    connection.serveUntil(end);
    EXPECT_LT(Clock::now(), end);
    const itimerval never{};
    ::setitimer(ITIMER_REAL, &never, nullptr);
    ::signal(SIGALRM, previous);
}

// --- Out of memory -----------------------------------------------------------------------------

TEST_F(ConnectionTest, ConstructionThatMemoryRefusesLeavesNothing) {
    for (std::size_t failing = 0;; ++failing) {
        AllocationFault fault(failing);
        try {
            const Connection connection(ownName, {.hwName = "radio"});
            ASSERT_FALSE(fault.hasFailed()) << "of allocation " << failing;
            EXPECT_GT(failing, 0u);
            return;
        } catch (const std::bad_alloc&) {
        } catch (const std::system_error& error) {
            EXPECT_EQ(error.code(), std::errc::not_enough_memory);
        }
        EXPECT_EQ(ozo_get_fd(), -1);
    }
}

TEST_F(ConnectionTest, FindsTheCollectorWhateverAllocationFails) {
    for (std::size_t failing = 0;; ++failing) {
        FakeCollector collector;
        Connection connection(ownName, {.hwName = "radio"});
        bool failed = false;
        {
            const AllocationFault fault(failing);
            EXPECT_NO_THROW(connection.poll());
            failed = fault.hasFailed();
        }
        if (connection.state() == State::Seeking) {
            connection.poll(*connection.nextDeadline());
        }
        collector.confirm();
        connection.poll();
        EXPECT_EQ(connection.state(), State::Connected) << failing;
        if (!failed) {
            EXPECT_GT(failing, 0u);
            return;
        }
    }
}

}  // namespace
}  // namespace Qdx::Frontend
