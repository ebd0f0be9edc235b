// Each allocation of each operation fails once: the operation says so, and the mailbox works on.
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "ozo.h"
#include "ozoTestSupport.hpp"

namespace {

constexpr long never = std::numeric_limits<long>::max();
// Allocations of this thread that still succeed.
thread_local long allocationsLeft = never;

void* allocate(std::size_t size) {
    if (allocationsLeft != never && allocationsLeft-- <= 0)
        throw std::bad_alloc();
    void* const memory = std::malloc(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

}  // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

using namespace OzoTest;

// Calls operation with its first allocation failing, then its second, and so on, until nothing
// fails any more.
template <typename Operation, typename Check>
void sweep(const Operation& operation, const Check& afterFailure) {
    for (long allocation = 0;; ++allocation) {
        allocationsLeft = allocation;
        operation();
        const bool failed = allocationsLeft < 0;
        allocationsLeft = never;
        if (!failed) {
            EXPECT_GT(allocation, 0) << "the operation allocates nothing";
            return;
        }
        afterFailure();
    }
}

class OutOfMemory : public ::testing::Test {
protected:
    void TearDown() override { ozo_delete_mailbox(own); }

    void create() { own = ozo_create_mailbox("Own", 0); }

    // Long enough that no text of it fits into a string object.
    OutOfMemory() { unit.lengthenRoot(60); }

    TemporaryUnit unit;
    std::uint32_t own = OZO_NO_MAILBOX;
};

TEST_F(OutOfMemory, CreatesNoMailboxAndLeavesNoName) {
    sweep([this] { own = ozo_create_mailbox("Own", 0); },
          [this] {
              EXPECT_EQ(own, OZO_NO_MAILBOX);
              EXPECT_EQ(errno, ENOMEM);
              EXPECT_EQ(ozo_get_fd(), -1);
              EXPECT_EQ(ozo_locate("Own"), OZO_NO_MAILBOX);
          });
    EXPECT_EQ(ozo_locate("Own"), own);
}

TEST_F(OutOfMemory, AddsNoName) {
    create();
    int result = 0;
    sweep([&] { result = ozo_add_name(own, "A name that is longer than a string object"); },
          [&] { EXPECT_NE(result, 0); });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(ozo_locate("A name that is longer than a string object"), own);
}

TEST_F(OutOfMemory, FindsNobody) {
    create();
    std::uint32_t found = 0;
    sweep([&] { found = ozo_locate("Own"); }, [&] { EXPECT_EQ(found, OZO_NO_MAILBOX); });
    EXPECT_EQ(found, own);
}

TEST_F(OutOfMemory, KnowsNoName) {
    create();
    std::array<char, 10> name{};
    int result = 0;
    sweep([&] { result = ozo_get_name(own, name.data(), name.size()); },
          [&] { EXPECT_NE(result, 0); });
    EXPECT_EQ(result, 0);
    EXPECT_STREQ(name.data(), "Own");
}

TEST_F(OutOfMemory, DropsAndCountsTheMessage) {
    create();
    MailboxThread peer("Peer");
    std::uint32_t number = 0;
    sweep([&] { ozo_send(ozo_alloc(4, ++number), peer.id(), OZO_MY_MAILBOX); }, [] {});
    EXPECT_EQ(ozo_get_drops().queue_full, number - 1);
    EXPECT_EQ(peer.run(numbersOfAllWaiting), std::vector{number});
}

TEST_F(OutOfMemory, DropsAndCountsAMessageToSelf) {
    create();
    std::uint32_t number = 0;
    sweep([&] { ozo_send(ozo_alloc(4, ++number), own, OZO_MY_MAILBOX); }, [] {});
    EXPECT_EQ(ozo_get_drops().queue_full, number - 1);
    EXPECT_EQ(numbersOfAllWaiting(), std::vector{number});
}

TEST_F(OutOfMemory, LeavesATriedMessageToItsSender) {
    create();
    MailboxThread peer("Peer");
    Message message(ozo_alloc(4, 1), &ozo_free);
    int result = 0;
    sweep([&] { result = ozo_try_send(message.get(), peer.id()); },
          [&] {
              EXPECT_NE(result, 0);
              EXPECT_EQ(errno, ENOMEM);
          });
    ASSERT_EQ(result, 0);
    (void)message.release();
    EXPECT_EQ(peer.run(numbersOfAllWaiting), std::vector{1U});
}

TEST_F(OutOfMemory, RefusesToMonitor) {
    create();
    MailboxThread peer("Peer");
    int result = 0;
    sweep([&] { result = ozo_monitor(peer.id(), 7); }, [&] { EXPECT_NE(result, 0); });
    EXPECT_EQ(result, 0);
    peer.run([&peer] { ozo_delete_mailbox(peer.id()); });
    EXPECT_EQ(numbersOfAllWaiting(), std::vector{7U});
}

TEST_F(OutOfMemory, LosesAPeerButServesTheNext) {
    create();
    int round = 0;
    Message received(nullptr, ozo_free);
    std::optional<MailboxThread> peer;
    const auto knock = [&] {
        peer.emplace("Peer" + std::to_string(++round));
        peer->run([this] { sendText(own, 1, ""); });
    };
    knock();
    sweep([&] { received.reset(ozo_receive(0)); },
          [&] {
              EXPECT_EQ(received, nullptr);
              EXPECT_EQ(receiveNow(), nullptr);
              knock();
          });
    EXPECT_NE(received, nullptr);
}

TEST_F(OutOfMemory, LeavesOnlyDeadFilesBehind) {
    long allocation = 0;
    sweep(
        [&] {
            allocationsLeft = never;
            create();
            allocationsLeft = allocation++;
            EXPECT_EQ(ozo_delete_mailbox(own), 0);
        },
        [] { EXPECT_EQ(ozo_locate("Own"), OZO_NO_MAILBOX); });
}

}  // namespace
