#include "linkWatch.hpp"

#include <gmock/gmock.h>

#include <string>

namespace HostFe {
namespace {

using Qdx::Records::CarrierEvent;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint64_t mega = 1'000'000;

LinkState up(std::optional<std::uint64_t> megabits = 1000) {
    return {.name = "eth0",
            .operState = "up",
            .carrier = true,
            .bitsPerSecond = megabits ? std::optional(*megabits * mega) : std::nullopt};
}

LinkState unplugged() {
    return {.name = "eth0", .operState = "down", .carrier = false, .bitsPerSecond = {}};
}

LinkState switchedOff() {
    return {.name = "eth0", .operState = "down", .carrier = {}, .bitsPerSecond = {}};
}

// An event in one line, without its carrier where that is the usual one.
std::string toText(int device, const CarrierEvent& event) {
    EXPECT_EQ(event.carrier_id(), static_cast<std::uint32_t>(device));
    EXPECT_FALSE(event.has_frequency_hz() || event.has_bandwidth_hz() || event.has_power_mdbm());
    std::string text = event.carrier_name() == "eth0" && device == 4
                           ? ""
                           : event.carrier_name() + '=' + std::to_string(device) + ' ';
    text += CarrierEvent::Kind_Name(event.kind());
    if (event.has_bandwidth_bps()) {
        text += ' ' + std::to_string(event.bandwidth_bps() / mega);
    }
    return text + ": " + event.reason();
}

class LinkWatchTest : public ::testing::Test {
protected:
    // The events of a look that sees those links.
    std::vector<std::string> look(const ByDevice<LinkState>& links) {
        std::vector<std::string> texts;
        for (const auto& [device, event] : watch.look(links)) {
            texts.push_back(toText(device, event));
        }
        return texts;
    }
    std::vector<std::string> look(const LinkState& link) {
        return look(ByDevice<LinkState>{{4, link}});
    }

    LinkWatch watch;
};

TEST_F(LinkWatchTest, FirstLookTellsThePresentStateOfEveryLink) {
    EXPECT_THAT(
        look({{4, up()}, {5, unplugged()}, {6, switchedOff()}}),
        ElementsAre("ACTIVATED 1000: seen first", "eth0=5 DEACTIVATED: seen first, no carrier",
                    "eth0=6 DEACTIVATED: seen first, operstate down"));
}

TEST_F(LinkWatchTest, NothingHappensWhileNothingChanges) {
    look({{4, up()}, {5, unplugged()}});
    EXPECT_THAT(look({{4, up()}, {5, unplugged()}}), IsEmpty());
}

TEST_F(LinkWatchTest, LinkThatGoesUpIsActivatedWithItsSpeed) {
    look(unplugged());
    EXPECT_THAT(look(up(2500)), ElementsAre("ACTIVATED 2500: operstate up"));
}

TEST_F(LinkWatchTest, LinkThatLosesItsCarrierFailed) {
    look(up());
    EXPECT_THAT(look(unplugged()), ElementsAre("FAILED: no carrier"));
}

TEST_F(LinkWatchTest, LinkThatIsSwitchedOffIsDeactivated) {
    look(up());
    EXPECT_THAT(look(switchedOff()), ElementsAre("DEACTIVATED: operstate down"));
}

TEST_F(LinkWatchTest, LinkThatWaitsForItsPeerIsDeactivated) {
    look(up());
    LinkState dormant = up();
    dormant.operState = "dormant";
    EXPECT_THAT(look(dormant), ElementsAre("DEACTIVATED: operstate dormant"));
}

TEST_F(LinkWatchTest, LinkThatIsDownAnotherWayIsNoEvent) {
    look(unplugged());
    EXPECT_THAT(look(switchedOff()), IsEmpty());
}

TEST_F(LinkWatchTest, ChangeOfSpeedIsAReconfiguration) {
    look(up(1000));
    EXPECT_THAT(look(up(100)), ElementsAre("RECONFIGURED 100: speed 1000 to 100 Mbit/s"));
    EXPECT_THAT(look(up(100)), IsEmpty());
}

TEST_F(LinkWatchTest, SpeedThatCannotBeReadForAWhileHasNotChanged) {
    look(up(1000));
    EXPECT_THAT(look(up({})), IsEmpty());
    EXPECT_THAT(look(up(1000)), IsEmpty());
}

TEST_F(LinkWatchTest, ChangeOfSpeedAcrossAnUnreadableOneIsSeen) {
    look(up(1000));
    look(up({}));
    look(up({}));
    EXPECT_THAT(look(up(10)), ElementsAre("RECONFIGURED 10: speed 1000 to 10 Mbit/s"));
}

TEST_F(LinkWatchTest, SpeedThatBecomesKnownIsAReconfiguration) {
    EXPECT_THAT(look(up({})), ElementsAre("ACTIVATED: seen first"));
    EXPECT_THAT(look(up(1000)), ElementsAre("RECONFIGURED 1000: speed unknown to 1000 Mbit/s"));
}

TEST_F(LinkWatchTest, SpeedOfALinkThatIsDownIsNoEvent) {
    look(unplugged());
    LinkState told = unplugged();
    told.bitsPerSecond = 100 * mega;
    EXPECT_THAT(look(told), IsEmpty());
}

TEST_F(LinkWatchTest, LinkThatWasDownHasNoSpeedOfBefore) {
    look(up(1000));
    look(unplugged());
    EXPECT_THAT(look(up({})), ElementsAre("ACTIVATED: operstate up"));
    EXPECT_THAT(look(up(1000)), ElementsAre("RECONFIGURED 1000: speed unknown to 1000 Mbit/s"));
}

TEST_F(LinkWatchTest, InterfaceThatAppearsDownIsSetUp) {
    look(ByDevice<LinkState>{});
    EXPECT_THAT(look(switchedOff()), ElementsAre("SETUP: appeared"));
}

TEST_F(LinkWatchTest, InterfaceThatAppearsUpIsSetUpAndActivated) {
    look(ByDevice<LinkState>{});
    EXPECT_THAT(look(up()), ElementsAre("SETUP 1000: appeared", "ACTIVATED 1000: operstate up"));
    EXPECT_THAT(look(up()), IsEmpty());
}

TEST_F(LinkWatchTest, InterfaceThatDisappearsIsReleasedOnce) {
    look({{4, up()}, {5, up()}});
    EXPECT_THAT(look({{5, up()}}), ElementsAre("RELEASED: disappeared"));
    EXPECT_THAT(look({{5, up()}}), IsEmpty());
}

TEST_F(LinkWatchTest, NewInterfaceOfAnOldNameIsAnotherCarrier) {
    look({{4, up()}});
    EXPECT_THAT(look({{9, up({})}}),
                ElementsAre("eth0=9 SETUP: appeared", "eth0=9 ACTIVATED: operstate up",
                            "RELEASED: disappeared"));
}

}  // namespace
}  // namespace HostFe
