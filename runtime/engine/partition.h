// The parts of a session that share nothing: no pipe, trigger, variable or output, neither directly nor through others.
#pragma once

#include <cstddef>
#include <unordered_map>
#include <vector>

#include "runtime/engine/graph.h"

namespace libzepl {

// Which objects belong together: a forest, each tree a group (B. A. Galler and M. J. Fischer, 1964).
class Groups {
 public:
    explicit Groups(const Graph& graph);
    // The group of the object, which can be alone.
    std::size_t of(const void* object);

 private:
    void joinTask(const Task& task);
    void join(const void* one, const void* other) { parents_[of(one)] = of(other); }
    std::size_t placeOf(const void* object);

    std::unordered_map<const void*, std::size_t> places_;
    std::vector<std::size_t> parents_;
};

// Deals the groups of a session that has not begun out to at most `most` parts of about the same number of tasks and inputs.
class Partition {
 public:
    Partition(Graph& whole, std::size_t most);

    std::size_t count() const { return loads_.size(); }
    // Has the part's graph refer to its objects of the whole, in their order.
    void fill(std::size_t part, Graph& graph);

 private:
    template <class Objects>
    void refer(std::size_t part, Objects& objects, Objects& all);

    Graph& whole_;
    Groups groups_;
    std::vector<std::size_t> loads_;
    std::unordered_map<std::size_t, std::size_t> parts_;  // by the group
};

}  // namespace libzepl
