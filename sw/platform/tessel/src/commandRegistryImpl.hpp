// The commands of the process and how one is run.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "commandReply.hpp"
#include "tessel/commandCompletion.hpp"
#include "tessel/commandRegistry.hpp"

namespace Tessel {

class Loop;

// Never destroyed: commands hold functions of libraries that may go before it. Any thread may call.
class CommandRegistryImpl final : public CommandRegistry::V1::CommandRegistryIf,
                                  public CommandCompletion::V1::CommandCompletionIf {
public:
    static CommandRegistryImpl& instance();

    int registerCommand(const std::string& word, Command command, bool hidden) override;
    int registerCompleter(const std::string& word, Completer completer) override;

    // Has the command of the first word run on its active object; the reply ends there, or here if
    // there is no such command. REQUIRES: words isn't empty.
    void run(std::vector<std::string> words, std::unique_ptr<CommandReply> reply) const;

    // Has the completer of the command answer with the values of the parameter, one per line:
    // nothing for a command without a completer.
    void complete(const std::string& word, std::string parameter,
                  std::unique_ptr<CommandReply> reply) const;

    // The words that aren't hidden, in alphabetical order.
    std::vector<std::string> getWords() const;

    // Forgets all commands.
    void clear();

private:
    struct Entry {
        std::shared_ptr<const Command> command;
        std::weak_ptr<Loop> loop;
        bool hidden = false;
        std::shared_ptr<const Completer> completer;
    };

    // Without a command if there is none of the word.
    Entry find(const std::string& word) const;

    mutable std::mutex mutex_;
    std::map<std::string, Entry> entries_;
};

}  // namespace Tessel
