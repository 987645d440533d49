// The run of a bound procedure by several engines.

#include <sched.h>

#include <algorithm>
#include <atomic>

#include "runtime/binder.h"

namespace libzepl {

namespace {

// Engines that run in this process by runBound().
std::atomic<unsigned> busy{0};

unsigned processors() {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    if (::sched_getaffinity(0, sizeof allowed, &allowed) != 0) return 1;
    return static_cast<unsigned>(std::max(CPU_COUNT(&allowed), 1));
}

// Counts engines while it lives.
class BusyEngines {
 public:
    explicit BusyEngines(unsigned asked) : count_(asked) {
        unsigned others = busy;
        do
            if (asked == 0) count_ = processors() > others ? processors() - others : 1;
        while (!busy.compare_exchange_weak(others, others + count_));
    }
    BusyEngines(const BusyEngines&) = delete;
    BusyEngines& operator=(const BusyEngines&) = delete;
    ~BusyEngines() { busy -= count_; }

    unsigned count() const { return count_; }

 private:
    unsigned count_;
};

}  // namespace

Report runBound(BoundProcedure& bound, const Procedure& procedure, const CommandLibrary& library,
                const BindOptions& options, unsigned jobs) {
    if (jobs == 0 && library.modules().size() > 1) jobs = 1;
    const BusyEngines engines(bound.canBeRepeated ? jobs : 1);
    if (engines.count() == 1) return bound.session->run();
    if (std::optional<Report> report = bound.session->runInLanes(engines.count())) return std::move(*report);
    bound.session.reset();  // with its files
    std::vector<Diagnostic> diagnostics;
    bound = bindProcedure(procedure, library, options, diagnostics);
    return bound.session == nullptr ? refusalReport(procedure, diagnostics) : bound.session->run();
}

}  // namespace libzepl
