// Context strings: any text either decodes or is refused; what decodes keeps its values when it is
// written anew, and matches a selector of its own values alone.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "infoObjectContextImpl.hpp"

namespace {

using Qdx::InfoObjectContext;
using Qdx::V1::InfoObjectContextImpl;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

// Calls visit with the key and value of each field that is set.
template <typename Visit>
void forEachField(const InfoObjectContext& context, Visit visit) {
    const auto* schema = InfoObjectContext::descriptor();
    const auto* reflection = InfoObjectContext::GetReflection();
    for (int index = 0; index < schema->field_count(); ++index) {
        const auto* field = schema->field(index);
        if (reflection->HasField(context, field)) {
            visit(field->json_name(), reflection->GetInt32(context, field));
        }
    }
}

std::string toText(const InfoObjectContext& context) {
    std::string text;
    forEachField(context, [&](const std::string& key, int value) {
        text += (text.empty() ? "" : ",") + key + "=" + std::to_string(value);
    });
    return text;
}

void checkSelectors(const InfoObjectContext& context, const std::string& text) {
    InfoObjectContextImpl::Selector own;
    forEachField(context, [&](const std::string& key, int value) {
        own.emplace(key.c_str(), value);
        InfoObjectContextImpl::Selector other;
        other.emplace(key.c_str(), value == 0 ? 1 : 0);
        require(!InfoObjectContextImpl::matches(other, text));
    });
    require(!own.empty() && InfoObjectContextImpl::matches(own, text));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    require(InfoObjectContextImpl::matches({}, text));
    const InfoObjectContext* context = InfoObjectContextImpl::cache(text);
    if (context == nullptr) {
        return 0;
    }
    require(InfoObjectContextImpl::cache(text) == context);
    const InfoObjectContext* again = InfoObjectContextImpl::cache(toText(*context));
    require(again != nullptr && again->SerializeAsString() == context->SerializeAsString());
    checkSelectors(*context, text);
    return 0;
}
