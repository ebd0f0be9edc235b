#include "textListing.hpp"

#include <string>

#include "collectionParts.hpp"
#include "recordText.hpp"
#include "valueText.hpp"

namespace Qdx::Pull {

namespace {

const std::string nothing = "-";

template <typename Collection>
std::string timeOf(const Collection& collection, int index) {
    const auto time = timestampAt(collection, index);
    return time ? isoTimeText(*time) : nothing;
}

// What stands between time and value.
template <typename Collection>
std::string headOf(const Collection& collection, const std::string& name) {
    const auto context = contextText(collection.context());
    return ' ' + name + ' ' + (context.empty() ? nothing : context) + ' ' +
           aggregationText(collection) + ' ';
}

// What the catalogue knows about a collection's values; empty texts where it knows nothing.
struct Meaning {
    Scale scale;
    std::string messageType;
    std::string unit;
};

template <typename Collection>
std::string valueOf(const Collection& collection, int index, const Meaning& meaning) {
    const auto text = meaning.scale.text(collection.values(index));
    return meaning.unit.empty() ? text : text + ' ' + meaning.unit;
}

std::string valueOf(const Qdx::RecordCollection& collection, int index, const Meaning& meaning) {
    return recordText(collection.values(index), meaning.messageType);
}

}  // namespace

void writeText(std::ostream& out, const Qdx::InfoObjectCollections& message,
               const Catalogue& catalogue, Glyphs glyphs) {
    static const CatalogueObject unknown;
    forEachCollection(message, [&](const auto& collection) {
        const auto* const known = catalogue.find(collection.id());
        const auto& object = known != nullptr ? *known : unknown;
        const auto head =
            headOf(collection, known != nullptr ? object.name : std::to_string(collection.id()));
        const Meaning meaning{Scale(object.resolution), object.messageType, object.unit};
        for (int index = 0; index < collection.values_size(); ++index) {
            const auto line =
                timeOf(collection, index) + head + valueOf(collection, index, meaning);
            out << plainText(line, glyphs) << '\n';
        }
    });
}

}  // namespace Qdx::Pull
