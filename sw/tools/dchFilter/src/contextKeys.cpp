#include "contextKeys.hpp"

#include "InfoObjectCollections.pb.h"
#include "infoObjectContextImpl.hpp"

namespace DchFilter {

namespace {

std::vector<std::string> readKeys() {
    std::vector<std::string> keys;
    const auto* const message = Qdx::InfoObjectContext::descriptor();
    for (int i = 0; i < message->field_count(); ++i) {
        const std::string key(message->field(i)->json_name());
        if (Qdx::V1::InfoObjectContextImpl::toSym(key)) {
            keys.push_back(key);
        }
    }
    return keys;
}

}  // namespace

const std::vector<std::string>& contextKeys() {
    static const auto keys = readKeys();
    return keys;
}

}  // namespace DchFilter
