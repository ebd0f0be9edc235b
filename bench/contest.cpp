#include "contest.hpp"

namespace Qdx::Bench {

namespace {

template <typename Handler>
void handleAll(Handler& handler, const Messages& messages) {
    for (const auto& message : messages) {
        handler.handle(message.get());
    }
}

}  // namespace

Contest::Contest(const Workload& measured) : work(measured) {
    contenders.push_back({[this] { handleAll(yardstick, work.messages); }, work.samples});
}

void Contest::enter(const std::vector<std::string>& statements) {
    enter(statements, work);
}

void Contest::enter(const std::vector<std::string>& statements, const Workload& own) {
    collectors.push_back(fullCollector(statements, own));
    contenders.push_back(
        {[collector = collectors.back().get(), &own] { handleAll(*collector, own); }, own.samples});
}

void Contest::enter(std::unique_ptr<Comparison> comparison) {
    constexpr std::size_t samplesInList = 100;
    for (std::size_t handled = 0; handled < samplesInList * work.series; handled += work.samples) {
        handleAll(*comparison, work.messages);
    }
    contenders.push_back(
        {[this, one = comparison.get()] { handleAll(*one, work.messages); }, work.samples});
    comparisons.push_back(std::move(comparison));
}

}  // namespace Qdx::Bench
