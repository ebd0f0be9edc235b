#include "pull/digest.hpp"

#include <algorithm>

#include "collectionParts.hpp"
#include "pull/budgetUse.hpp"
#include "recordText.hpp"
#include "sparkline.hpp"
#include "valueText.hpp"

namespace Qdx::Pull {

namespace {

constexpr std::size_t mostSeries = 5'000;
constexpr int mostNumbers = 64;
constexpr std::size_t widestText = 200;

class Digester {
public:
    Digester(const Catalogue& names, Glyphs look) : catalogue(names), glyphs(look) {}

    template <typename Collection>
    SeriesDigest digest(const Collection& collection) const {
        static const CatalogueObject unknown;
        const auto* const known = catalogue.find(collection.id());
        const auto& object = known != nullptr ? *known : unknown;
        SeriesDigest series;
        series.name = plain(known != nullptr ? object.name : std::to_string(collection.id()));
        series.context = contextText(collection.context());
        series.aggregation = aggregationText(collection);
        series.values = static_cast<std::size_t>(collection.values_size());
        if (series.values > 0) {
            series.newest = newestText(collection, object);
            series.newestTime = timestampAt(collection, collection.values_size() - 1);
        }
        series.numbers = newestNumbers(collection);
        return series;
    }

    std::string plain(const std::string& text) const {
        return cutTo(plainText(text, glyphs), widestText, glyphs);
    }

private:
    template <typename Collection>
    std::string newestText(const Collection& collection, const CatalogueObject& object) const {
        const auto text = Scale(object.resolution).text(*collection.values().rbegin());
        return plain(object.unit.empty() ? text : text + ' ' + object.unit);
    }

    std::string newestText(const Qdx::RecordCollection& collection,
                           const CatalogueObject& object) const {
        return plain(recordText(*collection.values().rbegin(), object.messageType));
    }

    template <typename Collection>
    static std::vector<std::int64_t> newestNumbers(const Collection& collection) {
        const auto& values = collection.values();
        return {values.end() - std::min(mostNumbers, values.size()), values.end()};
    }

    static std::vector<std::int64_t> newestNumbers(const Qdx::RecordCollection& /*collection*/) {
        return {};
    }

    const Catalogue& catalogue;
    const Glyphs glyphs;
};

std::string radioText(const Qdx::RadioMetaData& radio) {
    const auto& name = radio.hwname();
    const auto& number = radio.hwserialnumber();
    return name.empty() || number.empty() ? name + number : name + ' ' + number;
}

}  // namespace

PullDigest digestOf(const Qdx::InfoObjectCollections& message, const Catalogue& catalogue,
                    Glyphs glyphs) {
    const Digester digester(catalogue, glyphs);
    PullDigest digest;
    digest.radio = digester.plain(radioText(message.radiometadata()));
    digest.budgetBytes = budgetUseOf(message);
    forEachCollection(message, [&](const auto& collection) {
        ++digest.seriesCount;
        digest.values += static_cast<std::size_t>(collection.values_size());
        if (digest.series.size() < mostSeries) {
            digest.series.push_back(digester.digest(collection));
        }
    });
    return digest;
}

std::string plotOf(const SeriesDigest& series, std::size_t width, Glyphs glyphs) {
    const auto shown = static_cast<std::ptrdiff_t>(std::min(width, series.numbers.size()));
    return sparkline({series.numbers.end() - shown, series.numbers.end()}, width, glyphs);
}

}  // namespace Qdx::Pull
