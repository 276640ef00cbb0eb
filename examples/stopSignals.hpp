#pragma once

namespace documents {

/// Makes SIGINT and SIGTERM ask the program to stop instead of ending it. Only the first signal does so: a
/// second one of the same kind ends the program at once, as usual.
///
/// On Windows Ctrl-C is SIGINT. The system itself never sends SIGTERM there.
void watchStopSignals();

/// Whether such a signal has come. Any thread may ask.
bool stopRequested();

}  // namespace documents
