#include <cstdlib>
#include <stdexcept>

#include "entries.h"

COMPATIBILITY(1)
VERSION(1)

extern "C" std::uint32_t ModuleInstall(zepl::InstallContext) { throw std::runtime_error("the table is empty"); }
