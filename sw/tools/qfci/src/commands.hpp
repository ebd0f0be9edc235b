// What qfci does. Each gives the exit status, and says on standard error why it isn't 0.
#pragma once

#include "control/client.hpp"
#include "options.hpp"

namespace Qfci {

// Throws what the pull library throws of catalogue and contents, of the output too.
int pull(const Options& options);
int connect(const Options& options);
int ping(const Options& options);

inline Qdx::Control::ClientOptions clientOptions(const Options& options) {
    Qdx::Control::ClientOptions result;
    result.answerTime = options.answerTime;
    return result;
}

}  // namespace Qfci
