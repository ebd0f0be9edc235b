// This host as a frontend: what hostfe reports reaches a filter and comes out of it.
#include "carrierEvent.pb.h"
#include "fakeHost.hpp"
#include "registerInfo.pb.h"
#include "support/collector.hpp"
#include "tessel/util.hpp"

namespace {

using namespace TestSupport;
using testing::HasSubstr;

// Pulls until there is data, each time after the collector has been asked something else.
Answer pullOnceThereIsData() {
    for (int tries = 0; tries < 2000; ++tries) {
        auto answer = type("dch filter pull keep 11");
        if (answer.status == 0) {
            return answer;
        }
    }
    return {-1, "no data"};
}

class HostFrontendTest : public CollectorTest {};

TEST_F(HostFrontendTest, FeedsACollectorThatStartsLaterAndAgain) {
    std::ofstream(unit.path() / "objects.xml") << std::ifstream(HOST_OBJECTS).rdbuf();
    const Process hostfe({HOSTFE, "--rate", "50"});
    for (int round = 0; round < 2; ++round) {
        startCollector();
        createFilter({"tags CPU list count 10"});
        const auto decoded = decode(pullOnceThereIsData().output);
        EXPECT_THAT(decoded, HasSubstr("hwSerialNumber"));
        EXPECT_THAT(decoded, HasSubstr("device_id: 0"));
        collector->signal(SIGKILL);
        collector->awaitExit();
    }
}

class CollectedRecordsTest : public CollectorTest {
protected:
    CollectedRecordsTest() {
        std::ofstream(unit.path() / "objects.xml") << std::ifstream(HOST_OBJECTS).rdbuf();
        host.interface("eth0", 4);
    }

    void startHostFrontend() {
        hostfe = std::make_unique<Process>(
            std::vector<std::string>{HOSTFE, "--rate", "50", "--host-root", host.root().string()});
    }

    // A RegisterInfo as the schema's own tools decode it.
    std::string decodeRegisterInfo(const std::string& record) {
        std::ofstream(unit.path() / "record") << record;
        const auto decoded =
            run({"/bin/sh", "-c",
                 "'" PROTOC "' --decode=Qdx.Records.RegisterInfo -I " RECORD_DIRECTORY
                 " registerInfo.proto <'" +
                     (unit.path() / "record").string() + "'"});
        EXPECT_EQ(decoded.status, 0) << decoded.output;
        return decoded.output;
    }

    // The records that filter 11 holds of the interface, once there are so many.
    static std::vector<std::string> awaitRecords(int count) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (std::chrono::steady_clock::now() < deadline) {
            const auto records = pullRecords();
            if (records.values_size() >= count) {
                EXPECT_EQ(records.context().device_id(), 4);
                return {records.values().begin(), records.values().end()};
            }
        }
        throw std::runtime_error("the records don't come");
    }

    HostFe::FakeHost host;
    std::unique_ptr<Process> hostfe;

private:
    // The only series of the pull; without values if there is none yet.
    static Qdx::RecordCollection pullRecords() {
        const auto answer = type("dch filter pull keep 11");
        if (answer.status != 0) {
            return {};
        }
        const auto bytes = Tessel::Util::Base64::decode(base64OfPull(answer.output));
        Qdx::InfoObjectCollections message;
        EXPECT_TRUE(message.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())));
        if (message.recordcollections().empty()) {
            return {};
        }
        EXPECT_EQ(message.recordcollections_size(), 1);
        return message.recordcollections(0);
    }
};

TEST_F(CollectedRecordsTest, LinkThatGoesDownComesOutAsACarrierEvent) {
    startCollector();
    createFilter({"tags NET EVENT list count 10"});
    startHostFrontend();
    Qdx::Records::CarrierEvent event;
    ASSERT_TRUE(event.ParseFromString(awaitRecords(1).at(0)));
    EXPECT_EQ(event.ShortDebugString(), R"(carrier_id: 4 kind: ACTIVATED reason: "seen first" )"
                                        R"(carrier_name: "eth0" bandwidth_bps: 1000000000)");

    host.file("sys/class/net/eth0/carrier", "0\n")
        .file("sys/class/net/eth0/speed", "-1\n")
        .file("sys/class/net/eth0/operstate", "down\n");
    ASSERT_TRUE(event.ParseFromString(awaitRecords(2).at(1)));
    EXPECT_EQ(event.ShortDebugString(),
              R"(carrier_id: 4 kind: FAILED reason: "no carrier" carrier_name: "eth0")");
}

TEST_F(CollectedRecordsTest, ErrorComesOutAsARegisterInfo) {
    startCollector();
    createFilter({"tags NET REGISTER list count 10"});
    startHostFrontend();
    Qdx::Records::RegisterInfo info;
    ASSERT_TRUE(info.ParseFromString(awaitRecords(1).at(0)));
    EXPECT_EQ(info.cause(), Qdx::Records::RegisterInfo::PERIODIC);

    host.file("sys/class/net/eth0/statistics/rx_errors", "3\n");
    const auto fault = awaitRecords(2).at(1);
    EXPECT_EQ(decodeRegisterInfo(fault), R"(block: "eth0"
base_address: 0
cause: FAULT
registers {
  offset: 0
  value: 70
  name: "rx_packets"
}
registers {
  offset: 32
  value: 3
  name: "rx_errors"
  trigger: true
}
)");
}

}  // namespace
