#include <stdexcept>

#include "entries.h"

COMPATIBILITY(1)
VERSION(1)
INSTALL(1)

[[gnu::constructor]] static void startUp() { throw std::runtime_error("the table is empty"); }
