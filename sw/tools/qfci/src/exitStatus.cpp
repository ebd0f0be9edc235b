#include "exitStatus.hpp"

#include <sysexits.h>

#include "commandLine/fault.hpp"

namespace Qfci {

using Qdx::Control::Outcome;

namespace {

// What whoever typed the command can do.
const char* remedyFor(Outcome outcome) {
    switch (outcome) {
        case Outcome::NoCollector:
            return "; start qdxd, or set UNIT_ROOT to the root of its unit";
        case Outcome::SystemFailure:
            return "; is /run/ozo there (below UNIT_ROOT, if that is set), and are you in its "
                   "group?";
        default:
            return "";
    }
}

}  // namespace

int exitStatusOf(Outcome outcome) {
    switch (outcome) {
        case Outcome::Done:
            return EX_OK;
        case Outcome::NoSuchFilter:
        case Outcome::FilterDisabled:
            return EX_NOINPUT;
        case Outcome::NoCollector:
        case Outcome::CollectorGone:
            return EX_UNAVAILABLE;
        case Outcome::SystemFailure:
            return EX_OSERR;
        case Outcome::Stopped:
            return EX_IOERR;
        // Things that time may mend.
        case Outcome::TimedOut:
        case Outcome::TooManyConnections:
        case Outcome::NoDataYet:
        case Outcome::MetaDataNotSet:
        case Outcome::OutOfMemory:
            return EX_TEMPFAIL;
        case Outcome::ProtocolError:
        case Outcome::NoCommonRevision:
        case Outcome::ConnectionRejected:
        case Outcome::CapabilitiesRejected:
        case Outcome::PullRejected:
            return EX_PROTOCOL;
        case Outcome::TooLarge:
            return EX_DATAERR;
        case Outcome::Misuse:
            return EX_USAGE;
    }
    return EX_SOFTWARE;
}

int report(const std::string& text, int status) {
    return Qdx::CommandLine::report("qfci", text, status);
}

int report(const Qdx::Control::Result& result) {
    return result.isDone()
               ? EX_OK
               : report(result.text + remedyFor(result.outcome), exitStatusOf(result.outcome));
}

}  // namespace Qfci
