#include "frame.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "ozo.h"

namespace {

std::vector<std::byte> datagram(std::uint32_t protocol, std::uint32_t sender, std::size_t size) {
    const std::uint32_t words[] = {protocol, sender};
    std::vector<std::byte> bytes(std::max(size, sizeof words));
    std::memcpy(bytes.data(), words, sizeof words);
    bytes.resize(size);
    return bytes;
}

bool isFrame(std::uint32_t protocol, std::uint32_t sender, std::size_t size) {
    return Ozo::decodeFrame(datagram(protocol, sender, size)).has_value();
}

TEST(Frame, TellsItsSender) {
    const auto header = Ozo::decodeFrame(datagram(Ozo::frameProtocol, 17, 12));
    ASSERT_TRUE(header);
    EXPECT_EQ(header->sender, 17U);
}

TEST(Frame, HoldsAtLeastTheNumberOfAMessage) {
    EXPECT_FALSE(isFrame(Ozo::frameProtocol, 17, 0));
    EXPECT_FALSE(isFrame(Ozo::frameProtocol, 17, 7));
    EXPECT_FALSE(isFrame(Ozo::frameProtocol, 17, 8));
    EXPECT_FALSE(isFrame(Ozo::frameProtocol, 17, 11));
    EXPECT_TRUE(isFrame(Ozo::frameProtocol, 17, 12));
}

TEST(Frame, HoldsAtMostTheLargestMessage) {
    EXPECT_TRUE(isFrame(Ozo::frameProtocol, 17, 8 + 128 * 1024));
    EXPECT_FALSE(isFrame(Ozo::frameProtocol, 17, 8 + 128 * 1024 + 1));
}

TEST(Frame, IsNotOfAnotherProtocolOrVersion) {
    EXPECT_FALSE(isFrame(Ozo::frameProtocol + 1, 17, 12));
    EXPECT_FALSE(isFrame(0, 17, 12));
}

TEST(Frame, ComesFromAnIdThatAMailboxCanHave) {
    EXPECT_FALSE(isFrame(Ozo::frameProtocol, 0, 12));
    EXPECT_FALSE(isFrame(Ozo::frameProtocol, OZO_NO_MAILBOX, 12));
    EXPECT_FALSE(isFrame(Ozo::frameProtocol, OZO_MY_MAILBOX, 12));
    EXPECT_TRUE(isFrame(Ozo::frameProtocol, 1, 12));
    EXPECT_TRUE(isFrame(Ozo::frameProtocol, OZO_NO_MAILBOX - 1, 12));
}

}  // namespace
