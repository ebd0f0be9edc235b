// A connection and a collector that the test plays, in a unit of their own.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>

#include <cstdlib>

#include "fakeCollector.hpp"
#include "qdx/frontend.hpp"

namespace Qdx::Frontend {

inline constexpr char ownName[] = "TestFrontend";

class ConnectionTest : public ::testing::Test {
public:
    ~ConnectionTest() override { ::unsetenv("OZO_MAX_SIZE"); }

    // The smallest that a unit may set: a batch is full soon.
    static void useSmallMessages() { ::setenv("OZO_MAX_SIZE", "1024", 1); }

    // Does what a collector and poll() do until batches may flow.
    static void connect(Connection& connection, FakeCollector& collector) {
        connection.poll();
        collector.confirm();
        connection.poll();
        ASSERT_EQ(connection.state(), State::Connected);
    }

    static bool isReadable(const Connection& connection) {
        pollfd asked{.fd = connection.descriptor(), .events = POLLIN, .revents = 0};
        return ::poll(&asked, 1, 0) == 1;
    }

    OzoTest::TemporaryUnit unit;
};

}  // namespace Qdx::Frontend
