// Mailboxes, names and messages as one thread sees them.
#include "ozo.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/time.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <ostream>

#include "connection.hpp"
#include "ozoTestSupport.hpp"

namespace {

using namespace OzoTest;
using ::testing::Test;

class OzoFixture : public Test {
protected:
    void TearDown() override {
        ozo_delete_mailbox(mailbox);
        ::unsetenv("OZO_MAX_SIZE");
    }

    void create(const char* name = "Receiver") {
        mailbox = ozo_create_mailbox(name, 0);
        ASSERT_NE(mailbox, OZO_NO_MAILBOX);
    }

    static std::string nameOf(std::uint32_t id) {
        std::array<char, 300> buffer{};
        return ozo_get_name(id, buffer.data(), buffer.size()) == 0 ? buffer.data() : "(nobody)";
    }

    static bool isReadable() {
        pollfd asked{.fd = ozo_get_fd(), .events = POLLIN, .revents = 0};
        return ::poll(&asked, 1, 0) == 1;
    }

    TemporaryUnit unit;
    std::uint32_t mailbox = OZO_NO_MAILBOX;
};

using OzoMailbox = OzoFixture;

TEST_F(OzoMailbox, IsFoundByItsName) {
    create("Receiver");
    EXPECT_EQ(ozo_locate("Receiver"), mailbox);
    EXPECT_EQ(nameOf(mailbox), "Receiver");
}

TEST_F(OzoMailbox, IsGoneAfterItsDeletion) {
    create("Receiver");
    EXPECT_EQ(ozo_delete_mailbox(mailbox), 0);
    EXPECT_EQ(ozo_locate("Receiver"), OZO_NO_MAILBOX);
    EXPECT_EQ(nameOf(mailbox), "(nobody)");
    EXPECT_EQ(ozo_get_fd(), -1);
    EXPECT_EQ(ozo_get_mailbox(), OZO_NO_MAILBOX);
    EXPECT_NE(ozo_delete_mailbox(mailbox), 0);
}

TEST_F(OzoMailbox, IsTheOnlyOneOfItsThread) {
    create();
    EXPECT_EQ(ozo_create_mailbox("Second", 0), OZO_NO_MAILBOX);
    EXPECT_EQ(ozo_locate("Second"), OZO_NO_MAILBOX);
    EXPECT_EQ(ozo_locate("Receiver"), mailbox);
}

TEST_F(OzoMailbox, CanBeFollowedByAnotherWithAnotherId) {
    create();
    const std::uint32_t first = mailbox;
    ozo_delete_mailbox(first);
    create();
    EXPECT_NE(mailbox, first);
    EXPECT_EQ(ozo_locate("Receiver"), mailbox);
}

TEST_F(OzoMailbox, IsNotCreatedUnderWhatIsNoName) {
    for (const std::string& name : {std::string(), std::string("."), std::string(".."),
                                    std::string("a/b"), std::string("/a"), std::string(256, 'n')}) {
        EXPECT_EQ(ozo_create_mailbox(name.c_str(), 0), OZO_NO_MAILBOX) << name;
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(ozo_locate(name.c_str()), OZO_NO_MAILBOX) << name;
    }
    EXPECT_EQ(ozo_create_mailbox(nullptr, 0), OZO_NO_MAILBOX);
    EXPECT_EQ(ozo_locate(nullptr), OZO_NO_MAILBOX);
}

TEST_F(OzoMailbox, IsNotCreatedWithFlags) {
    EXPECT_EQ(ozo_create_mailbox("Receiver", 1), OZO_NO_MAILBOX);
}

TEST_F(OzoMailbox, CanHaveANameOf255Bytes) {
    const std::string name(255, 'n');
    create(name.c_str());
    EXPECT_EQ(ozo_locate(name.c_str()), mailbox);
    EXPECT_EQ(nameOf(mailbox), name);
}

TEST_F(OzoMailbox, GivesItsNameCutToTheBuffer) {
    create("Receiver");
    std::array<char, 4> buffer{'x', 'x', 'x', 'x'};
    EXPECT_EQ(ozo_get_name(mailbox, buffer.data(), buffer.size()), 0);
    EXPECT_STREQ(buffer.data(), "Rec");
    EXPECT_NE(ozo_get_name(mailbox, buffer.data(), 0), 0);
    EXPECT_NE(ozo_get_name(mailbox, nullptr, 4), 0);
}

TEST_F(OzoMailbox, IsFoundByFurtherNamesToo) {
    create("Receiver");
    EXPECT_EQ(ozo_add_name(mailbox, "Alias"), 0);
    EXPECT_EQ(ozo_locate("Alias"), mailbox);
    EXPECT_EQ(nameOf(mailbox), "Receiver");
    ozo_delete_mailbox(mailbox);
    EXPECT_EQ(ozo_locate("Alias"), OZO_NO_MAILBOX);
    EXPECT_EQ(unit.filesIn("name"), 0U);
}

TEST_F(OzoMailbox, RefusesFurtherNamesThatAreTakenOrNone) {
    create("Receiver");
    EXPECT_NE(ozo_add_name(mailbox, "Receiver"), 0);
    EXPECT_EQ(errno, EADDRINUSE);
    EXPECT_NE(ozo_add_name(mailbox, "a/b"), 0);
    EXPECT_NE(ozo_add_name(mailbox, nullptr), 0);
    EXPECT_EQ(ozo_locate("Receiver"), mailbox);
}

TEST_F(OzoMailbox, IsNamedAndDeletedOnlyByItsThread) {
    MailboxThread other("Other");
    create();
    EXPECT_NE(ozo_add_name(other.id(), "Alias"), 0);
    EXPECT_NE(ozo_delete_mailbox(other.id()), 0);
    EXPECT_EQ(ozo_locate("Alias"), OZO_NO_MAILBOX);
    EXPECT_EQ(ozo_locate("Other"), other.id());
}

TEST_F(OzoMailbox, IsReadableExactlyWhileMessagesWait) {
    create();
    MailboxThread sender("Sender");
    EXPECT_FALSE(isReadable());
    sender.run([this] { sendText(mailbox, 1, "first"); });
    sender.run([this] { sendText(mailbox, 2, "second"); });
    EXPECT_TRUE(isReadable());
    EXPECT_EQ(receiveNow()->msgno, 1U);
    EXPECT_TRUE(isReadable());
    EXPECT_EQ(receiveNow()->msgno, 2U);
    EXPECT_EQ(receiveNow(), nullptr);
    EXPECT_FALSE(isReadable());
}

using OzoMessage = OzoFixture;

TEST_F(OzoMessage, IsZeroedBehindItsNumber) {
    const Message message(ozo_alloc(40, 7), ozo_free);
    EXPECT_EQ(message->msgno, 7U);
    EXPECT_EQ(textOf(message), std::string(36, '\0'));
}

TEST_F(OzoMessage, KnowsItsSizeAndHasNoSenderYet) {
    const Message message(ozo_alloc(40, 7), ozo_free);
    EXPECT_EQ(ozo_size(message.get()), 40U);
    EXPECT_EQ(ozo_sender(message.get()), OZO_NO_MAILBOX);
}

TEST_F(OzoMessage, HoldsAtLeastItsNumber) {
    EXPECT_EQ(ozo_alloc(0, 7), nullptr);
    EXPECT_EQ(ozo_alloc(3, 7), nullptr);
    const Message smallest(ozo_alloc(4, 7), ozo_free);
    EXPECT_EQ(ozo_size(smallest.get()), 4U);
}

TEST_F(OzoMessage, IsRefusedWhenNoMemoryCouldHoldIt) {
    EXPECT_EQ(ozo_alloc(SIZE_MAX, 7), nullptr);
    EXPECT_EQ(ozo_alloc(SIZE_MAX - 8, 7), nullptr);
}

TEST_F(OzoMessage, CanBeFreedAsNull) {
    EXPECT_NO_FATAL_FAILURE(ozo_free(nullptr));
}

TEST_F(OzoMessage, IsAlignedForAnyType) {
    create();
    const Message allocated(ozo_alloc(40, 7), ozo_free);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(allocated.get()) % alignof(std::max_align_t), 0U);
    MailboxThread sender("Sender");
    sender.run([this] { sendText(mailbox, 1, "x"); });
    const Message received = receive();
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(received.get()) % alignof(std::max_align_t), 0U);
}

TEST_F(OzoMessage, ToSelfArrivesInOrder) {
    create();
    sendText(mailbox, 1, "one");
    sendText(mailbox, 2, "two");
    EXPECT_TRUE(isReadable());
    const Message first = receiveNow();
    EXPECT_EQ(textOf(first), "one");
    EXPECT_EQ(ozo_sender(first.get()), mailbox);
    EXPECT_EQ(textOf(receiveNow()), "two");
    EXPECT_FALSE(isReadable());
}

TEST_F(OzoMessage, ToSelfIsDroppedBeyondTheBoundOfAQueue) {
    create();
    for (std::uint32_t number = 0; number < Ozo::maxQueuedMessages + 5; ++number)
        sendText(mailbox, number, "");
    EXPECT_EQ(ozo_get_drops().queue_full, 5U);
    const std::vector<std::uint32_t> numbers = numbersOfAllWaiting();
    ASSERT_EQ(numbers.size(), Ozo::maxQueuedMessages);
    EXPECT_EQ(numbers.front(), 0U);
    EXPECT_EQ(numbers.back(), Ozo::maxQueuedMessages - 1);
}

TEST_F(OzoMessage, ToSelfIsBoundedInBytesToo) {
    create();
    const std::size_t fitting = Ozo::maxQueuedBytes / ozo_get_max_size();
    for (std::uint32_t number = 0; number < fitting + 3; ++number)
        ozo_send(ozo_alloc(ozo_get_max_size(), number), mailbox, OZO_MY_MAILBOX);
    EXPECT_EQ(ozo_get_drops().queue_full, 3U);
    EXPECT_EQ(numbersOfAllWaiting().size(), fitting);
}

TEST_F(OzoMessage, ThatWasReceivedCanBeSentOn) {
    create();
    MailboxThread sender("Sender");
    MailboxThread last("Last");
    sender.run([this] { sendText(mailbox, 5, "pass it on"); });
    ozo_send(receive().release(), last.id(), OZO_MY_MAILBOX);
    last.run([this] {
        const Message message = receive();
        EXPECT_EQ(textOf(message), "pass it on");
        EXPECT_EQ(ozo_sender(message.get()), mailbox);
    });
}

TEST_F(OzoMessage, IsSentUnderTheIdOfTheThreadsMailboxToo) {
    create();
    ozo_send(textMessage(1, ""), mailbox, mailbox);
    EXPECT_EQ(receiveNow()->msgno, 1U);
}

TEST_F(OzoMessage, IsNotSentAsFromAnotherMailbox) {
    create();
    MailboxThread other("Other");
    ozo_send(textMessage(1, ""), mailbox, other.id());
    ozo_send(textMessage(1, ""), other.id(), OZO_NO_MAILBOX);
    EXPECT_EQ(ozo_get_drops().wrong_sender, 2U);
    EXPECT_EQ(receiveNow(), nullptr);
    EXPECT_EQ(other.run([] { return receiveNow(); }), nullptr);
}

TEST_F(OzoMessage, IsNotSentByAThreadWithoutMailbox) {
    MailboxThread other("Other");
    sendText(other.id(), 1, "");
    ozo_send(nullptr, other.id(), OZO_MY_MAILBOX);
    EXPECT_EQ(other.run([] { return receiveNow(); }), nullptr);
    EXPECT_EQ(ozo_get_drops().receiver_gone, 0U);
}

TEST_F(OzoMessage, OverTheMaximumIsRefusedWhereItIsSent) {
    create();
    ozo_send(ozo_alloc(ozo_get_max_size() + 1, 1), mailbox, OZO_MY_MAILBOX);
    EXPECT_EQ(ozo_get_drops().too_large, 1U);
    EXPECT_EQ(receiveNow(), nullptr);
    ozo_send(ozo_alloc(ozo_get_max_size(), 2), mailbox, OZO_MY_MAILBOX);
    EXPECT_EQ(receiveNow()->msgno, 2U);
}

TEST_F(OzoMessage, ToAnIdThatNobodyHasIsDropped) {
    create();
    for (const std::uint32_t nobody : {mailbox ^ 1U, 0U, OZO_NO_MAILBOX, OZO_MY_MAILBOX})
        sendText(nobody, 1, "");
    EXPECT_EQ(ozo_get_drops().receiver_gone, 4U);
}

TEST_F(OzoMessage, IsAwaitedForTheTimeGiven) {
    create();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ozo_receive(30), nullptr);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}

TEST_F(OzoMessage, IsAwaitedThroughSignals) {
    create();
    struct sigaction interrupting {};
    interrupting.sa_handler = [](int) {};
    ASSERT_EQ(::sigaction(SIGALRM, &interrupting, nullptr), 0);
    const itimerval soon{.it_interval = {}, .it_value = {.tv_sec = 0, .tv_usec = 5000}};
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(::setitimer(ITIMER_REAL, &soon, nullptr), 0);
    EXPECT_EQ(ozo_receive(30), nullptr);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}

TEST_F(OzoMessage, IsAwaitedForEverWithoutATime) {
    create();
    std::thread sender([this] {
        const std::uint32_t own = ozo_create_mailbox("Sender", 0);
        sendText(mailbox, 9, "");
        ozo_delete_mailbox(own);
    });
    const Message message(ozo_receive(-1), ozo_free);
    EXPECT_EQ(message->msgno, 9U);
    sender.join();
}

TEST_F(OzoMessage, IsNotAwaitedByAThreadWithoutMailbox) {
    EXPECT_EQ(ozo_receive(-1), nullptr);
}

struct Setting {
    const char* text;
    std::size_t size;

    friend std::ostream& operator<<(std::ostream& stream, const Setting& setting) {
        return stream << '"' << setting.text << "\" as " << setting.size;
    }
};

class OzoMaxSize : public OzoFixture, public ::testing::WithParamInterface<Setting> {};

TEST_P(OzoMaxSize, FollowsTheEnvironment) {
    ::setenv("OZO_MAX_SIZE", GetParam().text, 1);
    EXPECT_EQ(ozo_get_max_size(), GetParam().size);
}

INSTANTIATE_TEST_SUITE_P(Settings, OzoMaxSize,
                         ::testing::Values(Setting{"2048", 2048}, Setting{"1024", 1024},
                                           Setting{"1023", 1024}, Setting{"0", 1024},
                                           Setting{"131072", 131072}, Setting{"131073", 131072},
                                           Setting{"99999999999999999999999", 131072},
                                           Setting{"", 65536}, Setting{"many", 65536},
                                           Setting{"-1", 65536}, Setting{"2048k", 65536},
                                           Setting{" 2048", 65536}));

TEST_F(OzoMessage, MaySizeUpTo64KiBByDefault) {
    ::unsetenv("OZO_MAX_SIZE");
    EXPECT_EQ(ozo_get_max_size(), 65536U);
}

}  // namespace
