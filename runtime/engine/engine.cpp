#include "runtime/engine/engine.h"

#include <atomic>
#include <utility>

namespace libzepl {

constinit thread_local Engine* engine [[gnu::tls_model("initial-exec")]] = nullptr;

namespace {

std::uint32_t nextNumber() {
    static std::atomic<std::uint32_t> last{0};
    return ++last;
}

}  // namespace

Engine::Engine(const CommandLibrary& commandLibrary, SessionOptions sessionOptions)
    : number(nextNumber()), library(commandLibrary), options(std::move(sessionOptions)), graph(options.memoryLimit) {}

Engine::Engine(Engine& wholeEngine)
    : number(wholeEngine.number),
      whole(&wholeEngine),
      library(wholeEngine.library),
      options(wholeEngine.options),
      graph(wholeEngine.graph) {}

Report::Status Engine::status() const noexcept {
    if (outcome.end == RunEnd::refused) return Report::Status::refused;
    if (outcome.end == RunEnd::failed || !outcome.reason.empty()) return Report::Status::failed;
    for (const Task& task : graph.tasks)
        if (task.state == TaskState::ended) return Report::Status::failed;
    return outcome.end == RunEnd::stopped ? Report::Status::interrupted : Report::Status::ok;
}

}  // namespace libzepl
