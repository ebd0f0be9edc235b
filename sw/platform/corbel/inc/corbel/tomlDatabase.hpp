// A configuration database over TOML text in memory.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "corbel/dbRegistry.hpp"

namespace Corbel::V1 {

// The database that the text describes; origin names the text in errors. Text that isn't TOML
// throws std::runtime_error with one line: origin, line, column and what is wrong there.
std::shared_ptr<DbHandleIf> parseDatabase(std::string_view text, const std::string& origin);

}  // namespace Corbel::V1
