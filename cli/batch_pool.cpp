#include "cli/batch_pool.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <utility>

#include "runtime/output_files.h"

namespace cli {

namespace {

using libzepl::Problem;

[[noreturn]] void refuse(const char* what) {
    throw Problem(std::string("a process for the recordings cannot be begun: ") + what + ": " +
                      std::generic_category().message(errno),
                  "close other programs, or take fewer by --jobs");
}

}  // namespace

void WorkerPool::begin(Worker& worker) {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) refuse("socketpair");
    const std::optional<std::size_t> first = worker.recording;
    worker = {};
    worker.recording = first;
    // Its ends of the others' sockets would keep these open when this process has ended.
    std::vector<int> others = privateFiles_;
    others.push_back(ends[0]);
    for (const Worker& other : workers_)
        if (other.descriptor >= 0) others.push_back(other.descriptor);
    const int parent = ::getpid();
    std::fflush(stderr);
    worker.process = ::fork();
    if (worker.process == 0) runWorker(plan_, ends[1], others, parent);
    ::close(ends[1]);
    worker.descriptor = ends[0];
    if (worker.process < 0) refuse("fork");
}

const std::string& WorkerPool::modules() {
    if (workers_.empty()) begin(workers_.emplace_back());
    awaitReady(workers_.front());
    return modules_;
}

// Until the process is ready, or a stop is requested.
void WorkerPool::awaitReady(Worker& worker) {
    while (!worker.ready && !stop_.requested()) {
        wait();
        take(worker, [](std::size_t, const BatchRow&) {});
    }
}

std::optional<BatchCheck> WorkerPool::check(std::size_t recording) {
    Worker& worker = workers_.front();
    if (worker.process < 0) begin(worker);
    awaitReady(worker);
    bool open = writeFrame(worker.descriptor, checkThis, std::to_string(recording));
    while (open && !stop_.requested()) {
        if (const std::optional<Frame> frame = worker.reader.next()) {
            const auto texts = unpacked(frame->content);
            if (frame->kind != checked || !texts || texts->size() != 3) break;
            ++worker.served;
            return BatchCheck{(*texts)[0], (*texts)[1], !(*texts)[2].empty()};
        }
        wait();
        if (!stop_.requested()) open = worker.reader.readFrom(worker.descriptor);
    }
    reap(worker, SIGTERM);
    return std::nullopt;
}

void WorkerPool::run(const std::vector<std::size_t>& recordings, const Begins& begins, const Done& done,
                     const std::vector<int>& privateFiles) {
    privateFiles_ = privateFiles;
    waiting_.assign(recordings.begin(), recordings.end());
    left_ = recordings.size();
    workers_.resize(std::max<std::size_t>(1, std::min<std::size_t>(jobs_, recordings.size())));
    while (left_ > 0 && !stop_.requested()) {
        for (Worker& worker : workers_) {
            if (worker.process < 0 && (worker.recording || !waiting_.empty())) begin(worker);
            if (worker.ready && !worker.begun) give(worker, begins);
        }
        wait();
        for (Worker& worker : workers_)
            if (worker.process >= 0 && !stop_.requested()) take(worker, done);
    }
    end(stop_.requested());
}

void WorkerPool::give(Worker& worker, const Begins& begins) {
    if (!worker.recording) {
        if (waiting_.empty()) return;
        worker.recording = waiting_.front();
        waiting_.pop_front();
    }
    begins(*worker.recording);
    // One that has ended meanwhile is found when it is read from: it has not begun then.
    worker.begun = writeFrame(worker.descriptor, runThis, std::to_string(*worker.recording));
}

// Waits until a process has said something, has ended, or a stop is requested.
void WorkerPool::wait() {
    std::vector<pollfd> awaited{{stop_.descriptor(), POLLIN, 0}};
    for (const Worker& worker : workers_)
        if (worker.process >= 0) awaited.push_back({worker.descriptor, POLLIN, 0});
    while (!stop_.requested() && ::poll(awaited.data(), awaited.size(), -1) < 0)
        if (errno != EINTR) refuse("poll");
}

// Takes what the process has said.
void WorkerPool::take(Worker& worker, const Done& done) {
    pollfd look{worker.descriptor, POLLIN, 0};
    if (::poll(&look, 1, 0) <= 0) return;
    const bool open = worker.reader.readFrom(worker.descriptor);
    while (const std::optional<Frame> frame = worker.reader.next()) {
        if (frame->kind == modulesLoaded) {
            worker.ready = true;
            modules_ = frame->content;
        } else if (frame->kind == cannotStart) {
            const auto texts = unpacked(frame->content);
            throw Problem(texts && texts->size() == 2 ? (*texts)[0] : "a process for the recordings cannot be begun",
                          texts && texts->size() == 2 ? (*texts)[1] : "");
        } else if (frame->kind == crashed) {
            worker.crash = frame->content;
        } else if (std::optional<BatchRow> row = unpackedRow(frame->content);
                   frame->kind == rowDone && row && worker.begun) {
            const std::size_t recording = *std::exchange(worker.recording, std::nullopt);
            worker.begun = false;
            ++worker.served;
            --left_;
            done(recording, std::move(*row));
        }
    }
    if (!open || worker.reader.isBroken()) bury(worker, done);
}

// A process has ended. Whether its recording is at fault shows in one that has run nothing before: there it is run again.
void WorkerPool::bury(Worker& worker, const Done& done) {
    const int status = reap(worker, SIGKILL);
    if (!worker.ready && WIFEXITED(status) && WEXITSTATUS(status) == wrongCall)
        throw WorkerNotStarted("a process for the recordings has said why it cannot begin");
    if (!worker.ready) throw Problem("a process for the recordings cannot be begun: " + causeOf(worker, status));
    if (!worker.recording) return;
    const std::size_t recording = *worker.recording;
    if (!worker.begun || (worker.served > 0 && repeated_.insert(recording).second)) return;
    worker.recording.reset();
    --left_;
    done(recording, badRow("crashed", causeOf(worker, status)));
}

std::string WorkerPool::causeOf(const Worker& worker, int status) const {
    if (!worker.crash.empty()) return worker.crash;
    if (WIFSIGNALED(status))
        return "its process was ended by signal " + std::to_string(WTERMSIG(status)) + " (" +
               ::strsignal(WTERMSIG(status)) + ")";
    return "its process ended itself, with status " + std::to_string(WEXITSTATUS(status));
}

// Gives the status that the process ended with; the signal ends one that still lives. What it left half-written is removed.
int WorkerPool::reap(Worker& worker, int signal) {
    int status = 0;
    if (worker.process < 0) return status;
    if (signal != 0) ::kill(worker.process, signal);
    ::close(std::exchange(worker.descriptor, -1));
    while (::waitpid(worker.process, &status, 0) < 0 && errno == EINTR) {
    }
    worker.process = -1;
    if (worker.recording)
        for (const std::string& file : plan_.recordings[*worker.recording].outputs)
            libzepl::removeDeadTemporaries(file);
    return status;
}

void WorkerPool::end(bool atOnce) {
    for (const Worker& worker : workers_)
        if (atOnce && worker.process >= 0) ::kill(worker.process, SIGTERM);
    for (Worker& worker : workers_) reap(worker, 0);
}

}  // namespace cli
