// The observer of the process, for those who tell it.
#pragma once

#include "tessel/observer.hpp"

namespace Tessel {

extern Host::V1::ObserverIf* theObserver;

// Calls tell(observer) if there is one.
template <typename Tell>
void observe(Tell tell) {
    if (theObserver != nullptr) {
        tell(*theObserver);
    }
}

}  // namespace Tessel
