#include "infoObject.hpp"

#include <algorithm>
#include <string_view>

namespace Qdx::Backend {

const std::map<InfoObjectType, std::string>& infoObjectTypeTexts() {
    static const std::map<InfoObjectType, std::string> texts{
        {InfoObjectType::Measurement, "meas"},
        {InfoObjectType::Counter, "counter"},
        {InfoObjectType::Record, "record"},
    };
    return texts;
}

InfoObject::InfoObject(const InfoObjectId& identity, const std::string& uniqueName,
                       const InfoObjectType& kind, const std::string& unitLabel,
                       const std::string& resolution, const std::string& messageType,
                       const std::set<std::string>& allTags)
    : id(identity),
      name(uniqueName),
      type(kind),
      unitType(unitLabel),
      unitRes(resolution),
      recordType(messageType),
      tags(allTags) {}

// The two string types differ, and a walk without a conversion beats a look-up with one.
bool InfoObject::hasAllTags(const std::pmr::set<std::pmr::string>& wanted) const {
    return std::ranges::all_of(wanted, [this](std::string_view tag) {
        return std::ranges::any_of(tags, [tag](std::string_view own) { return own == tag; });
    });
}

}  // namespace Qdx::Backend
