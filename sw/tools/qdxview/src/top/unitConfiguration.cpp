#include "unitConfiguration.hpp"

#include <sstream>
#include <stdexcept>

#include "corbel/dbRegistry.hpp"

namespace Qdxview {

namespace {

constexpr const char* databasePath = "/opt/zelvasw/srv/database/qdx/swdb.cfg";

std::optional<std::uint64_t> readNumber(Corbel::V1::DbHandleIf& database, const std::string& key) {
    std::vector<unsigned int> numbers;
    const bool known = database.readUintList(key, numbers) == 0 && !numbers.empty();
    return known ? std::optional<std::uint64_t>(numbers.front()) : std::nullopt;
}

void readPrescribed(Corbel::V1::DbHandleIf& database, const std::string& list,
                    UnitConfiguration& configuration) {
    const std::string filters = "/qdx/staticFilters/";
    std::vector<std::string> names;
    database.readStringList(filters + list, names);
    for (const auto& name : names) {
        std::vector<std::string> specification;
        database.readStringList(filters + name, specification);
        configuration.prescribed.emplace(name, limitIn(specification));
    }
}

}  // namespace

UnitConfiguration readUnitConfiguration() {
    UnitConfiguration configuration;
    try {
        const auto database = Corbel::V1::DbRegistryIf::getInstance().openDatabase(databasePath);
        configuration.globalLimit = readNumber(*database, "/qdx/globalMemoryLimit");
        database->readString("/qdx/infoObjectListFilePath", configuration.objectList);
        readPrescribed(*database, "enabledByDefault", configuration);
        readPrescribed(*database, "disabledByDefault", configuration);
    } catch (const std::runtime_error&) {
        // An operator needs no right to read it, and it is the collector's to complain of it.
    }
    return configuration;
}

std::optional<std::uint64_t> limitIn(const std::vector<std::string>& specification) {
    if (specification.empty() || specification.front() != "dch") {
        return std::nullopt;
    }
    std::string statement;
    for (auto element = specification.begin() + 1;
         element != specification.end() && *element != "dch"; ++element) {
        statement.append(" ").append(*element);
    }
    std::istringstream words(statement);
    std::string word;
    std::uint64_t bytes = 0;
    const bool isLimit = words >> word >> bytes && word == "limit" && bytes != 0;
    return isLimit ? std::optional(bytes) : std::nullopt;
}

}  // namespace Qdxview
