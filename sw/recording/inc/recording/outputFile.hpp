// The file that a recording goes to.
#pragma once

#include <chrono>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Recording {

class CannotWrite : public std::runtime_error {
public:
    using runtime_error::runtime_error;
};

// A regular file, made or emptied, or a FIFO. Each write waits for a slow reader no longer than the
// patience, and fails then.
class OutputFile {
public:
    static constexpr auto patience = std::chrono::milliseconds(100);

    // Throws CannotWrite, with a line that names the path. With a FIFO it waits for the reader.
    explicit OutputFile(const std::string& path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Hands all bytes to the system, where they outlive the process. Throws CannotWrite.
    void write(std::string_view bytes);

private:
    void awaitRoom(std::chrono::steady_clock::time_point deadline) const;

    const std::string path_;
    int fd_;
};

}  // namespace Recording
