// What happens to the links of a machine, as events of carriers.
#pragma once

#include <map>

#include "byDevice.hpp"
#include "carrierEvent.pb.h"
#include "networkInterfaces.hpp"

namespace HostFe {

// Compares each look at the links with the look before:
//
//     first look             ACTIVATED or DEACTIVATED, "seen first": the present state of every
//                            link, so that a quiet machine too has something to tell
//     interface appears      SETUP, and ACTIVATED if it is up
//     interface disappears   RELEASED
//     link goes up           ACTIVATED
//     link goes down         FAILED if it lost its carrier, else DEACTIVATED
//     its speed changes      RECONFIGURED, while it is up
//
// A speed that can't be read for a while has not changed. What came and went between two looks is
// not seen. One thread.
class LinkWatch {
public:
    ByDevice<Qdx::Records::CarrierEvent> look(const ByDevice<LinkState>& links);

private:
    using Events = ByDevice<Qdx::Records::CarrierEvent>;

    void greet(int device, const LinkState& link, Events& events) const;
    void releaseAllBut(const std::map<int, LinkState>& links, Events& events) const;

    bool isFirst = true;
    std::map<int, LinkState> before;
};

}  // namespace HostFe
