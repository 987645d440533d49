// A procedure that is bound, and its run.
#pragma once

#include <optional>

#include "core.h"

namespace python {

class Run {
 public:
    // What `options` may have is listed in runs.cpp. Arrays are lent: they are kept until the run has ended.
    Run(std::string name, std::string text, const py::dict& options);

    bool isBound() const { return bound_.session != nullptr; }
    // To its end; what Python's handlers of signals raise is thrown once it is there.
    void run(bool isMainThread, unsigned jobs);
    void start();
    void wait(bool isMainThread);
    void requestStop() { stop_->request(); }

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
    template <class Step>
    void interruptible(bool isMainThread, Step step);  // gives a report, without the interpreter's lock
    void conclude(Report report);
    py::object collected(const CollectedOutput& output, const py::object& owner) const;

    Procedure parsed_;
    std::vector<Diagnostic> diagnostics_;
    std::shared_ptr<StopRequest> stop_ = std::make_shared<StopRequest>();
    std::vector<py::object> lent_;
    BindOptions options_;
    BoundProcedure bound_;
    Report report_;
};

}  // namespace python
