#include "observation.hpp"

namespace Tessel {

Host::V1::ObserverIf* theObserver = nullptr;

void Host::V1::setObserver(ObserverIf* observer) {
    theObserver = observer;
}

}  // namespace Tessel
