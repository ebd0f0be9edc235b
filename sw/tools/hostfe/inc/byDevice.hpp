// What a machine has several of.
#pragma once

#include <utility>
#include <vector>

namespace HostFe {

// What belongs to one device, by the device's number.
template <typename T>
using ByDevice = std::vector<std::pair<int, T>>;

}  // namespace HostFe
