#include "sampleKey.hpp"

#include <stdexcept>

namespace Qdx::V1 {
namespace {

// What ends a word for the receiver, which reads the key text by stream extraction up to its NUL.
constexpr std::string_view wordEnds(" \t\n\v\f\r\0", 7);

void requireWord(std::string_view text) {
    if (text.find_first_of(wordEnds) != std::string_view::npos) {
        throw std::invalid_argument("a name or context of a sample holds white space or NUL: \"" +
                                    std::string(text) + "\"");
    }
}

std::string joined(std::string_view name, std::string_view context) {
    requireSampleKey(name, context);
    std::string text(name);
    if (!context.empty()) {
        text += ' ';
        text += context;
    }
    return text;
}

}  // namespace

SampleKey::SampleKey(std::string_view name, std::string_view context)
    : text(joined(name, context)) {}

void requireSampleKey(std::string_view name, std::string_view context) {
    if (name.empty()) {
        throw std::invalid_argument("a sample needs a name");
    }
    requireWord(name);
    requireWord(context);
}

}  // namespace Qdx::V1
