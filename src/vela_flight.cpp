// Process entry: starts the service, then sleeps.
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "start_up.h"

int main()
{
    // Whoever reads our output may go away: lines are lost then, the flight service is not.
    signal(SIGPIPE, SIG_IGN);
    // Lines as they happen, also into a supervisor's pipe.
    setvbuf(stdout, nullptr, _IOLBF, 0);

    vela_flight_start_up();
    for (;;)
        sleep(1);
}
