// The interface for C: a frontend in C, and what its calls say when something is wrong.
#include "qdx/qdxFrontend.h"

#include <gmock/gmock.h>

#include <future>
#include <string>
#include <vector>

#include "allocationCounter.hpp"
#include "cFrontend.h"
#include "connectionFixture.hpp"

namespace Qdx::Frontend {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

class QdxFrontendTest : public ConnectionTest {
public:
    ~QdxFrontendTest() override { qdx_disconnect(connection); }

protected:
    void connect(const qdx_options* options = nullptr, const qdx_meta_data* metaData = nullptr) {
        ASSERT_EQ(qdx_connect(ownName, metaData, options, &connection), QDX_OK);
    }

    qdx_connection* connection = nullptr;
};

TEST_F(QdxFrontendTest, FrontendInCSendsAllKindsOfSamples) {
    FakeCollector collector;
    auto batches = std::async(std::launch::async, [&] { return collector.serve(1); });
    EXPECT_EQ(runCFrontend(), 0) << qdx_last_error();
    const auto taken = batches.get();
    ASSERT_THAT(taken, SizeIs(1));
    EXPECT_THAT(taken[0].measurements,
                ElementsAre(Item{"m rfBranch=1", INT64_MIN}, Item{"m rfBranch=1", 1}));
    EXPECT_THAT(taken[0].counters, ElementsAre(Item{"c", 2}, Item{"c", 3}));
    EXPECT_THAT(taken[0].records, ElementsAre(Item{"r", 0, {"a\0b", 3}}, Item{"r"}));
}

TEST_F(QdxFrontendTest, DeliversAllMetaDataThatAreTold) {
    FakeCollector collector;
    const qdx_meta_data all{"CXP1", "R1A", "KRC1", "R2B", "S123", ""};
    connect(nullptr, &all);
    qdx_poll(connection);
    collector.confirm();
    qdx_poll(connection);
    const RadioMetaData metaData = collector.metaData();
    EXPECT_EQ(metaData.swproductnumber(), "CXP1");
    EXPECT_EQ(metaData.swproductrevision(), "R1A");
    EXPECT_EQ(metaData.hwproductnumber(), "KRC1");
    EXPECT_EQ(metaData.hwproductrevision(), "R2B");
    EXPECT_EQ(metaData.hwserialnumber(), "S123");
    EXPECT_TRUE(metaData.has_hwname());
}

TEST_F(QdxFrontendTest, TellsStatesAndTheirChanges) {
    FakeCollector collector;
    std::vector<qdx_state> states;
    const qdx_options options{.queued_batches = 0,
                              .batch_age_ms = 0,
                              .retry_period_ms = 0,
                              .on_state_change =
                                  [](qdx_state state, void* list) {
                                      static_cast<std::vector<qdx_state>*>(list)->push_back(state);
                                  },
                              .user_data = &states};
    connect(&options);
    EXPECT_EQ(qdx_get_state(connection), QDX_SEEKING);
    qdx_poll(connection);
    collector.confirm();
    qdx_poll(connection);
    EXPECT_EQ(qdx_get_state(connection), QDX_CONNECTED);
    EXPECT_THAT(states, ElementsAre(QDX_ASKING, QDX_CONNECTED));
}

TEST_F(QdxFrontendTest, ServesAnEventLoop) {
    connect();
    EXPECT_GE(qdx_descriptor(connection), 0);
    EXPECT_EQ(qdx_timeout_ms(connection), 0);
    qdx_poll(connection);
    EXPECT_GT(qdx_timeout_ms(connection), 0);
    EXPECT_LE(qdx_timeout_ms(connection), 1000);
}

TEST_F(QdxFrontendTest, NeedsNoPollingWhileNothingIsDue) {
    FakeCollector collector;
    const qdx_options options{0, 0, 1, nullptr, nullptr};
    connect(&options);
    while (qdx_get_state(connection) != QDX_ASKING) {
        qdx_serve_for(connection, 1);
    }
    collector.answerLast(true);
    while (qdx_get_state(connection) != QDX_CONNECTED) {
        qdx_poll(connection);
    }
    EXPECT_EQ(qdx_timeout_ms(connection), -1);
}

TEST_F(QdxFrontendTest, TellsWhatStillWaits) {
    connect();
    qdx_counter* counter = nullptr;
    ASSERT_EQ(qdx_define_counter(connection, "a", nullptr, &counter), QDX_OK);
    EXPECT_EQ(qdx_flush(connection), QDX_OK);
    qdx_add_counter(counter, 1);
    EXPECT_EQ(qdx_flush(connection), QDX_WAITING);
    EXPECT_EQ(qdx_drain(connection, 1), QDX_WAITING);
}

TEST_F(QdxFrontendTest, CountsWhatItDrops) {
    useSmallMessages();
    const qdx_options options{1, 0, 0, nullptr, nullptr};
    connect(&options);
    qdx_measurement* measurement = nullptr;
    ASSERT_EQ(qdx_define_measurement(connection, "abc", nullptr, &measurement), QDX_OK);
    for (int sample = 0; sample < 62 * 2 + 1; ++sample) {
        qdx_add_measurement(measurement, sample);
    }
    EXPECT_EQ(qdx_get_statistics(connection).not_connected.batches, 1u);
    EXPECT_EQ(qdx_get_statistics(connection).not_connected.samples, 62u);
    EXPECT_EQ(qdx_get_statistics(connection).slow_collector.batches, 0u);
}

TEST_F(QdxFrontendTest, SaysThatANameIsInUse) {
    const OzoTest::MailboxThread other(ownName);
    EXPECT_EQ(qdx_connect(ownName, nullptr, nullptr, &connection), QDX_NAME_IN_USE);
    EXPECT_EQ(connection, nullptr);
    EXPECT_THAT(qdx_last_error(), HasSubstr(ownName));
}

TEST_F(QdxFrontendTest, SaysThatThereCanBeNoMailbox) {
    EXPECT_EQ(qdx_connect("a/b", nullptr, nullptr, &connection), QDX_NO_MAILBOX);
    EXPECT_THAT(qdx_last_error(), HasSubstr("a/b"));
}

TEST_F(QdxFrontendTest, SaysWhatIsWrongWithADefinition) {
    useSmallMessages();
    connect();
    qdx_counter* counter = nullptr;
    EXPECT_EQ(qdx_define_counter(connection, "a b", nullptr, &counter), QDX_INVALID_ARGUMENT);
    EXPECT_THAT(qdx_last_error(), HasSubstr("a b"));
    EXPECT_EQ(qdx_define_counter(connection, nullptr, nullptr, &counter), QDX_INVALID_ARGUMENT);
    EXPECT_EQ(qdx_define_counter(connection, "a", "colour=1", &counter), QDX_INVALID_ARGUMENT);
    EXPECT_THAT(qdx_last_error(), HasSubstr("colour=1"));
    EXPECT_EQ(qdx_define_counter(connection, std::string(2000, 'n').c_str(), nullptr, &counter),
              QDX_TOO_LARGE);
    EXPECT_EQ(counter, nullptr);
    EXPECT_EQ(qdx_define_counter(connection, "a", nullptr, nullptr), QDX_INVALID_ARGUMENT);
    EXPECT_EQ(qdx_define_counter(nullptr, "a", nullptr, &counter), QDX_INVALID_ARGUMENT);
}

TEST_F(QdxFrontendTest, CutsAReasonThatIsTooLong) {
    connect();
    qdx_counter* counter = nullptr;
    const std::string name = std::string(1000, 'n') + " b";
    EXPECT_EQ(qdx_define_counter(connection, name.c_str(), nullptr, &counter),
              QDX_INVALID_ARGUMENT);
    EXPECT_EQ(std::string(qdx_last_error()).size(), 255u);
}

TEST_F(QdxFrontendTest, PutsUpWithNullPointers) {
    EXPECT_EQ(qdx_connect(ownName, nullptr, nullptr, nullptr), QDX_INVALID_ARGUMENT);
    EXPECT_EQ(qdx_connect(nullptr, nullptr, nullptr, &connection), QDX_INVALID_ARGUMENT);
    qdx_disconnect(nullptr);
    qdx_add_measurement(nullptr, 1);
    qdx_add_counter(nullptr, 1);
    EXPECT_EQ(qdx_add_record(nullptr, "a", 1), QDX_INVALID_ARGUMENT);
    connect();
    qdx_record* record = nullptr;
    ASSERT_EQ(qdx_define_record(connection, "r", nullptr, &record), QDX_OK);
    EXPECT_EQ(qdx_add_record(record, nullptr, 1), QDX_INVALID_ARGUMENT);
}

TEST_F(QdxFrontendTest, SaysThatARecordIsTooLarge) {
    useSmallMessages();
    connect();
    qdx_record* record = nullptr;
    ASSERT_EQ(qdx_define_record(connection, "r", nullptr, &record), QDX_OK);
    const std::string payload(1024, 'x');
    EXPECT_EQ(qdx_add_record(record, payload.data(), payload.size()), QDX_TOO_LARGE);
    EXPECT_EQ(qdx_get_statistics(connection).too_large.samples, 1u);
}

TEST_F(QdxFrontendTest, LetsNoExceptionOutWhenMemoryIsRefused) {
    for (std::size_t failing = 0;; ++failing) {
        qdx_counter* counter = nullptr;
        bool failed = false;
        qdx_result connected = QDX_OK;
        qdx_result defined = QDX_OK;
        {
            const AllocationFault fault(failing);
            connected = qdx_connect(ownName, nullptr, nullptr, &connection);
            if (connected == QDX_OK) {
                defined = qdx_define_counter(connection, "some:name", "rfBranch=1", &counter);
            }
            failed = fault.hasFailed();
        }
        if (!failed) {
            EXPECT_GT(failing, 0u);
            return;
        }
        EXPECT_EQ(std::max(connected, defined), QDX_NO_MEMORY) << failing;
        EXPECT_STRNE(qdx_last_error(), "");
        EXPECT_EQ(connection == nullptr, connected != QDX_OK);
        EXPECT_EQ(counter, nullptr);
        qdx_disconnect(connection);
        connection = nullptr;
    }
}

}  // namespace
}  // namespace Qdx::Frontend
