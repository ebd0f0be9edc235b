// Peers at a mailbox's socket that connect, say anything, and go: of each connection exactly those
// messages arrive, in order, that came before its first frame that is none or claims another
// mailbox than those before it; each that broke the rules is counted once; no descriptor stays.
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "frame.hpp"
#include "mailboxThread.hpp"
#include "ozo.h"
#include "pieces.hpp"
#include "temporaryUnit.hpp"

namespace {

using Qdx::Fuzz::require;
using Bytes = std::span<const std::uint8_t>;

// What a piece's kind says: which peer, and what it does. Frames claim one of two mailboxes that
// live, the receiver's own, or one that nobody has; the rest of a frame, or the whole of what is
// none, is the piece.
constexpr std::size_t peerCount = 4;
constexpr std::uint8_t peerMask = 0x03;
constexpr int actionShift = 2;
enum Action : std::uint8_t {
    claimsFirst,
    claimsSecond,
    claimsReceiver,
    claimsNobody,
    sendsAnything,
    leaves,
    waits
};
constexpr std::uint8_t actionMask = 0x07;

constexpr std::uint32_t nobody = 5;

struct Message {
    std::uint32_t sender;
    std::vector<std::uint8_t> bytes;
};

std::size_t openDescriptors() {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry :
         std::filesystem::directory_iterator("/proc/self/fd")) {
        ++count;
    }
    return count;
}

class Mailboxes {
public:
    Mailboxes() : own(ozo_create_mailbox("Receiver", 0)) { require(own != OZO_NO_MAILBOX); }
    ~Mailboxes() { ozo_delete_mailbox(own); }
    Mailboxes(const Mailboxes&) = delete;
    Mailboxes& operator=(const Mailboxes&) = delete;

    std::uint32_t claimOf(std::uint8_t action) const {
        const std::array claims{first.id(), second.id(), own, nobody};
        return claims.at(action);
    }
    std::string receiverSocket() const {
        return unit.root() + "/run/ozo/mbox/" + std::to_string(own);
    }
    std::uint32_t receiver() const { return own; }

private:
    const Qdx::Fuzz::TemporaryUnit unit;
    const std::uint32_t own;
    const Qdx::Fuzz::MailboxThread first{"First"};
    const Qdx::Fuzz::MailboxThread second{"Second"};
};

// A peer's socket, and what the receiver must make of what it sent.
class Peer {
public:
    explicit Peer(const Mailboxes& known) : mailboxes(known) {}
    ~Peer() { leave(); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    // False if the receiver has to read first.
    bool send(const std::vector<std::uint8_t>& datagram) {
        connect();
        if (::send(socket, datagram.data(), datagram.size(), MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
            // Only one that broke the rules has lost its connection.
            const bool gone = errno == EPIPE || errno == ECONNRESET;
            require(gone ? broken : errno == EAGAIN);
            return gone;
        }
        expect(datagram);
        return true;
    }

    bool isConnected() const { return socket >= 0; }

    void leave() {
        if (isConnected()) {
            ::close(socket);
        }
        socket = -1;
        claimed.reset();
        broken = false;
    }

    std::deque<Message> expected;
    std::uint64_t offences = 0;

private:
    void connect() {
        if (isConnected()) {
            return;
        }
        socket = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        mailboxes.receiverSocket().copy(address.sun_path, sizeof address.sun_path - 1);
        require(::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
                0);
    }

    void expect(const std::vector<std::uint8_t>& datagram) {
        if (broken) {
            return;
        }
        const auto header = Ozo::decodeFrame(std::as_bytes(std::span(datagram)));
        if (header && isCredible(header->sender)) {
            claimed = header->sender;
            expected.push_back(
                {header->sender, {datagram.begin() + sizeof *header, datagram.end()}});
            return;
        }
        broken = true;
        // An empty datagram is how a stream ends.
        offences += datagram.empty() ? 0 : 1;
    }

    // The peer's user is the receiver's, and so may claim any other mailbox, but not two.
    bool isCredible(std::uint32_t sender) const {
        return claimed ? sender == *claimed : sender != mailboxes.receiver();
    }

    const Mailboxes& mailboxes;
    int socket = -1;
    std::optional<std::uint32_t> claimed;
    bool broken = false;
};

class Play {
public:
    explicit Play(const Mailboxes& known) : mailboxes(known) {
        for (auto& peer : peers) {
            peer = std::make_unique<Peer>(mailboxes);
        }
    }

    void take(std::uint8_t kind, Bytes bytes) {
        const std::size_t index = kind & peerMask;
        const auto action = static_cast<std::uint8_t>((kind >> actionShift) & actionMask);
        Peer& peer = *peers.at(index);
        if (action == leaves) {
            peer.leave();
        } else if (action >= waits) {
            receiveAll();
        } else {
            send(peer, datagramOf(action, index, bytes));
        }
    }

    void finish() {
        receiveAll();
        for (const auto& peer : peers) {
            peer->leave();
        }
        receiveAll();
        std::uint64_t offences = 0;
        for (const auto& peer : peers) {
            require(peer->expected.empty());
            offences += peer->offences;
        }
        require(ozo_get_drops().bad_peers == badPeersBefore + offences);
    }

private:
    void send(Peer& peer, const std::vector<std::uint8_t>& datagram) {
        // There is no order between a peer's last words and those of its next connection.
        if (!peer.isConnected()) {
            receiveAll();
        }
        if (!peer.send(datagram)) {
            receiveAll();
            require(peer.send(datagram));
        }
    }

    // The message's number tells the peer, so that what arrives can be told apart.
    std::vector<std::uint8_t> datagramOf(std::uint8_t action, std::size_t peer, Bytes bytes) const {
        std::vector<std::uint8_t> datagram(bytes.begin(), bytes.end());
        if (action != sendsAnything) {
            const Ozo::FrameHeader header{.sender = mailboxes.claimOf(action)};
            datagram.insert(datagram.begin(), sizeof header, 0);
            std::memcpy(datagram.data(), &header, sizeof header);
        }
        if (datagram.size() > sizeof(Ozo::FrameHeader)) {
            datagram[sizeof(Ozo::FrameHeader)] = static_cast<std::uint8_t>(peer);
        }
        return datagram;
    }

    void receiveAll() {
        // The second call sees what became of the connections that the first one read last.
        for (int round = 0; round < 2; ++round) {
            while (ozo_msg* const msg = ozo_receive(0)) {
                check(*msg);
                ozo_free(msg);
            }
        }
    }

    void check(const ozo_msg& msg) {
        const std::vector<std::uint8_t> bytes(
            reinterpret_cast<const std::uint8_t*>(&msg),
            reinterpret_cast<const std::uint8_t*>(&msg) + ozo_size(&msg));
        auto& expected = peers.at(bytes.front())->expected;
        require(!expected.empty());
        require(expected.front().sender == ozo_sender(&msg) && expected.front().bytes == bytes);
        expected.pop_front();
    }

    const Mailboxes& mailboxes;
    const std::uint64_t badPeersBefore = ozo_get_drops().bad_peers;
    std::array<std::unique_ptr<Peer>, peerCount> peers;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Mailboxes mailboxes;
    const auto descriptors = openDescriptors();
    {
        Play play(mailboxes);
        Qdx::Fuzz::forEachPiece(data, size, [&](auto kind, auto bytes) { play.take(kind, bytes); });
        play.finish();
    }
    require(openDescriptors() == descriptors);
    return 0;
}
