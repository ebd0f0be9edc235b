// Reading recordings.
#pragma once

#include <cstddef>
#include <istream>
#include <optional>
#include <stdexcept>
#include <string>

#include "recording/entry.hpp"

namespace Recording {

// What is no recording, with the offset of the byte where that shows.
class Fault : public std::runtime_error {
public:
    Fault(std::size_t offset, const std::string& what)
        : runtime_error("offset " + std::to_string(offset) + ": " + what) {}
};

// Reads a recording as it comes, entry by entry; nothing of it is trusted.
//
//     Reader reader(file);
//     while (const auto entry = reader.next()) { ... }
//     if (reader.isCutOff()) { ... }
class Reader {
public:
    // Reads the header. Throws Fault. The stream must outlive the reader.
    explicit Reader(std::istream& stream);

    const Header& header() const { return header_; }

    // Empty at the end. Throws Fault for what is no entry.
    std::optional<Entry> next();

    // Whether the recording ended inside an entry, which was dropped: whoever wrote it was killed.
    bool isCutOff() const { return cutOff_; }
    // Bytes read so far.
    std::size_t offset() const { return offset_; }

private:
    struct CutOff {};

    void readHeader();
    Entry readEntry(unsigned char kind);
    unsigned char readByte();
    std::uint64_t readNumber();
    std::uint32_t readWord();
    std::int64_t readSigned();
    std::string readText(std::size_t longest);
    std::chrono::nanoseconds checkedTime(std::uint64_t nanoseconds, std::int64_t latest) const;

    std::streambuf& bytes_;
    std::size_t offset_ = 0;
    bool cutOff_ = false;
    Header header_;
    std::chrono::nanoseconds last_{};
};

}  // namespace Recording
