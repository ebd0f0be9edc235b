// How messages travel between mailboxes: whole, in order, without ever holding the sender up.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <list>
#include <map>
#include <numeric>
#include <random>

#include "connection.hpp"
#include "ozo.h"
#include "ozoTestSupport.hpp"

namespace {

using namespace OzoTest;
using ::testing::ElementsAre;

class Delivery : public ::testing::Test {
protected:
    void TearDown() override { ::unsetenv("OZO_MAX_SIZE"); }

    static void sendPatterns(std::uint32_t to, std::uint32_t count, std::size_t size) {
        for (std::uint32_t number = 0; number < count; ++number)
            ozo_send(patternMessage(number, size), to, OZO_MY_MAILBOX);
    }

    static std::uint64_t queueFull(MailboxThread& thread) {
        return thread.run([] { return ozo_get_drops().queue_full; });
    }

    static std::uint64_t receiverGone(MailboxThread& thread) {
        return thread.run([] { return ozo_get_drops().receiver_gone; });
    }

    static std::vector<std::uint32_t> received(MailboxThread& thread) {
        return thread.run(numbersOfAllWaiting);
    }

    static std::size_t openDescriptors() {
        const std::filesystem::directory_iterator files("/proc/self/fd");
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }

    TemporaryUnit unit;
};

std::vector<std::uint32_t> upTo(std::size_t end) {
    std::vector<std::uint32_t> numbers(end);
    std::iota(numbers.begin(), numbers.end(), 0U);
    return numbers;
}

// A sender and a receiver that stands still unless a test runs it.
class DeliveryToThread : public Delivery {
protected:
    static bool isReadable(MailboxThread& thread) {
        return thread.run([] {
            pollfd asked{.fd = ozo_get_fd(), .events = POLLIN, .revents = 0};
            return ::poll(&asked, 1, 0) == 1;
        });
    }

    void send(std::uint32_t number) {
        sender.run([this, number] { sendText(receiver.id(), number, "x"); });
    }

    // Enough for the kernel's buffer to be full, and some waiting in the queue.
    void sendMoreThanTheKernelTakes(std::uint32_t count) {
        sender.run([this, count] { sendPatterns(receiver.id(), count, size); });
    }

    static constexpr std::size_t size = std::size_t{64} * 1024;
    // As many such messages surely fit into sender's and kernel's queues together.
    static constexpr std::uint32_t many = Ozo::maxQueuedBytes / size;

    MailboxThread sender{"Sender"};
    MailboxThread receiver{"Receiver"};
};

TEST_F(DeliveryToThread, TellsTheSender) {
    send(1);
    EXPECT_EQ(receiver.run([] { return ozo_sender(receive().get()); }), sender.id());
}

TEST_F(DeliveryToThread, CarriesTheLargestMessageOfAnySetting) {
    ::setenv("OZO_MAX_SIZE", "131072", 1);
    sender.run([this] {
        ozo_send(patternMessage(1, 131072), receiver.id(), OZO_MY_MAILBOX);
        ozo_send(patternMessage(2, 131072), receiver.id(), OZO_MY_MAILBOX);
    });
    receiver.run([] {
        for (int i = 0; i < 2; ++i) {
            const Message message = receive();
            EXPECT_EQ(ozo_size(message.get()), 131072U);
            EXPECT_TRUE(isPattern(message));
        }
    });
}

TEST_F(DeliveryToThread, CarriesTheSmallestMessage) {
    sender.run([this] { ozo_send(ozo_alloc(4, 77), receiver.id(), OZO_MY_MAILBOX); });
    receiver.run([] {
        const Message message = receive();
        EXPECT_EQ(message->msgno, 77U);
        EXPECT_EQ(ozo_size(message.get()), 4U);
    });
}

TEST_F(DeliveryToThread, AnswersOnTheConnectionOfTheRequest) {
    send(1);
    receiver.run(numbersOfAllWaiting);
    const std::size_t before = openDescriptors();
    receiver.run([this] { sendText(sender.id(), 2, "answer"); });
    EXPECT_EQ(sender.run([] { return textOf(receive()); }), "answer");
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(DeliveryToThread, KeepsOrderWhenBothSidesSpeakFirst) {
    sender.run([this] { sendPatterns(receiver.id(), 50, 100); });
    receiver.run([this] { sendPatterns(sender.id(), 50, 100); });
    EXPECT_EQ(received(sender), upTo(50));
    EXPECT_EQ(received(receiver), upTo(50));
    sender.run([this] { sendPatterns(receiver.id(), 50, 100); });
    receiver.run([this] { sendPatterns(sender.id(), 50, 100); });
    EXPECT_EQ(received(receiver), upTo(50));
    EXPECT_EQ(received(sender), upTo(50));
}

TEST_F(DeliveryToThread, LetsAQuietPeerInBetweenThoseOfANoisyOne) {
    MailboxThread quiet("Quiet");
    sender.run([this] { sendPatterns(receiver.id(), 100, 100); });
    quiet.run([this] { sendText(receiver.id(), 1000, ""); });
    const std::vector<std::uint32_t> numbers = received(receiver);
    ASSERT_EQ(numbers.size(), 101U);
    const auto place = std::find(numbers.begin(), numbers.end(), 1000U) - numbers.begin();
    EXPECT_LE(place, 2);
}

// One message of each process, then the next of each: also when one of them has many connections.
TEST_F(Delivery, GivesAProcessOneTurnHoweverManyMailboxesItHas) {
    constexpr std::uint32_t mailboxes = 100;  // more than one wait finds
    constexpr std::uint32_t each = 3;
    const auto sendWhenAsked = [](const Child::Line& line, std::uint32_t count) {
        line.awaitGo();
        const std::uint32_t to = ozo_locate("Receiver");
        std::list<MailboxThread> threads;
        for (std::uint32_t i = 0; i < count; ++i)
            threads.emplace_back("Sender" + std::to_string(count) + "." + std::to_string(i))
                .run([=] { sendPatterns(to, each, 100); });
        line.tell(count);
        line.awaitGo();
    };
    const Child crowd([&](const Child::Line& line) { sendWhenAsked(line, mailboxes); });
    const Child one([&](const Child::Line& line) { sendWhenAsked(line, 1); });
    const std::uint32_t receiver = ozo_create_mailbox("Receiver", 0);
    crowd.go();
    ASSERT_EQ(crowd.hear(), mailboxes);
    one.go();
    ASSERT_EQ(one.hear(), 1U);
    std::map<std::uint32_t, std::uint32_t> ofSender;
    std::vector<std::uint32_t> senders;
    while (const Message message = receiveNow()) {
        EXPECT_EQ(message->msgno, ofSender[ozo_sender(message.get())]++);
        senders.push_back(ozo_sender(message.get()));
    }
    ASSERT_EQ(senders.size(), (mailboxes + 1) * each);
    // Which of the two processes' was the single one's is told by its name.
    const auto isOfOne = [](std::uint32_t sender) {
        char name[32] = {};
        ozo_get_name(sender, name, sizeof name);
        return std::string(name) == "Sender1.0";
    };
    const auto last = std::find_if(senders.rbegin(), senders.rend(), isOfOne);
    const auto place = std::distance(last, senders.rend());
    // Accepting takes a few rounds; then two waits find each of the connections once.
    EXPECT_LE(place, 2 * 2 * each + 10);
    ozo_delete_mailbox(receiver);
}

TEST_F(DeliveryToThread, LetsPeersInBetweenMessagesToSelf) {
    send(1000);
    receiver.run([this] { sendPatterns(receiver.id(), 100, 100); });
    const std::vector<std::uint32_t> numbers = received(receiver);
    const auto place = std::find(numbers.begin(), numbers.end(), 1000U) - numbers.begin();
    EXPECT_LE(place, 2);
}

//   sender's queue (bounded)       kernel's buffer      receiver, standing still
//   [ 4 MiB or 4096 messages ] --> [ ~0.5 MiB ]     --> nothing
TEST_F(DeliveryToThread, DropsAndCountsBeyondTheBytesOfAQueue) {
    const std::uint32_t sent = 4 * many;
    sendMoreThanTheKernelTakes(sent);
    const std::uint64_t drops = queueFull(sender);
    EXPECT_GT(drops, 0U);
    std::size_t bytes = 0;
    std::uint32_t next = 0;
    while (next < sent - drops) {
        sender.run([] { EXPECT_EQ(receiveNow(), nullptr); });
        while (const Message message = receiver.run(receiveNow)) {
            ASSERT_EQ(message->msgno, next++);
            EXPECT_TRUE(isPattern(message));
            bytes += ozo_size(message.get());
        }
    }
    EXPECT_EQ(receiver.run(receiveNow), nullptr);
    EXPECT_GE(bytes, Ozo::maxQueuedBytes);
    // The kernel doubles the size that it is given, and fills it with the message that goes beyond.
    EXPECT_LE(bytes, Ozo::maxQueuedBytes + 2 * std::size_t{Ozo::kernelBufferSize} + size);
}

TEST_F(DeliveryToThread, DropsAndCountsBeyondTheMessagesOfAQueue) {
    const std::uint32_t sent = 4 * Ozo::maxQueuedMessages;
    sender.run([this] { sendPatterns(receiver.id(), sent, 4); });
    const std::uint64_t drops = queueFull(sender);
    EXPECT_GT(drops, 0U);
    std::vector<std::uint32_t> numbers = received(receiver);
    const std::size_t inKernel = numbers.size();
    EXPECT_EQ(sent - drops, inKernel + Ozo::maxQueuedMessages);
    while (numbers.size() < sent - drops) {
        sender.run(numbersOfAllWaiting);
        const std::vector<std::uint32_t> more = received(receiver);
        ASSERT_FALSE(more.empty());
        numbers.insert(numbers.end(), more.begin(), more.end());
    }
    EXPECT_EQ(numbers, upTo(sent - drops));
}

TEST_F(DeliveryToThread, ResumesAfterDropsInOrder) {
    sendMoreThanTheKernelTakes(4 * many);
    while (!received(receiver).empty())
        sender.run(numbersOfAllWaiting);
    send(1'000'000);
    send(1'000'001);
    EXPECT_THAT(received(receiver), ElementsAre(1'000'000U, 1'000'001U));
}

TEST_F(DeliveryToThread, ReachesOthersWhileOneStandsStill) {
    MailboxThread lively("Lively");
    sendMoreThanTheKernelTakes(4 * many);
    sender.run([&lively] { sendText(lively.id(), 1, ""); });
    EXPECT_THAT(received(lively), ElementsAre(1U));
}

TEST_F(DeliveryToThread, LetsAQueueLeaveWhenItsOwnerOnlyServesItsDescriptor) {
    sendMoreThanTheKernelTakes(many);
    EXPECT_FALSE(isReadable(sender));
    std::vector<std::uint32_t> numbers = received(receiver);
    ASSERT_LT(numbers.size(), many);
    while (numbers.size() < many) {
        ASSERT_TRUE(isReadable(sender));
        EXPECT_EQ(sender.run(receiveNow), nullptr);
        const std::vector<std::uint32_t> more = received(receiver);
        numbers.insert(numbers.end(), more.begin(), more.end());
    }
    EXPECT_EQ(numbers, upTo(many));
    EXPECT_FALSE(isReadable(sender));
}

TEST_F(DeliveryToThread, LetsASingleWaitingMessageLeave) {
    sendMoreThanTheKernelTakes(many);
    const auto taken = static_cast<std::uint32_t>(received(receiver).size());
    MailboxThread another("Another");
    another.run([this, taken] { sendPatterns(receiver.id(), taken + 1, size); });
    std::vector<std::uint32_t> numbers;
    while (numbers.size() < taken)
        receiver.run([&] {
            const Message message = receive();
            if (ozo_sender(message.get()) == another.id())
                numbers.push_back(message->msgno);
        });
    ASSERT_TRUE(isReadable(another));
    EXPECT_EQ(another.run(receiveNow), nullptr);
    EXPECT_THAT(received(receiver), ElementsAre(taken));
}

TEST_F(DeliveryToThread, LetsAQueueLeaveWithTheNextMessage) {
    sendMoreThanTheKernelTakes(many);
    std::vector<std::uint32_t> numbers = received(receiver);
    for (std::uint32_t next = many; numbers.size() < next; ++next) {
        send(next);
        const std::vector<std::uint32_t> more = received(receiver);
        ASSERT_FALSE(more.empty());
        numbers.insert(numbers.end(), more.begin(), more.end());
        if (numbers.size() > next)
            break;
    }
    EXPECT_EQ(numbers, upTo(numbers.size()));
    EXPECT_GT(numbers.size(), many);
    EXPECT_EQ(queueFull(sender), 0U);
}

TEST_F(DeliveryToThread, LetsAQueueLeaveWhenTheMailboxIsDeleted) {
    // The kernel doubles the size that it is given. So a third is left, and has room once the
    // receiver has read.
    const auto sent = static_cast<std::uint32_t>(3 * std::size_t{Ozo::kernelBufferSize} / size);
    sendMoreThanTheKernelTakes(sent);
    std::vector<std::uint32_t> numbers = received(receiver);
    ASSERT_LT(numbers.size(), sent);
    EXPECT_EQ(sender.run([this] { return ozo_delete_mailbox(sender.id()); }), 0);
    const std::vector<std::uint32_t> more = received(receiver);
    numbers.insert(numbers.end(), more.begin(), more.end());
    EXPECT_EQ(numbers, upTo(sent));
}

TEST_F(DeliveryToThread, EndsADeletionAlthoughAReceiverStandsStill) {
    sendMoreThanTheKernelTakes(many);
    EXPECT_EQ(sender.run([this] { return ozo_delete_mailbox(sender.id()); }), 0);
    const std::vector<std::uint32_t> numbers = received(receiver);
    EXPECT_EQ(numbers, upTo(numbers.size()));
    EXPECT_LT(numbers.size(), many);
}

TEST_F(DeliveryToThread, BringsTheLastWordsOfADeletedMailbox) {
    send(1);
    send(2);
    sender.run([this] { ozo_delete_mailbox(sender.id()); });
    receiver.run([this] {
        EXPECT_EQ(ozo_sender(receive().get()), sender.id());
        EXPECT_EQ(receive()->msgno, 2U);
    });
}

// The kernel tells the receiver of a reset before it gives what the sender had sent.
TEST_F(DeliveryToThread, BringsTheLastWordsOfASenderThatDidNotReadItsAnswers) {
    send(1);
    receiver.run([this] {
        EXPECT_EQ(receive()->msgno, 1U);
        sendText(sender.id(), 100, "never read");
    });
    send(2);
    sender.run([this] { ozo_delete_mailbox(sender.id()); });
    EXPECT_THAT(received(receiver), ElementsAre(2U));
}

TEST_F(DeliveryToThread, BringsLastWordsAlsoAfterAnAnswerFailed) {
    send(1);
    EXPECT_THAT(received(receiver), ElementsAre(1U));
    send(2);
    sender.run([this] { ozo_delete_mailbox(sender.id()); });
    receiver.run([this] { sendText(sender.id(), 100, "too late"); });
    EXPECT_EQ(receiverGone(receiver), 1U);
    EXPECT_THAT(received(receiver), ElementsAre(2U));
}

TEST_F(DeliveryToThread, CountsMessagesToAReceiverThatWent) {
    send(1);
    received(receiver);
    receiver.run([this] { ozo_delete_mailbox(receiver.id()); });
    send(2);
    EXPECT_EQ(receiverGone(sender), 1U);
    EXPECT_TRUE(received(sender).empty());
    send(3);
    EXPECT_EQ(receiverGone(sender), 2U);
}

TEST_F(DeliveryToThread, CountsWhatWaitedForAReceiverThatWent) {
    sendMoreThanTheKernelTakes(many);
    const std::size_t read = received(receiver).size();
    receiver.run([this] { ozo_delete_mailbox(receiver.id()); });
    EXPECT_TRUE(received(sender).empty());
    EXPECT_EQ(receiverGone(sender), many - read);
}

// --- Messages that the sender keeps unless they leave at once

// Tries a pattern of that number and gives what ozo_try_send says of it: 0 or errno's value.
int tryPattern(std::uint32_t to, std::uint32_t number, std::size_t size) {
    ozo_msg* const message = patternMessage(number, size);
    if (ozo_try_send(message, to) == 0)
        return 0;
    const int error = errno;
    const Message kept(message, &ozo_free);
    EXPECT_EQ(kept->msgno, number);
    EXPECT_TRUE(isPattern(kept));
    return error;
}

TEST_F(DeliveryToThread, TakesATriedMessageThatLeavesAtOnce) {
    EXPECT_EQ(sender.run([this] { return tryPattern(receiver.id(), 1, size); }), 0);
    receiver.run([this] {
        const Message message = receive();
        EXPECT_EQ(message->msgno, 1U);
        EXPECT_TRUE(isPattern(message));
        EXPECT_EQ(ozo_sender(message.get()), sender.id());
    });
}

TEST_F(DeliveryToThread, LeavesATriedMessageThatWouldWaitToItsSender) {
    std::uint32_t taken = 0;
    EXPECT_EQ(sender.run([&] {
        int error = 0;
        while ((error = tryPattern(receiver.id(), taken, size)) == 0)
            ++taken;
        return error;
    }),
              EAGAIN);
    EXPECT_GT(taken, 0U);
    EXPECT_EQ(queueFull(sender), 0U);
    EXPECT_EQ(received(receiver), upTo(taken));
}

TEST_F(DeliveryToThread, TellsWhenATriedMessageMayBeTriedAgain) {
    const auto tryNext = [this] { return tryPattern(receiver.id(), 1, size); };
    while (sender.run(tryNext) == 0) {
    }
    EXPECT_FALSE(isReadable(sender));
    received(receiver);
    EXPECT_TRUE(isReadable(sender));
    EXPECT_EQ(sender.run(receiveNow), nullptr);
    EXPECT_FALSE(isReadable(sender));
    EXPECT_EQ(sender.run(tryNext), 0);
}

TEST_F(DeliveryToThread, TriesBehindWhatIsQueued) {
    sendMoreThanTheKernelTakes(many);
    const auto tryNext = [this] { return tryPattern(receiver.id(), many, 4); };
    EXPECT_EQ(sender.run(tryNext), EAGAIN);
    std::vector<std::uint32_t> numbers;
    while (numbers.size() < many) {
        const std::vector<std::uint32_t> more = received(receiver);
        ASSERT_FALSE(more.empty());
        numbers.insert(numbers.end(), more.begin(), more.end());
        sender.run(receiveNow);
    }
    EXPECT_EQ(sender.run(tryNext), 0);
    EXPECT_EQ(numbers, upTo(many));
    EXPECT_THAT(received(receiver), ElementsAre(many));
}

TEST_F(DeliveryToThread, LeavesATriedMessageToAReceiverThatWentToItsSender) {
    const auto tryNext = [this] { return tryPattern(receiver.id(), 1, 4); };
    EXPECT_EQ(sender.run(tryNext), 0);
    receiver.run([this] { ozo_delete_mailbox(receiver.id()); });
    EXPECT_EQ(sender.run(tryNext), ECONNREFUSED);
    EXPECT_TRUE(received(sender).empty());
    EXPECT_EQ(sender.run(tryNext), ECONNREFUSED);
    EXPECT_EQ(receiverGone(sender), 0U);
}

TEST_F(DeliveryToThread, LeavesATriedMessageOverTheMaximumSizeToItsSender) {
    ::setenv("OZO_MAX_SIZE", "1024", 1);
    EXPECT_EQ(sender.run([this] { return tryPattern(receiver.id(), 1, 1025); }), EMSGSIZE);
    EXPECT_EQ(sender.run([this] { return tryPattern(receiver.id(), 1, 1024); }), 0);
}

TEST_F(DeliveryToThread, TriesAMessageToItself) {
    const auto taken = sender.run([this] {
        std::uint32_t count = 0;
        while (tryPattern(sender.id(), count, size) == 0)
            ++count;
        return count;
    });
    EXPECT_EQ(taken, many);
    EXPECT_EQ(received(sender), upTo(many));
}

TEST_F(DeliveryToThread, TriesNothingWithoutAMailbox) {
    EXPECT_EQ(tryPattern(receiver.id(), 1, 4), EINVAL);
}

TEST_F(DeliveryToThread, GivesDescriptorsBackWhenAPeerGoes) {
    const std::size_t before = openDescriptors();
    {
        MailboxThread guest("Guest");
        guest.run([this] { sendText(receiver.id(), 1, ""); });
        received(receiver);
    }
    received(receiver);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(DeliveryToThread, GoesOnInTheUnitOfTheMailboxWhenAnotherIsUsed) {
    const TemporaryUnit another;
    EXPECT_EQ(ozo_locate("Receiver"), OZO_NO_MAILBOX);
    send(1);
    EXPECT_THAT(received(receiver), ElementsAre(1U));
    unit.use();
    EXPECT_EQ(ozo_locate("Receiver"), receiver.id());
}

// Both threads send and receive at once; what a queue may hold is never exceeded, so that nothing
// may be missing.
TEST_F(DeliveryToThread, CarriesRandomSizesBothWaysAtOnce) {
    constexpr std::uint32_t count = 400;
    std::atomic<int> complete = 0;
    const auto talk = [&complete](std::uint32_t peer, unsigned seed) {
        std::mt19937 random(seed);
        std::uniform_int_distribution<std::size_t> sizes(4, 16384);
        std::uint32_t next = 0;
        const auto take = [&next](const Message& message) {
            ASSERT_NE(message, nullptr);
            EXPECT_EQ(message->msgno, next++);
            EXPECT_TRUE(isPattern(message));
        };
        for (std::uint32_t number = 0; number < count; ++number) {
            ozo_send(patternMessage(number, sizes(random)), peer, OZO_MY_MAILBOX);
            while (const Message message = receiveNow())
                take(message);
        }
        while (next < count && !::testing::Test::HasFatalFailure())
            take(receive());
        ++complete;
        while (complete < 2)
            ozo_free(ozo_receive(1));
    };
    std::thread one([&] { sender.run([&] { talk(receiver.id(), 1); }); });
    receiver.run([&] { talk(sender.id(), 2); });
    one.join();
    EXPECT_EQ(queueFull(sender) + queueFull(receiver), 0U);
}

TEST_F(Delivery, CarriesRandomSizesBothWaysBetweenProcesses) {
    constexpr std::uint32_t count = 400;
    constexpr std::uint32_t stop = 1000;
    Child echo([](const Child::Line& line) {
        line.tell(ozo_create_mailbox("Echo", 0));
        while (Message message = receive()) {
            if (message->msgno == stop)
                return;
            const std::uint32_t sender = ozo_sender(message.get());
            ozo_send(message.release(), sender, OZO_MY_MAILBOX);
        }
        ADD_FAILURE() << "nobody said stop";
    });
    const std::uint32_t echoId = echo.hear().value_or(OZO_NO_MAILBOX);
    const std::uint32_t own = ozo_create_mailbox("Caller", 0);
    ASSERT_NE(own, OZO_NO_MAILBOX);
    EXPECT_EQ(ozo_locate("Echo"), echoId);

    std::mt19937 random(3);
    std::uniform_int_distribution<std::size_t> sizes(4, 8192);
    std::vector<std::size_t> sent;
    for (std::uint32_t number = 0; number < count; ++number) {
        sent.push_back(sizes(random));
        ozo_send(patternMessage(number, sent.back()), echoId, OZO_MY_MAILBOX);
    }
    for (std::uint32_t number = 0; number < count; ++number) {
        const Message message = receive();
        ASSERT_NE(message, nullptr);
        ASSERT_EQ(message->msgno, number);
        EXPECT_EQ(ozo_sender(message.get()), echoId);
        EXPECT_EQ(ozo_size(message.get()), sent[number]);
        EXPECT_TRUE(isPattern(message));
    }
    sendText(echoId, stop, "");
    EXPECT_TRUE(echo.endsWell());
    EXPECT_EQ(ozo_delete_mailbox(own), 0);
}

// A peer that dies leaves a broken connection; writing to it must not raise SIGPIPE.
TEST_F(Delivery, SurvivesAReceiverThatIsKilled) {
    Child victim([](const Child::Line& line) {
        line.tell(ozo_create_mailbox("Victim", 0));
        line.awaitGo();
    });
    const std::uint32_t victimId = victim.hear().value_or(OZO_NO_MAILBOX);
    const std::uint32_t own = ozo_create_mailbox("Sender", 0);
    std::signal(SIGPIPE, SIG_DFL);
    sendPatterns(victimId, 3, 100);
    victim.kill();
    sendPatterns(victimId, 3, 100);
    EXPECT_EQ(ozo_get_drops().receiver_gone, 3U);
    EXPECT_EQ(receiveNow(), nullptr);
    EXPECT_EQ(ozo_delete_mailbox(own), 0);
}

}  // namespace
