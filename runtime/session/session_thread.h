// The thread of a session that was started.
#pragma once

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

    bool wasWaitedFor() const { return !thread_.joinable(); }
    Report wait() {
        thread_.join();
        return report_.get();
    }

 private:
    std::packaged_task<Report()> task_;
    std::future<Report> report_;
    std::thread thread_;
};

}  // namespace libzepl
