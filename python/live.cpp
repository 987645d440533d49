// Sessions that run while Python code pushes samples, sets values and looks on.

#include "runtime/live.h"

#include <mutex>
#include <utility>

#include "runs.h"

namespace python {

namespace {

py::array ofNumbers(const std::vector<double>& numbers) {
    return py::array_t<double>(static_cast<py::ssize_t>(numbers.size()), numbers.data());
}

// (first position, elements, first position of the columns, least, greatest, whether the run has ended)
py::tuple look(Tap& tap) {
    const Watched seen = tap.take();
    return py::make_tuple(seen.first, arrayOn(seen.elements, seen.type, 1, {}), seen.firstColumn, ofNumbers(seen.least),
                          ofNumbers(seen.greatest), seen.ended);
}

py::tuple lookAtEvents(TriggerTap& tap) {
    const WatchedEvents seen = tap.take();
    return py::make_tuple(
        seen.first, py::array_t<std::uint32_t>(static_cast<py::ssize_t>(seen.positions.size()), seen.positions.data()),
        seen.ended);
}

py::dict dictOf(const Snapshot& snapshot) {
    static constexpr const char* phases[] = {"unstarted", "running", "paused", "ended"};
    static constexpr const char* states[] = {"ready",          "waits for samples", "waits for an event",
                                             "waits for room", "pausing",           "ended"};
    py::list tasks, pipes;
    for (const Snapshot::Task& task : snapshot.tasks)
        tasks.append(py::dict(py::arg("command") = task.command, py::arg("line") = task.line,
                              py::arg("state") = states[static_cast<std::size_t>(task.state)],
                              py::arg("text") = task.text, py::arg("read") = task.read,
                              py::arg("written") = task.written));
    for (const Snapshot::Pipe& pipe : snapshot.pipes)
        pipes.append(py::dict(py::arg("name") = pipe.name, py::arg("type") = std::string(nameOf(pipe.type)),
                              py::arg("written") = pipe.written, py::arg("unread") = pipe.unread,
                              py::arg("capacity") = pipe.capacity));
    py::dict variables;
    for (const VariableReport& variable : snapshot.variables)
        variables[py::str(variable.name)] =
            std::visit([](auto value) -> py::object { return py::cast(value); }, variable.value);
    return py::dict(py::arg("phase") = phases[static_cast<std::size_t>(snapshot.phase)],
                    py::arg("current") = snapshot.isCurrent, py::arg("round") = snapshot.round,
                    py::arg("frames") = snapshot.frames, py::arg("seconds") = snapshot.seconds,
                    py::arg("tasks") = tasks, py::arg("pipes") = pipes, py::arg("variables") = variables);
}

// The end of a live input, which keeps its session. Threads take turns: what one of them pushes comes without a gap.
class Pusher {
 public:
    Pusher(std::shared_ptr<Run> run, LiveInput& input) : run_(std::move(run)), input_(input) {}
    std::size_t push(const py::array& samples, bool waits, bool isMainThread) {
        const void* elements = samples.data();
        const auto count = static_cast<std::size_t>(samples.size());
        std::size_t pushed = 0;
        {
            const Interruption interruption(run_->stop(), waits && isMainThread);
            const py::gil_scoped_release released;
            pushed = waits ? pushAll(elements, count) : pushWhatFits(elements, count);
        }
        run_->heedSignals();
        return pushed;
    }
    void finish() { input_.finish(); }
    std::string type() const { return std::string(nameOf(input_.type())); }
    std::size_t room() const { return input_.room(); }
    bool ended() const { return input_.ended(); }

 private:
    std::size_t pushAll(const void* elements, std::size_t count) {
        const std::lock_guard turn(turn_);
        return input_.pushAllRaw(elements, count);
    }
    // Nothing, while another thread waits for room.
    std::size_t pushWhatFits(const void* elements, std::size_t count) {
        const std::unique_lock turn(turn_, std::try_to_lock);
        return turn.owns_lock() ? input_.pushRaw(elements, count) : 0;
    }

    std::shared_ptr<Run> run_;
    LiveInput& input_;
    std::mutex turn_;  // taken without the interpreter's lock only
};

// A Problem where the name is that of an array, whose elements are meant.
template <class Declarations>
void expectElement(const Declarations& declared, const std::string& name) {
    std::vector<std::string> elements;
    for (const auto& each : declared)
        if (each.name.starts_with(name + "[")) elements.push_back(libzepl::quoted(each.name));
    if (!elements.empty())
        throw Problem(libzepl::quoted(name) + " is an array, and one element is taken at a time",
                      "its elements are " + elements.front() + " to " + elements.back());
}

PipeId pipeOf(Run& run, const std::string& name) {
    expectElement(run.procedure().pipes, name);
    return run.session().pipeNamed(name);
}

TriggerId triggerOf(Run& run, const std::string& name) {
    expectElement(run.procedure().triggers, name);
    return run.session().triggerNamed(name);
}

VariableId variableOf(Run& run, const std::string& name) {
    expectElement(run.procedure().variables, name);
    return run.session().variableNamed(name);
}

}  // namespace

void defineLive(py::module_& module) {
    py::class_<Pusher>(module, "Pusher")
        .def("push", &Pusher::push)
        .def("finish", &Pusher::finish)
        .def_property_readonly("type", &Pusher::type)
        .def_property_readonly("room", &Pusher::room)
        .def_property_readonly("ended", &Pusher::ended);
    py::class_<Tap>(module, "Tap").def("take", look);
    py::class_<TriggerTap>(module, "TriggerTap").def("take", lookAtEvents);
    module.def("feed_live",
               [](const std::shared_ptr<Run>& run, const std::string& name, std::size_t capacity, int channels) {
                   const PipeId pipe = pipeOf(*run, name);
                   return std::make_unique<Pusher>(run, run->session().feedLive(pipe, capacity, channels));
               });
    module.def("set_value", [](Run& run, const std::string& name, const py::object& value) {
        run.session().setNumber(variableOf(run, name), numberOf(value));
    });
    module.def("set_paused", [](Run& run, bool isPaused) { run.session().setPaused(isPaused); });
    module.def("watch", [](Run& run, const std::string& name, std::size_t elements, std::size_t columns,
                           std::uint64_t perColumn) {
        return run.session().watch(pipeOf(run, name),
                                   {.elements = elements, .columns = columns, .perColumn = perColumn});
    });
    module.def("watch_trigger", [](Run& run, const std::string& name, std::size_t events) {
        return run.session().watch(triggerOf(run, name), events);
    });
    module.def("snapshot", [](Run& run) {
        Snapshot snapshot;
        {
            const py::gil_scoped_release released;
            snapshot = run.session().snapshot();
        }
        return dictOf(snapshot);
    });
}

}  // namespace python
