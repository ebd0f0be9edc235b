// A stream that knows how often it was flushed.
#pragma once

#include <ostream>
#include <sstream>
#include <string>

namespace Qdx::Test {

//     FlushCounter counter;
//     std::ostream out(&counter);
//     out << "a" << std::endl;  // counter.flushes() is 1, counter.str() "a\n"
class FlushCounter : public std::stringbuf {
public:
    int flushes() const { return count; }

private:
    int sync() override {
        ++count;
        return 0;
    }

    int count = 0;
};

}  // namespace Qdx::Test
