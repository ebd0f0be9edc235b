#include "control/result.hpp"

namespace Qdx::Control {

std::string_view nameOf(Outcome outcome) {
    switch (outcome) {
        case Outcome::Done:
            return "Done";
        case Outcome::Misuse:
            return "Misuse";
        case Outcome::SystemFailure:
            return "SystemFailure";
        case Outcome::NoCollector:
            return "NoCollector";
        case Outcome::CollectorGone:
            return "CollectorGone";
        case Outcome::TimedOut:
            return "TimedOut";
        case Outcome::ProtocolError:
            return "ProtocolError";
        case Outcome::NoCommonRevision:
            return "NoCommonRevision";
        case Outcome::TooManyConnections:
            return "TooManyConnections";
        case Outcome::ConnectionRejected:
            return "ConnectionRejected";
        case Outcome::CapabilitiesRejected:
            return "CapabilitiesRejected";
        case Outcome::NoSuchFilter:
            return "NoSuchFilter";
        case Outcome::NoDataYet:
            return "NoDataYet";
        case Outcome::MetaDataNotSet:
            return "MetaDataNotSet";
        case Outcome::OutOfMemory:
            return "OutOfMemory";
        case Outcome::FilterDisabled:
            return "FilterDisabled";
        case Outcome::PullRejected:
            return "PullRejected";
        case Outcome::Stopped:
            return "Stopped";
        case Outcome::TooLarge:
            return "TooLarge";
    }
    return "unknown";
}

}  // namespace Qdx::Control
