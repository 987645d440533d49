// The names of the host's contract that every command uses without their namespace. Operations keep theirs
// (zepl::exit, zepl::malloc), so that none can be taken for a function of the C library or for a command.
#pragma once

#include "host/codes.h"
#include "host/handles.h"

namespace zcmds {

using namespace zepl::kinds;
using namespace zepl::masks;
using zepl::handleIn;
using zepl::ParamError;
using zepl::ParamList;
using zepl::ParamMask;
using zepl::PbufHandle;
using zepl::PipeHandle;
using zepl::Slot;
using zepl::SysInfo;
using zepl::TriggerHandle;
using zepl::valueIn;
using zepl::VectorHandle;

}  // namespace zcmds
