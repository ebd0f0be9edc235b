#include "tessel/ozoMailboxMonitor.hpp"

#include <gmock/gmock.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>

#include "support/mailboxes.hpp"
#include "support/unitRoot.hpp"

namespace {

using namespace TestSupport;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

constexpr std::uint32_t message = 0x1000;
// The number that tells of a mailbox gone.
constexpr std::uint32_t goneNumber = 0x54534C4D;

auto& monitor() {
    return Tessel::OzoMailboxMonitor::V1::OzoMailboxMonitorIf::getInstance();
}

// A mailbox on a thread of its own, which goes with this object.
class Peer {
public:
    explicit Peer(const std::string& name)
        : object_(makeActiveObject()),
          id(on(*object_, [name] { return ozo_create_mailbox(name.c_str(), 0); })) {}

    void send(std::uint32_t to, std::uint32_t number, std::uint32_t value) {
        on(*object_, [=] {
            sendValue(to, number, value);
            return 0;
        });
    }
    void remove() {
        on(*object_, [this] { return ozo_delete_mailbox(id); });
    }

private:
    const std::shared_ptr<ActiveObjectIf> object_;

public:
    const std::uint32_t id;
};

class OzoMailboxMonitorTest : public testing::Test {
protected:
    // What was told, in its order.
    std::function<void(std::uint32_t)> note() {
        return [this](std::uint32_t mailbox) { gone.add(mailbox); };
    }
    int ask(const Receiver& asker, std::uint32_t mailbox) {
        return on(*asker.object, [=, this] { return monitor().monitorMailbox(mailbox, note()); });
    }

    const UnitRoot unit;
    Record<std::uint32_t> gone;
};

TEST_F(OzoMailboxMonitorTest, TellsThatAMailboxWasDeleted) {
    Receiver receiver;
    Peer peer("Peer");
    EXPECT_EQ(ask(receiver, peer.id), 0);
    EXPECT_TRUE(gone.get().empty());
    peer.remove();
    EXPECT_THAT(gone.await(1), ElementsAre(peer.id));
}

TEST_F(OzoMailboxMonitorTest, TellsThatAThreadEndedWithItsMailbox) {
    Receiver receiver;
    auto peer = std::make_unique<Peer>("Peer");
    const auto id = peer->id;
    EXPECT_EQ(ask(receiver, id), 0);
    peer.reset();
    EXPECT_THAT(gone.await(1), ElementsAre(id));
}

TEST_F(OzoMailboxMonitorTest, TellsThatAProcessWasKilled) {
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    const pid_t child = fork();
    if (child == 0) {
        const std::uint32_t id = ozo_create_mailbox("Victim", 0);
        const auto written = write(pipe[1], &id, sizeof id);
        while (written == sizeof id) {
            pause();
        }
        _exit(1);
    }
    std::uint32_t id = 0;
    ASSERT_EQ(read(pipe[0], &id, sizeof id), ssize_t{sizeof id});
    Receiver receiver;
    EXPECT_EQ(ask(receiver, id), 0);
    kill(child, SIGKILL);
    EXPECT_THAT(gone.await(1), ElementsAre(id));
    waitpid(child, nullptr, 0);
    close(pipe[0]);
    close(pipe[1]);
}

TEST_F(OzoMailboxMonitorTest, TellsAtOnceOfAMailboxThatIsGoneAlready) {
    Receiver receiver;
    Peer peer("Peer");
    peer.remove();
    EXPECT_EQ(ask(receiver, peer.id), 0);
    EXPECT_THAT(gone.await(1), ElementsAre(peer.id));
}

TEST_F(OzoMailboxMonitorTest, CallsOnTheActiveObjectThatAsked) {
    std::promise<std::thread::id> called;
    Receiver receiver;
    Peer peer("Peer");
    on(*receiver.object, [&] {
        return monitor().monitorMailbox(
            peer.id, [&](std::uint32_t) { called.set_value(std::this_thread::get_id()); });
    });
    peer.remove();
    EXPECT_EQ(await(called.get_future()),
              on(*receiver.object, [] { return std::this_thread::get_id(); }));
}

TEST_F(OzoMailboxMonitorTest, CallsOnAnActiveObjectWithoutAMailboxToo) {
    std::promise<std::thread::id> called;
    const auto object = makeActiveObject();
    Peer peer("Peer");
    EXPECT_EQ(on(*object,
                 [&] {
                     return monitor().monitorMailbox(peer.id, [&](std::uint32_t) {
                         called.set_value(std::this_thread::get_id());
                     });
                 }),
              0);
    peer.remove();
    EXPECT_EQ(await(called.get_future()), on(*object, [] { return std::this_thread::get_id(); }));
}

TEST_F(OzoMailboxMonitorTest, CallsOnAThreadOfItsOwnForOneWithoutAnActiveObject) {
    std::promise<std::thread::id> called;
    Peer peer("Peer");
    EXPECT_EQ(monitor().monitorMailbox(
                  peer.id, [&](std::uint32_t) { called.set_value(std::this_thread::get_id()); }),
              0);
    peer.remove();
    EXPECT_NE(await(called.get_future()), std::this_thread::get_id());
}

TEST_F(OzoMailboxMonitorTest, LetsACallbackOfTheServiceThreadAskAgain) {
    Peer one("One");
    Peer other("Other");
    other.remove();
    monitor().monitorMailbox(one.id, [&](std::uint32_t mailbox) {
        gone.add(mailbox);
        monitor().monitorMailbox(other.id, note());
    });
    one.remove();
    EXPECT_THAT(gone.await(2), ElementsAre(one.id, other.id));
}

TEST_F(OzoMailboxMonitorTest, CallsEverybodyWhoAskedForAMailbox) {
    Receiver receiver;
    Peer peer("Peer");
    ask(receiver, peer.id);
    ask(receiver, peer.id);
    peer.remove();
    EXPECT_THAT(gone.await(2), ElementsAre(peer.id, peer.id));
}

TEST_F(OzoMailboxMonitorTest, CallsOnceForEachRequest) {
    Receiver receiver;
    Peer peer("Peer");
    Peer other("Other");
    ask(receiver, peer.id);
    peer.remove();
    gone.await(1);
    ask(receiver, other.id);
    other.remove();
    EXPECT_THAT(gone.await(2), ElementsAre(peer.id, other.id));
}

TEST_F(OzoMailboxMonitorTest, LetsACallbackAskForTheSameMailboxAgain) {
    Receiver receiver;
    Peer peer("Peer");
    on(*receiver.object, [&] {
        return monitor().monitorMailbox(peer.id, [&](std::uint32_t mailbox) {
            gone.add(mailbox);
            monitor().monitorMailbox(mailbox, note());
        });
    });
    peer.remove();
    EXPECT_THAT(gone.await(2), ElementsAre(peer.id, peer.id));
}

TEST_F(OzoMailboxMonitorTest, TellsAfterTheLastMessagesOfASenderThatIsGone) {
    Receiver receiver;
    receiver.handle(message, [this](const std::shared_ptr<ozo_msg>& received) {
        gone.add(valueOf(*received));
        if (valueOf(*received) == 1) {
            monitor().monitorMailbox(ozo_sender(received.get()), note());
        }
    });
    Peer peer("Peer");
    peer.send(receiver.id, message, 1);
    gone.await(1);
    for (std::uint32_t i = 2; i <= 4; ++i) {
        peer.send(receiver.id, message, i);
    }
    peer.remove();
    EXPECT_THAT(gone.await(5), ElementsAre(1, 2, 3, 4, peer.id));
}

TEST_F(OzoMailboxMonitorTest, RefusesAnEmptyCallback) {
    EXPECT_NE(monitor().monitorMailbox(1, nullptr), 0);
}

TEST_F(OzoMailboxMonitorTest, IgnoresNewsThatAPeerMakesUp) {
    Receiver receiver;
    receiver.collect(message, gone);
    Peer peer("Peer");
    Peer liar("Liar");
    ask(receiver, peer.id);
    liar.send(receiver.id, goneNumber, peer.id);
    liar.send(receiver.id, message, 1);
    EXPECT_THAT(gone.await(1), ElementsAre(1));
    peer.remove();
    EXPECT_THAT(gone.await(2), ElementsAre(1, peer.id));
}

TEST_F(OzoMailboxMonitorTest, NewsThatAPeerMakesUpTakesNoMemory) {
    // One heap for all threads, since only that one is counted.
    mallopt(M_ARENA_MAX, 1);
    Receiver receiver;
    receiver.collect(message, gone);
    Peer liar("Liar");
    const auto lieAndAwait = [&](std::uint32_t round) {
        for (int i = 0; i < 100; ++i) {
            liar.send(receiver.id, goneNumber, liar.id);
        }
        liar.send(receiver.id, message, round);
        gone.await(round);
    };
    lieAndAwait(1);
    const auto before = mallinfo2().uordblks;
    for (std::uint32_t round = 2; round <= 100; ++round) {
        lieAndAwait(round);
    }
    EXPECT_LT(mallinfo2().uordblks, before + 100'000);
}

TEST_F(OzoMailboxMonitorTest, ForgetsWhatWasAskedThroughAMailboxThatIsDeleted) {
    Receiver receiver;
    Peer peer("Peer");
    ask(receiver, peer.id);
    on(*receiver.object, [&] { return ozo_delete_mailbox(receiver.id); });
    on(*receiver.object, [] { return Receiver::open("Again"); });
    ask(receiver, peer.id);
    peer.remove();
    Peer other("Other");
    other.remove();
    ask(receiver, other.id);
    EXPECT_THAT(gone.await(2), UnorderedElementsAre(peer.id, other.id));
}

}  // namespace
