#include "eventText.hpp"

#include <iomanip>
#include <map>
#include <sstream>

#include "qdxFilterCtrlI.pb.h"
#include "wireFormat.hpp"

namespace Replay {

namespace {

template <typename Body>
std::pair<const std::uint32_t, std::string> nameOf() {
    return {Body::MESSAGE_NUMBER, Body::descriptor()->name()};
}

const std::map<std::uint32_t, std::string>& names() {
    using namespace qdxfilterctrli;
    static const std::map<std::uint32_t, std::string> all = {
        {Qdx::V1::beConnectionReq, "BeConnectionReq"},
        {Qdx::V1::beConnectionCfm, "BeConnectionCfm"},
        {Qdx::V1::beConnectionRej, "BeConnectionRej"},
        {Qdx::V1::beProcessBatchesUreq, "BeProcessBatchesUreq"},
        {Qdx::V1::beProcessMetaDataUreq, "BeProcessMetaDataUreq"},
        nameOf<ConnectionEstablishReq>(),
        nameOf<ConnectionEstablishCfm>(),
        nameOf<ConnectionEstablishRej>(),
        nameOf<CapabilityExchangeReq>(),
        nameOf<CapabilityExchangeCfm>(),
        nameOf<PullFilterDataReq>(),
        nameOf<PullFilterDataCfm>(),
        nameOf<PullFilterDataRej>(),
        nameOf<FilterContentsRData>(),
        nameOf<FilterContentsRAck>(),
    };
    return all;
}

std::string joined(const std::vector<std::string>& words) {
    std::string line;
    for (const auto& word : words) {
        line += (&word == &words.front() ? "" : " ") + word;
    }
    return line;
}

}  // namespace

std::string messageName(std::uint32_t number) {
    const auto name = names().find(number);
    if (name != names().end()) {
        return name->second;
    }
    std::ostringstream text;
    text << "0x" << std::hex << std::setw(8) << std::setfill('0') << number;
    return text.str();
}

std::string eventText(const Recording::Entry& event) {
    if (const auto* message = std::get_if<Recording::Message>(&event.what)) {
        const auto size = sizeof(std::uint32_t) + message->payload.size();
        return messageName(message->number) + " of " + std::to_string(size) + " bytes from " +
               std::to_string(message->sender);
    }
    if (const auto* gone = std::get_if<Recording::MailboxGone>(&event.what)) {
        return std::to_string(gone->sender) + " is gone";
    }
    return joined(std::get<Recording::Command>(event.what).words);
}

std::string secondsText(std::chrono::nanoseconds time) {
    constexpr int decimals = 9;
    const auto nanoseconds = std::chrono::abs(time);
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(nanoseconds);
    std::ostringstream text;
    text << (time.count() < 0 ? "-" : "") << seconds.count() << '.' << std::setw(decimals)
         << std::setfill('0') << (nanoseconds - seconds).count();
    return text.str();
}

}  // namespace Replay
