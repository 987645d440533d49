// The words that pass between a module and its host.
#pragma once

#include <cstdint>

namespace zepl {

// The one argument of a command's entry: the parameter list that the task was started with.
enum class ParamList : std::uint32_t {};

// A handle names a parameter of one task, not the channel itself: one name at two positions of a list gives two
// handles, each with a cursor or a queue of its own. 0 is none.
enum class PipeHandle : std::uint32_t {};
enum class PbufHandle : std::uint32_t {};
enum class TriggerHandle : std::uint32_t {};
enum class VectorHandle : std::uint32_t {};
enum class ModuleHandle : std::uint32_t {};

// What a host gives to ModuleInstall and gets back with every CommandInstall.
enum class InstallContext : std::uint32_t {};

// A parameter slot: a handle, or the address of a value, by the kind of the parameter. It is as wide as a pointer.
using Slot = std::uintptr_t;

template <class Handle>
constexpr Handle handleIn(Slot slot) {
    return static_cast<Handle>(static_cast<std::uint32_t>(slot));
}

// The address in the slot of a scalar, string or keyword. The cell of a scalar is eight bytes, eight-byte aligned,
// and an integer in it is sign-extended, so a 16-bit value reads right at 32 bits as well.
template <class Value>
Value* valueIn(Slot slot) {
    return reinterpret_cast<Value*>(slot);
}

}  // namespace zepl
