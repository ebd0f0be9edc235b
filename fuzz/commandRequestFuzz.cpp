// Clients at the command socket that say anything: what is a request to the byte is answered as it
// says, everything that comes back is frames, and the next client is served as if nothing had been.
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "pieces.hpp"
#include "temporaryUnit.hpp"
#include "tessel/activeObject.hpp"
#include "tessel/commandClient.hpp"
#include "tessel/commandCompletion.hpp"
#include "tessel/commandProtocol.hpp"
#include "tessel/commandRegistry.hpp"
#include "tessel/commandServer.hpp"

namespace {

using namespace Tessel::CommandProtocol;
using Qdx::Fuzz::again;
using Qdx::Fuzz::require;
using Bytes = std::span<const std::uint8_t>;

// What a piece's kind asks for: the bytes behind a header of their own kind and length, or any.
constexpr std::uint8_t withHeader = 0x08;
constexpr Kind kinds[] = {Kind::Run, Kind::List, Kind::Table, Kind::Complete, Kind::Exit};
constexpr std::uint8_t kindMask = 0x07;

constexpr const char* word = "echo";
constexpr int echoStatus = 7;

struct Answer {
    std::string output;
    std::string error;
    std::optional<int> status;
    friend bool operator==(const Answer&, const Answer&) = default;
};

// A command socket with one command, which says the words that it got.
class Service {
public:
    Service() {
        std::promise<void> registered;
        commands->runOnActiveObject([&] {
            registerEcho();
            registered.set_value();
        });
        registered.get_future().wait();
        server.serve();
    }

private:
    static void registerEcho() {
        const auto echo = [](const std::vector<std::string>& words, std::ostream& out) {
            for (const auto& each : words) {
                out << each << '\n';
            }
            return echoStatus;
        };
        using Tessel::CommandCompletion::V1::CommandCompletionIf;
        using Tessel::CommandRegistry::V1::CommandRegistryIf;
        require(CommandRegistryIf::getInstance().registerCommand(word, echo, false) == 0);
        require(CommandCompletionIf::getInstance().registerCompleter(
                    word, [](const std::string& parameter) { return std::vector{parameter}; }) ==
                0);
    }

    static std::optional<std::vector<Tessel::Host::V1::CommandTableRow>> tableOf(
        const std::string& command) {
        using Row = Tessel::Host::V1::CommandTableRow;
        return command == word ? std::optional(std::vector{Row{"echo WORD", "says it"}})
                               : std::nullopt;
    }

    const Qdx::Fuzz::TemporaryUnit unit;
    using ActiveObjectIf = Tessel::ActiveObject::V1::ActiveObjectIf;
    const std::shared_ptr<ActiveObjectIf> commands = ActiveObjectIf::create(
        "Commands", [] {}, Tessel::ActiveObject::V1::SchedulingPolicy{0});
    // Time and number of clients are no part of an input: a machine under load must not change
    // answers.
    Tessel::Host::V1::CommandServer server{tableOf,
                                           {.stall = std::chrono::hours(24), .clients = 100'000}};
};

// The request that a client's bytes are, to the byte.
struct Request {
    Kind kind;
    std::string payload;
};
std::optional<Request> requestIn(const std::string& bytes) {
    if (bytes.size() < headerSize) {
        return std::nullopt;
    }
    HeaderBytes head{};
    std::copy_n(bytes.begin(), headerSize, head.begin());
    const auto header = decodeHeader(head);
    if (header.lengthUntrusted > maxRequest ||
        bytes.size() - headerSize != header.lengthUntrusted) {
        return std::nullopt;
    }
    return Request{header.kind, bytes.substr(headerSize)};
}

Answer failure(const std::string& line, int status) {
    return {"", line + "\n", status};
}

Answer expectedOfRun(const std::optional<std::vector<std::string>>& words) {
    if (!words || words->empty() || words->front().empty()) {
        return failure("no command in the request", statusUsage);
    }
    if (lineLength(*words) > maxLine) {
        return failure("the command line is longer than 4096 characters", statusUsage);
    }
    if (words->front() != word) {
        return failure(words->front() + ": no such command", statusUnknownCommand);
    }
    Answer answer{"", "", echoStatus};
    for (const auto& each : *words) {
        answer.output += each + "\n";
    }
    return answer;
}

Answer expectedOfComplete(const std::optional<std::vector<std::string>>& words) {
    if (!words || words->size() != 2) {
        return failure("no parameter of a command in the request", statusUsage);
    }
    if (words->front() != word) {
        return failure(words->front() + ": no such command", statusUnknownCommand);
    }
    return {words->back() + "\n", "", 0};
}

Answer expected(const Request& request) {
    const auto words = decodeWords(request.payload);
    switch (request.kind) {
        case Kind::Run:
            return expectedOfRun(words);
        case Kind::List:
            return {std::string(word) + "\n", "", 0};
        case Kind::Table:
            return words && *words == std::vector<std::string>{word}
                       ? Answer{"echo WORD\tsays it\n", "", 0}
                       : failure("no table of subcommands for this word", statusUnknownCommand);
        case Kind::Complete:
            return expectedOfComplete(words);
        default:
            return failure("unknown kind of request", statusUsage);
    }
}

class Client {
public:
    Client() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        socketPath().copy(address.sun_path, sizeof address.sun_path - 1);
        require(::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
                0);
    }
    ~Client() { ::close(socket); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    // A server that gives up on the client may close meanwhile.
    void send(std::string_view bytes) const {
        while (!bytes.empty()) {
            const auto sent =
                again([&] { return ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL); });
            if (sent <= 0) {
                return;
            }
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        }
    }

    // Until the server closes; one that doesn't is found by the fuzzer's own time-out.
    std::string receiveAll() const {
        std::string all;
        std::array<char, 4096> some{};
        while (true) {
            const auto size = again([&] { return ::recv(socket, some.data(), some.size(), 0); });
            if (size <= 0) {
                return all;
            }
            all.append(some.data(), static_cast<std::size_t>(size));
        }
    }

private:
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

Answer answerIn(std::string_view bytes) {
    Answer answer;
    while (!bytes.empty()) {
        require(!answer.status && bytes.size() >= headerSize);
        HeaderBytes head{};
        std::copy_n(bytes.begin(), headerSize, head.begin());
        const auto header = decodeHeader(head);
        bytes.remove_prefix(headerSize);
        require(header.lengthUntrusted <= std::min(bytes.size(), maxAnswer));
        const auto payload = bytes.substr(0, header.lengthUntrusted);
        bytes.remove_prefix(header.lengthUntrusted);
        if (header.kind == Kind::Exit) {
            answer.status = decodeStatus(payload);
            require(answer.status.has_value());
        } else {
            require(header.kind == Kind::Output || header.kind == Kind::Error);
            (header.kind == Kind::Output ? answer.output : answer.error) += payload;
        }
    }
    return answer;
}

std::string bytesOf(std::uint8_t kind, Bytes piece) {
    std::string payload(piece.begin(), piece.end());
    if ((kind & withHeader) == 0) {
        return payload;
    }
    const auto header = encodeHeader(kinds[(kind & kindMask) % std::size(kinds)], payload.size());
    return std::string(header.data(), header.size()) + payload;
}

void play(const std::string& bytes) {
    const Client client;
    client.send(bytes);
    // A request that isn't whole waits for the rest of it, and any other may end as the bytes
    // behind it come.
    if (const auto request = requestIn(bytes)) {
        require(answerIn(client.receiveAll()) == expected(*request));
    }
}

void requireService() {
    std::string output;
    const Tessel::CommandClient::Sinks sinks{[&](std::string_view text) { output += text; },
                                             [](std::string_view) { require(false); }};
    require(Tessel::CommandClient::run({word, "still", "here"}, sinks) == echoStatus);
    require(output == "echo\nstill\nhere\n");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Service service;
    Qdx::Fuzz::forEachPiece(data, size, [&](auto kind, auto piece) { play(bytesOf(kind, piece)); });
    requireService();
    return 0;
}
