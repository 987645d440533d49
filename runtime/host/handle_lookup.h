// How host operations come from a handle to what it stands for.
#pragma once

#include "runtime/engine/flow.h"

namespace libzepl {

// The engine of the session that runs here. A module calls these operations only from its tasks.
inline Engine& running() { return *engine; }

// Out of line, so that what every operation does stays short.
[[noreturn, gnu::cold, gnu::noinline]] void endForHandle(Engine& e, std::uint32_t handle, const char* what);
[[noreturn, gnu::cold, gnu::noinline]] void endForMode(Engine& e, const std::string& channel, PortMode mode);

template <class Item>
[[gnu::always_inline]] inline Item& itemOf(Engine& e, const HandleTable<Item>& items, std::uint32_t handle,
                                           const char* what) {
    if (!items.has(handle)) [[unlikely]]
        endForHandle(e, handle, what);
    return items[handle];
}

inline PipePort& pipePort(Engine& e, zepl::PipeHandle handle) {
    return itemOf(e, e.graph.pipeHandles, static_cast<std::uint32_t>(handle), "pipe");
}
inline TriggerPort& triggerPort(Engine& e, zepl::TriggerHandle handle) {
    return itemOf(e, e.graph.triggerHandles, static_cast<std::uint32_t>(handle), "trigger");
}
inline Pbuf& pbufOf(Engine& e, zepl::PbufHandle handle) {
    return itemOf(e, e.graph.pbufHandles, static_cast<std::uint32_t>(handle), "pbuf");
}

// The end, which must be open in that mode.
template <class PortType>
[[gnu::always_inline]] inline PortType& checkMode(Engine& e, PortType& port, PortMode mode) {
    if (port.mode != mode) [[unlikely]]
        endForMode(e, port.channel->name, mode);
    return port;
}
template <class Handle>
[[gnu::always_inline]] inline auto& readingPort(Engine& e, Handle handle) {
    if constexpr (std::is_same_v<Handle, zepl::PipeHandle>)
        return checkMode(e, pipePort(e, handle), PortMode::reading);
    else
        return checkMode(e, triggerPort(e, handle), PortMode::reading);
}
template <class Handle>
[[gnu::always_inline]] inline auto& writingPort(Engine& e, Handle handle) {
    if constexpr (std::is_same_v<Handle, zepl::PipeHandle>)
        return checkMode(e, pipePort(e, handle), PortMode::writing);
    else
        return checkMode(e, triggerPort(e, handle), PortMode::writing);
}

inline PortMode portMode(zepl::OpenMode mode) {
    return mode == zepl::OpenMode::write ? PortMode::writing : PortMode::reading;
}

// A count as the module gives it; a negative one is none.
inline std::uint64_t countFrom(std::int32_t n) { return n > 0 ? static_cast<std::uint64_t>(n) : 0; }

// A number of elements as the module can take it.
inline std::int32_t countFor(std::uint64_t n) { return n > 0x7fffffff ? 0x7fffffff : static_cast<std::int32_t>(n); }

}  // namespace libzepl
