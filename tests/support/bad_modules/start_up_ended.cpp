#include "entries.h"
#include "host/tasks.h"

COMPATIBILITY(1)
VERSION(1)
INSTALL(1)

[[gnu::constructor]] static void startUp() {
    zepl::printf("no %s on this %s\r\n", "power", "host");
    zepl::terminate_msg();
}
