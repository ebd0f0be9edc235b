#include "peerIdentity.hpp"

#include <gtest/gtest.h>

namespace {

using Ozo::mayClaim;

TEST(PeerIdentity, BelievesTheOwnerOfAMailbox) {
    EXPECT_TRUE(mayClaim({.ownerOfMailbox = 1000, .peerUser = 1000, .ownUser = 1}));
    EXPECT_TRUE(mayClaim({.ownerOfMailbox = 0, .peerUser = 0, .ownUser = 1}));
}

TEST(PeerIdentity, RefusesAnybodyElse) {
    EXPECT_FALSE(mayClaim({.ownerOfMailbox = 1000, .peerUser = 1001, .ownUser = 1}));
    EXPECT_FALSE(mayClaim({.ownerOfMailbox = 0, .peerUser = 1001, .ownUser = 1}));
}

TEST(PeerIdentity, RefusesRootAndOwnUserAsOwnersOfForeignMailboxes) {
    EXPECT_FALSE(mayClaim({.ownerOfMailbox = 1000, .peerUser = 0, .ownUser = 1}));
    EXPECT_FALSE(mayClaim({.ownerOfMailbox = 1000, .peerUser = 1, .ownUser = 1}));
}

TEST(PeerIdentity, BelievesOnlyOwnUserAndRootAboutAMailboxThatIsGone) {
    EXPECT_TRUE(mayClaim({.ownerOfMailbox = {}, .peerUser = 1, .ownUser = 1}));
    EXPECT_TRUE(mayClaim({.ownerOfMailbox = {}, .peerUser = 0, .ownUser = 1}));
    EXPECT_FALSE(mayClaim({.ownerOfMailbox = {}, .peerUser = 1000, .ownUser = 1}));
}

}  // namespace
