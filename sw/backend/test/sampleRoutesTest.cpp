// The short way of samples: its table, its circles, and that nobody outside can tell it from the
// long way.
#include "sampleRoutes.hpp"

#include <gmock/gmock.h>

#include <random>
#include <sstream>

#include "batchMessage.hpp"
#include "countAggregators.hpp"
#include "countingMemoryResource.hpp"
#include "infoObjectListIf.hpp"
#include "listAggregators.hpp"
#include "parsedStatement.hpp"
#include "quardex.hpp"
#include "series.hpp"
#include "unitRoot.hpp"

namespace Qdx::Backend {
namespace {

using AggregatorParams::CountList;
using AggregatorParams::CountNonList;
using Qdx::Test::BatchMessage;
using Qdx::Test::RecordingEncoder;
using Qdx::V1::CounterData;
using Qdx::V1::MeasurementData;
using testing::ElementsAre;

// --- The table ---------------------------------------------------------------------------------

constexpr std::size_t ample = 100'000'000;

const SampleRoutes::Route* find(const SampleRoutes& routes, const std::string& key) {
    return routes.find(key, routes.hashOf(key));
}

// An aggregator that remembers what was asked of it.
struct Probe : Aggregator {
    int getGpbAggrType() const override { return 0; }
    void pullData(const AggregatorParamsVariant&, time_point,
                  const std::pair<InfoObjectId, std::string>&, OutputEncoderIf*) override {}
    void clearData(const AggregatorParamsVariant&, time_point) override {}
    void straighten(Circle& circle) noexcept override {
        straightened.push_back(circle.oldest);
        circle.oldest = 0;
    }
    std::vector<std::uint32_t> straightened;
};

SampleRoutes::Feed feedOf(Aggregator& aggregator, std::uint32_t size = 1) {
    return {&aggregator, CountList{size}, {}};
}

TEST(SampleRoutesTest, EmptyTableHasNoRoutes) {
    const SampleRoutes routes(ample);
    EXPECT_EQ(find(routes, "a"), nullptr);
    EXPECT_EQ(find(routes, ""), nullptr);
}

TEST(SampleRoutesTest, EveryKeyKeepsItsFeedsWhileTheTableGrows) {
    SampleRoutes routes(ample);
    std::vector<Probe> probes(5000);
    for (std::size_t i = 0; i < probes.size(); ++i) {
        const std::vector<SampleRoutes::Feed> feeds(i % 4, feedOf(probes[i]));
        routes.add("key" + std::to_string(i), InfoObjectType{static_cast<unsigned>(i % 2)}, feeds);
    }
    for (std::size_t i = 0; i < probes.size(); ++i) {
        const auto* route = find(routes, "key" + std::to_string(i));
        ASSERT_NE(route, nullptr) << i;
        EXPECT_EQ(route->type, InfoObjectType{static_cast<unsigned>(i % 2)});
        ASSERT_EQ(routes.feedsOf(*route).size(), i % 4);
        for (const auto& feed : routes.feedsOf(*route)) {
            EXPECT_EQ(feed.aggregator, &probes[i]);
        }
    }
    EXPECT_EQ(find(routes, "key5000"), nullptr);
}

TEST(SampleRoutesTest, KeysDifferInEveryByteAndInLength) {
    SampleRoutes routes(ample);
    const std::string key = "rf:tx:power:mean rfBranch=3,carrierId=7";
    routes.add(key, InfoObjectType::Counter, {});
    EXPECT_NE(find(routes, key), nullptr);
    for (std::size_t i = 0; i < key.size(); ++i) {
        auto other = key;
        other[i] ^= 1;
        EXPECT_EQ(find(routes, other), nullptr) << i;
        EXPECT_EQ(find(routes, key.substr(0, i)), nullptr) << i;
    }
}

TEST(SampleRoutesTest, WithoutRoomNothingIsAddedAndNothingIsLost) {
    constexpr std::size_t limit = 10'000;
    SampleRoutes routes(limit);
    Probe probe;
    std::size_t added = 0;
    for (int i = 0; i < 1000; ++i) {
        const auto key = std::to_string(i);
        routes.add(key, InfoObjectType::Counter, std::vector{feedOf(probe)});
        added += find(routes, key) != nullptr ? 1 : 0;
    }
    EXPECT_GT(added, 20);
    EXPECT_LT(added * (sizeof(SampleRoutes::Route) + sizeof(SampleRoutes::Feed)), limit);
    EXPECT_NE(find(routes, "0"), nullptr);
    EXPECT_EQ(find(routes, "999"), nullptr);
}

TEST(SampleRoutesTest, LimitOfZeroKeepsNothing) {
    SampleRoutes routes;
    routes.add("a", InfoObjectType::Counter, {});
    EXPECT_EQ(find(routes, "a"), nullptr);
}

TEST(SampleRoutesTest, StraightensOnlyCirclesAndOnlyOnce) {
    SampleRoutes routes(ample);
    Probe probe;
    routes.add("a", InfoObjectType::Counter, std::vector{feedOf(probe), feedOf(probe)});
    routes.feedsOf(*find(routes, "a"))[1].circle.oldest = 5;
    routes.straighten();
    routes.straighten();
    EXPECT_THAT(probe.straightened, ElementsAre(5));
}

TEST(SampleRoutesTest, ClearStraightensAndForgets) {
    SampleRoutes routes(ample);
    Probe probe;
    routes.add("a", InfoObjectType::Counter, std::vector{feedOf(probe)});
    routes.feedsOf(*find(routes, "a"))[0].circle.oldest = 2;
    routes.clear();
    EXPECT_THAT(probe.straightened, ElementsAre(2));
    EXPECT_EQ(find(routes, "a"), nullptr);
    routes.add("a", InfoObjectType::Counter, {});
    EXPECT_NE(find(routes, "a"), nullptr);
}

TEST(SampleRoutesTest, TakesNoMoreOnceGivenUp) {
    SampleRoutes routes(ample);
    routes.add("a", InfoObjectType::Counter, {});
    routes.giveUp();
    routes.add("a", InfoObjectType::Counter, {});
    EXPECT_EQ(find(routes, "a"), nullptr);
}

// --- Circles -----------------------------------------------------------------------------------

// Feeds two aggregators the same samples, one in order and one as a circle that is straightened now
// and then, on equal budgets that run out now and then.
template <typename Class, typename T, typename Params>
void expectCircleAsInOrder(const Params& params, unsigned seed) {
    std::mt19937 random(seed);
    const auto budget = std::make_shared<unsigned long>(1000);
    const auto circleBudget = std::make_shared<unsigned long>(1000);
    CountingMemoryResource content(std::pmr::new_delete_resource(), "order", budget);
    CountingMemoryResource circleContent(std::pmr::new_delete_resource(), "circle", circleBudget);
    Class inOrder(params, time_point{}, T{0}, &content, &content);
    Class circling(params, time_point{}, T{0}, &circleContent, &circleContent);
    Circle circle;
    for (int i = 1; i < 400; ++i) {
        const T sample{static_cast<std::int64_t>(random() % 1000)};
        const time_point now{std::chrono::nanoseconds(i)};
        inOrder.feedValue(params, now, sample);
        circling.feedCircle(params, now, sample, circle);
        if (random() % 40 == 0) {
            const auto bytes = random() % 2000;
            content.setRemainingSize(bytes);
            circleContent.setRemainingSize(bytes);
        }
        if (random() % 20 == 0) {
            circling.straighten(circle);
            EXPECT_EQ(circle.oldest, 0);
            RecordingEncoder expected;
            RecordingEncoder actual;
            inOrder.pullData(params, now, {InfoObjectId{1}, ""}, &expected);
            circling.pullData(params, now, {InfoObjectId{1}, ""}, &actual);
            ASSERT_EQ(actual.points(), expected.points()) << seed << " " << i;
            if (random() % 4 == 0) {
                inOrder.clearData(params, now);
                circling.clearData(params, now);
            }
        }
        ASSERT_EQ(circleContent.getAllocatedSize(), content.getAllocatedSize());
        ASSERT_EQ(circleContent.getMaxAllocatedSize(), content.getMaxAllocatedSize());
        ASSERT_EQ(circleContent.getNumFailures(), content.getNumFailures());
    }
}

TEST(CircleTest, StraightenedIsTheHistoryInOrder) {
    for (unsigned seed = 0; seed < 60; ++seed) {
        const CountNonList windows{1 + seed % 4, 1 + seed % 17};
        const CountList list{1 + seed % 40};
        expectCircleAsInOrder<CountMinAggregator, MeasurementData>(windows, seed);
        expectCircleAsInOrder<CountMaxAggregator, MeasurementData>(windows, seed);
        expectCircleAsInOrder<CountAverageAggregator, MeasurementData>(windows, seed);
        expectCircleAsInOrder<CountSumAggregator, CounterData>(windows, seed);
        expectCircleAsInOrder<CountListAggregator<MeasurementData>, MeasurementData>(list, seed);
        expectCircleAsInOrder<CountListAggregator<CounterData>, CounterData>(list, seed);
    }
}

// --- The short way and the long way ------------------------------------------------------------

const char* const catalogue =
    R"(<infoObjectList><tags><tag name="A"/><tag name="B"/></tags><objects>
    <object id="1" name="m:a" type="meas"><tags>A</tags></object>
    <object id="2" name="m:b" type="meas"><tags>B</tags></object>
    <object id="3" name="c:a" type="counter"><tags>A</tags></object>
    <object id="4" name="c:b" type="counter"><tags>A B</tags></object>
    <object id="5" name="r" type="record"><tags>A</tags></object>
    %s
    </objects></infoObjectList>)";

const std::vector<std::vector<std::string>> statements{
    {"list count 3"},
    {"tags A min count 1 5", "tags B list count 7", "tags B list count 7"},
    {"context rfBranch 1 max count 2 8 16 average count 3 9"},
    {"tags A sum count 2 6 list duration 5", "sum duration 1 4 max duration 2 6"},
    {"tags A B list count 2"},
    {},
    // Windows and lists of length 0 throw once they were cleared.
    {"tags A min count 1 0", "tags B list count 0", "list count 2"},
};

// One collector that is driven at random. A collector on the short way gets batches; one on the
// long way gets each sample by itself.
class Driven {
public:
    explicit Driven(bool byBatches) : shortWay(byBatches) {
        collector.allocateGlobalMemory();
        collector.determineMaxNumberOfFilters();
    }

    // One item of a batch.
    struct Sample {
        InfoObjectType type{};
        std::string blank;  // between the words of the key text
        std::string name;
        std::string context;
        std::int64_t value = 0;
    };

    // Samples of one kind, as a batch. Gives what an exception says, which ends the batch.
    std::string feed(const std::vector<Sample>& samples, time_point now) {
        collector.setCurrTime(now);
        try {
            if (shortWay) {
                collector.handleBeProcessBatchesUreq(batchOf(samples).message().get());
            } else {
                for (const auto& sample : samples) {
                    feedOne(sample);
                }
            }
        } catch (const std::exception& exception) {
            return exception.what();
        }
        return "";
    }

    // What a pull gives, as text.
    std::string pull(FilterId id, Clear clear) {
        const auto encoder = OutputEncoderIf::create(ClockAnchor{});
        const auto result = collector.prepareFilterData(id, clear, encoder.get());
        return std::to_string(static_cast<int>(result)) + encoder->build();
    }

    // What the budgets of a filter count.
    std::string accounts(FilterId id) {
        std::ostringstream text;
        auto* memory = collector.getFilterMemory(id);
        for (auto* resource : {memory->getMainResource(), memory->getContentResource(),
                               collector.getGlobalMemory()->getMainResource(),
                               collector.getGlobalMemory()->getContentResource(),
                               collector.getGlobalMemory()->getCommonResource()}) {
            text << resource->getAllocatedSize() << ' ' << resource->getMaxAllocatedSize() << ' '
                 << resource->getNumFailures() << ' ';
        }
        return text.str();
    }

    Quardex collector;

private:
    static BatchMessage batchOf(const std::vector<Sample>& samples) {
        BatchMessage batch;
        for (const auto& sample : samples) {
            const auto key =
                sample.context.empty() ? sample.name : sample.name + sample.blank + sample.context;
            switch (sample.type) {
                case InfoObjectType::Measurement:
                    batch.measurement(key, sample.value);
                    break;
                case InfoObjectType::Counter:
                    batch.counter(key, sample.value);
                    break;
                case InfoObjectType::Record:
                    batch.record(key, recordOf(sample));
                    break;
            }
        }
        return batch;
    }

    static std::vector<unsigned char> recordOf(const Sample& sample) {
        return Qdx::Test::bigEndian(sample.value);
    }

    void feedOne(const Sample& sample) {
        const auto* object = InfoObjectListIf::getInstance().getInfoObject(sample.name);
        if (object == nullptr || object->getType() != sample.type) {
            return;
        }
        switch (sample.type) {
            case InfoObjectType::Measurement:
                collector.handleMeasurement(*object, sample.context, MeasurementData{sample.value});
                break;
            case InfoObjectType::Counter:
                collector.handleCounter(*object, sample.context, CounterData{sample.value});
                break;
            case InfoObjectType::Record:
                collector.handleRecord(*object, sample.context, recordOf(sample));
                break;
        }
    }

    bool shortWay;
};

// Of one kind, mostly of objects of that kind.
std::vector<Driven::Sample> randomSamples(std::mt19937& random) {
    const std::vector<std::vector<std::string>> names{{"m:a", "m:b", "twin", "unknown", "c:a"},
                                                      {"c:a", "c:b", "m:a"},
                                                      {"r", "recordTwin", "m:b"}};
    const InfoObjectType type{static_cast<unsigned>(random() % 3)};
    const auto& ofType = names[static_cast<unsigned>(type)];
    std::vector<Driven::Sample> samples(random() % 40);
    for (auto& sample : samples) {
        sample.name = ofType[random() % ofType.size()];
        sample.type = type;
        sample.blank = random() % 10 == 0 ? "\t" : " ";
        sample.context = random() % 4 == 0 ? "" : "rfBranch=" + std::to_string(random() % 6);
        sample.value = static_cast<std::int64_t>(random() % 1000) - 500;
    }
    return samples;
}

// Does one thing to both collectors besides feeding them.
void act(std::mt19937& random, Driven& one, Driven& other) {
    const FilterId id{static_cast<std::int64_t>(random() % 5)};
    std::ostringstream oneText;
    std::ostringstream otherText;
    switch (random() % 13) {
        case 0: {
            const auto limit = random() % 2 == 0 ? 0 : 3000 + random() % 4000;
            const auto isStatic = random() % 8 == 0 ? Static::Yes : Static::No;
            const auto enabled = random() % 8 == 0 ? Enabled::No : Enabled::Yes;
            const auto& texts = statements[random() % statements.size()];
            for (auto* driven : {&one, &other}) {
                driven->collector.createFilter(id, "f", Qdx::Test::parsedAll(texts), limit, enabled,
                                               isStatic, Printable::No);
            }
            break;
        }
        case 1:
            one.collector.enableFilter(id);
            other.collector.enableFilter(id);
            break;
        case 2:
            one.collector.disableFilter(id);
            other.collector.disableFilter(id);
            break;
        case 3:
            one.collector.deleteFilter(id, oneText);
            other.collector.deleteFilter(id, otherText);
            break;
        case 4:
            one.collector.clearAllFilters(oneText);
            other.collector.clearAllFilters(otherText);
            break;
        case 5:
            // Rarely: most of a run is for filters that stay.
            if (random() % 8 == 0) {
                one.collector.deleteAllFilters(oneText);
                other.collector.deleteAllFilters(otherText);
            }
            break;
        default: {
            const auto clear = random() % 3 == 0 ? Clear::Yes : Clear::No;
            ASSERT_EQ(one.pull(id, clear), other.pull(id, clear));
            break;
        }
    }
    ASSERT_EQ(oneText.str(), otherText.str());
}

void compareWays(const std::string& furtherObjects, const std::string& database, unsigned seed) {
    Qdx::Test::UnitRoot root;
    std::string xml = catalogue;
    xml.replace(xml.find("%s"), 2, furtherObjects);
    root.writeCatalogue(xml, database);
    std::mt19937 random(seed);
    Driven shortWay(true);
    Driven longWay(false);
    int exceptions = 0;
    for (int round = 0; round < 1500; ++round) {
        const time_point now{std::chrono::milliseconds(100) * round};
        for (int batch = 0; batch < 3; ++batch) {
            const auto samples = randomSamples(random);
            const auto exception = shortWay.feed(samples, now);
            ASSERT_EQ(exception, longWay.feed(samples, now)) << "round " << round;
            exceptions += exception.empty() ? 0 : 1;
        }
        ASSERT_NO_FATAL_FAILURE(act(random, shortWay, longWay)) << "round " << round;
        for (int id = 0; id < 5; ++id) {
            const auto known = shortWay.collector.findFilter(std::to_string(id));
            if (known) {
                ASSERT_EQ(shortWay.accounts(*known), longWay.accounts(*known)) << "round " << round;
            }
        }
    }
    EXPECT_GT(exceptions, 0) << "the run missed what it is for";
}

TEST(ShortWayTest, RandomRunGivesWhatTheLongWayGives) {
    compareWays("", "globalMemoryLimit = 1000000\n", 1);
}

TEST(ShortWayTest, RandomRunUnderATightBudgetGivesWhatTheLongWayGives) {
    compareWays("", "globalMemoryLimit = 12000\n", 2);
}

TEST(ShortWayTest, RandomRunWithASharedIdentityGivesWhatTheLongWayGives) {
    compareWays(R"(<object id="1" name="twin" type="meas"><tags>B</tags></object>
                   <object id="2" name="recordTwin" type="record"><tags>B</tags></object>)",
                "globalMemoryLimit = 1000000\n", 3);
}

}  // namespace
}  // namespace Qdx::Backend
