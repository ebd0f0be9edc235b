#include "hostRecords.hpp"

#include <gmock/gmock.h>

#include "fakeHost.hpp"

namespace HostFe {
namespace {

using Qdx::Records::CarrierEvent;
using Qdx::Records::RegisterInfo;
using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class HostRecordsTest : public ::testing::Test {
protected:
    std::vector<Record> readAt(int time) {
        return records.read(Pace::Clock::time_point(milliseconds(time)));
    }

    // The objects whose records are given at that time.
    std::vector<std::string_view> namesAt(int time) {
        std::vector<std::string_view> names;
        for (const Record& record : readAt(time)) {
            names.push_back(record.object.name);
        }
        return names;
    }

    FakeHost host;
    HostRecords records{HostFiles(host.root()), std::chrono::seconds(10)};
};

TEST_F(HostRecordsTest, MachineWithoutInterfacesGivesNone) {
    EXPECT_THAT(readAt(0), IsEmpty());
}

TEST_F(HostRecordsTest, RecordsAreMessagesOfTheirObjectsType) {
    host.interface("eth0", 4);
    const auto given = readAt(0);
    ASSERT_THAT(given, SizeIs(2));
    CarrierEvent event;
    EXPECT_EQ(given[0].object.messageType, event.GetTypeName());
    EXPECT_EQ(given[0].device, 4);
    ASSERT_TRUE(event.ParseFromString(given[0].bytes));
    EXPECT_EQ(event.kind(), CarrierEvent::ACTIVATED);
    RegisterInfo block;
    EXPECT_EQ(given[1].object.messageType, block.GetTypeName());
    EXPECT_EQ(given[1].device, 4);
    ASSERT_TRUE(block.ParseFromString(given[1].bytes));
    EXPECT_EQ(block.cause(), RegisterInfo::PERIODIC);
}

TEST_F(HostRecordsTest, LinksAreLookedAtTenTimesASecond) {
    host.interface("eth0", 4);
    readAt(0);
    host.file("sys/class/net/eth0/carrier", "0\n").file("sys/class/net/eth0/operstate", "down\n");
    EXPECT_THAT(namesAt(50), IsEmpty());
    EXPECT_THAT(namesAt(100), ElementsAre("host:net:link"));
    EXPECT_THAT(namesAt(200), IsEmpty());
}

TEST_F(HostRecordsTest, CountersAreLookedAtOnceASecond) {
    host.interface("eth0", 4);
    readAt(0);
    host.file("sys/class/net/eth0/statistics/rx_errors", "1\n");
    EXPECT_THAT(namesAt(500), IsEmpty());
    EXPECT_THAT(namesAt(1000), ElementsAre("host:net:counters"));
    EXPECT_THAT(namesAt(2000), IsEmpty());
}

}  // namespace
}  // namespace HostFe
