// Tells when a mailbox of another process or thread disappears.
#pragma once

#include <cstdint>
#include <functional>

namespace Tessel::OzoMailboxMonitor::V1 {

class OzoMailboxMonitorIf {
public:
    static OzoMailboxMonitorIf& getInstance();

    // Calls back once, with the mailbox's id, when the mailbox is gone, at once if it already is.
    // The call comes on the active object that asked, between its messages; for a thread without
    // one, on a thread of the service's own. 0 on success.
    virtual int monitorMailbox(std::uint32_t mailbox,
                               std::function<void(std::uint32_t)> callback) = 0;

    virtual ~OzoMailboxMonitorIf() = default;
};

}  // namespace Tessel::OzoMailboxMonitor::V1
