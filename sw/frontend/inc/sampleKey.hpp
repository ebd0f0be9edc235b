// What a sample is called on the wire: the name of its info object and its context.
#pragma once

#include <string>
#include <string_view>

namespace Qdx::V1 {

// A name and a context, checked once and kept as an item of a batch begins with them.
class SampleKey {
public:
    // An empty context is none. Throws std::invalid_argument if the name is empty, or name or
    // context hold white space or a NUL, which would cut the text in another place at the receiver;
    // std::bad_alloc.
    explicit SampleKey(std::string_view name, std::string_view context = {});

    // "name" or "name context", and the NUL behind it. Valid as long as the key.
    std::string_view bytes() const { return {text.c_str(), text.size() + 1}; }

private:
    std::string text;
};

// What the constructor checks.
void requireSampleKey(std::string_view name, std::string_view context);

}  // namespace Qdx::V1
