#include "tessel/ozoMessageSubscription.hpp"

#include <gmock/gmock.h>
#include <unistd.h>

#include <array>
#include <numeric>

#include "support/mailboxes.hpp"
#include "support/unitRoot.hpp"
#include "tessel/host.hpp"

namespace {

using namespace TestSupport;
using testing::ElementsAre;

constexpr std::uint32_t first = 0x1000;
constexpr std::uint32_t second = 0x1001;
constexpr std::uint32_t last = 0x1002;

class OzoMessageSubscriptionTest : public testing::Test {
protected:
    const UnitRoot unit;
    const Mailbox sender{"Sender"};
};

TEST_F(OzoMessageSubscriptionTest, DeliversMessagesToTheHandlerOfTheirNumberInOrder) {
    Record<std::uint32_t> firsts;
    Record<std::uint32_t> seconds;
    Receiver receiver;
    receiver.collect(first, firsts);
    receiver.collect(second, seconds);
    sendValue(receiver.id, first, 1);
    sendValue(receiver.id, second, 2);
    sendValue(receiver.id, first, 3);
    EXPECT_THAT(firsts.await(2), ElementsAre(1, 3));
    EXPECT_THAT(seconds.await(1), ElementsAre(2));
}

TEST_F(OzoMessageSubscriptionTest, FindsTheHandlerWhateverTheOrderOfAdding) {
    Record<std::uint32_t> record;
    Receiver receiver;
    for (const std::uint32_t number : {7U, 3U, 9U, 1U, 5U}) {
        receiver.handle(number, [&record](const std::shared_ptr<ozo_msg>& message) {
            record.add(message->msgno);
        });
    }
    for (const std::uint32_t number : {1U, 3U, 5U, 7U, 9U}) {
        sendValue(receiver.id, number, 0);
    }
    EXPECT_THAT(record.await(5), ElementsAre(1, 3, 5, 7, 9));
}

TEST_F(OzoMessageSubscriptionTest, RunsHandlersOnTheActiveObjectThatAddedThem) {
    std::promise<std::thread::id> called;
    Receiver receiver;
    receiver.handle(first, [&](const std::shared_ptr<ozo_msg>&) {
        called.set_value(std::this_thread::get_id());
    });
    sendValue(receiver.id, first, 0);
    EXPECT_EQ(await(called.get_future()),
              on(*receiver.object, [] { return std::this_thread::get_id(); }));
}

TEST_F(OzoMessageSubscriptionTest, LeavesAMessageToAHandlerThatKeepsIt) {
    Record<std::shared_ptr<ozo_msg>> kept;
    Receiver receiver;
    receiver.handle(first, [&kept](const std::shared_ptr<ozo_msg>& message) { kept.add(message); });
    sendValue(receiver.id, first, 42);
    const auto message = kept.await(1).front();
    EXPECT_EQ(valueOf(*message), 42U);
    EXPECT_EQ(ozo_sender(message.get()), sender.id);
}

TEST_F(OzoMessageSubscriptionTest, CountsMessagesWithoutAHandler) {
    Record<std::uint32_t> record;
    Receiver receiver;
    receiver.collect(last, record);
    sendValue(receiver.id, first, 1);
    sendValue(receiver.id, second, 2);
    sendValue(receiver.id, last, 3);
    record.await(1);
    EXPECT_EQ(on(*receiver.object, [] { return Receiver::service().getUnhandled(); }), 2U);
}

TEST_F(OzoMessageSubscriptionTest, DeliversWhatCameBeforeTheMailboxWasWatched) {
    Record<std::uint32_t> record;
    const auto object = makeActiveObject();
    const auto id = on(*object, [] { return ozo_create_mailbox("Late", 0); });
    sendValue(id, first, 1);
    on(*object, [&record] {
        Receiver::service().addHandler(first, [&record](const std::shared_ptr<ozo_msg>& message) {
            record.add(valueOf(*message));
        });
        return Receiver::service().addMailbox(ozo_get_fd());
    });
    EXPECT_THAT(record.await(1), ElementsAre(1));
}

TEST_F(OzoMessageSubscriptionTest, RefusesAThreadWithoutAnActiveObject) {
    EXPECT_NE(Receiver::service().addMailbox(ozo_get_fd()), 0);
    EXPECT_NE(Receiver::service().addHandler(first, [](const std::shared_ptr<ozo_msg>&) {}), 0);
    EXPECT_EQ(Receiver::service().getUnhandled(), 0U);
}

TEST_F(OzoMessageSubscriptionTest, RefusesASecondHandlerForANumber) {
    Record<std::uint32_t> record;
    Receiver receiver;
    EXPECT_EQ(receiver.collect(first, record), 0);
    EXPECT_NE(receiver.handle(first, [](const std::shared_ptr<ozo_msg>&) {}), 0);
    sendValue(receiver.id, first, 1);
    EXPECT_THAT(record.await(1), ElementsAre(1));
}

TEST_F(OzoMessageSubscriptionTest, RefusesAnEmptyHandler) {
    Receiver receiver;
    EXPECT_NE(receiver.handle(first, nullptr), 0);
}

TEST_F(OzoMessageSubscriptionTest, KeepsTheHandlersOfTwoActiveObjectsApart) {
    Record<std::uint32_t> ones;
    Record<std::uint32_t> others;
    Receiver one("One");
    Receiver other("Other");
    EXPECT_EQ(one.collect(first, ones), 0);
    EXPECT_EQ(other.collect(first, others), 0);
    sendValue(one.id, first, 1);
    sendValue(other.id, first, 2);
    EXPECT_THAT(ones.await(1), ElementsAre(1));
    EXPECT_THAT(others.await(1), ElementsAre(2));
}

TEST_F(OzoMessageSubscriptionTest, RefusesADescriptorThatIsNotTheMailboxs) {
    const auto object = makeActiveObject();
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    EXPECT_NE(on(*object, [] { return Receiver::service().addMailbox(-1); }), 0);
    EXPECT_NE(on(*object, [&] { return Receiver::service().addMailbox(pipe[0]); }), 0);
    close(pipe[0]);
    close(pipe[1]);
}

TEST_F(OzoMessageSubscriptionTest, RefusesAMailboxThatIsWatchedAlready) {
    Receiver receiver;
    EXPECT_NE(on(*receiver.object, [] { return Receiver::service().addMailbox(ozo_get_fd()); }), 0);
}

TEST_F(OzoMessageSubscriptionTest, LetsAHandlerAddHandlers) {
    Record<std::uint32_t> record;
    Receiver receiver;
    receiver.handle(second, [&](const std::shared_ptr<ozo_msg>& message) {
        for (std::uint32_t number = 0; number < 100; ++number) {
            Receiver::service().addHandler(number, [](const std::shared_ptr<ozo_msg>&) {});
        }
        record.add(valueOf(*message));
    });
    sendValue(receiver.id, second, 1);
    sendValue(receiver.id, second, 2);
    EXPECT_THAT(record.await(2), ElementsAre(1, 2));
}

TEST_F(OzoMessageSubscriptionTest, EndsQuietlyWhenAHandlerDeletesTheMailbox) {
    Event deleted;
    Receiver receiver;
    receiver.handle(first, [&](const std::shared_ptr<ozo_msg>&) {
        ozo_delete_mailbox(receiver.id);
        deleted.happen();
    });
    sendValue(receiver.id, first, 1);
    sendValue(receiver.id, first, 2);
    deleted.await();
    EXPECT_EQ(on(*receiver.object, [] { return ozo_get_fd(); }), -1);
}

TEST_F(OzoMessageSubscriptionTest, WatchesAMailboxMadeAfterAHandlerDeletedTheFormerOne) {
    Event deleted;
    Record<std::uint32_t> record;
    Receiver receiver;
    receiver.collect(second, record);
    receiver.handle(first, [&](const std::shared_ptr<ozo_msg>&) {
        ozo_delete_mailbox(receiver.id);
        deleted.happen();
    });
    sendValue(receiver.id, first, 1);
    deleted.await();
    const auto id = on(*receiver.object, [] { return Receiver::open("Again"); });
    ASSERT_NE(id, OZO_NO_MAILBOX);
    sendValue(id, second, 5);
    EXPECT_THAT(record.await(1), ElementsAre(5));
}

TEST_F(OzoMessageSubscriptionTest, WatchesAMailboxMadeAfterAPostedFunctionDeletedTheFormerOne) {
    Record<std::uint32_t> record;
    Receiver receiver;
    receiver.collect(second, record);
    on(*receiver.object, [&] { return ozo_delete_mailbox(receiver.id); });
    const auto id = on(*receiver.object, [] { return Receiver::open("Again"); });
    ASSERT_NE(id, OZO_NO_MAILBOX);
    sendValue(id, second, 5);
    EXPECT_THAT(record.await(1), ElementsAre(5));
}

TEST_F(OzoMessageSubscriptionTest, LeavesMessagesUnhandledThatWaitWhenItsActiveObjectEnds) {
    constexpr std::uint32_t flood = 500;
    Event sent;
    Record<std::uint32_t> record;
    auto receiver = std::make_unique<Receiver>();
    const auto id = receiver->id;
    receiver->collect(first, record);
    auto held = std::make_shared<std::shared_ptr<ActiveObjectIf>>(receiver->object);
    (*held)->runOnActiveObject([&, held] {
        sent.await();
        held->reset();
    });
    receiver.reset();
    for (std::uint32_t i = 0; i < flood; ++i) {
        sendValue(id, first, i);
    }
    sent.happen();
    EXPECT_TRUE(Tessel::Host::V1::Host().finish(deadline));
    EXPECT_LT(record.get().size(), flood);
    EXPECT_EQ(ozo_locate("Receiver"), OZO_NO_MAILBOX);
}

TEST_F(OzoMessageSubscriptionTest, LetsPostedFunctionsInWhileMessagesFloodIn) {
    constexpr std::uint32_t flood = 300;
    Event sent;
    Record<std::uint32_t> record;
    std::promise<std::size_t> handledBefore;
    Receiver receiver;
    receiver.handle(first, [&](const std::shared_ptr<ozo_msg>& message) {
        sent.await();
        record.add(valueOf(*message));
        if (valueOf(*message) == 0) {
            receiver.object->runOnActiveObject(
                [&] { handledBefore.set_value(record.get().size()); });
        }
    });
    for (std::uint32_t i = 0; i < flood; ++i) {
        sendValue(receiver.id, first, i);
    }
    sent.happen();
    EXPECT_LT(await(handledBefore.get_future()), flood);
    std::vector<std::uint32_t> all(flood);
    std::iota(all.begin(), all.end(), 0U);
    EXPECT_EQ(record.await(flood), all);
}

// A message can be expensive: its time counts then, not its number.
TEST_F(OzoMessageSubscriptionTest, LetsPostedFunctionsInAfterOneMessageThatTakesLong) {
    constexpr std::uint32_t flood = 10;
    constexpr auto handlingTime = std::chrono::milliseconds(5);
    Event sent;
    Record<std::uint32_t> record;
    std::promise<std::size_t> handledBefore;
    Receiver receiver;
    receiver.handle(first, [&](const std::shared_ptr<ozo_msg>& message) {
        sent.await();
        std::this_thread::sleep_for(handlingTime);
        record.add(valueOf(*message));
        if (valueOf(*message) == 0) {
            receiver.object->runOnActiveObject(
                [&] { handledBefore.set_value(record.get().size()); });
        }
    });
    for (std::uint32_t i = 0; i < flood; ++i) {
        sendValue(receiver.id, first, i);
    }
    sent.happen();
    EXPECT_EQ(await(handledBefore.get_future()), 1U);
    record.await(flood);
}

}  // namespace
