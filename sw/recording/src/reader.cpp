#include "recording/reader.hpp"

#include <algorithm>
#include <limits>
#include <utility>

namespace Recording {

namespace {

constexpr int bitsPerByte = 7;
constexpr int bitsOfNumber = 64;

std::vector<std::string> wordsOf(const std::string& text) {
    std::vector<std::string> words(1);
    for (const char character : text) {
        if (character == '\0') {
            words.emplace_back();
        } else {
            words.back() += character;
        }
    }
    return words;
}

}  // namespace

Reader::Reader(std::istream& stream) : bytes_(*stream.rdbuf()) {
    try {
        readHeader();
    } catch (const CutOff&) {
        throw Fault(offset_, "the recording ends inside its header");
    }
}

void Reader::readHeader() {
    for (const char expected : magic) {
        if (readByte() != static_cast<unsigned char>(expected)) {
            throw Fault(offset_ - 1, "no recording that this program can read");
        }
    }
    header_.maxMessageSize = readWord();
    if (header_.maxMessageSize < leastMaxMessage || header_.maxMessageSize > maxMessage) {
        throw Fault(offset_, "a largest message of " + std::to_string(header_.maxMessageSize) +
                                 " bytes is none that a unit can have");
    }
    header_.steady = checkedTime(readNumber(), maxSteady);
    header_.wall = checkedTime(readNumber(), maxWall);
    header_.database = readText(maxText);
    const auto files = readNumber();
    if (files > maxListFiles) {
        throw Fault(offset_, "more than " + std::to_string(maxListFiles) + " list files");
    }
    for (std::uint64_t i = 0; i < files; ++i) {
        auto name = readText(maxCommand);
        header_.listFiles.push_back({std::move(name), readText(maxText)});
    }
    last_ = header_.steady;
}

std::optional<Entry> Reader::next() {
    const int kind = bytes_.sbumpc();
    if (kind == std::char_traits<char>::eof()) {
        return std::nullopt;
    }
    ++offset_;
    try {
        return readEntry(static_cast<unsigned char>(kind));
    } catch (const CutOff&) {
        cutOff_ = true;
        return std::nullopt;
    }
}

Entry Reader::readEntry(unsigned char kind) {
    const auto unknownAt = offset_ - 1;
    Entry entry{};
    // Sums of what can't be trusted: unsigned, so that they wrap.
    const auto sum = [](std::chrono::nanoseconds a, std::int64_t b) {
        return static_cast<std::uint64_t>(a.count()) + static_cast<std::uint64_t>(b);
    };
    entry.steady = checkedTime(sum(last_, readSigned()), maxSteady);
    switch (kind) {
        case 'M': {
            const auto sender = readWord();
            const auto number = readWord();
            entry.what = Message{sender, number, readText(maxMessage)};
            break;
        }
        case 'G':
            entry.what = MailboxGone{readWord()};
            break;
        case 'C':
            entry.what = Command{wordsOf(readText(maxCommand))};
            break;
        case 'S':
            entry.what = SteadyReading{};
            break;
        case 'W': {
            const auto expected = header_.wall + (entry.steady - header_.steady);
            entry.what = WallReading{checkedTime(sum(expected, readSigned()), maxWall)};
            break;
        }
        default:
            throw Fault(unknownAt, "no entry begins with byte " + std::to_string(kind));
    }
    last_ = entry.steady;
    return entry;
}

unsigned char Reader::readByte() {
    const int byte = bytes_.sbumpc();
    if (byte == std::char_traits<char>::eof()) {
        throw CutOff();
    }
    ++offset_;
    return static_cast<unsigned char>(byte);
}

std::uint64_t Reader::readNumber() {
    std::uint64_t number = 0;
    for (int shift = 0; shift < bitsOfNumber; shift += bitsPerByte) {
        const auto byte = readByte();
        number |= static_cast<std::uint64_t>(byte & 0x7F) << shift;
        if ((byte & 0x80) == 0) {
            return number;
        }
    }
    throw Fault(offset_, "a number of more than 64 bits");
}

std::uint32_t Reader::readWord() {
    const auto number = readNumber();
    if (number > std::numeric_limits<std::uint32_t>::max()) {
        throw Fault(offset_, "a number of more than 32 bits");
    }
    return static_cast<std::uint32_t>(number);
}

std::int64_t Reader::readSigned() {
    const auto number = readNumber();
    return static_cast<std::int64_t>((number >> 1) ^ (0 - (number & 1)));
}

std::string Reader::readText(std::size_t longest) {
    const auto lengthUntrusted = readNumber();
    if (lengthUntrusted > longest) {
        throw Fault(offset_, "a text of " + std::to_string(lengthUntrusted) + " bytes where " +
                                 std::to_string(longest) + " are the most");
    }
    // What is there decides how much memory a text gets, not what it says of itself.
    constexpr std::size_t step = 65536;
    std::string text;
    while (text.size() < lengthUntrusted) {
        const auto begin = text.size();
        text.resize(std::min<std::size_t>(lengthUntrusted, begin + step));
        const auto wanted = static_cast<std::streamsize>(text.size() - begin);
        const auto got = bytes_.sgetn(&text[begin], wanted);
        offset_ += static_cast<std::size_t>(got);
        if (got < wanted) {
            throw CutOff();
        }
    }
    return text;
}

std::chrono::nanoseconds Reader::checkedTime(std::uint64_t nanoseconds, std::int64_t latest) const {
    if (nanoseconds > static_cast<std::uint64_t>(latest)) {
        throw Fault(offset_, "a time that no clock shows");
    }
    return std::chrono::nanoseconds(nanoseconds);
}

}  // namespace Recording
