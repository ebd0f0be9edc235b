// Programs that talk to the control server.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "controlFrame.hpp"
#include "qdxFilterCtrlI.pb.h"
#include "tessel/activeObject.hpp"

namespace Qdx::Test {

using Control::References;

// A message of the control protocol, taken apart.
template <typename Body>
struct ControlMessage {
    References references;
    Body body;
};

// A mailbox on a thread of its own, from construction to destruction. Tests have several at once,
// each used from the test's thread:
//
//     ControlClient client("Client");
//     const auto connRef = client.connect();
//     client.send({.procedure = 5, .connection = connRef}, CapabilityExchangeReq());
//     EXPECT_EQ(client.receive<CapabilityExchangeCfm>().references.procedure, 5);
//
// A message that doesn't come in time, or is another one, is thrown as std::runtime_error.
class ControlClient {
public:
    using Bytes = std::vector<unsigned char>;

    explicit ControlClient(const std::string& name);
    ~ControlClient();
    ControlClient(const ControlClient&) = delete;
    ControlClient& operator=(const ControlClient&) = delete;

    std::uint32_t mailbox() const { return ownMailbox; }

    // Sends to the server's name.
    void sendFrame(const Bytes& frame);
    template <typename Body>
    void send(References references, const Body& body) {
        Bytes frame(Control::frameSize(body));
        if (!Control::encode(Body::MESSAGE_NUMBER, references, body, frame)) {
            throw std::runtime_error("a request of this test can't be encoded");
        }
        sendFrame(frame);
    }

    Bytes receiveFrame();
    template <typename Body>
    ControlMessage<Body> receive() {
        ControlMessage<Body> message;
        decode(receiveFrame(), Body::MESSAGE_NUMBER, message.references, message.body);
        return message;
    }

    // Connects with the revisions {1} and gives the connection reference.
    std::uint32_t connect(std::uint32_t procRef = 1);
    // Asks for a connection and is rejected for this reason.
    qdxfilterctrli::ConnectionEstablishRej::RejectReason connectInVain(
        const std::vector<std::uint32_t>& revisions, References references = {});

    // Messages that came so far. The server has handled all that was sent before; this leaves a
    // rejected connection request in the trace.
    std::vector<Bytes> framesSoFar();

    void acknowledge(References references, std::uint32_t streamId);

private:
    void run(const std::function<void()>& function);
    static void decode(const Bytes& frame, std::uint32_t messageNumber, References& references,
                       google::protobuf::MessageLite& body);

    std::shared_ptr<Tessel::ActiveObject::V1::ActiveObjectIf> thread;
    std::uint32_t ownMailbox;
};

}  // namespace Qdx::Test
