#include "runtime/engine/partition.h"

#include <algorithm>

namespace libzepl {

namespace {

// What an object belongs to by what it reads or writes.
const void* anchorOf(const Task& task) { return &task; }
const void* anchorOf(const Pipe& pipe) { return &pipe; }
const void* anchorOf(const Trigger& trigger) { return &trigger; }
const void* anchorOf(const PipeInput& input) { return input.pipe; }
const void* anchorOf(const TriggerInput& input) { return input.trigger; }
const void* anchorOf(const PipeOutput& output) { return output.port.channel; }
const void* anchorOf(const TriggerOutput& output) { return output.port.channel; }
const void* anchorOf(const FrameOutput& output) { return &output; }

}  // namespace

Groups::Groups(const Graph& graph) {
    for (const Task& task : graph.tasks) joinTask(task);
    for (const FrameOutput& output : graph.frameOutputs)
        for (const FrameOutput::Member& member : output.members) join(&output, member.port.channel);
}

void Groups::joinTask(const Task& task) {
    forEachPort(task, [&](const auto& port) { join(&task, port.channel); });
    for (const Parameter& parameter : task.parameters)
        if ((parameter.kind & zepl::variableScalar) != 0) join(&task, reinterpret_cast<const void*>(parameter.slot));
    if (task.routine == nullptr) return;
    for (const Variable* variable : task.routine->variables) join(&task, variable->cell.bytes);
}

std::size_t Groups::of(const void* object) {
    std::size_t place = placeOf(object);
    while (parents_[place] != place) place = parents_[place] = parents_[parents_[place]];
    return place;
}

std::size_t Groups::placeOf(const void* object) {
    const auto [found, isNew] = places_.try_emplace(object, places_.size());
    if (isNew) parents_.push_back(found->second);
    return found->second;
}

// The heaviest group first, each to the lightest part.
Partition::Partition(Graph& whole, std::size_t most) : whole_(whole), groups_(whole) {
    std::unordered_map<std::size_t, std::size_t> weights;
    std::vector<std::size_t> found;
    const auto weigh = [&](const auto& objects) {
        for (const auto& object : objects)
            if (const std::size_t group = groups_.of(anchorOf(object)); weights[group]++ == 0) found.push_back(group);
    };
    weigh(whole.tasks);
    weigh(whole.pipeInputs);
    weigh(whole.triggerInputs);
    std::stable_sort(found.begin(), found.end(), [&](std::size_t a, std::size_t b) { return weights[a] > weights[b]; });
    loads_.resize(std::clamp<std::size_t>(found.size(), 1, std::max<std::size_t>(most, 1)));
    for (const std::size_t group : found) {
        const auto lightest = std::min_element(loads_.begin(), loads_.end());
        *lightest += weights[group];
        parts_[group] = static_cast<std::size_t>(lightest - loads_.begin());
    }
}

// What nothing uses goes to the first part.
template <class Objects>
void Partition::refer(std::size_t part, Objects& objects, Objects& all) {
    for (auto& object : all) {
        const auto itsPart = parts_.find(groups_.of(anchorOf(object)));
        if ((itsPart == parts_.end() ? 0 : itsPart->second) == part) objects.refer(object);
    }
}

void Partition::fill(std::size_t part, Graph& graph) {
    refer(part, graph.tasks, whole_.tasks);
    refer(part, graph.pipes, whole_.pipes);
    refer(part, graph.triggers, whole_.triggers);
    refer(part, graph.pipeInputs, whole_.pipeInputs);
    refer(part, graph.triggerInputs, whole_.triggerInputs);
    refer(part, graph.pipeOutputs, whole_.pipeOutputs);
    refer(part, graph.frameOutputs, whole_.frameOutputs);
    refer(part, graph.triggerOutputs, whole_.triggerOutputs);
    graph.othersHaveInputs = whole_.hasInputs();
}

}  // namespace libzepl
