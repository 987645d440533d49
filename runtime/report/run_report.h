// What a run came to.
#pragma once

#include "runtime/engine/engine.h"

namespace libzepl {

// The report of a run that has ended, while its tasks still have open what they had.
Report makeReport(const Engine& e);

// While it lives, a crash of a task is reported to the session's `crashed`, in the signal's handler, with the process as the
// command left it. What can be made for that is made at once.
class CrashReporter {
 public:
    explicit CrashReporter(Engine& e);
    CrashReporter(const CrashReporter&) = delete;
    CrashReporter& operator=(const CrashReporter&) = delete;
    ~CrashReporter();

 private:
    void say(const char* what) noexcept;

    Engine& e_;
    Report report_;  // with all but the figures
    std::string text_;
};

}  // namespace libzepl
