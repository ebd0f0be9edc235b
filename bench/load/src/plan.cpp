#include "plan.hpp"

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

#include "random.hpp"

namespace QdxLoad {
namespace {

constexpr std::array kindNames{"measurement", "counter", "record"};
constexpr std::array typeNames{"meas", "counter", "record"};
constexpr std::array tagNames{"MEASUREMENT", "COUNTER", "RECORD"};

template <typename Names>
const char* pick(const Names& names, Kind kind) {
    return names[static_cast<std::size_t>(kind)];
}

}  // namespace

std::string_view nameOf(Kind kind) {
    return pick(kindNames, kind);
}

std::uint64_t Plan::numberOf(const Series& series) const {
    return series.frontend * seriesPerFrontend() + std::uint64_t{series.object} * contexts +
           series.context;
}

Series Plan::seriesAt(std::uint64_t number) const {
    const auto ofFrontend = number % seriesPerFrontend();
    return {.frontend = static_cast<std::uint32_t>(number / seriesPerFrontend()),
            .object = static_cast<std::uint32_t>(ofFrontend / contexts),
            .context = static_cast<std::uint32_t>(ofFrontend % contexts)};
}

std::vector<std::uint64_t> Plan::order(std::uint32_t frontend) const {
    std::vector<std::uint64_t> numbers(seriesPerFrontend());
    std::iota(numbers.begin(), numbers.end(), frontend * seriesPerFrontend());
    Random random(seed + frontend);
    for (std::size_t left = numbers.size(); left > 1; --left) {
        std::swap(numbers[left - 1], numbers[random.next() % left]);
    }
    return numbers;
}

std::size_t Plan::sizeOfRecord(std::int64_t code) const {
    return recordSize +
           Random(~seed ^ static_cast<std::uint64_t>(code)).next() % (recordSpread + 1);
}

std::string Plan::fault() const {
    const auto bound = [](const char* what, std::uint64_t value, std::uint64_t low,
                          std::uint64_t high) {
        return value >= low && value <= high
                   ? std::string()
                   : std::to_string(value) + " " + what + "; from " + std::to_string(low) + " to " +
                         std::to_string(high) + " are possible";
    };
    for (auto& text :
         {bound("frontends", frontends, 1, mostFrontends),
          bound("objects", objects, 1, mostObjects), bound("contexts", contexts, 1, mostContexts),
          bound("kinds", kinds.size(), 1, kindNames.size()),
          bound("bytes in a record", recordSize, smallestRecord, largestRecord),
          bound("bytes of difference between records", recordSpread, 0,
                largestRecord - std::min(recordSize, largestRecord)),
          bound("series (frontends x objects x contexts)", seriesCount(), 1, mostSeries)}) {
        if (!text.empty()) {
            return text;
        }
    }
    return kinds.size() <= objects ? std::string()
                                   : "more kinds than objects; every kind needs an object";
}

std::string objectName(const Plan& plan, std::uint32_t object) {
    return std::string("load:").append(nameOf(plan.kindOf(object))) + ":" + std::to_string(object);
}

std::string contextOf(const Series& series) {
    return "clientId=" + std::to_string(series.frontend) +
           ",deviceId=" + std::to_string(series.context);
}

std::string describe(const Plan& plan, const Series& series) {
    return objectName(plan, series.object) + " " + contextOf(series);
}

void writeObjectList(std::ostream& out, const Plan& plan) {
    out << "<infoObjectList>\n  <tags>\n    <tag name=\"LOAD\"/>\n";
    for (const auto* tag : tagNames) {
        out << "    <tag name=\"" << tag << "\"/>\n";
    }
    out << "  </tags>\n  <objects>\n";
    for (std::uint32_t object = 0; object < plan.objects; ++object) {
        const auto kind = plan.kindOf(object);
        out << "    <object id=\"" << objectId(object) << "\" name=\"" << objectName(plan, object)
            << "\" type=\"" << pick(typeNames, kind) << "\"><tags>LOAD " << pick(tagNames, kind)
            << "</tags>"
            << (kind == Kind::Record ? "<type message=\"Load\"/>" : "<unit type=\"1\" res=\"1\"/>")
            << "</object>\n";
    }
    out << "  </objects>\n</infoObjectList>\n";
}

}  // namespace QdxLoad
