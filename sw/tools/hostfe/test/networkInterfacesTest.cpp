#include "networkInterfaces.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>

#include "fakeHost.hpp"

namespace HostFe {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

class NetworkInterfacesTest : public ::testing::Test {
protected:
    FakeHost host;
    const HostFiles files{host.root()};
};

using LinksTest = NetworkInterfacesTest;
using InterfaceCountersTest = NetworkInterfacesTest;

// The only link of the host.
LinkState linkOf(const HostFiles& files) {
    const auto links = readLinks(files);
    EXPECT_THAT(links, SizeIs(1));
    return links.empty() ? LinkState() : links[0].second;
}

TEST_F(LinksTest, MachineWithoutInterfacesHasNone) {
    EXPECT_THAT(readLinks(files), IsEmpty());
}

TEST_F(LinksTest, TellsNamesAndStatesAsPlainTextOfBoundedLength) {
    host.interface("eth\xff", 4).file("sys/class/net/eth\xff/operstate", std::string(300'000, 'x'));
    const auto link = linkOf(files);
    EXPECT_EQ(link.name, "eth?");
    EXPECT_EQ(link.operState, std::string(64, 'x'));
}

TEST_F(InterfaceCountersTest, TellsNamesAsPlainText) {
    host.interface("eth\xff", 4).file("sys/class/net/eth\xff/statistics/rx_errors", "1\n");
    const auto counters = readInterfaceCounters(files);
    ASSERT_THAT(counters, SizeIs(1));
    EXPECT_EQ(counters[0].second.name, "eth?");
}

TEST_F(LinksTest, TellsNameIndexStateAndSpeed) {
    host.interface("eth0", 4).file("sys/class/net/eth0/speed", "2500\n");
    const auto links = readLinks(files);
    ASSERT_THAT(links, SizeIs(1));
    const auto& [index, link] = links[0];
    EXPECT_EQ(index, 4);
    EXPECT_EQ(link.name, "eth0");
    EXPECT_EQ(link.operState, "up");
    EXPECT_EQ(link.carrier, true);
    EXPECT_EQ(link.bitsPerSecond, 2'500'000'000u);
    EXPECT_TRUE(link.isUp());
}

TEST_F(LinksTest, SpeedThatTheDriverDoesNotKnowIsEmpty) {
    host.interface("eth0", 4);
    for (const auto* unknown : {"-1\n", "0\n", "4294967295\n", "fast\n", ""}) {
        host.file("sys/class/net/eth0/speed", unknown);
        EXPECT_EQ(linkOf(files).bitsPerSecond, std::nullopt) << unknown;
    }
}

// Of an interface that is switched off the kernel lets neither be read.
TEST_F(LinksTest, CarrierAndSpeedThatCannotBeReadAreEmpty) {
    host.file("sys/class/net/eth0/ifindex", "4\n")
        .file("sys/class/net/eth0/operstate", "down\n")
        .folder("sys/class/net/eth0/carrier")
        .folder("sys/class/net/eth0/speed");
    const LinkState link = linkOf(files);
    EXPECT_EQ(link.carrier, std::nullopt);
    EXPECT_EQ(link.bitsPerSecond, std::nullopt);
    EXPECT_FALSE(link.isUp());
}

TEST_F(LinksTest, InterfaceWithoutIndexOrStateIsNotThere) {
    host.file("sys/class/net/bonding_masters", "bond0\n")
        .interface("eth0", 4)
        .remove("sys/class/net/eth0/operstate")
        .interface("eth1", 5)
        .remove("sys/class/net/eth1/ifindex")
        .interface("eth2", 6)
        .file("sys/class/net/eth2/ifindex", "99999999999\n");
    EXPECT_THAT(readLinks(files), IsEmpty());
}

TEST_F(LinksTest, InterfaceThatDoesNotWatchItsLinkIsUpWithACarrier) {
    host.interface("lo", 1).file("sys/class/net/lo/operstate", "unknown\n");
    EXPECT_TRUE(linkOf(files).isUp());
    host.file("sys/class/net/lo/carrier", "0\n");
    EXPECT_FALSE(linkOf(files).isUp());
    host.remove("sys/class/net/lo/carrier");
    EXPECT_FALSE(linkOf(files).isUp());
}

TEST_F(LinksTest, NoOtherStateIsUp) {
    host.interface("eth0", 4);
    for (const auto* state : {"down", "lowerlayerdown", "dormant", "testing", "notpresent"}) {
        host.file("sys/class/net/eth0/operstate", state);
        EXPECT_FALSE(linkOf(files).isUp()) << state;
    }
}

TEST(InterfaceCounterNamesTest, NoneIsThereTwice) {
    const std::set<std::string_view> names(interfaceCounterNames.begin(),
                                           interfaceCounterNames.end());
    EXPECT_EQ(names.size(), interfaceCounterNames.size());
}

TEST_F(InterfaceCountersTest, EachStandsInThePlaceOfItsName) {
    host.file("sys/class/net/eth0/ifindex", "4\n");
    for (std::size_t number = 0; number < interfaceCounterNames.size(); ++number) {
        host.file("sys/class/net/eth0/statistics/" + std::string(interfaceCounterNames[number]),
                  std::to_string(100 + number) + "\n");
    }
    const auto all = readInterfaceCounters(files);
    ASSERT_THAT(all, SizeIs(1));
    EXPECT_EQ(all[0].first, 4);
    EXPECT_EQ(all[0].second.name, "eth0");
    for (std::size_t number = 0; number < interfaceCounterNames.size(); ++number) {
        EXPECT_EQ(all[0].second.values[number], 100 + number) << interfaceCounterNames[number];
    }
}

TEST_F(InterfaceCountersTest, FillSixtyFourBits) {
    host.interface("eth0", 4).file("sys/class/net/eth0/statistics/rx_packets",
                                   "18446744073709551615\n");
    EXPECT_EQ(readInterfaceCounters(files).at(0).second.values[0], 18446744073709551615u);
}

TEST_F(InterfaceCountersTest, CounterThatIsNotToldIsEmpty) {
    host.file("sys/class/net/eth0/ifindex", "4\n")
        .file("sys/class/net/eth0/statistics/rx_packets", "7\n")
        .file("sys/class/net/eth0/statistics/rx_errors", "many\n")
        .folder("sys/class/net/eth0/statistics/tx_errors");
    const auto values = readInterfaceCounters(files).at(0).second.values;
    EXPECT_EQ(values[0], 7u);
    EXPECT_EQ(std::count(values.begin(), values.end(), std::nullopt), values.size() - 1);
}

TEST_F(InterfaceCountersTest, InterfaceThatTellsNoneIsNotThere) {
    host.interface("eth0", 4).remove("sys/class/net/eth0/statistics");
    EXPECT_THAT(readInterfaceCounters(files), IsEmpty());
}

TEST_F(NetworkInterfacesTest, ComeInTheOrderOfTheirNames) {
    host.interface("wlan0", 2).interface("eth0", 4);
    EXPECT_THAT(readLinks(files), ElementsAre(Pair(4, ::testing::_), Pair(2, ::testing::_)));
    EXPECT_THAT(readInterfaceCounters(files),
                ElementsAre(Pair(4, ::testing::_), Pair(2, ::testing::_)));
}

}  // namespace
}  // namespace HostFe
