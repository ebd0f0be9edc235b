#include "recordText.hpp"

#include <array>
#include <cstdio>

namespace Qdx::Pull {

std::string recordText(std::string_view record, std::string_view /*messageType*/) {
    constexpr std::size_t shownBytes = 8;
    auto text = std::to_string(record.size()) + " bytes";
    text += record.empty() ? "" : " ";
    for (const char byte : record.substr(0, shownBytes)) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x",
                      static_cast<unsigned>(static_cast<unsigned char>(byte)));
        text += digits.data();
    }
    return text;
}

}  // namespace Qdx::Pull
