#include "runtime/engine/outcome.h"

#include <utility>

namespace libzepl {

void Outcome::finish(RunEnd how, std::string why, std::string whatToDo) {
    if (!isRunning()) return;
    end = how;
    reason = std::move(why);
    remedy = std::move(whatToDo);
}

void Outcome::failLate(std::string why, std::string whatToDo) {
    if (end == RunEnd::failed || !reason.empty()) return;
    end = RunEnd::failed;
    reason = std::move(why);
    remedy = std::move(whatToDo);
}

}  // namespace libzepl
