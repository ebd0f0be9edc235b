// Input that cannot be shown.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace Qdx::Pull {

// One line for the user: which input, where in it, what is wrong.
class BadData : public std::runtime_error {
public:
    using runtime_error::runtime_error;
};

// A file that cannot be opened.
class NoInput : public std::runtime_error {
public:
    using runtime_error::runtime_error;
};

// The first bytes of a text that surprised us, in quotes, fit for a line of an error message.
std::string quoteStart(std::string_view text);

}  // namespace Qdx::Pull
