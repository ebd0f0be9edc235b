#include "virtualUnit.hpp"

#include <cstring>
#include <exception>
#include <stdexcept>
#include <utility>

#include "message.hpp"
#include "tessel/commandProtocol.hpp"

namespace Replay {

namespace {

VirtualUnit* thePresentUnit = nullptr;

std::chrono::nanoseconds takeFirst(std::deque<std::chrono::nanoseconds>& times,
                                   std::chrono::nanoseconds otherwise) {
    if (times.empty()) {
        return otherwise;
    }
    const auto first = times.front();
    times.pop_front();
    return first;
}

}  // namespace

VirtualUnit::VirtualUnit(const Recording::Header& header, ListenerIf& listener)
    : header_(header), listener_(listener), clocks_{header.steady, {}, {}} {
    thePresentUnit = this;
}

VirtualUnit::~VirtualUnit() {
    thePresentUnit = nullptr;
}

VirtualUnit& VirtualUnit::present() {
    if (thePresentUnit == nullptr) {
        throw std::logic_error("no unit");
    }
    return *thePresentUnit;
}

void VirtualUnit::deliver(const Recording::Message& message) {
    const auto handler = handlers_.find(message.number);
    if (handler == handlers_.end()) {
        return;
    }
    const std::shared_ptr<ozo_msg> msg(
        ozo_alloc(sizeof(ozo_msg) + message.payload.size(), message.number), ozo_free);
    Ozo::setSender(*msg, message.sender);
    std::memcpy(msg.get() + 1, message.payload.data(), message.payload.size());
    handler->second(msg);
}

void VirtualUnit::deliver(const Recording::MailboxGone& gone) {
    // Taken out first: a callback may ask for the same mailbox again.
    const auto asked = monitors_.extract(gone.sender);
    if (asked.empty()) {
        return;
    }
    for (const auto& callback : asked.mapped()) {
        callback(gone.sender);
    }
}

int VirtualUnit::run(const std::vector<std::string>& words, std::ostream& out) {
    const auto command = commands_.find(words.front());
    if (command == commands_.end()) {
        return Tessel::CommandProtocol::statusUnknownCommand;
    }
    try {
        return command->second(words, out);
    } catch (const std::exception& exception) {
        out << words.front() << ": " << exception.what() << '\n';
        return Tessel::CommandProtocol::statusSoftware;
    }
}

bool VirtualUnit::addHandler(std::uint32_t number, Handler handler) {
    return handlers_.emplace(number, std::move(handler)).second;
}

void VirtualUnit::monitor(std::uint32_t mailbox, GoneCallback callback) {
    monitors_[mailbox].push_back(std::move(callback));
}

void VirtualUnit::addCommand(const std::string& word, Command command) {
    commands_[word] = std::move(command);
}

void VirtualUnit::send(std::uint32_t receiver, const ozo_msg& message) {
    if (ozo_size(&message) <= header_.maxMessageSize) {
        listener_.onReply(receiver, message);
    }
}

void VirtualUnit::traceError(std::string text) {
    // The list files are at another place each time.
    if (listFolder_) {
        const auto& place = listFolder_->directory();
        for (auto at = text.find(place); at != std::string::npos; at = text.find(place)) {
            text.erase(at, place.size());
        }
    }
    listener_.onError(text);
}

std::string VirtualUnit::listFilePath() {
    if (!listFolder_) {
        listFolder_.emplace(header_.listFiles);
    }
    return listFolder_->listPath();
}

std::chrono::nanoseconds VirtualUnit::readSteadyClock() {
    return takeFirst(clocks_.steady, clocks_.event);
}

std::chrono::nanoseconds VirtualUnit::readWallClock() {
    return takeFirst(clocks_.wall, clocks_.event - header_.steady + header_.wall);
}

}  // namespace Replay
