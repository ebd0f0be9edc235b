// How memory runs out.
#pragma once

namespace Qdx::Test {

enum class Outage {
    Once,     // one allocation fails, those behind it succeed
    Lasting,  // from one allocation on all fail
};

}  // namespace Qdx::Test
