// Peers that break the rules: they lose their connection, and nobody else notices.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <list>
#include <random>

#include "connection.hpp"
#include "frame.hpp"
#include "mailbox.hpp"
#include "ozo.h"
#include "ozoTestSupport.hpp"

namespace {

using namespace OzoTest;
using Ozo::frameProtocol;

// False if this process may not.
bool becomeAnotherUser() {
    const uid_t before = ::geteuid();
    return ::setgid(65534) == 0 && ::setuid(65534) == 0 && ::geteuid() != before;
}

// All in one thread: what a raw peer sends is there for the mailbox as soon as send returns.
class HostilePeer : public ::testing::Test {
protected:
    void TearDown() override { ozo_delete_mailbox(own); }

    void create() { own = ozo_create_mailbox("Receiver", 0); }

    void expectRefused(const std::vector<std::byte>& datagram) {
        const std::uint64_t before = ozo_get_drops().bad_peers;
        const RawPeer peer(unit, own);
        peer.send(datagram);
        EXPECT_EQ(receiveNow(), nullptr);
        EXPECT_TRUE(peer.isHungUp());
        EXPECT_EQ(ozo_get_drops().bad_peers, before + 1);
    }

    void openToAll() const {
        for (const char* folder : {"../..", "..", "", "mbox"})
            ::chmod(unit.folder(folder).c_str(), 0755);
        ::chmod(unit.socketFile(own).c_str(), 0666);
    }

    void expectServes(MailboxThread& peer) {
        peer.run([this] { sendText(own, 1, "still here"); });
        EXPECT_EQ(textOf(receive()), "still here");
    }

    TemporaryUnit unit;
    std::uint32_t own = OZO_NO_MAILBOX;
};

TEST_F(HostilePeer, LosesItsConnectionForWhatIsNoFrame) {
    create();
    MailboxThread honest("Honest");
    const std::uint32_t id = honest.id();
    expectRefused(std::vector<std::byte>(1));
    expectRefused(std::vector<std::byte>(11));
    expectRefused(std::vector<std::byte>(64));
    expectRefused(frame(frameProtocol + 1, id, 1));
    expectRefused(frame(frameProtocol, 0, 1));
    expectRefused(frame(frameProtocol, OZO_NO_MAILBOX, 1));
    expectRefused(frame(frameProtocol, OZO_MY_MAILBOX, 1));
    expectRefused(frame(frameProtocol, id, 1, Ozo::maxMessageSize - 4 + 1));
    expectServes(honest);
}

TEST_F(HostilePeer, LosesItsConnectionForAnEmptyDatagram) {
    create();
    const RawPeer peer(unit, own);
    peer.send({});
    EXPECT_EQ(receiveNow(), nullptr);
    EXPECT_TRUE(peer.isHungUp());
}

TEST_F(HostilePeer, MayNotChangeItsSender) {
    create();
    const MailboxThread one("One");
    const MailboxThread two("Two");
    const RawPeer peer(unit, own);
    peer.send(frame(frameProtocol, one.id(), 1));
    peer.send(frame(frameProtocol, two.id(), 2));
    EXPECT_EQ(receiveNow()->msgno, 1U);
    EXPECT_EQ(receiveNow(), nullptr);
    EXPECT_TRUE(peer.isHungUp());
    EXPECT_EQ(ozo_get_drops().bad_peers, 1U);
}

// A mailbox that was connected to answers as nobody else, either.
TEST_F(HostilePeer, MayNotAnswerAsAnotherThanItWasAskedAs) {
    create();
    const MailboxThread another("Another");
    const std::uint32_t asked = own ^ 1U;
    const int listener = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    unit.socketFile(asked).copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(listener, 1), 0);
    sendText(asked, 1, "");
    const int connection = ::accept(listener, nullptr, nullptr);
    const auto answer = frame(frameProtocol, another.id(), 2);
    ASSERT_EQ(::send(connection, answer.data(), answer.size(), 0), 12);
    EXPECT_EQ(receiveNow(), nullptr);
    EXPECT_EQ(ozo_get_drops().bad_peers, 1U);
    ::close(connection);
    ::close(listener);
}

TEST_F(HostilePeer, KeepsWhatItSentBeforeItBrokeTheRules) {
    create();
    const MailboxThread honest("Honest");
    const RawPeer peer(unit, own);
    peer.send(frame(frameProtocol, honest.id(), 1));
    peer.send(std::vector<std::byte>(5));
    peer.send(frame(frameProtocol, honest.id(), 2));
    EXPECT_EQ(receiveNow()->msgno, 1U);
    EXPECT_EQ(receiveNow(), nullptr);
    EXPECT_EQ(ozo_get_drops().bad_peers, 1U);
}

TEST_F(HostilePeer, HarmsNobodyByConnectingInSilence) {
    create();
    MailboxThread honest("Honest");
    const RawPeer silent(unit, own);
    { const RawPeer gone(unit, own); }
    expectServes(honest);
    EXPECT_EQ(ozo_get_drops().bad_peers, 0U);
}

TEST_F(HostilePeer, HarmsNobodyByConnectingOften) {
    create();
    MailboxThread honest("Honest");
    for (int i = 0; i < 200; ++i)
        const RawPeer gone(unit, own);
    expectServes(honest);
}

// All of one user here; what another has counts apart.
TEST_F(HostilePeer, KeepsNoMoreConnectionsThanAUserMay) {
    create();
    MailboxThread honest("Honest");
    expectServes(honest);
    std::list<RawPeer> crowd;
    for (std::size_t i = 1; i < Ozo::maxConnectionsOfUser; ++i) {
        crowd.emplace_back(unit, own);
        EXPECT_EQ(receiveNow(), nullptr);
    }
    EXPECT_EQ(ozo_get_drops().crowded_out, 0U);
    const RawPeer oneTooMany(unit, own);
    EXPECT_EQ(receiveNow(), nullptr);
    EXPECT_TRUE(oneTooMany.isHungUp());
    EXPECT_EQ(ozo_get_drops().crowded_out, 1U);
    EXPECT_FALSE(crowd.back().isHungUp());
    expectServes(honest);
    crowd.pop_back();
    EXPECT_EQ(receiveNow(), nullptr);
    const RawPeer inItsPlace(unit, own);
    EXPECT_EQ(receiveNow(), nullptr);
    EXPECT_FALSE(inItsPlace.isHungUp());
}

TEST_F(HostilePeer, TakesWhatWaitsForItAlong) {
    create();
    const MailboxThread claimed("Claimed");
    const RawPeer peer(unit, own);
    peer.send(frame(frameProtocol, claimed.id(), 1));
    EXPECT_EQ(receiveNow()->msgno, 1U);
    while (ozo_get_drops().queue_full == 0)
        ozo_send(ozo_alloc(ozo_get_max_size(), 2), claimed.id(), OZO_MY_MAILBOX);
    peer.send(std::vector<std::byte>(5));
    EXPECT_EQ(receiveNow(), nullptr);
    EXPECT_EQ(ozo_get_drops().receiver_gone, Ozo::maxQueuedBytes / ozo_get_max_size());
}

TEST_F(HostilePeer, ThatStopsReadingForGoodIsGone) {
    create();
    const MailboxThread claimed("Claimed");
    const RawPeer peer(unit, own);
    peer.send(frame(frameProtocol, claimed.id(), 1));
    EXPECT_EQ(receiveNow()->msgno, 1U);
    ::shutdown(peer.descriptor(), SHUT_RD);
    sendText(claimed.id(), 2, "");
    EXPECT_EQ(ozo_get_drops().receiver_gone, 1U);
}

TEST_F(HostilePeer, ThatPassesDescriptorsLeavesNoneBehind) {
    create();
    const MailboxThread claimed("Claimed");
    const RawPeer peer(unit, own);
    std::vector<std::byte> bytes = frame(frameProtocol, claimed.id(), 1);
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    iovec part{.iov_base = bytes.data(), .iov_len = bytes.size()};
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof control;
    cmsghdr* const passed = CMSG_FIRSTHDR(&header);
    passed->cmsg_level = SOL_SOCKET;
    passed->cmsg_type = SCM_RIGHTS;
    passed->cmsg_len = CMSG_LEN(sizeof(int));
    const int descriptor = peer.descriptor();
    std::memcpy(CMSG_DATA(passed), &descriptor, sizeof descriptor);
    ASSERT_EQ(::sendmsg(peer.descriptor(), &header, 0), 12);
    const auto openDescriptors = [] {
        const std::filesystem::directory_iterator files("/proc/self/fd");
        return std::distance(begin(files), end(files));
    };
    const auto before = openDescriptors();
    EXPECT_EQ(receiveNow()->msgno, 1U);
    EXPECT_EQ(openDescriptors(), before + 1);  // the accepted connection
}

TEST_F(HostilePeer, SendsRandomBytesInVain) {
    create();
    MailboxThread honest("Honest");
    std::mt19937 random(4);
    std::uniform_int_distribution<std::size_t> sizes(1, 300);
    std::uniform_int_distribution<unsigned> bytes(0, 255);
    for (int round = 0; round < 1000; ++round) {
        const RawPeer peer(unit, own);
        // Half of them start like a frame of somebody else's mailbox, and half of these with an
        // error in the protocol.
        std::vector<std::byte> datagram =
            round % 2 == 0 ? frame(frameProtocol, honest.id(), 1) : std::vector<std::byte>();
        const std::size_t start = datagram.size();
        datagram.resize(start + sizes(random));
        for (std::size_t at = start; at < datagram.size(); ++at)
            datagram[at] = static_cast<std::byte>(bytes(random));
        if (round % 4 == 0)
            datagram[static_cast<std::size_t>(round) / 4 % 4] ^= std::byte{1};
        peer.send(datagram);
        const Message message = receiveNow();
        EXPECT_EQ(message != nullptr, round % 4 == 2);
    }
    EXPECT_EQ(ozo_get_drops().bad_peers, 750U);
    expectServes(honest);
}

// Plays another user if it may, and this one if it may not: only another user's claim is refused.
TEST_F(HostilePeer, OfAnotherUserCannotSpeakForAMailbox) {
    Child peer([this](const Child::Line& line) {
        line.awaitGo();
        const std::uint32_t receiver = ozo_locate("Receiver");
        const std::uint32_t claimed = ozo_locate("Claimed");
        const bool isOther = becomeAnotherUser();
        const RawPeer liar(unit, receiver);
        liar.send(frame(frameProtocol, claimed, 1));
        line.tell(isOther ? 1 : 0);
        line.awaitGo();
    });
    create();
    const MailboxThread claimed("Claimed");
    openToAll();
    peer.go();
    const bool isOther = peer.hear().value_or(2) == 1;
    EXPECT_EQ(receiveNow() == nullptr, isOther);
    EXPECT_EQ(ozo_get_drops().bad_peers, isOther ? 1U : 0U);
    peer.go();
    EXPECT_TRUE(peer.endsWell());
}

TEST_F(HostilePeer, OfAnotherUserCannotSpeakForAMailboxThatIsGone) {
    Child peer([this](const Child::Line& line) {
        line.awaitGo();
        const std::uint32_t receiver = ozo_locate("Receiver");
        const bool isOther = becomeAnotherUser();
        const RawPeer liar(unit, receiver);
        liar.send(frame(frameProtocol, receiver ^ 1U, 1));
        line.tell(isOther ? 1 : 0);
        line.awaitGo();
    });
    create();
    openToAll();
    peer.go();
    const bool isOther = peer.hear().value_or(2) == 1;
    EXPECT_EQ(receiveNow() == nullptr, isOther);
    peer.go();
    EXPECT_TRUE(peer.endsWell());
}

// Out of descriptors, nobody can be accepted. Those who knock wait, and the owner of the mailbox is
// not kept busy.
class OutOfDescriptors : public HostilePeer {
protected:
    OutOfDescriptors() { ::getrlimit(RLIMIT_NOFILE, &before); }
    void TearDown() override {
        ::setrlimit(RLIMIT_NOFILE, &before);
        HostilePeer::TearDown();
    }

    void exhaust(int left = 0) const {
        const int lowestFree = ::dup(STDIN_FILENO);
        ::close(lowestFree);
        const rlimit few{.rlim_cur = static_cast<rlim_t>(lowestFree + left),
                         .rlim_max = before.rlim_max};
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    }

    void relieve() const { ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0); }

    rlimit before{};
};

TEST_F(OutOfDescriptors, KeepsPeersWaitingAndLosesNothing) {
    create();
    const MailboxThread claimed("Claimed");
    const RawPeer peer;
    exhaust();
    ASSERT_TRUE(peer.connect(unit, own));
    peer.send(frame(frameProtocol, claimed.id(), 1));
    EXPECT_EQ(receiveNow(), nullptr);
    pollfd asked{.fd = ozo_get_fd(), .events = POLLIN, .revents = 0};
    EXPECT_EQ(::poll(&asked, 1, 0), 0);
    EXPECT_EQ(::poll(&asked, 1, deadlineMs), 1);
    EXPECT_EQ(receiveNow(), nullptr);
    relieve();
    EXPECT_EQ(receive()->msgno, 1U);
}

TEST_F(OutOfDescriptors, StillDeliversMessagesToSelf) {
    create();
    const RawPeer peer;
    exhaust();
    ASSERT_TRUE(peer.connect(unit, own));
    EXPECT_EQ(receiveNow(), nullptr);
    sendText(own, 5, "");
    EXPECT_EQ(receiveNow()->msgno, 5U);
    relieve();
}

TEST_F(OutOfDescriptors, DropsAndCountsWhatNeedsANewConnection) {
    create();
    MailboxThread other("Other");
    exhaust();
    sendText(other.id(), 1, "");
    EXPECT_NE(ozo_monitor(other.id(), 2), 0);
    EXPECT_EQ(ozo_locate("Other"), OZO_NO_MAILBOX);
    relieve();
    EXPECT_EQ(ozo_get_drops().queue_full, 1U);
    EXPECT_EQ(ozo_get_drops().receiver_gone, 0U);
    EXPECT_EQ(receiveNow(), nullptr);
}

// The lock and a socket take two; the folder behind a long path would need a third. That nobody
// could be asked is no proof of death.
TEST_F(OutOfDescriptors, TakesNobodyForDead) {
    unit.lengthenRoot(300);
    create();
    const MailboxThread other("Other");
    exhaust(2);
    EXPECT_NE(ozo_add_name(own, "Other"), 0);
    EXPECT_EQ(errno, EMFILE);
    exhaust(1);
    sendText(other.id(), 1, "");
    EXPECT_EQ(ozo_get_drops().queue_full, 1U);
    EXPECT_NE(ozo_monitor(other.id(), 2), 0);
    relieve();
    EXPECT_EQ(ozo_locate("Other"), other.id());
    EXPECT_EQ(receiveNow(), nullptr);
}

TEST_F(OutOfDescriptors, CreatesNoMailbox) {
    exhaust();
    EXPECT_EQ(ozo_create_mailbox("Receiver", 0), OZO_NO_MAILBOX);
    EXPECT_EQ(errno, EMFILE);
    relieve();
    own = ozo_create_mailbox("Receiver", 0);
    EXPECT_NE(own, OZO_NO_MAILBOX);
}

// A listening socket whose backlog is full belongs to a mailbox that lives and doesn't accept
// anybody now.
class FullBacklog : public HostilePeer {
protected:
    FullBacklog() {
        create();
        id = own ^ 1U;
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        unit.socketFile(id).copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(::listen(listener, 0), 0);
        std::filesystem::create_symlink("../mbox/" + std::to_string(id), unit.folder("name/Busy"));
        EXPECT_TRUE(guest.connect(unit, id));
    }
    void TearDown() override {
        ::close(listener);
        HostilePeer::TearDown();
    }

    int listener = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    RawPeer guest;
    std::uint32_t id = OZO_NO_MAILBOX;
};

TEST_F(FullBacklog, CountsAsLive) {
    EXPECT_EQ(ozo_locate("Busy"), id);
    EXPECT_NE(ozo_add_name(own, "Busy"), 0);
}

TEST_F(FullBacklog, HasNoRoomForAMessage) {
    sendText(id, 1, "");
    EXPECT_EQ(ozo_get_drops().queue_full, 1U);
    EXPECT_EQ(ozo_get_drops().receiver_gone, 0U);
    EXPECT_NE(ozo_monitor(id, 1), 0);
    EXPECT_EQ(receiveNow(), nullptr);
}

// Nothing would tell when it has room, so it must not be waited for as a full connection is.
TEST_F(FullBacklog, LeavesATriedMessageToItsSender) {
    const Message message(textMessage(1, ""), &ozo_free);
    EXPECT_NE(ozo_try_send(message.get(), id), 0);
    EXPECT_EQ(errno, ENOBUFS);
}

}  // namespace
