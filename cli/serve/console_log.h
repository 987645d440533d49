// What tasks have printed, of which the last part is kept.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

namespace cli {

class ConsoleLog {
 public:
    static constexpr std::size_t most = 65536;  // bytes

    // From any thread.
    void add(std::string_view text) {
        const std::lock_guard lock(mutex_);
        text_ += text;
        if (text_.size() <= most) return;
        const std::size_t over = text_.size() - most;
        text_.erase(0, over);
        first_ += over;
    }
    // What came after the first `place` bytes, as far as it is kept; `place` becomes that of the end.
    std::string after(std::uint64_t& place) const {
        const std::lock_guard lock(mutex_);
        const std::uint64_t from = place < first_ ? first_ : place;
        place = first_ + text_.size();
        return from >= place ? std::string() : text_.substr(static_cast<std::size_t>(from - first_));
    }

 private:
    mutable std::mutex mutex_;
    std::string text_;
    std::uint64_t first_ = 0;  // bytes that are no longer kept
};

}  // namespace cli
