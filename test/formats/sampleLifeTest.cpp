// One sample on its whole way, by the steps of the page about it.
#include <gmock/gmock.h>

#include <fstream>
#include <mutex>
#include <regex>
#include <sstream>

#include "collectorThread.hpp"
#include "hexPage.hpp"
#include "parsedStatement.hpp"
#include "pull/pullReader.hpp"
#include "pull/table.hpp"
#include "qdx/frontend.hpp"
#include "quardex.hpp"
#include "support/rawClient.hpp"
#include "tessel/commandClient.hpp"
#include "tessel/commandServer.hpp"
#include "tessel/observer.hpp"
#include "traceRecorder.hpp"
#include "unitRoot.hpp"
#include "wireFormat.hpp"

namespace {

using namespace Qdx::Backend;
using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::int64_t milliCelsius = 47250;

// Keeps the batches that the collector gets.
class BatchObserver final : public Tessel::Host::V1::ObserverIf {
public:
    BatchObserver() { Tessel::Host::V1::setObserver(this); }
    ~BatchObserver() override { Tessel::Host::V1::setObserver(nullptr); }

    std::vector<FormatTest::Bytes> batches() const {
        const std::lock_guard lock(mutex);
        return seen;
    }

    void onMessage(const ozo_msg& message) override {
        if (message.msgno == Qdx::V1::beProcessBatchesUreq) {
            const std::lock_guard lock(mutex);
            const auto* bytes = reinterpret_cast<const unsigned char*>(&message);
            seen.emplace_back(bytes, bytes + ozo_size(&message));
        }
    }
    void onMailboxGone(std::uint32_t /*mailbox*/) override {}
    void onCommand(const std::vector<std::string>& /*words*/) override {}
    void onSteadyClock(std::chrono::steady_clock::time_point time) override {
        const std::lock_guard lock(mutex);
        lastRead = time;
    }
    void onWallClock(std::chrono::system_clock::time_point /*time*/) override {}

    std::chrono::steady_clock::time_point steadyRead() const {
        const std::lock_guard lock(mutex);
        return lastRead;
    }

private:
    mutable std::mutex mutex;
    std::vector<FormatTest::Bytes> seen;
    std::chrono::steady_clock::time_point lastRead;
};

class SampleLife : public testing::Test {
protected:
    SampleLife() {
        root.writeCatalogue(FormatTest::textOf(RADIO_OBJECTS), "enabled = 1\n");
        server = std::make_unique<Tessel::Host::V1::CommandServer>(nullptr);
        server->serve();
        thread = std::make_unique<Qdx::Test::CollectorThread>(collector, [] {});
        onCollector([this] {
            collector.createFilter(FilterId{11}, "11",
                                   Qdx::Test::parsedAll({"tags RADIO list count 10"}), 0,
                                   Enabled::Yes, Static::No, Printable::No);
        });
        Qdx::Test::TraceRecorder::instance().clear();
    }

    void onCollector(const std::function<void()>& function) { thread->run(function); }

    unsigned long content() {
        unsigned long bytes = 0;
        onCollector([&] {
            bytes =
                collector.getFilterMemory(FilterId{11})->getContentResource()->getAllocatedSize();
        });
        return bytes;
    }

    unsigned long main() {
        unsigned long bytes = 0;
        onCollector([&] {
            bytes = collector.getFilterMemory(FilterId{11})->getMainResource()->getAllocatedSize();
        });
        return bytes;
    }

    // The next step: it must be the page's next heading.
    void step(const std::string& heading) {
        steps.push_back("### " + std::to_string(steps.size() + 1) + ". " + heading);
    }

    static std::vector<std::string> stepsOfThePage() {
        std::istringstream page(FormatTest::textOf(PAGE));
        std::vector<std::string> headings;
        for (std::string line; std::getline(page, line);) {
            if (line.starts_with("### ")) {
                headings.push_back(line);
            }
        }
        return headings;
    }

    template <typename Condition>
    static bool comes(Qdx::Frontend::Connection& connection, Condition condition) {
        const auto deadline = std::chrono::steady_clock::now() + 20s;
        while (!condition() && std::chrono::steady_clock::now() < deadline) {
            connection.serveUntil(std::chrono::steady_clock::now() + 5ms);
        }
        return condition();
    }

    std::vector<std::string> steps;
    BatchObserver observer;  // before all active objects
    Qdx::Test::UnitRoot root;
    std::unique_ptr<Tessel::Host::V1::CommandServer> server;
    Quardex collector;
    std::unique_ptr<Qdx::Test::CollectorThread> thread;
};

TEST_F(SampleLife, GoesAsThePageSays) {
    Qdx::Frontend::Connection connection("Radio",
                                         {.swProductNumber = "SW1",
                                          .swProductRevision = "R1A",
                                          .hwProductNumber = "HW1",
                                          .hwProductRevision = "R2",
                                          .hwSerialNumber = "S123",
                                          .hwName = "radio"},
                                         {.batchAge = 1h});
    ASSERT_TRUE(
        comes(connection, [&] { return connection.state() == Qdx::Frontend::State::Connected; }));

    step("A handle takes the value");
    const Qdx::Frontend::Measurement temperature(connection, "radio:temperature", "deviceId=0");
    temperature.add(milliCelsius);

    step("It stands in the open batch");
    connection.poll();
    EXPECT_EQ(connection.statistics().sentBatches, 0U);
    EXPECT_THAT(observer.batches(), IsEmpty());
    const auto emptyMain = main();

    step("The batch leaves");
    EXPECT_TRUE(connection.flush());
    EXPECT_EQ(connection.statistics().sentBatches, 1U);

    step("The kernel carries it");
    ASSERT_TRUE(comes(connection, [&] { return content() != 0; }));
    ASSERT_THAT(observer.batches(), SizeIs(1));
    const auto batch = observer.batches().front();

    step("The collector's thread takes the message");
    const auto time = observer.steadyRead();
    EXPECT_LE(time, std::chrono::steady_clock::now());
    EXPECT_GT(time, std::chrono::steady_clock::now() - 20s);

    step("The batch is cut into items");
    EXPECT_EQ(batch.size(), Qdx::V1::beProcessBatchesFixedSize + 41);
    EXPECT_THAT(
        std::string(batch.begin(), batch.end()),
        HasSubstr(std::string("radio:temperature deviceId=0\0\0\0\0\x08\0\0\0\0\0\0\xb8\x92", 41)));

    step("Its key finds the way");
    EXPECT_THAT(Qdx::Test::TraceRecorder::instance().texts(Trace::Level::Error), IsEmpty());

    step("Statements decide");
    EXPECT_EQ(main() - emptyMain, 80U + 144U);  // a context, and a pair of a list by count

    step("An aggregator keeps it");
    EXPECT_EQ(content(), 16U);

    step("Somebody pulls");
    std::string answer;
    const auto take = [&answer](std::string_view piece) { answer += piece; };
    EXPECT_EQ(Tessel::CommandClient::run({"dch", "filter", "pull", "keep", "11"}, {take, take}), 0);
    EXPECT_EQ(content(), 16U);

    step("The answer travels");
    EXPECT_THAT(answer, testing::StartsWith("<QdxOutput>"));
    const auto pulls = Qdx::Pull::readPulls(answer, "the answer");
    ASSERT_THAT(pulls, SizeIs(1));
    const auto& series = pulls[0].collections.measurementcollections(0);
    EXPECT_EQ(series.values(0), milliCelsius);
    EXPECT_EQ(series.context().device_id(), 0);

    step("It is on the screen");
    std::ostringstream screen;
    Qdx::Pull::printTable(screen, pulls[0].collections, Qdx::Pull::Catalogue::read(RADIO_OBJECTS),
                          {});
    EXPECT_THAT(screen.str(), HasSubstr("radio:temperature"));
    EXPECT_THAT(screen.str(), HasSubstr("47.25"));

    EXPECT_EQ(steps, stepsOfThePage());
}

// "about 45 ns ("1 filter")": rounded, but of the order that was measured last.
TEST(SampleLifePage, RoundsCostsOfThePageAboutPerformance) {
    const auto page = std::regex_replace(FormatTest::textOf(PAGE), std::regex("\\n *"), " ");
    const auto measured = FormatTest::textOf(PERFORMANCE_PAGE);
    const std::regex cost(R"regex(about ([0-9.]+) ns \("([^"]+)"\))regex");
    std::size_t costs = 0;
    for (std::sregex_iterator found(page.begin(), page.end(), cost), end; found != end; ++found) {
        const auto row = "\n| " + (*found)[2].str() + " | ";
        const auto at = measured.find(row);
        ASSERT_NE(at, std::string::npos) << row;
        const auto nanoseconds = std::stod(measured.substr(at + row.size()));
        EXPECT_NEAR(std::stod((*found)[1]), nanoseconds, nanoseconds / 3) << row;
        ++costs;
    }
    EXPECT_EQ(costs, 5U);
}

}  // namespace
