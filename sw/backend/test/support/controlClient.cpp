#include "controlClient.hpp"

#include <cstring>
#include <future>
#include <span>

#include "ozo.h"

namespace Qdx::Test {

using namespace qdxfilterctrli;
using Tessel::ActiveObject::V1::ActiveObjectIf;
using Tessel::ActiveObject::V1::SchedulingPolicy;

namespace {

constexpr int generousMs = 20'000;

std::uint32_t numberOf(const ControlClient::Bytes& frame) {
    std::uint32_t number = 0;
    std::memcpy(&number, frame.data(), sizeof(number));
    return number;
}

ConnectionEstablishReq offerOf(const std::vector<std::uint32_t>& revisions) {
    ConnectionEstablishReq request;
    request.mutable_supported_revisions()->Assign(revisions.begin(), revisions.end());
    return request;
}

}  // namespace

ControlClient::ControlClient(const std::string& name)
    : thread(ActiveObjectIf::create(
          name, [] {}, SchedulingPolicy::Default)) {
    run([&] { ownMailbox = ozo_create_mailbox(name.c_str(), 0); });
    if (ownMailbox == OZO_NO_MAILBOX) {
        throw std::runtime_error("no mailbox for " + name);
    }
}

ControlClient::~ControlClient() {
    run([this] { ozo_delete_mailbox(ownMailbox); });
}

void ControlClient::run(const std::function<void()>& function) {
    std::promise<void> done;
    thread->runOnActiveObject([&] {
        function();
        done.set_value();
    });
    done.get_future().wait();
}

void ControlClient::sendFrame(const Bytes& frame) {
    run([&] {
        auto* msg = ozo_alloc(frame.size(), numberOf(frame));
        std::memcpy(msg, frame.data(), frame.size());
        ozo_send(msg, ozo_locate(ServerMetadata().name().c_str()), OZO_MY_MAILBOX);
    });
}

ControlClient::Bytes ControlClient::receiveFrame() {
    Bytes frame;
    run([&] {
        const std::unique_ptr<ozo_msg, void (*)(ozo_msg*)> msg(ozo_receive(generousMs), ozo_free);
        if (msg) {
            const auto* bytes = reinterpret_cast<const unsigned char*>(msg.get());
            frame.assign(bytes, bytes + ozo_size(msg.get()));
        }
    });
    if (frame.empty()) {
        throw std::runtime_error("no message came");
    }
    return frame;
}

void ControlClient::decode(const Bytes& frame, std::uint32_t messageNumber, References& references,
                           google::protobuf::MessageLite& body) {
    if (numberOf(frame) != messageNumber || !Control::decode(frame, references, body)) {
        throw std::runtime_error("message " + std::to_string(numberOf(frame)) +
                                 " came instead of " + std::to_string(messageNumber));
    }
}

std::uint32_t ControlClient::connect(std::uint32_t procRef) {
    send({.procedure = procRef}, offerOf({1}));
    return receive<ConnectionEstablishCfm>().references.connection;
}

ConnectionEstablishRej::RejectReason ControlClient::connectInVain(
    const std::vector<std::uint32_t>& revisions, References references) {
    send(references, offerOf(revisions));
    const auto rejection = receive<ConnectionEstablishRej>();
    if (rejection.references != references) {
        throw std::runtime_error("the rejection doesn't repeat the references of its request");
    }
    return rejection.body.reject_reason();
}

std::vector<ControlClient::Bytes> ControlClient::framesSoFar() {
    // Messages keep their order, so the answer to a last one comes behind all others.
    constexpr References last{.procedure = 0xFFFFFFFF, .connection = 0xFFFFFFFF};
    send(last, offerOf({}));
    std::vector<Bytes> frames;
    while (true) {
        frames.push_back(receiveFrame());
        References references;
        ConnectionEstablishRej rejection;
        if (numberOf(frames.back()) == ConnectionEstablishRej::MESSAGE_NUMBER &&
            Control::decode(frames.back(), references, rejection) && references == last) {
            frames.pop_back();
            return frames;
        }
    }
}

void ControlClient::acknowledge(References references, std::uint32_t streamId) {
    FilterContentsRAck acknowledgement;
    acknowledgement.set_stream_id(streamId);
    send(references, acknowledgement);
}

}  // namespace Qdx::Test
