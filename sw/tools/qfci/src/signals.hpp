// Being stopped in good order.
#pragma once

namespace Qfci {

// SIGINT and SIGTERM are kept for later from now on; the same one again ends the process.
void catchStopSignals();
// The signal that came; 0 for none.
int caughtSignal();

// Has SIGINT and SIGTERM make a descriptor readable, instead of what they do otherwise. Throws
// std::system_error.
int stopSignalDescriptor();

}  // namespace Qfci
