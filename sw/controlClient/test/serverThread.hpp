// A control server that plays what a test tells it, on a thread and with a mailbox of its own.
#pragma once

#include <functional>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>

#include "controlFrame.hpp"
#include "ozo.h"
#include "qdxFilterCtrlI.pb.h"

namespace Qdx::Test {

// What the script sees of the mailbox. A request that doesn't come within 20 s is thrown, which
// ends the script.
class ScriptedServer {
public:
    // The next request, which must be of this type. Replies go to its sender.
    template <typename Body>
    Body expect() {
        Body body;
        receive(Body::MESSAGE_NUMBER, body);
        return body;
    }

    // Answers the last request.
    template <typename Body>
    void reply(const Body& body) {
        send(Body::MESSAGE_NUMBER, references, body);
    }
    // Confirms the connection that is asked for next.
    void acceptConnection(std::uint32_t reference);
    void sendChunk(const std::string& chunk, bool more, std::uint32_t streamId);

    void send(std::uint32_t number, Control::References as,
              const google::protobuf::MessageLite& body) const;

    std::uint32_t client = OZO_NO_MAILBOX;
    Control::References references;

private:
    void receive(std::uint32_t number, google::protobuf::MessageLite& body);
};

// The mailbox is there when the constructor returns, and goes when the script ends.
class ServerThread {
public:
    using Script = std::function<void(ScriptedServer&)>;

    explicit ServerThread(Script script, const char* name = "QdxFilterCtrlI");
    ~ServerThread() { thread.join(); }
    ServerThread(const ServerThread&) = delete;
    ServerThread& operator=(const ServerThread&) = delete;

private:
    std::promise<void> ready;
    std::thread thread;
};

}  // namespace Qdx::Test
