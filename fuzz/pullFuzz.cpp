// Pulls in both forms: whatever the bytes, they are refused or written in every format, and no
// format loses a value.
#include <google/protobuf/stubs/logging.h>
#include <google/protobuf/util/json_util.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <sstream>
#include <string>

#include "pieces.hpp"
#include "pull/badData.hpp"
#include "pull/pullWriter.hpp"
#include "tessel/util.hpp"

namespace {

using namespace Qdx::Pull;

// The first byte of an input.
constexpr std::uint8_t asIs = 0;  // else in between markers

// Identities that a byte can tell, with everything that a resolution and a type can be.
const Catalogue& catalogue() {
    static const Catalogue objects({
        {0, {"a", "dBm", "0.01", "", {"TAG"}}},
        {1, {"b,\"", "\n", "nan", "CarrierEvent", {"TAG", "OTHER"}}},
        {2, {"c", "", "1e308", "RegisterInfo", {}}},
        {3, {"\x1b", "\xFF", "1e-320", "x", {}}},
    });
    return objects;
}

std::optional<std::vector<PulledMessage>> read(const std::string& input, InputForm form) {
    try {
        return readPulls(input, "input", form);
    } catch (const BadData&) {
        return std::nullopt;
    }
}

std::string written(const PulledMessage& pull, Format format) {
    std::ostringstream out;
    PullWriter(out, format, catalogue()).write(pull);
    Qdx::Fuzz::require(out.good());
    return out.str();
}

template <typename Collections>
std::size_t valuesIn(const Collections& collections) {
    std::size_t count = 0;
    for (const auto& collection : collections) {
        count += static_cast<std::size_t>(collection.values_size());
    }
    return count;
}

std::size_t valuesOf(const Qdx::InfoObjectCollections& message) {
    return valuesIn(message.measurementcollections()) + valuesIn(message.countercollections()) +
           valuesIn(message.recordcollections());
}

std::size_t linesOf(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

// Lines that end outside of quotes.
std::size_t rowsOf(const std::string& csv) {
    std::size_t rows = 0;
    bool quoted = false;
    for (const char character : csv) {
        quoted = quoted != (character == '"');
        rows += !quoted && character == '\n' ? 1 : 0;
    }
    Qdx::Fuzz::require(!quoted);
    return rows;
}

bool steersTerminals(const std::string& text) {
    return std::any_of(text.begin(), text.end(), [](char byte) {
        return byte != '\n' && (static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F);
    });
}

void check(const PulledMessage& pull) {
    const auto values = valuesOf(pull.collections);
    Qdx::Fuzz::require(rowsOf(written(pull, Format::Csv)) == values + 1);
    const auto text = written(pull, Format::Text);
    Qdx::Fuzz::require(linesOf(text) == values && !steersTerminals(text));
    Qdx::Fuzz::require(!steersTerminals(written(pull, Format::Table)));
    const auto json = written(pull, Format::Json);
    Qdx::InfoObjectCollections readBack;
    Qdx::Fuzz::require(linesOf(json) == 1 && json.back() == '\n');
    Qdx::Fuzz::require(google::protobuf::util::JsonStringToMessage(json, &readBack).ok());
    Qdx::Fuzz::require(valuesOf(readBack) == values);
    const auto again = read(written(pull, Format::Raw), InputForm::Raw);
    Qdx::Fuzz::require(again && again->size() == 1 && again->front().bytes == pull.bytes);
}

std::string asText(const std::uint8_t* data, std::size_t size) {
    return "<QdxOutput>" + Tessel::Util::Base64::encode({data, data + size}) + "</QdxOutput>";
}

void checkAll(const std::optional<std::vector<PulledMessage>>& pulls) {
    if (pulls) {
        std::for_each(pulls->begin(), pulls->end(), check);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    google::protobuf::SetLogHandler(nullptr);
    if (size == 0) {
        return 0;
    }
    if (data[0] == asIs) {
        checkAll(read(std::string(data + 1, data + size), InputForm::Any));
        return 0;
    }
    const std::string bytes(data + 1, data + size);
    const auto raw = read(bytes, InputForm::Raw);
    const auto text = read(asText(data + 1, size - 1), InputForm::Any);
    // White space alone is an empty input, but no message of its text.
    Qdx::Fuzz::require(raw.has_value() == text.has_value());
    checkAll(raw);
    return 0;
}
