#pragma once

#include <string>

namespace DchFilter {

// What a call throws, as text; empty if it doesn't throw that.
template <typename Exception, typename Call>
std::string errorText(Call call) {
    try {
        call();
    } catch (const Exception& exception) {
        return exception.what();
    }
    return {};
}

}  // namespace DchFilter
