// The thread of a session that was started.
#pragma once

#include <atomic>
#include <functional>
#include <future>
#include <thread>

#include "runtime/report.h"

namespace libzepl {

class SessionThread {
 public:
    explicit SessionThread(std::function<Report()> run) : task_(std::move(run)), report_(task_.get_future()) {
        thread_ = std::thread([this] { task_(); });
    }
    SessionThread(const SessionThread&) = delete;
    SessionThread& operator=(const SessionThread&) = delete;
    ~SessionThread() {
        if (thread_.joinable()) thread_.join();
    }

    // Whether the caller is the first to wait, and so the one who may.
    bool claimWait() { return !wasClaimed_.exchange(true); }
    Report wait() {
        thread_.join();
        return report_.get();
    }

 private:
    std::packaged_task<Report()> task_;
    std::future<Report> report_;
    std::thread thread_;
    std::atomic<bool> wasClaimed_{false};
};

}  // namespace libzepl
