#include "recordText.hpp"

#include <array>
#include <cstdio>
#include <optional>
#include <sstream>

#include "carrierEvent.pb.h"
#include "registerInfo.pb.h"

namespace Qdx::Pull {

namespace {

using Qdx::Records::CarrierEvent;
using Qdx::Records::RegisterInfo;

constexpr const char* untold = "?";

std::string bytesText(std::string_view record) {
    constexpr std::size_t shownBytes = 8;
    auto text = std::to_string(record.size()) + " bytes";
    text += record.empty() ? "" : " ";
    for (const char byte : record.substr(0, shownBytes)) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x",
                      static_cast<unsigned>(static_cast<unsigned char>(byte)));
        text += digits.data();
    }
    return text;
}

std::string carrierOf(const CarrierEvent& event) {
    if (event.has_carrier_name()) {
        return event.carrier_name();
    }
    return "carrier " + (event.has_carrier_id() ? std::to_string(event.carrier_id()) : untold);
}

std::string textOf(const CarrierEvent& event) {
    constexpr double mega = 1e6;
    constexpr double milli = 1e-3;
    std::ostringstream text;
    text << carrierOf(event) << ' '
         << (event.has_kind() ? CarrierEvent::Kind_Name(event.kind()) : untold);
    if (event.has_frequency_hz()) {
        text << ", " << static_cast<double>(event.frequency_hz()) / mega << " MHz";
    }
    if (event.has_bandwidth_hz()) {
        text << ", " << static_cast<double>(event.bandwidth_hz()) / mega << " MHz wide";
    }
    if (event.has_bandwidth_bps()) {
        text << ", " << static_cast<double>(event.bandwidth_bps()) / mega << " Mbit/s";
    }
    if (event.has_power_mdbm()) {
        text << ", " << event.power_mdbm() * milli << " dBm";
    }
    if (event.has_reason()) {
        text << ": " << event.reason();
    }
    return text.str();
}

// "rx_errors 3"; a register without name goes by its address.
std::string textOf(const RegisterInfo::Register& entry, std::uint64_t baseAddress) {
    std::ostringstream text;
    if (entry.has_name()) {
        text << entry.name();
    } else {
        text << "0x" << std::hex << baseAddress + entry.offset() << std::dec;
    }
    text << ' ' << entry.value();
    return text.str();
}

std::string textOf(const RegisterInfo& info) {
    std::string text = info.has_block() ? info.block() : untold;
    text += ' ' + (info.has_cause() ? RegisterInfo::Cause_Name(info.cause()) : untold);
    const char* before = " by ";
    for (const auto& entry : info.registers()) {
        if (entry.trigger()) {
            text += before + textOf(entry, info.base_address());
            before = " ";
        }
    }
    return text + ", " + std::to_string(info.registers_size()) +
           (info.registers_size() == 1 ? " register" : " registers");
}

template <typename Message>
std::optional<std::string> parsedText(std::string_view record) {
    Message message;
    if (!message.ParseFromArray(record.data(), static_cast<int>(record.size()))) {
        return std::nullopt;
    }
    return textOf(message);
}

std::optional<std::string> knownText(std::string_view record, std::string_view messageType) {
    if (messageType.find("CarrierEvent") != std::string_view::npos) {
        return parsedText<CarrierEvent>(record);
    }
    if (messageType.find("RegisterInfo") != std::string_view::npos) {
        return parsedText<RegisterInfo>(record);
    }
    return std::nullopt;
}

}  // namespace

std::string recordText(std::string_view record, std::string_view messageType) {
    return knownText(record, messageType).value_or(bytesText(record));
}

}  // namespace Qdx::Pull
