// One entry of the catalogue: something that a frontend can report.
#pragma once

#include <cstdint>
#include <map>
#include <memory_resource>
#include <set>
#include <string>

namespace Qdx::Backend {

// Numeric identity of an info object, as results carry it.
enum class InfoObjectId : std::uint32_t {};

// The kind of an info object.
enum class InfoObjectType : std::uint32_t { Measurement = 0, Counter = 1, Record = 2 };

// The text of each kind in the list file.
const std::map<InfoObjectType, std::string>& infoObjectTypeTexts();

// Immutable after construction. Objects order by name alone, as unsigned bytes.
class InfoObject {
public:
    InfoObject(const InfoObjectId& identity, const std::string& uniqueName,
               const InfoObjectType& kind, const std::string& unitLabel,
               const std::string& resolution, const std::string& messageType,
               const std::set<std::string>& allTags);

    InfoObjectId getId() const { return id; }
    std::string getName() const { return name; }
    InfoObjectType getType() const { return type; }
    // The unit's label for people.
    std::string getUnitType() const { return unitType; }
    // The resolution as decimal text: raw measurements are multiplied by it for people.
    std::string getUnitRes() const { return unitRes; }
    // The name of a record's message type.
    std::string getRecordType() const { return recordType; }
    const std::set<std::string>& getTags() const { return tags; }

    bool operator<(const InfoObject& other) const { return name < other.name; }

    // True when the object carries every wanted tag; so always for an empty set.
    bool hasAllTags(const std::pmr::set<std::pmr::string>& wanted) const;

private:
    InfoObjectId id;
    std::string name;
    InfoObjectType type;
    std::string unitType;
    std::string unitRes;
    std::string recordType;
    std::set<std::string> tags;
};

}  // namespace Qdx::Backend
