// The counters of network interfaces as blocks of registers.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "byDevice.hpp"
#include "networkInterfaces.hpp"
#include "pace.hpp"
#include "registerInfo.pb.h"

namespace HostFe {

// Decides at each look at the counters whose block is to be reported, and why:
//
//     PERIODIC   all blocks at first and then once a period; a block that wasn't there before
//     FAULT      at once, when an error counter rose
//     RESTART    at once, when an error counter fell: it began anew, or ran over
//
// The counters that rose, or those that fell, are the triggers. Errors are the counters whose name
// ends in "_errors"; what was dropped is none, since the kernel also drops what nobody waits for.
//
// The base address of a block is 0; a counter stands at 8 times its place in
// interfaceCounterNames, whether or not the others are there. A block fits in the smallest message,
// whatever the counters are. One thread.
class RegisterBlocks {
public:
    explicit RegisterBlocks(Pace::Clock::duration period) : periodic(period) {}

    ByDevice<Qdx::Records::RegisterInfo> look(Pace::Clock::time_point now,
                                              const ByDevice<InterfaceCounters>& interfaces);

private:
    Pace periodic;
    std::map<int, InterfaceCounters> before;
};

}  // namespace HostFe
