// One client of the command socket.
#pragma once

#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>
#include <functional>
#include <memory>
#include <string>

#include "outputQueue.hpp"
#include "tessel/commandProtocol.hpp"
#include "tessel/commandServer.hpp"

namespace Tessel {

class CommandReply;
class Loop;

// Reads the request, has it answered and sends the answer, all on the server's loop; the command
// itself runs elsewhere and writes to the queue between. Lives as long as its socket is open and
// something is awaited on it.
class CommandSession : public std::enable_shared_from_this<CommandSession> {
public:
    using Socket = asio::local::stream_protocol::socket;
    using Closed = std::function<void(const std::shared_ptr<CommandSession>&)>;

    CommandSession(Socket socket, const Host::V1::CommandTable& table,
                   const Host::V1::CommandServerLimits& limits, Closed closed);

    void start();
    // Sends one line for standard error in place of reading a request.
    void refuse(const std::string& line, int status);
    // Closes the connection of a client whose request isn't complete yet.
    void closeIfIdle();
    void close();

private:
    std::unique_ptr<CommandReply> openReply();
    bool goesOn(const asio::error_code& error);
    void readHeader();
    void readRequest(CommandProtocol::Header header);
    void answer(CommandProtocol::Kind kind);
    void answerRun(std::unique_ptr<CommandReply> reply);
    void answerTable(CommandReply& reply);
    void answerComplete(std::unique_ptr<CommandReply> reply);
    void awaitHangUp();
    void send();
    void sendSome();
    void awaitProgress();

    Socket socket_;
    asio::steady_timer stall_;
    const Host::V1::CommandTable& table_;
    const Host::V1::CommandServerLimits limits_;
    const Closed closed_;
    CommandProtocol::HeaderBytes header_{};
    std::string request_;
    std::shared_ptr<OutputQueue> queue_;  // null until the answer begins
    OutputQueue::Batch batch_;            // being sent
    std::size_t sent_ = 0;
    bool sending_ = false;
};

}  // namespace Tessel
