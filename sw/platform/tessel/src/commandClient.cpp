#include "tessel/commandClient.hpp"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "ownedDescriptor.hpp"
#include "tessel/commandProtocol.hpp"

namespace Tessel::CommandClient {

using namespace CommandProtocol;

namespace {

[[noreturn]] void failUnreachable(const std::string& path, int error) {
    throw Unreachable("no collector answers at " + path + ": " +
                      std::system_category().message(error));
}

[[noreturn]] void failCutShort(const std::string& why) {
    throw AnswerCutShort("the answer ended before its time: " + why);
}

class Connection {
public:
    explicit Connection(const std::string& path)
        : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (path.size() >= sizeof address.sun_path) {
            failUnreachable(path, ENAMETOOLONG);
        }
        path.copy(address.sun_path, path.size());
        if (connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
            0) {
            failUnreachable(path, errno);
        }
    }

    // A server that refuses a request may close before it has read it: what it said shows when
    // reading.
    void send(std::string_view bytes) {
        while (!bytes.empty()) {
            const auto sent = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (sent > 0) {
                bytes.remove_prefix(static_cast<std::size_t>(sent));
            } else if (errno != EINTR) {
                return;
            }
        }
    }

    void receive(char* bytes, std::size_t size) {
        while (size > 0) {
            const auto received = recv(socket_.get(), bytes, size, 0);
            if (received > 0) {
                bytes += received;
                size -= static_cast<std::size_t>(received);
            } else if (received == 0) {
                failCutShort("the collector closed the connection");
            } else if (errno != EINTR) {
                failCutShort(std::system_category().message(errno));
            }
        }
    }

private:
    const OwnedDescriptor socket_;
};

int receiveAnswer(Connection& connection, const Sinks& sinks) {
    std::string payload;
    for (;;) {
        HeaderBytes bytes{};
        connection.receive(bytes.data(), bytes.size());
        const auto header = decodeHeader(bytes);
        if (header.lengthUntrusted > maxAnswer) {
            failCutShort("a frame is too long");
        }
        payload.resize(header.lengthUntrusted);
        connection.receive(payload.data(), payload.size());
        if (header.kind == Kind::Exit) {
            const auto status = decodeStatus(payload);
            if (!status) {
                failCutShort("the exit status is damaged");
            }
            return *status;
        }
        (header.kind == Kind::Error ? sinks.error : sinks.output)(payload);
    }
}

int ask(Kind kind, const std::string& payload, const Sinks& sinks) {
    Connection connection(socketPath());
    const auto header = encodeHeader(kind, payload.size());
    connection.send({header.data(), header.size()});
    connection.send(payload);
    return receiveAnswer(connection, sinks);
}

}  // namespace

int run(const std::vector<std::string>& words, const Sinks& sinks) {
    return ask(Kind::Run, encodeWords(words), sinks);
}

int list(const Sinks& sinks) {
    return ask(Kind::List, {}, sinks);
}

int table(const std::string& word, const Sinks& sinks) {
    return ask(Kind::Table, encodeWords({word}), sinks);
}

}  // namespace Tessel::CommandClient
