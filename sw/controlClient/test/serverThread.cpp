#include "serverThread.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace Qdx::Test {

using namespace qdxfilterctrli;

namespace {

constexpr int patienceMs = 20'000;

}  // namespace

void ScriptedServer::receive(std::uint32_t number, google::protobuf::MessageLite& body) {
    const std::unique_ptr<ozo_msg, decltype(&ozo_free)> message(ozo_receive(patienceMs), &ozo_free);
    if (!message || message->msgno != number ||
        !Control::decode(
            {reinterpret_cast<const unsigned char*>(message.get()), ozo_size(message.get())},
            references, body)) {
        throw std::runtime_error("the client did not send message " + std::to_string(number));
    }
    client = ozo_sender(message.get());
}

void ScriptedServer::send(std::uint32_t number, Control::References as,
                          const google::protobuf::MessageLite& body) const {
    const auto size = Control::frameSize(body);
    auto* message = ozo_alloc(size, number);
    EXPECT_TRUE(
        Control::encode(number, as, body, {reinterpret_cast<unsigned char*>(message), size}));
    ozo_send(message, client, OZO_MY_MAILBOX);
}

void ScriptedServer::acceptConnection(std::uint32_t reference) {
    const auto request = expect<ConnectionEstablishReq>();
    references.connection = reference;
    ConnectionEstablishCfm confirmation;
    confirmation.set_selected_protocol_rev(request.supported_revisions(0));
    reply(confirmation);
}

void ScriptedServer::sendChunk(const std::string& chunk, bool more, std::uint32_t streamId) {
    FilterContentsRData body;
    body.set_data_chunk(chunk);
    body.set_has_more_data(more);
    body.set_stream_id(streamId);
    reply(body);
}

ServerThread::ServerThread(Script script, const char* name)
    : thread([this, name, play = std::move(script)] {
          const auto mailbox = ozo_create_mailbox(name, 0);
          ready.set_value();
          ScriptedServer server;
          try {
              play(server);
          } catch (const std::exception& error) {
              ADD_FAILURE() << error.what();
          }
          ozo_delete_mailbox(mailbox);
      }) {
    ready.get_future().wait();
}

}  // namespace Qdx::Test
