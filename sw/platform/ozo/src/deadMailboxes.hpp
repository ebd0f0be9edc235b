// Finds what crashes left behind.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Ozo {

// The mailboxes of a folder that nobody holds any more. Of the folder's ids it looks at the `most`
// that follow a given one, around the circle of numbers: as ids are random, so is the choice, and
// it costs the same however many there are. Mailboxes that live don't notice.
std::vector<std::uint32_t> deadMailboxes(const std::string& folder, std::uint32_t behind,
                                         std::size_t most);

}  // namespace Ozo
