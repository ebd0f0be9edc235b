#include "csv.hpp"

#include <set>
#include <string>
#include <string_view>

#include "collectionParts.hpp"
#include "json.hpp"
#include "tessel/util.hpp"
#include "valueText.hpp"

namespace Qdx::Pull {

namespace {

// A field may hold anything between quotes, with its own quotes doubled.
void appendField(std::string& row, std::string_view field) {
    if (field.find_first_of(",\"\r\n") == std::string_view::npos) {
        row += field;
        return;
    }
    row += '"';
    for (const char character : field) {
        row.append(character == '"' ? 2 : 1, character);
    }
    row += '"';
}

std::string joined(const std::set<std::string>& tags) {
    std::string text;
    for (const auto& tag : tags) {
        text.append(text.empty() ? "" : " ").append(tag);
    }
    return text;
}

// What the catalogue knows about a collection's values.
struct Meaning {
    const CatalogueObject* object;  // null if it knows nothing
    Scale scale;
};

template <typename Collection>
std::string valueOf(const Collection& collection, int index, const Meaning& meaning) {
    return meaning.object != nullptr ? meaning.scale.exactText(collection.values(index)) : "";
}

std::string valueOf(const Qdx::RecordCollection& collection, int index, const Meaning& meaning) {
    return meaning.object != nullptr
               ? recordJson(collection.values(index), meaning.object->messageType).value_or("")
               : "";
}

template <typename Collection>
std::string rawOf(const Collection& collection, int index) {
    return std::to_string(collection.values(index));
}

std::string rawOf(const Qdx::RecordCollection& collection, int index) {
    const auto& bytes = collection.values(index);
    return Tessel::Util::Base64::encode({bytes.begin(), bytes.end()});
}

template <typename Collection>
std::string timeOf(const Collection& collection, int index) {
    const auto time = timestampAt(collection, index);
    return time ? isoTimeText(*time) : "";
}

template <typename Collection>
std::string aggregationFields(const Collection& collection) {
    const auto aggregation = aggregationOf(collection);
    if (!aggregation) {
        return ",,,\n";
    }
    return std::string(",") + aggregation->method + ',' + aggregation->scope + ',' +
           std::to_string(aggregation->size) + '\n';
}

// What the rows of a collection share is made once.
template <typename Collection>
void writeCollection(std::ostream& out, const Collection& collection, const Meaning& meaning) {
    static const CatalogueObject unknown;
    const auto& object = meaning.object != nullptr ? *meaning.object : unknown;
    std::string identity = ",";
    for (const auto& field :
         {std::to_string(collection.id()), object.name, joined(object.tags),
          std::string(kindText(collection)), contextText(collection.context())}) {
        appendField(identity, field);
        identity += ',';
    }
    std::string unit = ",";
    appendField(unit, object.unit);
    unit += ',';
    const auto aggregation = aggregationFields(collection);
    std::string row;
    for (int index = 0; index < collection.values_size(); ++index) {
        row = timeOf(collection, index) + identity;
        appendField(row, valueOf(collection, index, meaning));
        row += unit;
        row += rawOf(collection, index);
        row += aggregation;
        out << row;
    }
}

}  // namespace

void writeCsv(std::ostream& out, const Qdx::InfoObjectCollections& message,
              const Catalogue& catalogue) {
    forEachCollection(message, [&](const auto& collection) {
        const auto* const object = catalogue.find(collection.id());
        writeCollection(out, collection,
                        {object, Scale(object != nullptr ? object->resolution : "")});
    });
}

}  // namespace Qdx::Pull
