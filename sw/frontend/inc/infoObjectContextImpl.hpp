// Context strings: which place on the radio a value belongs to.
#pragma once

#include <map>
#include <memory_resource>
#include <optional>
#include <string>

#include "InfoObjectCollections.pb.h"

namespace Qdx::V1 {

// A context string is one or more key=value pairs joined by commas: "rfBranch=3,carrierId=7". The
// keys are the fields of InfoObjectContext in lowerCamelCase, the values signed 32-bit decimals
// whose only sign is "-". Blanks, an empty pair and a key that stands twice can't be decoded; the
// empty string, which says that a value has no context, can't be either.
//
// Any thread may call.
class InfoObjectContextImpl {
public:
    // What a selector of a capture statement names: keys and the values wanted for them; a key may
    // stand several times.
    using Selector = std::pmr::multimap<std::pmr::string, int>;

    // The field number of the key in InfoObjectContext; empty for an unknown key.
    static std::optional<int> toSym(const std::string& key);

    // True when, for every key of the selector, the context has that key with one of the values
    // named for it. An empty selector matches everything; a context that can't be decoded matches
    // only the empty selector. Allocates nothing.
    static bool matches(const Selector& selector, const std::string& context);

    // The decoded context, valid until the process ends; null if the text can't be decoded. Every
    // distinct text that can be decoded is kept, so that it costs one look-up from then on.
    static const InfoObjectContext* cache(const std::string& context);
};

}  // namespace Qdx::V1
