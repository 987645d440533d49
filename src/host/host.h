// The whole contract between a module and its host: 70 operations, and 6 on arrays (host/mathematics.h) that a host need not
// have. None of them returns a failure that a module must test: what goes wrong in a host is the host's to report.
#pragma once

#include "host/codes.h"
#include "host/handles.h"
#include "host/mathematics.h"
#include "host/memory.h"
#include "host/modules.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "host/system_info.h"
#include "host/tasks.h"
#include "host/triggers.h"
#include "host/vectors.h"
