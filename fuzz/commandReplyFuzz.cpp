// A command server that says anything: its client gives exactly what the frames before the exit
// frame say, and that frame's status, or tells that the answer was cut short.
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <filesystem>
#include <future>
#include <memory>
#include <optional>
#include <string>

#include "pieces.hpp"
#include "temporaryUnit.hpp"
#include "tessel/activeObject.hpp"
#include "tessel/commandClient.hpp"
#include "tessel/commandProtocol.hpp"

namespace {

using namespace Tessel::CommandProtocol;
using Qdx::Fuzz::again;
using Qdx::Fuzz::require;

// What a piece's kind asks for: the bytes behind a header of their length, or as they are.
constexpr std::uint8_t withHeader = 0x04;
constexpr Kind kinds[] = {Kind::Output, Kind::Error, Kind::Exit, Kind::Run};
constexpr std::uint8_t kindMask = 0x03;

class Server {
public:
    Server() {
        std::filesystem::create_directories(runDirectory());
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        socketPath().copy(address.sun_path, sizeof address.sun_path - 1);
        require(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0);
        require(::listen(socket, 1) == 0);
    }
    ~Server() { ::close(socket); }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Says that to the next client, whatever it asks.
    void sayToNext(const std::string& bytes) {
        thread->runOnActiveObject([this, bytes] {
            const int client =
                again([&] { return ::accept4(socket, nullptr, nullptr, SOCK_CLOEXEC); });
            require(client >= 0);
            // The client may hang up on what it doesn't like.
            (void)again([&] { return ::send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL); });
            ::shutdown(client, SHUT_WR);
            // What it asked has to be read: closing with it unread would take the answer back.
            std::array<char, 64> some{};
            while (again([&] { return ::recv(client, some.data(), some.size(), 0); }) > 0) {
            }
            ::close(client);
        });
    }

private:
    const Qdx::Fuzz::TemporaryUnit unit;
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    using ActiveObjectIf = Tessel::ActiveObject::V1::ActiveObjectIf;
    const std::shared_ptr<ActiveObjectIf> thread = ActiveObjectIf::create(
        "Server", [] {}, Tessel::ActiveObject::V1::SchedulingPolicy{0});
};

struct Answer {
    std::string output;
    std::string error;
    std::optional<int> status;  // empty if it was cut short
    friend bool operator==(const Answer&, const Answer&) = default;
};

Answer answerIn(std::string_view bytes) {
    Answer answer;
    while (bytes.size() >= headerSize) {
        HeaderBytes head{};
        std::copy_n(bytes.begin(), headerSize, head.begin());
        const auto header = decodeHeader(head);
        bytes.remove_prefix(headerSize);
        if (header.lengthUntrusted > std::min(bytes.size(), maxAnswer)) {
            return answer;
        }
        const auto payload = bytes.substr(0, header.lengthUntrusted);
        bytes.remove_prefix(header.lengthUntrusted);
        if (header.kind == Kind::Exit) {
            answer.status = decodeStatus(payload);
            return answer;
        }
        (header.kind == Kind::Error ? answer.error : answer.output) += payload;
    }
    return answer;
}

Answer ask() {
    Answer answer;
    const Tessel::CommandClient::Sinks sinks{[&](std::string_view text) { answer.output += text; },
                                             [&](std::string_view text) { answer.error += text; }};
    try {
        answer.status = Tessel::CommandClient::run({"dch", "filter", "status"}, sinks);
    } catch (const Tessel::CommandClient::AnswerCutShort&) {
        answer.status.reset();
    }
    return answer;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Server server;
    std::string bytes;
    Qdx::Fuzz::forEachPiece(data, size, [&](auto kind, auto piece) {
        if ((kind & withHeader) != 0) {
            const auto header = encodeHeader(kinds[kind & kindMask], piece.size());
            bytes.append(header.data(), header.size());
        }
        bytes.append(piece.begin(), piece.end());
    });
    server.sayToNext(bytes);
    require(ask() == answerIn(bytes));
    return 0;
}
