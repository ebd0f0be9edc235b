#include "commandSession.hpp"

#include <asio/buffer.hpp>
#include <asio/read.hpp>
#include <asio/write.hpp>
#include <utility>

#include "commandRegistryImpl.hpp"
#include "commandReply.hpp"
#include "loop.hpp"

namespace Tessel {

using namespace CommandProtocol;

namespace {

std::string lineTooLong() {
    return "the command line is longer than " + std::to_string(maxLine) + " characters";
}

}  // namespace

CommandSession::CommandSession(Socket socket, const Host::V1::CommandTable& table,
                               const Host::V1::CommandServerLimits& limits, Closed closed)
    : socket_(std::move(socket)),
      stall_(socket_.get_executor()),
      table_(table),
      limits_(limits),
      closed_(std::move(closed)) {}

void CommandSession::start() {
    awaitProgress();
    readHeader();
}

void CommandSession::refuse(const std::string& line, int status) {
    openReply()->fail(line, status);
}

void CommandSession::closeIfIdle() {
    if (queue_ == nullptr) {
        close();
    }
}

void CommandSession::close() {
    if (!socket_.is_open()) {
        return;
    }
    asio::error_code ignored;
    socket_.close(ignored);
    stall_.cancel();
    if (queue_ != nullptr) {
        queue_->close();
    }
    closed_(shared_from_this());
}

// The command's thread wakes the loop, if that and this session still are.
std::unique_ptr<CommandReply> CommandSession::openReply() {
    auto wake = [session = weak_from_this(), loop = Loop::current()->weak_from_this()] {
        if (const auto server = loop.lock()) {
            server->post([session] {
                if (const auto self = session.lock()) {
                    self->send();
                }
            });
        }
    };
    queue_ = std::make_shared<OutputQueue>(limits_.heldOutput, std::move(wake));
    stall_.cancel();
    return std::make_unique<CommandReply>(queue_);
}

// What completed well may still come after a close().
bool CommandSession::goesOn(const asio::error_code& error) {
    if (error) {
        close();
    }
    return socket_.is_open();
}

void CommandSession::readHeader() {
    asio::async_read(socket_, asio::buffer(header_),
                     [self = shared_from_this()](const asio::error_code& error, std::size_t) {
                         if (self->goesOn(error)) {
                             self->readRequest(decodeHeader(self->header_));
                         }
                     });
}

void CommandSession::readRequest(Header header) {
    if (header.lengthUntrusted > maxRequest) {
        refuse(lineTooLong(), statusUsage);
        return;
    }
    request_.resize(header.lengthUntrusted);
    asio::async_read(
        socket_, asio::buffer(request_),
        [self = shared_from_this(), header](const asio::error_code& error, std::size_t) {
            if (self->goesOn(error)) {
                self->answer(header.kind);
            }
        });
}

void CommandSession::answer(Kind kind) {
    auto reply = openReply();
    awaitHangUp();
    switch (kind) {
        case Kind::Run:
            answerRun(std::move(reply));
            return;
        case Kind::List:
            for (const auto& word : CommandRegistryImpl::instance().getWords()) {
                reply->write(word + '\n');
            }
            reply->finish(0);
            return;
        case Kind::Table:
            answerTable(*reply);
            return;
        case Kind::Complete:
            answerComplete(std::move(reply));
            return;
        default:
            reply->fail("unknown kind of request", statusUsage);
    }
}

void CommandSession::answerRun(std::unique_ptr<CommandReply> reply) {
    auto words = decodeWords(request_);
    if (!words || words->empty() || words->front().empty()) {
        reply->fail("no command in the request", statusUsage);
    } else if (lineLength(*words) > maxLine) {
        reply->fail(lineTooLong(), statusUsage);
    } else {
        CommandRegistryImpl::instance().run(std::move(*words), std::move(reply));
    }
}

void CommandSession::answerTable(CommandReply& reply) {
    const auto words = decodeWords(request_);
    const auto rows = words && words->size() == 1 && table_ ? table_(words->front()) : std::nullopt;
    if (!rows) {
        reply.fail("no table of subcommands for this word", statusUnknownCommand);
        return;
    }
    for (const auto& row : *rows) {
        reply.write(row.syntax + '\t' + row.help + '\n');
    }
    reply.finish(0);
}

void CommandSession::answerComplete(std::unique_ptr<CommandReply> reply) {
    const auto words = decodeWords(request_);
    if (!words || words->size() != 2) {
        reply->fail("no parameter of a command in the request", statusUsage);
    } else {
        CommandRegistryImpl::instance().complete(words->front(), words->back(), std::move(reply));
    }
}

// A client has nothing to say after its request: the end of its stream, or anything else, means
// that it gave up.
void CommandSession::awaitHangUp() {
    socket_.async_wait(Socket::wait_read,
                       [self = shared_from_this()](const asio::error_code&) { self->close(); });
}

void CommandSession::send() {
    if (queue_->overrun()) {
        close();
    }
    if (sending_ || !socket_.is_open()) {
        return;
    }
    batch_ = queue_->take();
    sent_ = 0;
    if (batch_.bytes.empty()) {
        if (batch_.ended) {
            close();
        }
        return;
    }
    sending_ = true;
    sendSome();
}

void CommandSession::sendSome() {
    awaitProgress();
    socket_.async_write_some(
        asio::buffer(batch_.bytes) + sent_,
        [self = shared_from_this()](const asio::error_code& error, std::size_t size) {
            self->sent_ += size;
            if (!self->goesOn(error)) {
                return;
            }
            if (self->sent_ < self->batch_.bytes.size()) {
                self->sendSome();
            } else {
                self->sending_ = false;
                self->stall_.cancel();
                self->send();
            }
        });
}

void CommandSession::awaitProgress() {
    stall_.expires_after(limits_.stall);
    stall_.async_wait([self = shared_from_this()](const asio::error_code& error) {
        if (!error) {
            self->close();
        }
    });
}

}  // namespace Tessel
