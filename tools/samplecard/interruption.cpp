#include "interruption.h"

#include <csignal>
#include <initializer_list>

namespace {

volatile std::sig_atomic_t asked = 0;

} // namespace

namespace interruption {

void watch()
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        std::signal(signal, [](int) { asked = 1; });
}

bool isAsked() { return asked != 0; }

} // namespace interruption
