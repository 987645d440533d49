// The whole contract between a module and its host: 70 operations, and 8 that a host need not have, 6 on arrays
// (host/mathematics.h) and 2 for turns (host/turns.h). None of them returns a failure that a module must test: what goes wrong in a host is the host's to report.
#pragma once

#include "codes.h"
#include "handles.h"
#include "mathematics.h"
#include "memory.h"
#include "modules.h"
#include "parameters.h"
#include "pbufs.h"
#include "pipes.h"
#include "system_info.h"
#include "tasks.h"
#include "triggers.h"
#include "turns.h"
#include "vectors.h"
