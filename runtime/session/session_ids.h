// The ids by which a caller names what it has added to a session: the session's number and the place in its list, so that
// the id of another session is not taken for one of this one.
#pragma once

#include "runtime/engine/engine.h"

namespace libzepl {

template <class Id>
Id idAt(const Engine& e, std::size_t index) {
    return static_cast<Id>(std::uint64_t{e.number} << 32 | index);
}

// The id of what was added last.
template <class Id, class Objects>
Id idOfLast(const Engine& e, const Objects& objects) {
    return idAt<Id>(e, objects.size() - 1);
}

template <class Objects, class Id>
auto& objectIn(const Engine& e, Objects& objects, Id id, const char* what) {
    const auto word = static_cast<std::uint64_t>(id);
    const auto index = static_cast<std::uint32_t>(word);
    if (word >> 32 != e.number || index >= objects.size())
        throw Problem(std::string("the session has not given this id of a ") + what,
                      "use what its own add functions return");
    return objects[index];
}

// What the id stands for; a Problem where it is not of this session.
inline Pipe& objectOf(Engine& e, PipeId id) { return objectIn(e, e.graph.pipes, id, "pipe"); }
inline Trigger& objectOf(Engine& e, TriggerId id) { return objectIn(e, e.graph.triggers, id, "trigger"); }
inline Variable& objectOf(Engine& e, VariableId id) { return objectIn(e, e.graph.variables, id, "variable"); }
inline Vector& objectOf(Engine& e, VectorId id) { return objectIn(e, e.graph.vectors, id, "vector"); }
inline FrameOutput& objectOf(Engine& e, FramesId id) { return objectIn(e, e.graph.frameOutputs, id, "joint output"); }

}  // namespace libzepl
