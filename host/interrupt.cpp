#include "host/interrupt.h"

#include <signal.h>

#include <initializer_list>

namespace {

volatile sig_atomic_t g_stopSignal = 0;

void noteStopSignal(int signal)
{
    g_stopSignal = signal;
}

}  // namespace

void catchStopSignals()
{
    struct sigaction action {};
    action.sa_handler = noteStopSignal;
    sigemptyset(&action.sa_mask);
    // Restart interrupted reads and writes; one-shot, so a second signal kills.
    action.sa_flags = SA_RESTART | SA_RESETHAND;
    for (int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaction(signal, &action, nullptr);
    ::signal(SIGXFSZ, SIG_IGN);
}

int stopSignal()
{
    return g_stopSignal;
}
