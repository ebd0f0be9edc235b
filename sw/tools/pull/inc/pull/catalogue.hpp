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

// Includes are relative to the directory of the first file, and the first object of a name counts,
// as in the collector; a tag that no list file read so far declares is dropped, too. A file that
// includes itself is read once.
class Catalogue {
public:
    // Without objects.
    Catalogue() = default;

    // Of these objects.
    explicit Catalogue(std::map<std::uint32_t, CatalogueObject> byId);

    // Throws NoInput for a file that can't be opened, BadData with path and line for one that is
    // no info object list.
    static Catalogue read(const std::string& path);

    // Null for an unknown id; valid as long as the catalogue.
    const CatalogueObject* find(std::uint32_t id) const;

    // By their ids.
    const std::map<std::uint32_t, CatalogueObject>& all() const { return objects; }

private:
    std::map<std::uint32_t, CatalogueObject> objects;
};

}  // namespace Qdx::Pull
