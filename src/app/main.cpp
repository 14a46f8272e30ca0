#include "Application.h"
#include "platform/IcmpSocket.h"
#include "platform/Memory.h"

#include <cstdio>

int main(int argc, char** argv)
{
    // First of all, before any library or plugin is loaded: the raw ICMP sockets, if the
    // program has the privilege for them, and then no privilege left for anything later.
    if (!openRawSocketsAndDropCapabilities()) {
        std::fputs("pathlark: could not give up the process's capabilities\n", stderr);
        return 1;
    }
    mapLargeBuffersApart();
    return runApplication(argc, argv);
}
