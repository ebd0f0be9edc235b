#include "deviceHandles.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

#include "allocationCounter.hpp"
#include "fakeHost.hpp"
#include "qdx/frontend/handles.hpp"

namespace HostFe {
namespace {

using Qdx::Frontend::Connection;
using Qdx::Frontend::Counter;

class DeviceHandlesTest : public ::testing::Test {
public:
    DeviceHandlesTest() {
        unit.folder("run");
        ::setenv("UNIT_ROOT", unit.root().c_str(), 1);
    }
    ~DeviceHandlesTest() override { ::unsetenv("UNIT_ROOT"); }

    FakeHost unit;
};

TEST_F(DeviceHandlesTest, HandleIsMadeOnceAndKept) {
    Connection connection("HostFrontend");
    DeviceHandles<Counter> counters(connection);
    counters.of("host:net:receivedBytes", 4).add(1);
    const Counter& kept = counters.of("host:net:receivedBytes", 4);
    const std::size_t before = allocationCount();
    const Counter& again = counters.of("host:net:receivedBytes", 4);
    again.add(1);
    EXPECT_EQ(allocationCount(), before);
    EXPECT_EQ(&again, &kept);
}

TEST_F(DeviceHandlesTest, EveryNameAndDeviceHasItsOwn) {
    Connection connection("HostFrontend");
    DeviceHandles<Counter> counters(connection);
    const std::set<const Counter*> handles{
        &counters.of("host:cpu:busy", 0), &counters.of("host:cpu:busy", 1),
        &counters.of("host:cpu:busy", std::nullopt), &counters.of("host:cpu:user", 0)};
    EXPECT_EQ(handles.size(), 4u);
}

}  // namespace
}  // namespace HostFe
