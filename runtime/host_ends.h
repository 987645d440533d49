// How host operations come from a handle to what it stands for.
#pragma once

#include "runtime/flow.h"

namespace libzepl {

// The engine of the session that runs here. A module calls these operations only from its tasks.
inline Engine& running() { return *engine; }

template <class Item>
Item& itemOf(Engine& e, const std::vector<Item*>& items, std::uint32_t handle, const char* what) {
    if (handle - 1 >= items.size()) [[unlikely]]
        misuse(e, std::string(what) + " handle " + std::to_string(handle) + " was never given");
    return *items[handle - 1];
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
EndType& checkMode(Engine& e, EndType& end, EndMode mode) {
    if (end.mode != mode) [[unlikely]]
        misuse(e, std::string(mode == EndMode::reading ? "reads" : "writes") + " `" + end.channel->name +
                      "`, which it has not opened for that");
    return end;
}
template <class Handle>
auto& readingEnd(Engine& e, Handle handle) {
    if constexpr (std::is_same_v<Handle, zepl::PipeHandle>)
        return checkMode(e, pipeEnd(e, handle), EndMode::reading);
    else
        return checkMode(e, triggerEnd(e, handle), EndMode::reading);
}
template <class Handle>
auto& writingEnd(Engine& e, Handle handle) {
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
