#include <exception>
#include <ostream>
#include <utility>

#include "commandRegistryImpl.hpp"
#include "loop.hpp"
#include "observation.hpp"
#include "serviceThread.hpp"
#include "tessel/commandProtocol.hpp"

namespace Tessel {

using CommandProtocol::statusSoftware;
using CommandProtocol::statusUnknownCommand;

namespace {

enum Refusal : int { notACommand = 1, noThread };

void failUnknown(const std::string& word, CommandReply& reply) {
    reply.fail(word + ": no such command", statusUnknownCommand);
}

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

// The command's own thread runs the function with the reply, unless it has ended or is about to.
template <typename Function>
void runOn(const std::weak_ptr<Loop>& commandLoop, std::unique_ptr<CommandReply> reply,
           Function function) {
    const auto loop = commandLoop.lock();
    if (loop == nullptr) {
        return;
    }
    loop->post([loop = loop.get(), function = std::move(function),
                reply = std::shared_ptr<CommandReply>(std::move(reply))] {
        if (loop->delivers()) {
            function(*reply);
        }
    });
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
    Entry entry{std::make_shared<const Command>(std::move(command)), loop, hidden, nullptr};
    const std::lock_guard lock(mutex_);
    // What is replaced leaves with entry, when the lock is open again.
    std::swap(entries_[word], entry);
    return 0;
}

int CommandRegistryImpl::registerCompleter(const std::string& word, Completer completer) {
    auto shared = completer ? std::make_shared<const Completer>(std::move(completer)) : nullptr;
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(word);
    if (found == entries_.end()) {
        return notACommand;
    }
    // What is replaced leaves with shared, when the lock is open again.
    std::swap(found->second.completer, shared);
    return 0;
}

CommandRegistryImpl::Entry CommandRegistryImpl::find(const std::string& word) const {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(word);
    return found == entries_.end() ? Entry() : found->second;
}

void CommandRegistryImpl::run(std::vector<std::string> words,
                              std::unique_ptr<CommandReply> reply) const {
    const auto entry = find(words.front());
    if (entry.command == nullptr) {
        failUnknown(words.front(), *reply);
        return;
    }
    runOn(entry.loop, std::move(reply),
          [command = entry.command, words = std::move(words)](CommandReply& answer) {
              observe([&](auto& observer) { observer.onCommand(words); });
              runCommand(*command, words, answer);
          });
}

void CommandRegistryImpl::complete(const std::string& word, std::string parameter,
                                   std::unique_ptr<CommandReply> reply) const {
    const auto entry = find(word);
    if (entry.command == nullptr) {
        failUnknown(word, *reply);
        return;
    }
    if (entry.completer == nullptr) {
        reply->finish(0);
        return;
    }
    const Command tellValues = [completer = entry.completer](const auto& words, std::ostream& out) {
        for (const auto& value : (*completer)(words.back())) {
            out << value << '\n';
        }
        return 0;
    };
    runOn(entry.loop, std::move(reply),
          [tellValues, words = std::vector{word, std::move(parameter)}](CommandReply& answer) {
              runCommand(tellValues, words, answer);
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

namespace CommandCompletion::V1 {

CommandCompletionIf& CommandCompletionIf::getInstance() {
    return CommandRegistryImpl::instance();
}

}  // namespace CommandCompletion::V1

}  // namespace Tessel
