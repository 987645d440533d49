// How host operations come from a handle to what it stands for.
#pragma once

#include "runtime/engine/flow.h"

namespace libzepl {

// The engine of the session that runs here. A module calls these operations only from its tasks.
inline Engine& running() { return *engine; }

// Out of line, so that what every operation does stays short.
[[noreturn, gnu::cold, gnu::noinline]] void endForHandle(Engine& e, std::uint32_t handle, const char* what);
[[noreturn, gnu::cold, gnu::noinline]] void endForMode(Engine& e, const std::string& channel, EndMode mode);

template <class Item>
[[gnu::always_inline]] inline Item& itemOf(Engine& e, const HandleTable<Item>& items, std::uint32_t handle,
                                           const char* what) {
    if (!items.has(handle)) [[unlikely]]
        endForHandle(e, handle, what);
    return items[handle];
}

inline PipeEnd& pipeEnd(Engine& e, zepl::PipeHandle handle) {
    return itemOf(e, e.pipeHandles, static_cast<std::uint32_t>(handle), "pipe");
}
inline TriggerEnd& triggerEnd(Engine& e, zepl::TriggerHandle handle) {
    return itemOf(e, e.triggerHandles, static_cast<std::uint32_t>(handle), "trigger");
}
inline Pbuf& pbufOf(Engine& e, zepl::PbufHandle handle) {
    return itemOf(e, e.pbufHandles, static_cast<std::uint32_t>(handle), "pbuf");
}

// The end, which must be open in that mode.
template <class EndType>
[[gnu::always_inline]] inline EndType& checkMode(Engine& e, EndType& end, EndMode mode) {
    if (end.mode != mode) [[unlikely]]
        endForMode(e, end.channel->name, mode);
    return end;
}
template <class Handle>
[[gnu::always_inline]] inline auto& readingEnd(Engine& e, Handle handle) {
    if constexpr (std::is_same_v<Handle, zepl::PipeHandle>)
        return checkMode(e, pipeEnd(e, handle), EndMode::reading);
    else
        return checkMode(e, triggerEnd(e, handle), EndMode::reading);
}
template <class Handle>
[[gnu::always_inline]] inline auto& writingEnd(Engine& e, Handle handle) {
    if constexpr (std::is_same_v<Handle, zepl::PipeHandle>)
        return checkMode(e, pipeEnd(e, handle), EndMode::writing);
    else
        return checkMode(e, triggerEnd(e, handle), EndMode::writing);
}

inline EndMode endMode(zepl::OpenMode mode) {
    return mode == zepl::OpenMode::write ? EndMode::writing : EndMode::reading;
}

// A count as the module gives it; a negative one is none.
inline std::uint64_t countFrom(std::int32_t n) { return n > 0 ? static_cast<std::uint64_t>(n) : 0; }

// A number of elements as the module can take it.
inline std::int32_t countFor(std::uint64_t n) { return n > 0x7fffffff ? 0x7fffffff : static_cast<std::int32_t>(n); }

}  // namespace libzepl
