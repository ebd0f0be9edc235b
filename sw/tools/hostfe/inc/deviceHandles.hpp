// The connection's handles of what devices are reported by.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "qdx/frontend/connection.hpp"

namespace HostFe {

// Handles of one kind. Each is made when it is first asked for and kept: asking again allocates
// nothing. The names must outlive the object, the connection too. Thread: the connection's.
template <typename Handle>
class DeviceHandles {
public:
    explicit DeviceHandles(Qdx::Frontend::Connection& owner) : connection(owner) {}

    // That of the object with this name and device; without a device, of the whole machine.
    const Handle& of(std::string_view name, std::optional<int> device) {
        const std::pair key(name, device);
        auto found = handles.find(key);
        if (found == handles.end()) {
            const auto context = device ? "deviceId=" + std::to_string(*device) : std::string();
            found = handles.emplace(key, Handle(connection, name, context)).first;
        }
        return found->second;
    }

private:
    Qdx::Frontend::Connection& connection;
    std::map<std::pair<std::string_view, std::optional<int>>, Handle> handles;
};

}  // namespace HostFe
