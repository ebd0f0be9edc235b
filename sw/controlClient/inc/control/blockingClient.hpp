// A client of the collector's control server for programs that may wait: each call returns when its
// procedure has ended, within ClientOptions::answerTime of the server's last word.
//
//     BlockingClient client;
//     auto result = client.connect();
//     if (result.isDone()) {
//         result = client.pull({.filter = "11"}, [](std::string_view chunk) { ... return true; });
//     }
//
// On a borrowed mailbox, messages of others that come during a call are freed.
#pragma once

#include <functional>
#include <utility>

#include "control/client.hpp"

namespace Qdx::Control {

class BlockingClient {
public:
    BlockingClient() = default;
    explicit BlockingClient(ClientOptions options) : client(std::move(options)) {}

    Result connect();
    Result exchangeCapabilities();
    Result pull(const PullRequest& request, const Sink& sink);

    const Client& state() const { return client; }

private:
    Result run(const std::function<void(const Done&)>& start);

    Client client;
};

}  // namespace Qdx::Control
