#pragma once

// SIGINT, SIGTERM and SIGPIPE end a run cleanly: the handler only notes the
// signal; the batch stops taking images, the count in progress stops at its
// next step, and the outputs of the finished images stay, with the batch's
// aggregate files marked incomplete. A second SIGINT or SIGTERM ends the
// process at once, after removing the temporary files it has open.

namespace interruption {

/// Installs the handlers (once per process).
void Install();

/// True once one of the signals arrived.
bool Requested();

/// The signal that arrived, or 0.
int Signal();

/// The exit status a shell expects after the signal: 128 + its number.
int ExitStatus();

/// The signal's name ("SIGINT"), for messages.
const char* SignalName();

} // namespace interruption
