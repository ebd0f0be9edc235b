// How a procedure with the control server ended.
#pragma once

#include <string>
#include <string_view>

namespace Qdx::Control {

enum class Outcome {
    Done,
    // Nothing was sent.
    Misuse,         // the call doesn't fit: another procedure runs, no connection, one already
    SystemFailure,  // this process can't have what it needs, a mailbox or a descriptor
    NoCollector,    // nobody has the server's name
    // Nothing came that ends it well.
    CollectorGone,  // the server's mailbox ended in the middle
    TimedOut,       // an answer stayed away for longer than Options::answerTime
    ProtocolError,  // an answer that makes no sense
    // The server rejects the connection.
    NoCommonRevision,
    TooManyConnections,
    ConnectionRejected,  // without a reason that this library knows
    // The server rejects the request.
    CapabilitiesRejected,
    NoSuchFilter,
    NoDataYet,
    MetaDataNotSet,
    OutOfMemory,
    FilterDisabled,
    PullRejected,  // without a status that this library knows
    // The pull came to its end, but the sink doesn't have all of it.
    Stopped,   // the sink asked for no more
    TooLarge,  // more than Options::largestContents came
};

// The name of the enumerator: "TimedOut".
std::string_view nameOf(Outcome outcome);

struct Result {
    Outcome outcome = Outcome::Done;
    std::string text;  // for people, one line without a full stop; empty when done

    bool isDone() const { return outcome == Outcome::Done; }
    friend bool operator==(const Result&, const Result&) = default;
};

}  // namespace Qdx::Control
