// Names, tags, units and message types of info objects, from an info object list file.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

namespace Qdx::Pull {

struct CatalogueObject {
    std::string name;
    std::string unit;
    std::string resolution;
    std::string messageType;  // of records
    std::set<std::string> tags;
};

// What the collector has of the same list, and a complaint where the collector has nothing at all.
// Stricter than the collector in two ways: a file must be a list, which it takes for an empty one,
// and must not be larger than 16 MiB.
class Catalogue {
public:
    // Without objects.
    Catalogue() = default;

    // Of these objects.
    explicit Catalogue(std::map<std::uint32_t, CatalogueObject> byId);

    // Throws NoInput for a file that can't be opened; BadData, with path and line where there is
    // one, for what is no info object list, and for files that include each other in a circle.
    static Catalogue read(const std::string& path);

    // Null for an unknown id; valid as long as the catalogue.
    const CatalogueObject* find(std::uint32_t id) const;

    // By their ids.
    const std::map<std::uint32_t, CatalogueObject>& all() const { return objects; }

private:
    std::map<std::uint32_t, CatalogueObject> objects;
};

}  // namespace Qdx::Pull
