// A procedure that is bound, and its run.
#pragma once

#include <mutex>
#include <optional>

#include "core.h"

namespace python {

class Run {
 public:
    // What `options` may have is listed in runs.cpp. Arrays are lent: they are kept until the run has ended.
    Run(std::string name, std::string text, const py::dict& options);

    bool isBound() const { return bound_.session != nullptr; }
    ~Run();
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    // To its end; what Python's handlers of signals raise is thrown once it is there.
    void run(bool isMainThread, unsigned jobs);
    void start();
    // Any number of threads can wait, also once it has ended.
    void wait(bool isMainThread);
    void requestStop();
    const std::shared_ptr<StopRequest>& stop() const { return stop_; }
    // Lets Python's handlers of signals run, and throws what they raise.
    void heedSignals();
    // A signal ended it early, and no exception has said so yet.
    bool isCutShort() const { return report_.status == Report::Status::interrupted && !isStopKnown_; }

    Session& session();
    const Procedure& procedure() const { return bound_.procedure; }
    const Report& report() const { return report_; }
    // Before the run what binding found, afterwards what the report says as well.
    py::list diagnostics() const { return listOf(diagnostics_); }
    std::string rendered() const;
    std::string reportJson() const;
    // (name, type, value).
    py::list variables() const;
    // (kind, name, rate, what was collected); arrays keep `self`.
    py::list outputs(const py::object& self) const;

 private:
    void bind(const py::dict& given);
    // The step gives a report, without the interpreter's lock.
    template <class Step>
    void interruptible(bool isMainThread, Step step);
    void conclude(Report report);
    py::object collected(const CollectedOutput& output, const py::object& owner) const;

    Procedure parsed_;
    std::vector<Diagnostic> diagnostics_;
    std::shared_ptr<StopRequest> stop_ = std::make_shared<StopRequest>();
    std::vector<py::object> lent_;
    BindOptions options_;
    BoundProcedure bound_;
    Report report_;
    std::mutex ending_;         // taken without the interpreter's lock only
    bool isConcluded_ = false;  // the report is there
    bool isStopKnown_ = false;  // the program asked for the end, or got an exception
};

}  // namespace python
