// The commands of the module for tests.
#pragma once

#include <cstdint>

#include "host/handles.h"

namespace probe {

using zepl::ParamList;

// SCRIPT ("steps", ...) performs the steps of its text; script.cpp tells which there are.
std::uint32_t script(ParamList list);

// PAIR (pipe, number, [word, [text]]): four positions with a mask each.
std::uint32_t pair(ParamList list);
// GROUPED (text, [pipe, number]...): a group of masks over and over, at most seven parameters.
std::uint32_t grouped(ParamList list);
// MANY (number...): at most 1027 parameters by the maximum, masks for three.
std::uint32_t many(ParamList list);
// SIMILAR (pipe, pipe): the shared check of element types.
std::uint32_t similar(ParamList list);

// Divides by zero with the processor's own instruction.
std::uint32_t divide(ParamList list);
// Calls itself until its stack is used up.
std::uint32_t overflow(ParamList list);
// Reads from a pipe handle that it was never given.
std::uint32_t unknownHandle(ParamList list);

}  // namespace probe
