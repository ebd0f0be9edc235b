#include "tessel/commandServer.hpp"

#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>
#include <future>
#include <set>
#include <utility>

#include "activeObjectImpl.hpp"
#include "commandSession.hpp"
#include "commandSocket.hpp"
#include "loop.hpp"

namespace Tessel::Host::V1 {

namespace {

// How long the server holds off when the process is out of descriptors.
constexpr auto acceptPause = std::chrono::milliseconds(100);

}  // namespace

// Those who are connected, and the door. Lives on the server's loop.
class CommandServer::Clients {
public:
    Clients(asio::io_context& io, int listeningFd, CommandTable table,
            const CommandServerLimits& limits)
        : acceptor_(io, asio::local::stream_protocol(), listeningFd),
          pause_(io),
          table_(std::move(table)),
          limits_(limits) {
        accept();
    }

    // Keeps those whose command has begun; told is fulfilled when they have gone.
    void closeDoor(std::promise<void> told) {
        asio::error_code ignored;
        acceptor_.close(ignored);
        pause_.cancel();
        forEach([](CommandSession& session) { session.closeIfIdle(); });
        allGone_ = std::move(told);
        doorClosed_ = true;
        tellIfAllGone();
    }

    void cutOff() {
        forEach([](CommandSession& session) { session.close(); });
    }

private:
    void accept() {
        acceptor_.async_accept(
            [this](const asio::error_code& error, CommandSession::Socket socket) {
                if (!acceptor_.is_open()) {
                    return;
                }
                if (error) {
                    acceptLater();
                    return;
                }
                admit(std::move(socket));
                accept();
            });
    }

    void acceptLater() {
        pause_.expires_after(acceptPause);
        pause_.async_wait([this](const asio::error_code& error) {
            if (!error) {
                accept();
            }
        });
    }

    void admit(CommandSession::Socket socket) {
        const auto session = std::make_shared<CommandSession>(
            std::move(socket), table_, limits_,
            [this](const std::shared_ptr<CommandSession>& closed) { leave(closed); });
        const bool full = sessions_.size() >= limits_.clients;
        sessions_.insert(session);
        if (full) {
            session->refuse("too many clients at a time; try again",
                            CommandProtocol::statusUnavailable);
        } else {
            session->start();
        }
    }

    void leave(const std::shared_ptr<CommandSession>& session) {
        sessions_.erase(session);
        tellIfAllGone();
    }

    void tellIfAllGone() {
        if (doorClosed_ && sessions_.empty() && !std::exchange(told_, true)) {
            allGone_.set_value();
        }
    }

    // A session that closes leaves the set.
    void forEach(const std::function<void(CommandSession&)>& function) {
        const auto sessions = sessions_;
        for (const auto& session : sessions) {
            function(*session);
        }
    }

    asio::local::stream_protocol::acceptor acceptor_;
    asio::steady_timer pause_;
    const CommandTable table_;
    const CommandServerLimits limits_;
    std::set<std::shared_ptr<CommandSession>> sessions_;
    std::promise<void> allGone_;
    bool doorClosed_ = false;
    bool told_ = false;
};

class CommandServer::Impl {
public:
    Impl(CommandTable table, const CommandServerLimits& limits)
        : table_(std::move(table)), limits_(limits) {}

    void serve() {
        try {
            activeObject_ = std::make_shared<ActiveObjectImpl>();
            activeObject_->start("TesselCommands", [] {});
            onLoop([this, fd = socket_.listen()](asio::io_context& io) {
                clients_ = std::make_unique<Clients>(io, fd, table_, limits_);
            });
        } catch (const std::system_error& error) {
            throw CommandServerError(
                CommandServerError::Reason::Socket,
                std::string("cannot serve the command socket: ") + error.what());
        }
    }

    void stop(std::chrono::milliseconds patience) {
        if (activeObject_ == nullptr) {
            return;
        }
        if (clients_ != nullptr) {
            seeClientsOff(patience);
        }
        // The sockets of the clients need their loop until they are gone.
        const auto loop = activeObject_->loop();
        activeObject_.reset();
        clients_.reset();
    }

private:
    void seeClientsOff(std::chrono::milliseconds patience) {
        auto told = std::make_shared<std::promise<void>>();
        const auto allGone = told->get_future();
        onLoop([this, told](asio::io_context&) { clients_->closeDoor(std::move(*told)); });
        allGone.wait_for(patience);
        onLoop([this](asio::io_context&) { clients_->cutOff(); });
    }

    // Runs the function on the loop's thread and waits for it.
    void onLoop(const std::function<void(asio::io_context&)>& function) {
        auto done = std::make_shared<std::promise<void>>();
        auto result = done->get_future();
        activeObject_->runOnActiveObject([function, done, loop = activeObject_->loop().get()] {
            try {
                function(loop->io());
                done->set_value();
            } catch (...) {
                done->set_exception(std::current_exception());
            }
        });
        result.get();
    }

    const CommandTable table_;
    const CommandServerLimits limits_;
    CommandSocket socket_;
    std::shared_ptr<ActiveObjectImpl> activeObject_;
    std::unique_ptr<Clients> clients_;
};

CommandServer::CommandServer(CommandTable table, const CommandServerLimits& limits)
    : impl_(std::make_unique<Impl>(std::move(table), limits)) {}

CommandServer::~CommandServer() {
    stop(std::chrono::milliseconds(0));
}

void CommandServer::serve() {
    impl_->serve();
}

void CommandServer::stop(std::chrono::milliseconds patience) {
    impl_->stop(patience);
}

}  // namespace Tessel::Host::V1
