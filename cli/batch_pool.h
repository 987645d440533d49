// The processes of a batch, and what they are given to do.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cli/batch_frames.h"
#include "cli/batch_plan.h"
#include "cli/batch_row.h"
#include "cli/batch_worker.h"
#include "runtime/stop_request.h"

namespace cli {

// A process could not begin, and has said why itself.
class WorkerNotStarted : public libzepl::Problem {
 public:
    using Problem::Problem;
};

class WorkerPool {
 public:
    // The plan and the request must outlive it.
    WorkerPool(const BatchPlan& plan, unsigned jobs, const libzepl::StopRequest& stop)
        : plan_(plan), jobs_(jobs), stop_(stop) {}
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;
    ~WorkerPool() { end(true); }

    // What is known of the modules. The first process is begun for it.
    const std::string& modules();
    // Checks a recording; nothing where that took the process down, or a stop was requested.
    std::optional<BatchCheck> check(std::size_t recording);

    using Begins = std::function<void(std::size_t recording)>;
    using Done = std::function<void(std::size_t recording, BatchRow row)>;
    // Runs the recordings, in order, on all processes, and calls `begins` before each and `done` after it; less of them only
    // where a stop is requested, and then nothing is left running. `privateFiles` are descriptors that are closed in the
    // processes.
    void run(const std::vector<std::size_t>& recordings, const Begins& begins, const Done& done,
             const std::vector<int>& privateFiles);

 private:
    struct Worker {
        int process = -1;
        int descriptor = -1;
        bool ready = false;
        FrameReader reader{};
        std::optional<std::size_t> recording{};  // that it runs, or is to run first
        bool begun = false;                      // it has been given that
        std::size_t served = 0;                  // recordings before that
        std::string crash{};                     // what it said of its crash
    };

    void begin(Worker& worker);
    void awaitReady(Worker& worker);
    void give(Worker& worker, const Begins& begins);
    void take(Worker& worker, const Done& done);
    void bury(Worker& worker, const Done& done);
    int reap(Worker& worker, int signal);
    void wait();
    void end(bool atOnce);
    std::string causeOf(const Worker& worker, int status) const;

    const BatchPlan& plan_;
    unsigned jobs_;
    const libzepl::StopRequest& stop_;
    std::vector<int> privateFiles_{};
    std::string modules_{};
    std::vector<Worker> workers_{};
    std::deque<std::size_t> waiting_{};
    std::set<std::size_t> repeated_{};  // recordings that have crashed a process which had run others before
    std::size_t left_ = 0;
};

}  // namespace cli
