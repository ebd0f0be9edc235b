// The collector, not built anew, in a host with another database.
#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>

#include "support/process.hpp"
#include "support/unitRoot.hpp"

namespace {

using testing::HasSubstr;
using TestSupport::Process;

class UnitHost : public testing::Test {
protected:
    void start(const std::map<std::string, std::string>& environment) {
        host = std::make_unique<Process>(std::vector<std::string>{UNIT_HOST, QDXBE}, environment);
        host->awaitError("unitHost: ready");
    }

    void TearDown() override {
        host->signal(SIGTERM);
        EXPECT_EQ(host->awaitExit(), 0);
    }

    static std::string type(const std::vector<std::string>& words) {
        Process process(words);
        process.awaitExit();
        return process.output() + process.error();
    }

    TestSupport::UnitRoot unit;
    std::unique_ptr<Process> host;
};

TEST_F(UnitHost, RunsTheCollectorWithTheConfigurationOfThePort) {
    start({{"QDX_ENABLED", "1"},
           {"QDX_INFOOBJECTLISTFILEPATH", HOST_OBJECTS},
           {"QDX_STATICFILTERS_ENABLEDBYDEFAULT", "load"},
           {"QDX_STATICFILTERS_LOAD", "dch;limit 65536;dch;tags CPU list count 10"}});
    EXPECT_EQ(type({DCH, "filter", "status"}),
              "Current Filter(s):\n Filter load (11): Enabled: Yes, FilterTag(s): CPU\n");
    EXPECT_EQ(type({DCH, "fs", "create", "limit", "0"}), "Created transaction: 1\n");
}

TEST_F(UnitHost, WithoutItsKeyTheCollectorIsDisabled) {
    start({});
    EXPECT_THAT(type({DCH, "filter", "status"}), HasSubstr("data collection is disabled"));
}

}  // namespace
