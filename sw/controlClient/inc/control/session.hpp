// The client's side of the control protocol as a state machine: frames of the server and time go
// in, frames to the server and results come out. It does no I/O; client.hpp gives it a mailbox.
//
//          connect              exchangeCapabilities, pull
//     not connected ──────▶ connected ──────▶ busy ──────▶ connected
//            ▲                                                 │
//            └─────────────── disconnect, at any time ─────────┘
//
// One procedure runs at a time, and each ends with exactly one call of its Done, with
// Outcome::Misuse before it has begun if it doesn't fit. A procedure that fails leaves the
// connection as it was.
//
// What a server may do to a client is bounded. What doesn't answer the running procedure is left
// out and counted: frames without a whole header, of numbers that aren't the server's, with other
// references. What does answer it and makes no sense ends it with Outcome::ProtocolError: a body
// that isn't of its type, a step out of order, a revision that wasn't offered, a chunk of another
// stream, an empty chunk that isn't the last. Only what is expected moves the deadline, so noise
// keeps no procedure alive.
//
// What is left of a pull that timed out or was too large is acknowledged and thrown away as it
// comes: the server keeps a stream until its last chunk is acknowledged.
//
// Sink and Done are called from within the call that causes them. A Done may start the next
// procedure. Neither may destroy the session or hand it frames, nor throw. Not thread-safe.
#pragma once

#include <google/protobuf/message_lite.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "control/result.hpp"

namespace Qdx::Control {

// Takes contents piece by piece, each valid during the call. After a false it gets no more.
using Sink = std::function<bool(std::string_view chunk)>;
using Done = std::function<void(const Result&)>;

struct Options {
    std::vector<std::uint32_t> revisions = {1};  // that the client can speak
    // The longest wait for any one answer; a pull takes as long as chunks keep coming.
    std::chrono::milliseconds answerTime{10'000};
    std::uint64_t largestContents = std::uint64_t{4} << 30;  // bytes of one pull
    std::size_t largestMessage = std::size_t{64} << 10;      // bytes of one request
};

struct PullRequest {
    std::string filter;  // its name, or its number in decimal
    bool clear = false;  // the filter drops what it gives
};

class Session {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Clock = std::function<Time()>;
    // Takes a whole frame, its number included; valid during the call.
    using Send = std::function<void(std::span<const unsigned char> frame)>;

    Session(const Options& options, Send send, Clock clock);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    bool isConnected() const { return connection.has_value(); }
    bool isBusy() const { return step != Step::Idle; }
    // REQUIRES: isConnected().
    std::uint32_t connectionReference() const { return connection->reference; }
    std::uint32_t revision() const { return connection->revision; }
    // Frames that were left out since the session began.
    std::uint64_t ignored() const { return ignoredFrames; }

    void connect(Done done);
    void exchangeCapabilities(Done done);

    // Contents go to the sink as they come. Each chunk is acknowledged as it arrives, so that the
    // next is on its way while the sink works. When the sink wants no more the rest is fetched all
    // the same, so that the server can drop the stream.
    //
    // The protocol tells neither the size of contents nor the place of a chunk, and obeys an
    // acknowledgement whoever sends it. If another client acknowledges this stream, chunks are
    // missing here unnoticed, or the pull times out. Decoding the contents shows the former.
    void pull(const PullRequest& request, Sink sink, Done done);

    // Takes a frame of the server. False if its number isn't one of a server's.
    bool take(std::span<const unsigned char> frame);

    // The connection is no more. Ends the procedure that runs with this result.
    void disconnect(const Result& why);

    // When the procedure that runs ends with Outcome::TimedOut, if that is asked for by then.
    std::optional<Time> deadline() const;
    void checkDeadline();

private:
    enum class Step { Idle, Connecting, Exchanging, PullAsked, Streaming };
    using Frame = std::span<const unsigned char>;
    struct Handler {
        std::uint32_t number;
        Step step;
        void (Session::*handle)(Frame frame);
    };
    struct Connection {
        std::uint32_t reference = 0;
        std::uint32_t revision = 0;
    };

    static const Handler* handlerOf(std::uint32_t number);
    bool answersThis(Frame frame, const Handler& handler) const;
    std::uint32_t expectedReference() const { return connection ? connection->reference : 0; }

    void start(Step first, std::uint32_t number, const google::protobuf::MessageLite& request,
               Done done);
    std::optional<Result> misuse(Step first) const;
    void send(std::uint32_t number, std::uint32_t ofProcedure,
              const google::protobuf::MessageLite& body) const;
    void await(Step next);
    void finish(const Result& result);
    void fail(Outcome outcome, std::string text);

    template <typename Body>
    bool decodeOrFail(Frame frame, Body& body);
    void takeConnectionCfm(Frame frame);
    void takeConnectionRej(Frame frame);
    void takeCapabilityCfm(Frame frame);
    void takeCapabilityRej(Frame frame);
    void takePullCfm(Frame frame);
    void takePullRej(Frame frame);
    void takeChunk(Frame frame);
    void acknowledge(std::uint32_t ofProcedure, std::uint32_t stream) const;
    void abandon(Outcome outcome, std::string text);
    void takeAbandoned(Frame frame);

    const Options options;
    const Send sendFrame;
    const Clock now;

    std::optional<Connection> connection;
    std::uint64_t ignoredFrames = 0;

    // Of the procedure that runs.
    Step step = Step::Idle;
    std::uint32_t procedure = 0;
    Time answerDue;
    Done whenDone;

    // Of the pull that runs.
    std::string filter;
    Sink sink;
    bool sinkIsOpen = false;
    std::uint32_t streamId = 0;
    std::uint64_t received = 0;

    // Pulls of this connection that were given up, as long as more of them may come.
    std::vector<std::uint32_t> abandoned;
};

}  // namespace Qdx::Control
