#include "dbGet.hpp"

#include <vector>

#include "applicationSupport.hpp"

namespace Qdx::Backend {

namespace {

template <typename T>
std::optional<T> firstValue(const std::string& key,
                            int (Corbel::V1::DbHandleIf::*readList)(const std::string&,
                                                                    std::vector<T>&)) {
    std::vector<T> values;
    if ((*ApplicationSupport::getInstance()->getDatabase().*readList)(key, values) != 0) {
        return std::nullopt;
    }
    return values.at(0);
}

}  // namespace

template <>
std::optional<unsigned char> dbGet<unsigned char>(const std::string& key) {
    return firstValue<unsigned char>(key, &Corbel::V1::DbHandleIf::readByteList);
}

template <>
std::optional<unsigned int> dbGet<unsigned int>(const std::string& key) {
    return firstValue<unsigned int>(key, &Corbel::V1::DbHandleIf::readUintList);
}

}  // namespace Qdx::Backend
