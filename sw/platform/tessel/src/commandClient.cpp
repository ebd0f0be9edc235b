#include "tessel/commandClient.hpp"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include "ownedDescriptor.hpp"
#include "tessel/commandProtocol.hpp"

namespace Tessel::CommandClient {

using namespace CommandProtocol;

namespace {

// What whoever typed the command can do.
const char* remedyFor(int error) {
    switch (error) {
        case ENOENT:
        case ECONNREFUSED:
            return "; start qdxd, or set UNIT_ROOT to the root of its unit";
        case EACCES:
            return "; only members of the group of that folder may type commands";
        default:
            return "";
    }
}

[[noreturn]] void failUnreachable(const std::string& path, int error) {
    throw Unreachable("no collector answers at " + path + ": " +
                      std::system_category().message(error) + remedyFor(error));
}

[[noreturn]] void failCutShort(const std::string& why) {
    throw AnswerCutShort("the answer ended before its time: " + why);
}

// A patience that has begun to run out.
class Waiting {
public:
    explicit Waiting(const Patience& patience)
        : limit_(patience.limit), giveUpFd_(patience.giveUpFd) {}

    // Until the descriptor is readable.
    void awaitReadable(int fd) const {
        if (!limit_ && giveUpFd_ < 0) {
            return;
        }
        std::array<pollfd, 2> events{{{fd, POLLIN, 0}, {giveUpFd_, POLLIN, 0}}};
        int ready = 0;
        do {
            ready = poll(events.data(), events.size(), left());
        } while (ready < 0 && errno == EINTR);
        if (events[1].revents != 0) {
            throw GivenUp("the answer was given up");
        }
        if (ready == 0) {
            failCutShort("it takes too long");
        }
    }

private:
    // Milliseconds, as poll() takes them.
    int left() const {
        using std::chrono::milliseconds;
        if (!limit_) {
            return -1;
        }
        const auto passed = std::chrono::ceil<milliseconds>(Clock::now() - begin_);
        return static_cast<int>(std::max(*limit_ - passed, milliseconds(0)).count());
    }

    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin_ = Clock::now();
    const std::optional<std::chrono::milliseconds> limit_;
    const int giveUpFd_;
};

class Connection {
public:
    Connection(const std::string& path, const Patience& patience)
        : waiting_(patience), socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
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
            waiting_.awaitReadable(socket_.get());
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
    const Waiting waiting_;
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

int ask(Kind kind, const std::string& payload, const Sinks& sinks, const Patience& patience) {
    Connection connection(socketPath(), patience);
    const auto header = encodeHeader(kind, payload.size());
    connection.send({header.data(), header.size()});
    connection.send(payload);
    return receiveAnswer(connection, sinks);
}

}  // namespace

int run(const std::vector<std::string>& words, const Sinks& sinks, const Patience& patience) {
    return ask(Kind::Run, encodeWords(words), sinks, patience);
}

int list(const Sinks& sinks, const Patience& patience) {
    return ask(Kind::List, {}, sinks, patience);
}

int table(const std::string& word, const Sinks& sinks, const Patience& patience) {
    return ask(Kind::Table, encodeWords({word}), sinks, patience);
}

int complete(const std::string& word, const std::string& parameter, const Sinks& sinks,
             const Patience& patience) {
    return ask(Kind::Complete, encodeWords({word, parameter}), sinks, patience);
}

}  // namespace Tessel::CommandClient
