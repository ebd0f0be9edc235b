// Shell commands that a process offers.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace Tessel::CommandRegistry::V1 {

class CommandRegistryIf {
public:
    // The words typed, the command word first, and where the answer goes; the result is the exit
    // status that the shell sees.
    using Command = std::function<int(const std::vector<std::string>&, std::ostream&)>;

    static CommandRegistryIf& getInstance();

    // Has the command run whenever its word is typed: on the active object that registers it, one
    // command at a time, between that object's messages; for a thread without one, on a thread of
    // the service's own. A word registered again is replaced. hidden keeps the word out of the
    // listing of commands; it can be typed all the same. 0 on success.
    virtual int registerCommand(const std::string& word, Command command, bool hidden) = 0;

    virtual ~CommandRegistryIf() = default;
};

}  // namespace Tessel::CommandRegistry::V1
