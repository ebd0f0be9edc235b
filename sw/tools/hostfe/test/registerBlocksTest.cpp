#include "registerBlocks.hpp"

#include <gmock/gmock.h>
#include <net/if.h>

#include <algorithm>
#include <limits>
#include <string>

#include "batchWriter.hpp"

namespace HostFe {
namespace {

using Qdx::Records::RegisterInfo;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();

using Values = std::vector<std::pair<std::string_view, std::uint64_t>>;

// An interface that tells those counters and no others.
InterfaceCounters eth0(const Values& values) {
    InterfaceCounters counters{.name = "eth0", .values = {}};
    for (const auto& [name, value] : values) {
        const auto* const place =
            std::find(interfaceCounterNames.begin(), interfaceCounterNames.end(), name);
        counters.values.at(static_cast<std::size_t>(place - interfaceCounterNames.begin())) = value;
    }
    return counters;
}

// "FAULT rx_errors rx_crc_errors".
std::string occasionOf(const RegisterInfo& block) {
    std::string text = RegisterInfo::Cause_Name(block.cause());
    for (const auto& entry : block.registers()) {
        text += entry.trigger() ? ' ' + entry.name() : "";
    }
    return text;
}

class RegisterBlocksTest : public ::testing::Test {
protected:
    ByDevice<RegisterInfo> look(int second, const ByDevice<InterfaceCounters>& interfaces) {
        return blocks.look(Pace::Clock::time_point(std::chrono::seconds(second)), interfaces);
    }

    // Why the only interface is reported; none if it isn't.
    std::string occasion(int second, const Values& values) {
        const auto given = look(second, {{4, eth0(values)}});
        return given.empty() ? "none" : occasionOf(given[0].second);
    }

    RegisterBlocks blocks{std::chrono::seconds(10)};
};

TEST_F(RegisterBlocksTest, BlockHoldsEveryCounterAtItsAddress) {
    InterfaceCounters all{.name = "eth0", .values = {}};
    for (std::size_t number = 0; number < all.values.size(); ++number) {
        all.values[number] = largest - number;
    }
    const auto given = look(0, {{4, all}});
    ASSERT_THAT(given, SizeIs(1));
    EXPECT_EQ(given[0].first, 4);
    const RegisterInfo& block = given[0].second;
    EXPECT_EQ(block.block(), "eth0");
    EXPECT_TRUE(block.has_base_address());
    EXPECT_EQ(block.base_address(), 0u);
    ASSERT_EQ(block.registers_size(), 24);
    for (int number = 0; number < block.registers_size(); ++number) {
        const auto& entry = block.registers(number);
        const auto place = static_cast<std::size_t>(number);
        EXPECT_EQ(entry.offset(), 8 * place);
        EXPECT_EQ(entry.name(), interfaceCounterNames.at(place));
        EXPECT_EQ(entry.value(), largest - place);
    }
}

// All errors at once, and all numbers and names as large as they get.
TEST_F(RegisterBlocksTest, LargestBlockFitsInTheSmallestMessage) {
    constexpr std::size_t smallestMessage = 1024;
    InterfaceCounters counters{.name = std::string(IFNAMSIZ - 1, 'e'), .values = {}};
    constexpr int device = std::numeric_limits<int>::max();
    counters.values.fill(largest - 1);
    look(0, {{device, counters}});
    counters.values.fill(largest);
    const auto given = look(1, {{device, counters}});
    ASSERT_THAT(given, SizeIs(1));
    EXPECT_EQ(given[0].second.cause(), RegisterInfo::FAULT);
    const std::string bytes = given[0].second.SerializeAsString();
    Qdx::V1::BatchWriter batch(smallestMessage);
    EXPECT_TRUE(
        batch.addRecord("host:net:counters", "deviceId=" + std::to_string(device),
                        {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()}));
}

// Receivers know the counters by these addresses.
TEST_F(RegisterBlocksTest, AddressesStayWhereTheyAre) {
    const auto given =
        look(0, {{4, eth0({{"rx_packets", 1}, {"rx_errors", 2}, {"rx_nohandler", 3}})}});
    EXPECT_EQ(given.at(0).second.ShortDebugString(),
              R"(block: "eth0" base_address: 0 cause: PERIODIC )"
              R"(registers { offset: 0 value: 1 name: "rx_packets" } )"
              R"(registers { offset: 32 value: 2 name: "rx_errors" } )"
              R"(registers { offset: 184 value: 3 name: "rx_nohandler" })");
}

TEST_F(RegisterBlocksTest, QuietInterfaceIsReportedOnceAPeriod) {
    std::vector<int> reported;
    for (int second = 0; second <= 30; ++second) {
        if (occasion(second, {{"rx_errors", 7}}) == "PERIODIC") {
            reported.push_back(second);
        }
    }
    EXPECT_THAT(reported, ElementsAre(0, 10, 20, 30));
}

TEST_F(RegisterBlocksTest, ErrorThatRisesIsReportedAtOnce) {
    occasion(0, {{"rx_packets", 1}, {"rx_errors", 7}});
    EXPECT_EQ(occasion(1, {{"rx_packets", 2}, {"rx_errors", 8}}), "FAULT rx_errors");
    EXPECT_EQ(occasion(2, {{"rx_packets", 3}, {"rx_errors", 8}}), "none");
}

TEST_F(RegisterBlocksTest, EveryErrorThatRisesIsNamed) {
    occasion(0, {{"rx_errors", 7}, {"rx_crc_errors", 7}, {"tx_errors", 0}});
    EXPECT_EQ(occasion(1, {{"rx_errors", 8}, {"rx_crc_errors", 8}, {"tx_errors", 0}}),
              "FAULT rx_errors rx_crc_errors");
}

TEST_F(RegisterBlocksTest, OnlyTheInterfaceWithTheErrorIsReported) {
    const auto quiet = eth0({{"rx_errors", 0}});
    look(0, {{4, quiet}, {5, quiet}});
    const auto given = look(1, {{4, quiet}, {5, eth0({{"rx_errors", 1}})}});
    ASSERT_THAT(given, SizeIs(1));
    EXPECT_EQ(given[0].first, 5);
}

TEST_F(RegisterBlocksTest, OtherCountersMayRise) {
    occasion(0, {{"rx_packets", 1}, {"rx_dropped", 1}, {"collisions", 1}, {"rx_errors", 0}});
    EXPECT_EQ(
        occasion(1, {{"rx_packets", 2}, {"rx_dropped", 2}, {"collisions", 2}, {"rx_errors", 0}}),
        "none");
}

TEST_F(RegisterBlocksTest, ErrorAtTheEndOfAPeriodIsTheCause) {
    occasion(0, {{"rx_errors", 7}});
    EXPECT_EQ(occasion(10, {{"rx_errors", 8}}), "FAULT rx_errors");
    EXPECT_EQ(occasion(11, {{"rx_errors", 8}}), "none");
}

TEST_F(RegisterBlocksTest, ErrorDoesNotDelayThePeriod) {
    occasion(0, {{"rx_errors", 7}});
    occasion(9, {{"rx_errors", 8}});
    EXPECT_EQ(occasion(10, {{"rx_errors", 8}}), "PERIODIC");
}

TEST_F(RegisterBlocksTest, ErrorThatFallsBeganAnew) {
    occasion(0, {{"rx_errors", 7}, {"tx_errors", 7}});
    EXPECT_EQ(occasion(1, {{"rx_errors", 0}, {"tx_errors", 7}}), "RESTART rx_errors");
    EXPECT_EQ(occasion(2, {{"rx_errors", 1}, {"tx_errors", 7}}), "FAULT rx_errors");
}

TEST_F(RegisterBlocksTest, ErrorThatRunsOverBeganAnew) {
    occasion(0, {{"rx_errors", largest}});
    EXPECT_EQ(occasion(1, {{"rx_errors", 2}}), "RESTART rx_errors");
}

TEST_F(RegisterBlocksTest, RiseIsWorthMoreThanAFall) {
    occasion(0, {{"rx_errors", 7}, {"tx_errors", 7}});
    EXPECT_EQ(occasion(1, {{"rx_errors", 0}, {"tx_errors", 8}}), "FAULT tx_errors");
}

TEST_F(RegisterBlocksTest, CounterThatComesOrGoesIsNoError) {
    occasion(0, {{"rx_packets", 1}});
    EXPECT_EQ(occasion(1, {{"rx_packets", 1}, {"rx_errors", 7}}), "none");
    EXPECT_EQ(occasion(2, {{"rx_packets", 1}}), "none");
    EXPECT_EQ(occasion(3, {{"rx_packets", 1}, {"rx_errors", 9}}), "none");
}

TEST_F(RegisterBlocksTest, InterfaceThatAppearsIsReportedAtOnce) {
    look(0, {});
    EXPECT_EQ(occasion(1, {{"rx_errors", 7}}), "PERIODIC");
    EXPECT_EQ(occasion(2, {{"rx_errors", 7}}), "none");
}

TEST_F(RegisterBlocksTest, InterfaceThatDisappearsIsForgotten) {
    occasion(0, {{"rx_errors", 7}});
    EXPECT_THAT(look(1, {}), IsEmpty());
    EXPECT_EQ(occasion(2, {{"rx_errors", 8}}), "PERIODIC");
}

}  // namespace
}  // namespace HostFe
