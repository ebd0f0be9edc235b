#include "commandReply.hpp"

#include <utility>

#include "outputQueue.hpp"
#include "tessel/commandProtocol.hpp"

namespace Tessel {

using namespace CommandProtocol;

namespace {

bool appendFrame(OutputQueue& queue, Kind kind, std::string_view payload) {
    const auto header = encodeHeader(kind, payload.size());
    return queue.append({header.data(), header.size()}, payload);
}

}  // namespace

CommandReply::CommandReply(std::shared_ptr<OutputQueue> queue) : queue_(std::move(queue)) {}

CommandReply::~CommandReply() {
    if (!finished_) {
        fail("the command is not served any more", statusUnavailable);
    }
}

bool CommandReply::write(std::string_view output) {
    while (!output.empty()) {
        const auto payload = output.substr(0, maxAnswer);
        if (!appendFrame(*queue_, Kind::Output, payload)) {
            return false;
        }
        output.remove_prefix(payload.size());
    }
    return true;
}

void CommandReply::finish(int status) {
    finished_ = true;
    appendFrame(*queue_, Kind::Exit, encodeStatus(status));
    queue_->end();
}

void CommandReply::fail(const std::string& line, int status) {
    appendFrame(*queue_, Kind::Error, (line + '\n').substr(0, maxAnswer));
    finish(status);
}

ReplyBuffer::ReplyBuffer(CommandReply& reply) : reply_(reply) {
    setp(buffer_.data(), buffer_.data() + buffer_.size());
}

ReplyBuffer::int_type ReplyBuffer::overflow(int_type character) {
    if (sync() != 0) {
        return traits_type::eof();
    }
    if (!traits_type::eq_int_type(character, traits_type::eof())) {
        sputc(traits_type::to_char_type(character));
    }
    return traits_type::not_eof(character);
}

std::streamsize ReplyBuffer::xsputn(const char* text, std::streamsize size) {
    if (size <= epptr() - pptr()) {
        return std::streambuf::xsputn(text, size);
    }
    // More than the buffer has room for goes past it, in one piece.
    if (sync() != 0 || !reply_.write({text, static_cast<std::size_t>(size)})) {
        return 0;
    }
    return size;
}

int ReplyBuffer::sync() {
    const std::string_view held(pbase(), static_cast<std::size_t>(pptr() - pbase()));
    setp(buffer_.data(), buffer_.data() + buffer_.size());
    return reply_.write(held) ? 0 : -1;
}

}  // namespace Tessel
