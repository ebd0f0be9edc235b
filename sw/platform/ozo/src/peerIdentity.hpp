// Who may speak as which mailbox.
#pragma once

#include <sys/types.h>

#include <optional>

namespace Ozo {

// A peer names the mailbox that it speaks for; the kernel tells the user of its process. The two
// must fit.
struct Claim {
    // The user whose socket file the claimed mailbox has; empty if the mailbox is gone.
    std::optional<uid_t> ownerOfMailbox;
    uid_t peerUser = 0;
    uid_t ownUser = 0;
};

// The mailbox must be the peer's user's own. One that is gone may have sent its last words just
// before it was deleted; they are believed of those who could take over this process anyway: its
// own user, and root.
bool mayClaim(const Claim& claim);

}  // namespace Ozo
