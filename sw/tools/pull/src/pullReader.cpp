#include "pull/pullReader.hpp"

#include <algorithm>
#include <optional>

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

// Two bytes of input make a collection, which takes a hundred times as much in memory: this bounds
// what a hostile pull costs.
constexpr int mostCollections = 200'000;

// A place in the input, for messages.
struct Place {
    const std::string& source;
    std::size_t offset;
};

[[noreturn]] void fail(const Place& place, const std::string& what) {
    throw BadData(place.source + ": byte " + std::to_string(place.offset) + ": " + what);
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

// The encoded text without white space and padding; anything else outside the alphabet is a fault.
std::string digitsOf(const Encoded& encoded, const std::string& source) {
    std::string digits;
    std::size_t padding = 0;
    for (std::size_t index = 0; index < encoded.text.size(); ++index) {
        const char character = encoded.text[index];
        if (whiteSpace.find(character) != std::string_view::npos) {
            continue;
        }
        if (character == '=') {
            ++padding;
        } else if (padding == 0 && alphabet.find(character) != std::string_view::npos) {
            digits += character;
        } else {
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

int countCollections(const Qdx::InfoObjectCollections& message) {
    return message.measurementcollections_size() + message.countercollections_size() +
           message.recordcollections_size();
}

Qdx::InfoObjectCollections parse(const std::vector<unsigned char>& bytes, const Place& place) {
    Qdx::InfoObjectCollections message;
    if (!message.ParsePartialFromArray(bytes.data(), static_cast<int>(bytes.size()))) {
        fail(place,
             "the " + std::to_string(bytes.size()) + " bytes encoded here are no collections");
    }
    if (!message.has_version()) {
        fail(place, "the message encoded here has no version, so it holds no collections");
    }
    if (message.version() != knownVersion) {
        fail(place, "version " + std::to_string(message.version()) +
                        " of the format; this program reads version " +
                        std::to_string(knownVersion));
    }
    if (countCollections(message) > mostCollections) {
        fail(place, "more than " + std::to_string(mostCollections) + " collections");
    }
    return message;
}

[[noreturn]] void failForLackOfMarkers(std::string_view text, const std::string& source) {
    if (text.find_first_not_of(whiteSpace) == std::string_view::npos) {
        throw BadData(source + ": empty; give it the output of a pull");
    }
    throw BadData(source + ": no <QdxOutput> in it; it starts with " +
                  quoteStart(text.substr(0, text.find('\n'))));
}

}  // namespace

std::vector<Qdx::InfoObjectCollections> readPulls(std::string_view text,
                                                  const std::string& source) {
    if (text.size() > longestPullText) {
        throw BadData(source + ": longer than " + std::to_string(longestPullText) + " bytes");
    }
    std::vector<Qdx::InfoObjectCollections> pulls;
    std::size_t position = 0;
    while (const auto encoded = findEncoded(text, position, source)) {
        const auto bytes = Tessel::Util::Base64::decode(digitsOf(*encoded, source));
        pulls.push_back(parse(bytes, {source, encoded->offset}));
        position = encoded->offset + encoded->text.size() + closing.size();
    }
    if (pulls.empty()) {
        failForLackOfMarkers(text, source);
    }
    return pulls;
}

}  // namespace Qdx::Pull
