#include "runtime/engine/task_graph.h"

#include <algorithm>
#include <utility>

namespace libzepl {

namespace {

// Calls `look` with each task that reads what `task` writes, once for each way.
template <class Look>
void forEachReader(const Task& task, Look look) {
    forEachPort(task, [&](const auto& port) {
        if (port.channel->writer != &port) return;
        for (const auto* reader : port.channel->readers)
            if (reader->task != nullptr) look(*reader->task);
    });
}

// Calls `look` with each task whose writing `task` reads.
template <class Look>
void forEachWriter(const Task& task, Look look) {
    forEachPort(task, [&](const auto& port) {
        if (port.mode == PortMode::reading && port.channel->writer != nullptr) look(*port.channel->writer->task);
    });
}

template <class ForEachNext>
TaskSet closed(const Engine& e, TaskSet tasks, ForEachNext forEachNext) {
    std::vector<const Task*> unfollowed;
    for (const Task& task : e.graph.tasks)
        if (tasks[task.number - 1]) unfollowed.push_back(&task);
    while (!unfollowed.empty()) {
        const Task& task = *unfollowed.back();
        unfollowed.pop_back();
        forEachNext(task, [&](const Task& next) {
            if (!tasks[next.number - 1]) unfollowed.push_back(&next);
            tasks[next.number - 1] = true;
        });
    }
    return tasks;
}

// Strongly connected components (R. E. Tarjan, 1972), without recursion: there can be thousands of tasks in a row.
class Cycles {
 public:
    explicit Cycles(Engine& e)
        : numbers_(e.graph.lastTaskNumber(), 0),
          lowest_(numbers_),
          open_(numbers_.size(), false),
          turnsLeft_(numbers_) {
        for (const Task& task : e.graph.tasks) turnsLeft_[indexOf(task)] = task.drive->turnsLeft;
        for (Task& task : e.graph.tasks) {
            if (numbers_[indexOf(task)] == 0) enter(task);
            while (!path_.empty()) goOn();
        }
    }

 private:
    struct Step {
        Task* task;
        std::vector<Task*> readers{};
        std::size_t next = 0;
    };

    static std::size_t indexOf(const Task& task) { return task.number - 1; }

    void enter(Task& task) {
        numbers_[indexOf(task)] = lowest_[indexOf(task)] = ++entered_;
        open_[indexOf(task)] = true;
        unjoined_.push_back(&task);
        Step& step = path_.emplace_back(Step{&task});
        forEachReader(task, [&](Task& reader) { step.readers.push_back(&reader); });
    }

    void goOn() {
        Step& step = path_.back();
        if (step.next == step.readers.size()) return leave();
        Task& reader = *step.readers[step.next++];
        if (numbers_[indexOf(reader)] == 0)
            enter(reader);
        else if (open_[indexOf(reader)])
            lower(*step.task, numbers_[indexOf(reader)]);
    }

    void leave() {
        Task& task = *path_.back().task;
        const auto& readers = path_.back().readers;
        const bool readsItself = std::find(readers.begin(), readers.end(), &task) != readers.end();
        path_.pop_back();
        if (lowest_[indexOf(task)] == numbers_[indexOf(task)]) join(task, readsItself);
        if (!path_.empty()) lower(*path_.back().task, lowest_[indexOf(task)]);
    }

    void lower(const Task& task, std::uint32_t number) {
        lowest_[indexOf(task)] = std::min(lowest_[indexOf(task)], number);
    }

    // The tasks entered since `first`, with it, are a cycle, or it is alone.
    void join(Task& first, bool readsItself) {
        const bool isCycle = readsItself || unjoined_.back() != &first;
        first.ownDrive = {.window = isCycle ? recentTurnsOfCycle : Drive().window};
        for (Task* task = nullptr; task != &first;) {
            task = unjoined_.back();
            unjoined_.pop_back();
            open_[indexOf(*task)] = false;
            task->drive = &first.ownDrive;
            first.ownDrive.turnsLeft = std::max(first.ownDrive.turnsLeft, turnsLeft_[indexOf(*task)]);
        }
    }

    // What goes round takes many turns between two takes of something new.
    static constexpr std::uint32_t recentTurnsOfCycle = 65536;

    std::vector<std::uint32_t> numbers_, lowest_;  // from 1, in the order of entering; 0 is not entered yet
    std::vector<bool> open_;                       // entered, and not joined yet
    std::vector<std::uint32_t> turnsLeft_;
    std::vector<Task*> unjoined_{};
    std::vector<Step> path_{};
    std::uint32_t entered_ = 0;
};

}  // namespace

TaskSet withAllAfter(const Engine& e, TaskSet tasks) {
    return closed(e, std::move(tasks), [](const Task& task, auto look) { forEachReader(task, look); });
}

TaskSet withAllBefore(const Engine& e, TaskSet tasks) {
    return closed(e, std::move(tasks), [](const Task& task, auto look) { forEachWriter(task, look); });
}

TaskSet tasksOnInputs(const Engine& e) {
    TaskSet tasks(e.graph.lastTaskNumber(), false);
    for (const Task& task : e.graph.tasks)
        tasks[task.number - 1] = task.state == TaskState::ended || (task.followsClock && e.graph.hasInputs());
    const auto addReaders = [&](const auto& channel) {
        for (const auto* reader : channel.readers)
            if (reader->task != nullptr) tasks[reader->task->number - 1] = true;
    };
    for (const PipeInput& input : e.graph.pipeInputs) addReaders(*input.pipe);
    for (const TriggerInput& input : e.graph.triggerInputs) addReaders(*input.trigger);
    return withAllAfter(e, std::move(tasks));
}

void findGeneratorReaders(Engine& e) {
    TaskSet writers(e.graph.lastTaskNumber(), false);
    e.graph.forEachOutput([&](const auto& output) {
        if (!output.independent && e.graph.hasInputs()) return;
        forEachOutputPort(output, [&](const auto& port) {
            const auto* writer = port.channel->writer;
            if (port.mode == PortMode::reading && writer != nullptr) writers[writer->task->number - 1] = true;
        });
    });
    const TaskSet wanted = withAllBefore(e, std::move(writers));
    for (Task& task : e.graph.tasks) task.takesGenerators = wanted[task.number - 1];
}

void joinCycles(Engine& e) { Cycles cycles(e); }

}  // namespace libzepl
