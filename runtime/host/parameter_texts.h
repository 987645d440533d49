// The host's own words for parameter kinds and error codes.
#pragma once

#include <string>

#include "host/codes.h"

namespace libzepl {

// "a pipe of int16", for exactly one kind.
std::string describeKind(zepl::ParamMask kind);

// "a pipe of int16, int32, float or double", for a union of kinds.
std::string describeMask(zepl::ParamMask mask);

// What param_error_msg says for the code.
std::string errorText(zepl::ParamError code);

}  // namespace libzepl
