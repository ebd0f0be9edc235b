// A mailbox's end, told to those who asked.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <optional>

#include "frame.hpp"
#include "ozo.h"
#include "ozoTestSupport.hpp"

namespace {

using namespace OzoTest;

constexpr std::uint32_t gone = 4711;

class Monitor : public ::testing::Test {
protected:
    void TearDown() override { ozo_delete_mailbox(own); }

    // After children have been forked.
    void create() { own = ozo_create_mailbox("Watcher", 0); }

    void expectNoticeOf(std::uint32_t mailbox) const {
        const Message notice = receive();
        ASSERT_NE(notice, nullptr);
        EXPECT_EQ(notice->msgno, gone);
        ASSERT_EQ(ozo_size(notice.get()), 8U);
        std::uint32_t words[2];
        std::memcpy(words, notice.get(), sizeof words);
        EXPECT_EQ(words[1], mailbox);
        EXPECT_EQ(ozo_sender(notice.get()), own);
    }

    static void liveUntilTold(const Child::Line& line) {
        line.tell(ozo_create_mailbox("Watched", 0));
        line.awaitGo();
    }

    TemporaryUnit unit;
    std::uint32_t own = OZO_NO_MAILBOX;
};

TEST_F(Monitor, TellsAtOnceOfAMailboxThatNeverWas) {
    create();
    EXPECT_EQ(ozo_monitor(own ^ 1U, gone), 0);
    expectNoticeOf(own ^ 1U);
    EXPECT_EQ(ozo_monitor(OZO_NO_MAILBOX, gone), 0);
    expectNoticeOf(OZO_NO_MAILBOX);
}

TEST_F(Monitor, TellsAtOnceOfAMailboxAlreadyDeleted) {
    create();
    MailboxThread watched("Watched");
    watched.run([&watched] { ozo_delete_mailbox(watched.id()); });
    EXPECT_EQ(ozo_monitor(watched.id(), gone), 0);
    expectNoticeOf(watched.id());
}

TEST_F(Monitor, TellsAtOnceOfAMailboxAlreadyCrashed) {
    Child watched(liveUntilTold);
    const std::uint32_t id = watched.hear().value_or(OZO_NO_MAILBOX);
    watched.kill();
    create();
    EXPECT_EQ(ozo_monitor(id, gone), 0);
    expectNoticeOf(id);
}

TEST_F(Monitor, SaysNothingOfAMailboxThatLives) {
    create();
    MailboxThread watched("Watched");
    EXPECT_EQ(ozo_monitor(watched.id(), gone), 0);
    EXPECT_EQ(receiveNow(), nullptr);
    watched.run([] { receiveNow(); });
    EXPECT_EQ(receiveNow(), nullptr);
}

TEST_F(Monitor, TellsOfADeletion) {
    create();
    MailboxThread watched("Watched");
    ozo_monitor(watched.id(), gone);
    watched.run([&watched] { ozo_delete_mailbox(watched.id()); });
    expectNoticeOf(watched.id());
}

TEST_F(Monitor, TellsOfTheEndOfAThread) {
    create();
    std::optional<MailboxThread> watched("Watched");
    const std::uint32_t id = watched->id();
    ozo_monitor(id, gone);
    watched.reset();
    expectNoticeOf(id);
    EXPECT_EQ(ozo_locate("Watched"), OZO_NO_MAILBOX);
}

TEST_F(Monitor, TellsOfTheEndOfAProcess) {
    Child watched(liveUntilTold);
    const std::uint32_t id = watched.hear().value_or(OZO_NO_MAILBOX);
    create();
    ozo_monitor(id, gone);
    watched.go();
    EXPECT_TRUE(watched.endsWell());
    expectNoticeOf(id);
}

TEST_F(Monitor, TellsOfACrash) {
    Child watched(liveUntilTold);
    const std::uint32_t id = watched.hear().value_or(OZO_NO_MAILBOX);
    create();
    ozo_monitor(id, gone);
    EXPECT_EQ(receiveNow(), nullptr);
    watched.kill();
    expectNoticeOf(id);
}

// The grandchild inherits every descriptor of the process that is killed; nobody but that process
// may keep its connections open.
TEST_F(Monitor, TellsOfACrashAlthoughAForkedChildLivesOn) {
    std::optional<Child> watched(std::in_place, [](const Child::Line& line) {
        const std::uint32_t id = ozo_create_mailbox("Watched", 0);
        // Waits on the line to the test, and so outlives its parent.
        const Child grandchild([&line](const Child::Line&) { line.awaitGo(); });
        line.tell(id);
        line.awaitGo();
    });
    const std::uint32_t id = watched->hear().value_or(OZO_NO_MAILBOX);
    create();
    ozo_monitor(id, gone);
    watched->kill();
    expectNoticeOf(id);
    EXPECT_EQ(ozo_locate("Watched"), OZO_NO_MAILBOX);
}

TEST_F(Monitor, TellsOncePerCall) {
    create();
    MailboxThread watched("Watched");
    ozo_monitor(watched.id(), gone);
    ozo_monitor(watched.id(), gone + 1);
    watched.run([&watched] { ozo_delete_mailbox(watched.id()); });
    EXPECT_EQ(receive()->msgno, gone);
    EXPECT_EQ(receive()->msgno, gone + 1);
    EXPECT_EQ(receiveNow(), nullptr);
}

TEST_F(Monitor, TellsBehindTheLastMessages) {
    create();
    MailboxThread watched("Watched");
    watched.run([this] { sendText(own, 1, ""); });
    EXPECT_EQ(receive()->msgno, 1U);
    ozo_monitor(watched.id(), gone);
    watched.run([this, &watched] {
        sendText(own, 2, "");
        sendText(own, 3, "");
        ozo_delete_mailbox(watched.id());
    });
    EXPECT_EQ(receive()->msgno, 2U);
    EXPECT_EQ(receive()->msgno, 3U);
    expectNoticeOf(watched.id());
}

TEST_F(Monitor, IsNotImitatedByAPeer) {
    create();
    const RawPeer liar(unit, own);
    liar.send(frame(Ozo::frameProtocol, own, gone, 4));
    EXPECT_EQ(receiveNow(), nullptr);
    EXPECT_TRUE(liar.isHungUp());
    EXPECT_EQ(ozo_get_drops().bad_peers, 1U);
}

TEST_F(Monitor, RefusesOnesOwnMailbox) {
    create();
    EXPECT_NE(ozo_monitor(own, gone), 0);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(Monitor, NeedsAMailboxToTell) {
    EXPECT_NE(ozo_monitor(1, gone), 0);
}

}  // namespace
