// What a frontend can tell the collector about the unit.
#pragma once

#include <optional>
#include <string>

namespace Qdx::Frontend {

// The collector puts these into every result, and gives none before it has all six. Several
// frontends may each deliver a part: a field that is absent leaves what the collector has, one that
// is present, even if empty, replaces it.
struct MetaData {
    std::optional<std::string> swProductNumber = std::nullopt;
    std::optional<std::string> swProductRevision = std::nullopt;
    std::optional<std::string> hwProductNumber = std::nullopt;
    std::optional<std::string> hwProductRevision = std::nullopt;
    std::optional<std::string> hwSerialNumber = std::nullopt;
    std::optional<std::string> hwName = std::nullopt;
};

}  // namespace Qdx::Frontend
