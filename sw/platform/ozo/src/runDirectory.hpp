// The files by which mailboxes of a unit find each other.
//
//     $UNIT_ROOT/run/ozo/mbox/<id>     the socket on which a mailbox listens
//     $UNIT_ROOT/run/ozo/name/<name>   a link to ../mbox/<id>; a mailbox can have several
//     $UNIT_ROOT/run/ozo/id/<id>       a link to ../name/<name>, the name under which the mailbox
//     was created
//
// A mailbox lives as long as somebody listens on its socket. Files that a crash left behind refuse
// a connection; by that they are known as dead, and whoever wants the name next replaces them, or
// whoever creates any mailbox and comes across them removes them. That
// is done under a lock on the run/ozo folder, so that of two that want a dead mailbox's name one
// gets it and the other learns that it is taken.
//
// Users of one group share the three folders if they are laid with the modes 3770: everybody makes
// files of their own and touches nobody else's, a dead mailbox's no more than a live one's. The
// owner of run/ozo and root are the landlords: they run the unit's services, may remove what they
// find, and so are never kept out of a name by what a guest left or put there. What a guest put
// there is taken for nothing else than what it is: a name counts only if it leads to a mailbox of
// the same user. All of it also holds if some guest keeps the lock, or watches and races.
//
// Operations give 0 or errno's value. Objects are values; any thread.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "descriptor.hpp"

namespace Ozo {

class RunDirectory {
public:
    // The unit that UNIT_ROOT names now.
    static RunDirectory current();

    // Gives the socket an id that no file has, and makes it listen under that id with the name.
    // Once id is set there are files to remove, also if what follows fails or throws.
    int publish(int socket, const std::string& name, std::uint32_t& id) const;
    int addName(const std::string& name, std::uint32_t id) const;
    // Removes the files of a mailbox that still lives. Names that lead elsewhere by now stay.
    void remove(std::uint32_t id, std::span<const std::string> names) const;

    // The live mailbox of that name; OZO_NO_MAILBOX if there is none.
    std::uint32_t locate(const std::string& name) const;
    // As above, and a landlord's.
    std::uint32_t locateService(const std::string& name) const;
    // The name under which a mailbox was created.
    std::optional<std::string> nameOf(std::uint32_t id) const;
    // The user whose socket it is; empty if the file is gone.
    std::optional<uid_t> ownerOf(std::uint32_t id) const;
    // ECONNREFUSED or ENOENT: nobody listens there.
    int connect(int socket, std::uint32_t id) const;

private:
    explicit RunDirectory(std::string unitRoot);

    int makeFolders() const;
    int bindFreeId(int socket, const std::string& name, std::uint32_t& id) const;
    int tryId(int socket, const std::string& name, std::uint32_t candidate) const;
    int claimName(const std::string& name, std::uint32_t id) const;
    int replaceName(const std::string& name, const std::string& target) const;
    int makeReplaceable(const std::string& name) const;
    bool isLandlord(uid_t user) const;
    void sweep(std::uint32_t newest) const;
    std::uint32_t idBehind(const std::string& name) const;
    int probe(std::uint32_t id) const;
    void removeMailboxFiles(std::uint32_t id) const;

    std::string mboxFolder() const { return root + "/run/ozo/mbox"; }
    std::string nameLink(const std::string& name) const { return root + "/run/ozo/name/" + name; }
    std::string idLink(std::uint32_t id) const {
        return root + "/run/ozo/id/" + std::to_string(id);
    }
    std::string socketFile(std::uint32_t id) const {
        return mboxFolder() + "/" + std::to_string(id);
    }

    std::string root;
};

}  // namespace Ozo
