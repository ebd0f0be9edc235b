#include "printer.hpp"

#include "eventText.hpp"

namespace Replay {

namespace {

std::string hexOf(const ozo_msg& message) {
    static constexpr char digits[] = "0123456789abcdef";
    // The number in front is told by its name, and in the byte order of the host.
    const auto* bytes = reinterpret_cast<const unsigned char*>(&message + 1);
    const auto size = ozo_size(&message) - sizeof message;
    std::string text;
    text.reserve(size * 2);
    for (std::size_t i = 0; i < size; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 0x0F];
    }
    return text;
}

}  // namespace

void Printer::onEvent(std::size_t number, const Recording::Entry& entry) {
    event_ = number;
    if (std::holds_alternative<Recording::Command>(entry.what)) {
        out_ << event_ << ' ' << eventText(entry) << '\n';
    }
}

void Printer::onAnswer(const std::vector<std::string>& /*words*/, const std::string& output,
                       int status) {
    const bool endsLine = output.empty() || output.back() == '\n';
    out_ << output << (endsLine ? "" : "\n") << event_ << " status " << status << '\n';
}

void Printer::onReply(std::uint32_t receiver, const ozo_msg& message) {
    out_ << event_ << " to " << receiver << ": " << messageName(message.msgno) << ' '
         << hexOf(message) << '\n';
}

void Printer::onError(const std::string& text) {
    out_ << event_ << " error: " << text << '\n';
}

}  // namespace Replay
