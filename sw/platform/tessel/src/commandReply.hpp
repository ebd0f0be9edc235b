// The answer to one request, as the one who answers writes it.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <streambuf>
#include <string>
#include <string_view>

namespace Tessel {

class OutputQueue;

// Whatever becomes of the request, the client gets an exit status: a reply that goes without one
// says that the command isn't served any more. Used by one thread at a time.
class CommandReply {
public:
    explicit CommandReply(std::shared_ptr<OutputQueue> queue);
    ~CommandReply();
    CommandReply(const CommandReply&) = delete;
    CommandReply& operator=(const CommandReply&) = delete;

    // False once the client is gone.
    bool write(std::string_view output);
    void finish(int status);
    // One line for standard error, then the status.
    void fail(const std::string& line, int status);

private:
    const std::shared_ptr<OutputQueue> queue_;
    bool finished_ = false;
};

// Lets a command write its output as a stream: a flush sends, and so does a full buffer. The stream
// goes bad when the client is gone.
class ReplyBuffer final : public std::streambuf {
public:
    explicit ReplyBuffer(CommandReply& reply);

protected:
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* text, std::streamsize size) override;
    int sync() override;

private:
    CommandReply& reply_;
    std::array<char, std::size_t{16} * 1024> buffer_{};
};

}  // namespace Tessel
