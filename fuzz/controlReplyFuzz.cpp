// A control server that says anything, at any time, to a client's session: each procedure ends
// once, what is ignored moves nothing, no frame is acknowledged twice, and the sink gets neither
// more than the limit nor anything after it has stopped.
#include <chrono>
#include <cstring>
#include <string>
#include <vector>

#include "control/session.hpp"
#include "controlFrame.hpp"
#include "pieces.hpp"
#include "qdxFilterCtrlI.pb.h"

namespace {

using namespace Qdx::Control;
using namespace qdxfilterctrli;
using Qdx::Fuzz::require;
using Bytes = std::span<const std::uint8_t>;

// What a piece's kind asks for: a call of the client, or a frame. Of a frame, one of the server's
// numbers or any, and the references that fit or any.
constexpr std::uint8_t isFrame = 0x80;
constexpr std::uint8_t referencesFit = 0x40;
constexpr std::uint8_t numberMask = 0x07;
constexpr std::uint8_t anyNumber = 7;

constexpr std::uint32_t serverNumbers[] = {
    ConnectionEstablishCfm::MESSAGE_NUMBER, ConnectionEstablishRej::MESSAGE_NUMBER,
    CapabilityExchangeCfm::MESSAGE_NUMBER,  CapabilityExchangeRej::MESSAGE_NUMBER,
    PullFilterDataCfm::MESSAGE_NUMBER,      PullFilterDataRej::MESSAGE_NUMBER,
    FilterContentsRData::MESSAGE_NUMBER};

constexpr std::uint64_t largestContents = 1000;

class Player {
public:
    Player()
        : session(
              options(), [this](auto frame) { takeRequest(frame); }, [this] { return time; }) {}

    void take(std::uint8_t kind, Bytes bytes) {
        if ((kind & isFrame) != 0) {
            takeFrame(kind, bytes);
        } else {
            call(kind & numberMask, bytes);
        }
        require(session.isBusy() == (running == 1));
        require(session.deadline().has_value() == session.isBusy());
    }

private:
    static Options options() {
        Options result;
        result.revisions = {1, 2};
        result.largestContents = largestContents;
        result.largestMessage = 100;
        return result;
    }

    Done end() {
        ++running;
        return [this](const Result& result) {
            require(--running >= 0);
            require(result.text.empty() == result.isDone());
        };
    }

    void call(std::uint8_t what, Bytes bytes) {
        const auto sentBefore = requests;
        switch (what) {
            case 0:
                session.connect(end());
                break;
            case 1:
                session.exchangeCapabilities(end());
                break;
            case 2:
            case 3:
                if (!session.isBusy()) {
                    contents = 0;
                    stops = what == 3;
                }
                session.pull(
                    {std::string(bytes.begin(), bytes.end()), false},
                    [this](std::string_view chunk) { return takeChunk(chunk); }, end());
                break;
            case 4:
                session.disconnect({Outcome::CollectorGone, "gone"});
                require(!session.isConnected() && running == 0);
                break;
            case 5:
                time += std::chrono::seconds(6);
                session.checkDeadline();
                break;
            default:
                time += std::chrono::milliseconds(bytes.size());
                session.checkDeadline();
        }
        require(requests - sentBefore <= 1);
    }

    void takeFrame(std::uint8_t kind, Bytes bytes) {
        std::vector<unsigned char> frame(sizeof(std::uint32_t));
        const auto choice = kind & numberMask;
        if (choice != anyNumber) {
            std::memcpy(frame.data(), &serverNumbers[choice], frame.size());
        } else {
            frame.clear();
        }
        if ((kind & referencesFit) != 0) {
            frame.insert(frame.end(), fitting.begin(), fitting.end());
        }
        frame.insert(frame.end(), bytes.begin(), bytes.end());
        const auto acknowledgedBefore = acknowledgements;
        const auto dueBefore = session.deadline();
        const auto ignoredBefore = session.ignored();
        const auto runningBefore = running;
        session.take(frame);
        require(acknowledgements - acknowledgedBefore <= 1);
        if (session.ignored() != ignoredBefore) {
            require(session.deadline() == dueBefore && running == runningBefore);
        }
    }

    bool takeChunk(std::string_view chunk) {
        require(!chunk.empty() && session.isConnected() && session.isBusy());
        require(!stops || contents == 0);
        contents += chunk.size();
        require(contents <= largestContents);
        return !stops;
    }

    // What the session sends is a request that a server understands, and a reply must fit to it.
    void takeRequest(std::span<const unsigned char> frame) {
        require(frame.size() >= headerSize);
        std::uint32_t number = 0;
        std::memcpy(&number, frame.data(), sizeof(number));
        if (number == FilterContentsRAck::MESSAGE_NUMBER) {
            References references;
            FilterContentsRAck body;
            require(decode(frame, references, body) && session.isConnected());
            require(references.connection == session.connectionReference());
            ++acknowledgements;
            return;
        }
        ++requests;
        fitting.assign(frame.begin() + procedureReferenceOffset, frame.begin() + headerSize);
    }

    Session::Time time{std::chrono::hours(1)};
    int running = 0;
    std::uint64_t requests = 0;
    std::uint64_t acknowledgements = 0;
    std::vector<unsigned char> fitting;
    bool stops = false;
    std::uint64_t contents = 0;
    Session session;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Player player;
    Qdx::Fuzz::forEachPiece(
        data, size, [&player](std::uint8_t kind, Bytes bytes) { player.take(kind, bytes); });
    return 0;
}
