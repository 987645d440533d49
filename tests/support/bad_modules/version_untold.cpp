#include "entries.h"

COMPATIBILITY(1)
VERSION(0)
INSTALL(1)
