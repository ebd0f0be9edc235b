#include "peerIdentity.hpp"

namespace Ozo {

bool mayClaim(const Claim& claim) {
    if (claim.ownerOfMailbox)
        return *claim.ownerOfMailbox == claim.peerUser;
    return claim.peerUser == claim.ownUser || claim.peerUser == 0;
}

}  // namespace Ozo
