#include "entries.h"

COMPATIBILITY(1)
VERSION(1)
INSTALL(0)
