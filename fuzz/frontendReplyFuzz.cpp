// A collector, and a stranger, that say anything to a frontend: its connection changes only by the
// collector's answer to the last request, and nothing that comes loses what it has to send.
#include <algorithm>
#include <chrono>
#include <cstring>
#include <optional>
#include <vector>

#include "bigEndian.hpp"
#include "frontendMessages.hpp"
#include "mailboxThread.hpp"
#include "ozo.h"
#include "pieces.hpp"
#include "qdx/frontend.hpp"
#include "temporaryUnit.hpp"
#include "wireFormat.hpp"

namespace {

using namespace Qdx;
using Frontend::Clock;
using Frontend::State;
using Fuzz::require;
using Bytes = std::span<const std::uint8_t>;

// What a piece's kind says: who speaks, as what, about which request, or that time passes.
constexpr std::uint8_t byStranger = 0x01;
constexpr std::uint8_t asAnswer = 0x02;
constexpr std::uint8_t asRejection = 0x04;
constexpr std::uint8_t toLastRequest = 0x08;
constexpr std::uint8_t timePasses = 0x10;
constexpr std::uint8_t sampleFirst = 0x20;

constexpr auto retryPeriod = std::chrono::seconds(1);

struct Unit {
    const Fuzz::TemporaryUnit root;
    const Fuzz::MailboxThread collector{V1::collectorMailbox};
    const Fuzz::MailboxThread stranger{"Stranger"};
};

// The number of the last connection request that waits, and of all batches that do. A mailbox that
// reads also lets go of the frontends that went.
struct Received {
    std::optional<std::uint32_t> lastRequest;
    std::uint64_t batches = 0;
};
Received readAll(const Fuzz::MailboxThread& mailbox) {
    Received received;
    mailbox.run([&] {
        while (ozo_msg* const msg = ozo_receive(0)) {
            const auto bytes = V1::bytesOf(msg);
            if (msg->msgno == V1::beConnectionReq) {
                received.lastRequest = V1::readBigEndian32(&bytes[V1::procedureReferenceOffset]);
            }
            received.batches += msg->msgno == V1::beProcessBatchesUreq ? 1 : 0;
            ozo_free(msg);
        }
    });
    return received;
}

class Play {
public:
    explicit Play(const Unit& known) : unit(known) { advance(); }

    void take(std::uint8_t kind, Bytes bytes) {
        if ((kind & sampleFirst) != 0) {
            counter.add(1);
        }
        if ((kind & timePasses) != 0) {
            now += retryPeriod;
        } else {
            say(kind, bytes);
        }
        advance();
    }

    // As long as the collector lives and answers, a frontend that isn't refused gets through.
    void finish() {
        if (connection.state() == State::Asking) {
            say(asAnswer | toLastRequest, {});
            advance();
        }
        require(connection.state() != State::Seeking && connection.state() != State::Asking);
        counter.add(1);
        connection.flush();
        received(readAll(unit.collector));
        require((connection.state() == State::Connected) == (batches > 0));
        require(connection.statistics().sentBatches == batches);
    }

private:
    void say(std::uint8_t kind, Bytes bytes) {
        const auto message = messageOf(kind, bytes);
        const bool stranger = (kind & byStranger) != 0;
        expect(stranger, message);
        (stranger ? unit.stranger : unit.collector).run([&] {
            ozo_send(V1::toOzoMessage(message), frontend, OZO_MY_MAILBOX);
        });
    }

    // An answer's references are its own business, unless it fits the last request.
    V1::MessageBytes messageOf(std::uint8_t kind, Bytes bytes) const {
        V1::MessageBytes message;
        if ((kind & asAnswer) != 0) {
            const auto number =
                (kind & asRejection) != 0 ? V1::beConnectionRej : V1::beConnectionCfm;
            V1::appendHeader(message, number, {lastRequest.value_or(0), 1});
            V1::appendUint32(message, V1::protocolRevision);
        }
        if ((kind & toLastRequest) == 0) {
            message.resize(std::max(message.size(), bytes.size() + sizeof(ozo_msg)));
            std::copy(bytes.begin(), bytes.end(), message.begin() + sizeof(ozo_msg));
        }
        message.resize(std::max(message.size(), sizeof(ozo_msg)));
        return message;
    }

    void expect(bool stranger, const V1::MessageBytes& message) {
        const auto reply = V1::decodeConnectionReply(message);
        if (!stranger && expected == State::Asking && reply &&
            reply->references.procedure == lastRequest) {
            expected = reply->confirmed ? State::Connected : State::Refused;
        }
    }

    void advance() {
        connection.poll(now);
        received(readAll(unit.collector));
        require(connection.state() == expected);
        require(connection.statistics().connections == (expected == State::Connected ? 1 : 0));
    }

    void received(const Received& all) {
        lastRequest = all.lastRequest ? all.lastRequest : lastRequest;
        batches += all.batches;
    }

    const Unit& unit;
    Clock::time_point now = Clock::now();
    Frontend::Connection connection{"Frontend", {.hwName = "fuzzed"}, {.retryPeriod = retryPeriod}};
    const Frontend::Counter counter{connection, "c"};
    const std::uint32_t frontend = ozo_locate("Frontend");
    State expected = State::Asking;
    std::optional<std::uint32_t> lastRequest;
    std::uint64_t batches = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Unit unit;
    Play play(unit);
    Fuzz::forEachPiece(data, size, [&](auto kind, auto bytes) { play.take(kind, bytes); });
    play.finish();
    readAll(unit.stranger);
    return 0;
}
