#include "reportTemplate.hpp"

namespace Qdxview {

std::string_view reportTemplate() {
    return {};
}

}  // namespace Qdxview
