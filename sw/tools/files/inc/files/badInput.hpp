// Input that can't be used, in one line for the user: which input, where in it, what is wrong.
#pragma once

#include <stdexcept>

namespace Qdx::Files {

class BadInput : public std::runtime_error {
public:
    using runtime_error::runtime_error;
};

// A file that can't be opened or read.
class NoInput : public std::runtime_error {
public:
    using runtime_error::runtime_error;
};

}  // namespace Qdx::Files
