#include "entries.h"

COMPATIBILITY(0)
VERSION(1)
INSTALL(1)
