#include "pull/pullReader.hpp"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "pull/badData.hpp"
#include "tessel/util.hpp"

namespace Qdx::Pull {

namespace {

constexpr std::string_view opening = "<QdxOutput>";
constexpr std::string_view closing = "</QdxOutput>";
constexpr std::string_view whiteSpace = " \t\r\n";
constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint32_t knownVersion = 1;

// The tag of the version, the first field: a backspace, if it were text.
constexpr char firstByteOfMessage = '\x08';

// All messages of an input are held until its end is read. Two bytes of input make a collection,
// which takes a hundred times as much in memory; 27 characters make an empty message, which takes
// ten times as much.
constexpr int mostCollections = 200'000;
constexpr std::size_t mostMessages = 200'000;

// A place in the input, for error messages: an offset in a text, or all of it.
struct Place {
    const std::string& source;
    std::optional<std::size_t> offset = std::nullopt;
};

[[noreturn]] void fail(const Place& place, const std::string& what) {
    const auto offset = place.offset ? "byte " + std::to_string(*place.offset) + ": " : "";
    throw BadData(place.source + ": " + offset + what);
}

[[noreturn]] void failForLength(const std::string& source, std::size_t limit) {
    throw BadData(source + ": longer than " + std::to_string(limit) + " bytes");
}

// Where the encoded text starts and what it is.
struct Encoded {
    std::size_t offset;
    std::string_view text;
};

// The text between the next pair of markers at or after the position.
std::optional<Encoded> findEncoded(std::string_view text, std::size_t from,
                                   const std::string& source) {
    const auto begin = text.find(opening, from);
    if (begin == std::string_view::npos) {
        return std::nullopt;
    }
    const auto offset = begin + opening.size();
    const auto end = text.find(closing, offset);
    if (end == std::string_view::npos) {
        fail({source, begin}, "<QdxOutput> without </QdxOutput>; the pull's text is cut off");
    }
    return Encoded{offset, text.substr(offset, end - offset)};
}

constexpr std::array<bool, 256> makeDigits() {
    std::array<bool, 256> digits{};
    for (const char digit : alphabet) {
        digits[static_cast<unsigned char>(digit)] = true;
    }
    return digits;
}

bool isDigit(char character) {
    static constexpr auto digits = makeDigits();
    return digits[static_cast<unsigned char>(character)];
}

// The encoded text without white space and padding; anything else outside the alphabet is a fault.
std::string digitsOf(const Encoded& encoded, const std::string& source) {
    std::string digits;
    digits.reserve(encoded.text.size());
    std::size_t padding = 0;
    for (std::size_t index = 0; index < encoded.text.size(); ++index) {
        const char character = encoded.text[index];
        if (padding == 0 && isDigit(character)) {
            digits += character;
        } else if (character == '=') {
            ++padding;
        } else if (whiteSpace.find(character) == std::string_view::npos) {
            fail({source, encoded.offset + index},
                 "not base64 here: " + quoteStart(encoded.text.substr(index)));
        }
    }
    if (padding > 2 || (digits.size() + padding) % 4 != 0) {
        fail({source, encoded.offset},
             "base64 of " + std::to_string(digits.size() + padding) +
                 " characters with wrong padding; the pull's text is damaged");
    }
    return digits;
}

bool isCollection(std::uint32_t tag) {
    switch (google::protobuf::internal::WireFormatLite::GetTagFieldNumber(tag)) {
        case Qdx::InfoObjectCollections::kMeasurementCollectionsFieldNumber:
        case Qdx::InfoObjectCollections::kCounterCollectionsFieldNumber:
        case Qdx::InfoObjectCollections::kRecordCollectionsFieldNumber:
            return true;
        default:
            return false;
    }
}

// Counted before they take memory, up to the first damage, behind which nothing is parsed.
int countCollections(const std::string& bytes) {
    google::protobuf::io::CodedInputStream input(
        reinterpret_cast<const std::uint8_t*>(bytes.data()), static_cast<int>(bytes.size()));
    int count = 0;
    for (auto tag = input.ReadTag(); tag != 0; tag = input.ReadTag()) {
        if (!google::protobuf::internal::WireFormatLite::SkipField(&input, tag)) {
            break;
        }
        count += isCollection(tag) ? 1 : 0;
    }
    return count;
}

[[noreturn]] void failForNumber(const Place& place, std::size_t limit, const char* ofWhat) {
    fail(place, "more than " + std::to_string(limit) + ' ' + ofWhat);
}

// Takes the message's collections off what the input may still have.
PulledMessage parse(std::string bytes, const Place& place, int& collectionsLeft) {
    if (bytes.size() > longestMessage) {
        failForLength(place.source, longestMessage);
    }
    collectionsLeft -= countCollections(bytes);
    if (collectionsLeft < 0) {
        failForNumber(place, mostCollections, "collections");
    }
    PulledMessage message;
    if (!message.collections.ParsePartialFromString(bytes)) {
        fail(place, std::to_string(bytes.size()) + " bytes that are no collections");
    }
    if (!message.collections.has_version()) {
        fail(place, "a message without version, so it holds no collections");
    }
    if (message.collections.version() != knownVersion) {
        fail(place, "version " + std::to_string(message.collections.version()) +
                        " of the format; this program reads version " +
                        std::to_string(knownVersion));
    }
    message.bytes = std::move(bytes);
    return message;
}

[[noreturn]] void failForLackOfMessages(std::string_view text, const std::string& source) {
    throw BadData(source + ": no <QdxOutput> in it, and no raw message; it starts with " +
                  quoteStart(text.substr(0, text.find('\n'))));
}

std::string decode(const Encoded& encoded, const std::string& source) {
    if (encoded.text.size() / 4 * 3 > longestMessage) {
        failForLength(source, longestMessage);
    }
    const auto bytes = Tessel::Util::Base64::decode(digitsOf(encoded, source));
    return {bytes.begin(), bytes.end()};
}

std::vector<PulledMessage> readText(std::string_view text, const std::string& source) {
    std::vector<PulledMessage> pulls;
    std::size_t position = 0;
    int collectionsLeft = mostCollections;
    while (const auto encoded = findEncoded(text, position, source)) {
        const Place place{source, encoded->offset};
        if (pulls.size() == mostMessages) {
            failForNumber(place, mostMessages, "messages");
        }
        pulls.push_back(parse(decode(*encoded, source), place, collectionsLeft));
        position = encoded->offset + encoded->text.size() + closing.size();
    }
    if (pulls.empty()) {
        failForLackOfMessages(text, source);
    }
    return pulls;
}

}  // namespace

PulledMessage readMessage(std::string bytes, const std::string& source) {
    int collectionsLeft = mostCollections;
    return parse(std::move(bytes), {source}, collectionsLeft);
}

std::vector<PulledMessage> readPulls(std::string input, const std::string& source, InputForm form) {
    if (input.size() > longestInput) {
        failForLength(source, longestInput);
    }
    if (input.find_first_not_of(whiteSpace) == std::string::npos) {
        throw BadData(source + ": empty; give it the output of a pull");
    }
    if (form == InputForm::Any && input.front() != firstByteOfMessage) {
        return readText(input, source);
    }
    std::vector<PulledMessage> pulls;
    pulls.push_back(readMessage(std::move(input), source));
    return pulls;
}

}  // namespace Qdx::Pull
