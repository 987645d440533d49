#include <mutex>
#include <optional>
#include <utility>

#include "runtime/commands.h"
#include "runtime/signature.h"

namespace libzepl {

struct ParsedSignature::State {
    explicit State(std::string given) : text(std::move(given)) {}

    const std::string text;
    std::mutex mutex;
    std::optional<Signature> signature;
};

ParsedSignature::ParsedSignature(std::string text) : state_(std::make_shared<State>(std::move(text))) {}

const Signature* ParsedSignature::get() const {
    if (state_ == nullptr) return nullptr;
    const std::lock_guard lock(state_->mutex);
    if (!state_->signature) state_->signature = parseSignature(state_->text);
    return &*state_->signature;
}

}  // namespace libzepl
