// A client of the command socket that behaves as badly as a test wants.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "support/await.hpp"
#include "tessel/commandProtocol.hpp"

namespace TestSupport {

inline sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

inline std::string frame(Tessel::CommandProtocol::Kind kind, const std::string& payload) {
    const auto header = Tessel::CommandProtocol::encodeHeader(kind, payload.size());
    return std::string(header.data(), header.size()) + payload;
}

inline std::string runFrame(const std::vector<std::string>& words) {
    return frame(Tessel::CommandProtocol::Kind::Run, Tessel::CommandProtocol::encodeWords(words));
}

class RawClient {
public:
    RawClient() : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const auto address = addressOf(Tessel::CommandProtocol::socketPath());
        if (connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            throw std::runtime_error("nobody serves the command socket");
        }
    }
    ~RawClient() { hangUp(); }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    void send(std::string_view bytes) {
        if (::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) !=
            static_cast<ssize_t>(bytes.size())) {
            throw std::runtime_error("the server doesn't take the request");
        }
    }

    // Everything that comes until the server closes.
    std::string readAll() {
        std::string bytes;
        std::array<char, 4096> piece{};
        for (;;) {
            awaitEvent(POLLIN);
            const auto size = read(fd_, piece.data(), piece.size());
            if (size <= 0) {
                return bytes;
            }
            bytes.append(piece.data(), static_cast<std::size_t>(size));
        }
    }

    // Waits until the server has closed, without reading.
    void awaitHangUp() { awaitEvent(0); }

    void hangUp() {
        if (fd_ >= 0) {
            close(fd_);
        }
        fd_ = -1;
    }

private:
    void awaitEvent(short events) {
        pollfd event{fd_, events, 0};
        const auto patience = std::chrono::milliseconds(deadline).count();
        if (poll(&event, 1, static_cast<int>(patience)) != 1) {
            throw std::runtime_error("the server keeps quiet");
        }
    }

    int fd_;
};

}  // namespace TestSupport
