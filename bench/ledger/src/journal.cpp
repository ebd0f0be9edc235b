#include "journal.hpp"

#include <array>

namespace QdxLedger {
namespace {

constexpr std::array<const char*, 7> texts{"create ",  "delete ",    "enable ",    "disable ",
                                           "clearAll", "pull keep ", "pull clear "};

}  // namespace

std::string describe(const Journal& journal, std::size_t number) {
    const auto& operation = journal[number];
    auto text = std::string("#").append(std::to_string(number)).append(" dch filter ");
    text.append(texts[static_cast<std::size_t>(operation.command)]);
    return operation.command == Command::ClearAll ? text
                                                  : text.append(std::to_string(operation.filter));
}

}  // namespace QdxLedger
