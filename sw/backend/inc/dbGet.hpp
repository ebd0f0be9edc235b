// Typed reads of one value from the configuration database.
#pragma once

#include <optional>
#include <string>

namespace Qdx::Backend {

// The first value under the key; empty when the key is absent or of another type. An empty list
// under the key throws std::out_of_range. Exists for unsigned char and unsigned int. Throws what
// opening the database throws. Any thread may call.
template <typename T>
std::optional<T> dbGet(const std::string& key);

template <>
std::optional<unsigned char> dbGet<unsigned char>(const std::string& key);
template <>
std::optional<unsigned int> dbGet<unsigned int>(const std::string& key);

}  // namespace Qdx::Backend
