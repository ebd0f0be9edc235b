// Capture statements, as a user types them or a database holds them.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "captureStatement.hpp"

namespace {

using Qdx::Backend::CaptureStatement;

void require(bool condition, const char* invariant) {
    if (condition)
        return;
    std::fprintf(stderr, "broken: %s\n", invariant);
    std::abort();
}

void checkParsed(const CaptureStatement& statement, const std::string& rest) {
    require(rest.empty(), "a parsed statement leaves nothing over");
    const std::vector<CaptureStatement> copies{statement};
    const auto& copy = copies.front();
    require(!(copy < statement) && !(statement < copy), "a copy is equivalent");
    require(copy.getTags() == statement.getTags(), "a copy has the same tags");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::string rest = text;
    try {
        if (const auto statement = CaptureStatement::parse(rest))
            checkParsed(*statement, rest);
    } catch (const std::out_of_range&) {
        // The number of a list clause doesn't fit 32 bits.
        require(rest.starts_with(" list "), "only the number of a list is out of range");
    }
    require(text.ends_with(rest), "what is left over is the end of the text");
    require(size <= CaptureStatement::maxTextSize || rest == text, "a text too long is untouched");
    return 0;
}
