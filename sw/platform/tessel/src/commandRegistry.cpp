#include <exception>
#include <ostream>
#include <utility>

#include "commandRegistryImpl.hpp"
#include "loop.hpp"
#include "serviceThread.hpp"
#include "tessel/commandProtocol.hpp"

namespace Tessel {

using CommandProtocol::statusSoftware;
using CommandProtocol::statusUnknownCommand;

namespace {

enum Refusal : int { notACommand = 1, noThread };

void runCommand(const CommandRegistryImpl::Command& command, const std::vector<std::string>& words,
                CommandReply& reply) {
    ReplyBuffer buffer(reply);
    std::ostream out(&buffer);
    try {
        const int status = command(words, out);
        out.flush();
        reply.finish(status);
    } catch (const std::exception& exception) {
        out.flush();
        reply.fail(words.front() + ": " + exception.what(), statusSoftware);
    } catch (...) {
        reply.fail(words.front() + ": unknown exception", statusSoftware);
    }
}

}  // namespace

CommandRegistryImpl& CommandRegistryImpl::instance() {
    static auto* const registry = new CommandRegistryImpl;
    return *registry;
}

int CommandRegistryImpl::registerCommand(const std::string& word, Command command, bool hidden) {
    if (word.empty() || !command) {
        return notACommand;
    }
    const auto loop = loopForCallbacks();
    if (loop == nullptr) {
        return noThread;
    }
    Entry entry{std::make_shared<const Command>(std::move(command)), loop, hidden};
    const std::lock_guard lock(mutex_);
    // What is replaced leaves with entry, when the lock is open again.
    std::swap(entries_[word], entry);
    return 0;
}

void CommandRegistryImpl::run(std::vector<std::string> words,
                              std::unique_ptr<CommandReply> reply) const {
    Entry entry;
    {
        const std::lock_guard lock(mutex_);
        if (const auto found = entries_.find(words.front()); found != entries_.end()) {
            entry = found->second;
        }
    }
    if (entry.command == nullptr) {
        reply->fail(words.front() + ": no such command", statusUnknownCommand);
        return;
    }
    const auto loop = entry.loop.lock();
    if (loop == nullptr) {
        return;
    }
    loop->post([loop = loop.get(), command = std::move(entry.command), words = std::move(words),
                reply = std::shared_ptr<CommandReply>(std::move(reply))] {
        if (loop->delivers()) {
            runCommand(*command, words, *reply);
        }
    });
}

std::vector<std::string> CommandRegistryImpl::getWords() const {
    std::vector<std::string> words;
    const std::lock_guard lock(mutex_);
    for (const auto& [word, entry] : entries_) {
        if (!entry.hidden) {
            words.push_back(word);
        }
    }
    return words;
}

void CommandRegistryImpl::clear() {
    std::map<std::string, Entry> entries;
    const std::lock_guard lock(mutex_);
    entries.swap(entries_);
}

namespace CommandRegistry::V1 {

CommandRegistryIf& CommandRegistryIf::getInstance() {
    return CommandRegistryImpl::instance();
}

}  // namespace CommandRegistry::V1

}  // namespace Tessel
