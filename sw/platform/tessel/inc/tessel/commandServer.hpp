// The command socket of a process: what a client types reaches the command registry.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace Tessel::Host::V1 {

// One subcommand, for help and completion.
struct CommandTableRow {
    std::string syntax;
    std::string help;
};

// The subcommands of a command word; nothing if the word has no table. Called on the server's
// thread.
using CommandTable =
    std::function<std::optional<std::vector<CommandTableRow>>(const std::string& word)>;

// What one client can cost. A client over a limit is cut off; the others and the commands don't
// notice.
struct CommandServerLimits {
    // A client that neither sends nor takes a byte for so long while it is its turn is dropped.
    // Waiting for a slow command is free.
    std::chrono::milliseconds stall = std::chrono::seconds(30);
    // Bytes of output waiting for a client that still reads; as many again may be under way. A
    // command never waits for its client.
    std::size_t heldOutput = std::size_t{256} * 1024 * 1024;
    // Clients at a time; the next one is told so and goes.
    std::size_t clients = 64;
};

class CommandServerError : public std::runtime_error {
public:
    enum class Reason {
        Directory,  // the run directory can't be made or written
        Taken,      // a live process serves the socket
        Socket,     // the system refuses the socket
    };

    CommandServerError(Reason why, const std::string& text) : runtime_error(text), reason(why) {}

    const Reason reason;
};

// Serves $UNIT_ROOT/run/tessel/command.sock on a thread of its own; commands run on the active
// objects that registered them.
//
//     CommandServer server(table);   // from here on a second server is refused
//     ...register commands...
//     server.serve();
//
// The directory gets mode 0750 if it is made here, the socket 0660: the unit's group decides who
// may type commands. The protocol stands in commandProtocol.hpp. To be used by one thread, which is
// no active object.
class CommandServer {
public:
    // Takes the socket, over the remains of a dead process if need be. Throws CommandServerError.
    explicit CommandServer(CommandTable table, const CommandServerLimits& limits = {});
    // stop() without patience.
    ~CommandServer();
    CommandServer(const CommandServer&) = delete;
    CommandServer& operator=(const CommandServer&) = delete;

    // Lets clients in. Throws CommandServerError.
    void serve();

    // Lets nobody in any more, gives clients whose command has begun so much time to take their
    // output, then cuts them off.
    void stop(std::chrono::milliseconds patience);

private:
    class Clients;
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace Tessel::Host::V1
