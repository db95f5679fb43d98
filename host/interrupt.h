// Ctrl-C, SIGTERM and SIGHUP as requests to stop: the handler only notes the
// signal, and the decoding loop, which asks between packets, stops the graph
// and finishes the file as a player would. A second signal ends the process
// at once, for the case where stopping hangs.
#pragma once

// Installs the handlers, and ignores SIGXFSZ so that a file size limit
// fails a write (which tavio reports) instead of killing the process.
void catchStopSignals();
// The signal that asked to stop, or 0.
int stopSignal();
// The exit code of a process ended by that signal, as shells report it.
inline int exitCodeForSignal(int signal)
{
    return 128 + signal;
}
