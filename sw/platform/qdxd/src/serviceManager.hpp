// Telling the service manager how the process is.
#pragma once

#include <string_view>

namespace Qdxd {

// Sends state, "READY=1" or "STOPPING=1", to the socket that $NOTIFY_SOCKET names, as the service
// manager's protocol has it. Without one, or if nobody takes it, nothing happens.
void notifyServiceManager(std::string_view state);

}  // namespace Qdxd
