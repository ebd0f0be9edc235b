#include "control/session.hpp"

#include <google/protobuf/stubs/logging.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "bigEndian.hpp"
#include "controlFrame.hpp"
#include "qdxFilterCtrlI.pb.h"

namespace Qdx::Control {

namespace {

using namespace qdxfilterctrli;

std::uint32_t numberOf(std::span<const unsigned char> frame) {
    std::uint32_t number = 0;
    std::memcpy(&number, frame.data(), sizeof(number));
    return number;
}

std::string inBraces(const std::vector<std::uint32_t>& numbers) {
    std::string text = "{";
    for (const auto number : numbers) {
        text.append(text.size() > 1 ? "," : "").append(std::to_string(number));
    }
    return text + "}";
}

Result rejection(PullFilterDataRej::StatusCode status, const std::string& filter) {
    const auto name = "filter \"" + filter + "\": ";
    switch (status) {
        case PullFilterDataRej::NO_SUCH_FILTER_ID:
            // The server has no other status for contents that it can't encode.
            return {Outcome::NoSuchFilter,
                    name + "there is no such filter, or no memory to give its data"};
        case PullFilterDataRej::NO_DATA_YET:
            return {Outcome::NoDataYet, name + "not enough data yet"};
        case PullFilterDataRej::META_DATA_NOT_SET:
            return {Outcome::MetaDataNotSet,
                    name + "no frontend has told the radio's metadata yet"};
        case PullFilterDataRej::OUT_OF_MEMORY:
            return {Outcome::OutOfMemory, name + "the collector has no memory to give its data"};
        case PullFilterDataRej::FILTER_DISABLED:
            return {Outcome::FilterDisabled, name + "the filter is disabled"};
    }
    return {Outcome::PullRejected, name + "rejected for a reason that this client doesn't know"};
}

}  // namespace

Session::Session(const Options& theOptions, Send theSend, Clock theClock)
    : options(theOptions), sendFrame(std::move(theSend)), now(std::move(theClock)) {}

// --- Starting and ending -----------------------------------------------------------------------

void Session::connect(Done done) {
    ConnectionEstablishReq request;
    request.mutable_supported_revisions()->Assign(options.revisions.begin(),
                                                  options.revisions.end());
    start(Step::Connecting, ConnectionEstablishReq::MESSAGE_NUMBER, request, std::move(done));
}

void Session::exchangeCapabilities(Done done) {
    start(Step::Exchanging, CapabilityExchangeReq::MESSAGE_NUMBER, CapabilityExchangeReq(),
          std::move(done));
}

void Session::pull(const PullRequest& request, Sink theSink, Done done) {
    if (!misuse(Step::PullAsked)) {
        filter = request.filter;
        sink = std::move(theSink);
        sinkIsOpen = true;
        received = 0;
    }
    PullFilterDataReq body;
    body.set_filter_name(request.filter);
    body.set_clear_data(request.clear);
    start(Step::PullAsked, PullFilterDataReq::MESSAGE_NUMBER, body, std::move(done));
}

void Session::start(Step first, std::uint32_t number, const google::protobuf::MessageLite& request,
                    Done done) {
    auto fault = misuse(first);
    if (!fault && frameSize(request) > options.largestMessage) {
        fault = {Outcome::Misuse, "the request is longer than a message may be"};
    }
    if (fault) {
        done(*fault);
        return;
    }
    ++procedure;
    whenDone = std::move(done);
    await(first);
    send(number, procedure, request);
}

std::optional<Result> Session::misuse(Step first) const {
    if (isBusy()) {
        return Result{Outcome::Misuse, "another procedure of this client still runs"};
    }
    if (isConnected() == (first == Step::Connecting)) {
        return Result{Outcome::Misuse, isConnected() ? "this client is connected already"
                                                     : "this client is not connected"};
    }
    return std::nullopt;
}

void Session::send(std::uint32_t number, std::uint32_t ofProcedure,
                   const google::protobuf::MessageLite& body) const {
    // A filter's name may be any bytes; protobuf would write of those that aren't UTF-8.
    const google::protobuf::LogSilencer silencer;
    std::vector<unsigned char> frame(frameSize(body));
    // Only a body far over the largest message can't be encoded.
    if (encode(number, {ofProcedure, expectedReference()}, body, frame)) {
        sendFrame(frame);
    }
}

void Session::await(Step next) {
    step = next;
    answerDue = now() + options.answerTime;
}

// Idle before the call, which may start the next procedure.
void Session::finish(const Result& result) {
    step = Step::Idle;
    sink = nullptr;
    const auto done = std::exchange(whenDone, nullptr);
    done(result);
}

void Session::fail(Outcome outcome, std::string text) {
    finish({outcome, std::move(text)});
}

void Session::disconnect(const Result& why) {
    connection.reset();
    abandoned.clear();
    if (isBusy()) {
        finish(why);
    }
}

std::optional<Session::Time> Session::deadline() const {
    return isBusy() ? std::optional(answerDue) : std::nullopt;
}

void Session::checkDeadline() {
    if (!isBusy() || now() < answerDue) {
        return;
    }
    abandon(Outcome::TimedOut, "no answer from the collector within " +
                                   std::to_string(options.answerTime.count()) + " ms");
}

// --- What the server says ----------------------------------------------------------------------

const Session::Handler* Session::handlerOf(std::uint32_t number) {
    static constexpr std::array<Handler, 7> handlers{{
        {ConnectionEstablishCfm::MESSAGE_NUMBER, Step::Connecting, &Session::takeConnectionCfm},
        {ConnectionEstablishRej::MESSAGE_NUMBER, Step::Connecting, &Session::takeConnectionRej},
        {CapabilityExchangeCfm::MESSAGE_NUMBER, Step::Exchanging, &Session::takeCapabilityCfm},
        {CapabilityExchangeRej::MESSAGE_NUMBER, Step::Exchanging, &Session::takeCapabilityRej},
        {PullFilterDataCfm::MESSAGE_NUMBER, Step::PullAsked, &Session::takePullCfm},
        {PullFilterDataRej::MESSAGE_NUMBER, Step::PullAsked, &Session::takePullRej},
        {FilterContentsRData::MESSAGE_NUMBER, Step::Streaming, &Session::takeChunk},
    }};
    const auto* const found =
        std::find_if(handlers.begin(), handlers.end(),
                     [number](const Handler& handler) { return handler.number == number; });
    return found != handlers.end() ? found : nullptr;
}

bool Session::take(Frame frame) {
    const auto* handler =
        frame.size() < sizeof(std::uint32_t) ? nullptr : handlerOf(numberOf(frame));
    if (handler == nullptr) {
        ++ignoredFrames;
        return false;
    }
    if (!answersThis(frame, *handler)) {
        ++ignoredFrames;
        takeAbandoned(frame);
        return true;
    }
    if (handler->step != step) {
        fail(Outcome::ProtocolError, "the collector sent message " +
                                         std::to_string(handler->number) + " where it doesn't fit");
        return true;
    }
    (this->*handler->handle)(frame);
    return true;
}

// The confirmation of a connection brings a reference that isn't known before.
bool Session::answersThis(Frame frame, const Handler& handler) const {
    if (!isBusy() || frame.size() < headerSize ||
        V1::readBigEndian32(&frame[procedureReferenceOffset]) != procedure) {
        return false;
    }
    return handler.number == ConnectionEstablishCfm::MESSAGE_NUMBER ||
           V1::readBigEndian32(&frame[connectionReferenceOffset]) == expectedReference();
}

template <typename Body>
bool Session::decodeOrFail(Frame frame, Body& body) {
    References references;
    if (decode(frame, references, body)) {
        return true;
    }
    fail(Outcome::ProtocolError, "the collector sent a message " +
                                     std::to_string(Body::MESSAGE_NUMBER) +
                                     " that can't be decoded");
    return false;
}

void Session::takeConnectionCfm(Frame frame) {
    ConnectionEstablishCfm body;
    if (!decodeOrFail(frame, body)) {
        return;
    }
    const auto revision = body.selected_protocol_rev();
    const auto& offered = options.revisions;
    if (std::find(offered.begin(), offered.end(), revision) == offered.end()) {
        fail(Outcome::ProtocolError,
             "the collector selected revision " + std::to_string(revision) +
                 " of the protocol, which was not offered: " + inBraces(offered));
        return;
    }
    connection = {V1::readBigEndian32(&frame[connectionReferenceOffset]), revision};
    finish({});
}

void Session::takeConnectionRej(Frame frame) {
    ConnectionEstablishRej body;
    if (!decodeOrFail(frame, body)) {
        return;
    }
    // An absent reason reads as the first; so does one that the schema doesn't have.
    if (!body.has_reject_reason()) {
        fail(Outcome::ConnectionRejected,
             "the collector rejected the connection for a reason that this client doesn't know");
    } else if (body.reject_reason() == ConnectionEstablishRej::MAX_NUMBER_OF_CONNECTIONS_EXCEEDED) {
        fail(Outcome::TooManyConnections, "all connections of the collector are taken");
    } else {
        fail(Outcome::NoCommonRevision,
             "the collector speaks none of the protocol revisions " + inBraces(options.revisions));
    }
}

void Session::takeCapabilityCfm(Frame frame) {
    CapabilityExchangeCfm body;
    if (decodeOrFail(frame, body)) {
        finish({});
    }
}

void Session::takeCapabilityRej(Frame) {
    fail(Outcome::CapabilitiesRejected, "the collector rejected the capability exchange");
}

void Session::takePullCfm(Frame frame) {
    PullFilterDataCfm body;
    if (!decodeOrFail(frame, body)) {
        return;
    }
    streamId = body.stream_id();
    if (streamId == 0) {
        fail(Outcome::ProtocolError, "the collector confirmed a pull without a stream");
        return;
    }
    await(Step::Streaming);
}

void Session::takePullRej(Frame frame) {
    PullFilterDataRej body;
    if (!decodeOrFail(frame, body)) {
        return;
    }
    const auto status = body.has_status_code() ? body.status_code() : 0;
    finish(rejection(static_cast<PullFilterDataRej::StatusCode>(status), filter));
}

void Session::takeChunk(Frame frame) {
    FilterContentsRData body;
    if (!decodeOrFail(frame, body)) {
        return;
    }
    const auto& chunk = body.data_chunk();
    if (body.stream_id() != streamId) {
        fail(Outcome::ProtocolError, "the collector sent a chunk of stream " +
                                         std::to_string(body.stream_id()) + " in stream " +
                                         std::to_string(streamId));
        return;
    }
    if (chunk.empty() && body.has_more_data()) {
        fail(Outcome::ProtocolError, "the collector sent an empty chunk that isn't the last");
        return;
    }
    if (chunk.size() > options.largestContents - received) {
        acknowledge(procedure, streamId);
        abandon(Outcome::TooLarge, "filter \"" + filter + "\": the contents are over " +
                                       std::to_string(options.largestContents) + " bytes");
        return;
    }
    received += chunk.size();
    acknowledge(procedure, streamId);
    if (sinkIsOpen && !chunk.empty()) {
        sinkIsOpen = sink(chunk);
    }
    if (body.has_more_data()) {
        await(Step::Streaming);
    } else if (sinkIsOpen) {
        finish({});
    } else {
        fail(Outcome::Stopped, "filter \"" + filter + "\": stopped before the end of the contents");
    }
}

void Session::acknowledge(std::uint32_t ofProcedure, std::uint32_t stream) const {
    FilterContentsRAck body;
    body.set_stream_id(stream);
    send(FilterContentsRAck::MESSAGE_NUMBER, ofProcedure, body);
}

// --- Pulls that were given up ------------------------------------------------------------------

void Session::abandon(Outcome outcome, std::string text) {
    if (step == Step::PullAsked || step == Step::Streaming) {
        abandoned.push_back(procedure);
    }
    fail(outcome, std::move(text));
}

void Session::takeAbandoned(Frame frame) {
    if (frame.size() < headerSize ||
        V1::readBigEndian32(&frame[connectionReferenceOffset]) != expectedReference()) {
        return;
    }
    const auto pull = std::find(abandoned.begin(), abandoned.end(),
                                V1::readBigEndian32(&frame[procedureReferenceOffset]));
    if (pull == abandoned.end()) {
        return;
    }
    const auto number = numberOf(frame);
    References references;
    FilterContentsRData body;
    if (number == PullFilterDataRej::MESSAGE_NUMBER) {
        abandoned.erase(pull);
    } else if (number == FilterContentsRData::MESSAGE_NUMBER && decode(frame, references, body)) {
        acknowledge(*pull, body.stream_id());
        if (!body.has_more_data()) {
            abandoned.erase(pull);
        }
    }
}

}  // namespace Qdx::Control
