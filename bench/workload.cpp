#include "workload.hpp"

#include <algorithm>
#include <numeric>
#include <random>
#include <stdexcept>

#include "batchWriter.hpp"

namespace Qdx::Bench {

namespace {

constexpr std::size_t itemsPerMessage = 1000;
// Enough that no value repeats within a window.
constexpr std::size_t minimumMessages = 10;
constexpr std::size_t samplesPerWindow = 10;
constexpr std::size_t samplesUntilFull = 1000;

std::vector<std::size_t> randomOrder(std::size_t series) {
    std::vector<std::size_t> order(series);
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::shuffle(order.begin(), order.end(), std::mt19937_64{1});
    return order;
}

void add(V1::BatchWriter& batch, Kind kind, std::size_t series, std::int64_t value) {
    const auto object = series / contextsPerObject;
    const bool fits =
        kind == Kind::Measurement
            ? batch.addMeasurement(measurementName(object), contextOf(series), {value})
            : batch.addCounter(counterName(object), contextOf(series), {value});
    if (!fits) {
        throw std::length_error("a message has no room for a batch of the benchmarks");
    }
}

// The samples of these series in this order.
class MessageMaker {
public:
    explicit MessageMaker(Kind sampleKind) : kind(sampleKind) {}

    template <typename Iterator>
    std::shared_ptr<ozo_msg> operator()(Iterator first, Iterator last) {
        std::for_each(first, last, [this](std::size_t series) {
            add(batch, kind, series, static_cast<std::int64_t>(random()));
        });
        return {V1::toOzoMessage(batch.take()), ozo_free};
    }

private:
    Kind kind;
    V1::BatchWriter batch{ozo_get_max_size()};
    std::mt19937_64 random{2};
};

Messages messagesOf(MessageMaker& make, const std::vector<std::size_t>& order) {
    Messages messages;
    for (std::size_t first = 0; first < order.size(); first += itemsPerMessage) {
        const auto count = std::min(itemsPerMessage, order.size() - first);
        const auto begin = order.begin() + static_cast<std::ptrdiff_t>(first);
        messages.push_back(make(begin, begin + static_cast<std::ptrdiff_t>(count)));
    }
    return messages;
}

void handle(Backend::Quardex& collector, const Messages& messages) {
    for (const auto& message : messages) {
        collector.setCurrTime(std::nullopt);
        collector.handleBeProcessBatchesUreq(message.get());
    }
}

// Brings the windows of the series out of step.
void stagger(Backend::Quardex& collector, const Workload& work) {
    MessageMaker make(work.kind);
    for (std::size_t step = 1; step < samplesPerWindow; ++step) {
        auto chosen = randomOrder(work.series);
        std::erase_if(chosen, [step](auto one) { return one % samplesPerWindow < step; });
        handle(collector, messagesOf(make, chosen));
    }
}

}  // namespace

Workload::Workload(Kind kindOfSamples, std::size_t numberOfSeries)
    : kind(kindOfSamples), series(numberOfSeries) {
    MessageMaker make(kind);
    auto order = randomOrder(series);
    for (const auto once = order; order.size() < itemsPerMessage;) {
        order.insert(order.end(), once.begin(), once.end());
    }
    while (messages.size() < minimumMessages) {
        const auto round = messagesOf(make, order);
        messages.insert(messages.end(), round.begin(), round.end());
        samples += order.size();
    }
}

void handleAll(Backend::Quardex& collector, const Workload& work) {
    handle(collector, work.messages);
}

std::unique_ptr<Backend::Quardex> fullCollector(const std::vector<std::string>& statements,
                                                const Workload& work) {
    auto collector = collectorWith(statements);
    stagger(*collector, work);
    const auto wanted = samplesUntilFull * work.series;
    for (std::size_t handled = 0; handled < wanted; handled += work.samples) {
        handleAll(*collector, work);
    }
    return collector;
}

}  // namespace Qdx::Bench
