#include "runtime/session/collected.h"

#include <cstring>

#include "runtime/diagnostics.h"

namespace libzepl {

namespace {

// Frames of one pipe, to where they stand among those of others.
template <std::size_t Width>
void interleave(const std::byte* from, std::size_t frame, std::byte* to, std::size_t step, std::size_t frames) {
    for (std::size_t n = 0; n < frames; ++n)
        for (std::size_t i = 0; i < frame; i += Width) std::memcpy(to + n * step + i, from + n * frame + i, Width);
}

}  // namespace

std::byte* GrowingBytes::append(std::size_t count) {
    const std::size_t size = size_ + count;
    if (size > capacity_) {
        const std::size_t capacity = std::max<std::size_t>({size, 2 * capacity_, 4096});
        Charge charge;
        if (!charge.reserve(budget_, costOf(capacity - capacity_)))
            throw Problem("no memory is left for what is to be collected", "raise --memory");
        auto* grown = static_cast<std::byte*>(std::realloc(bytes_.get(), capacity));
        if (grown == nullptr)
            throw Problem("the system has no memory left for what is to be collected", "collect less");
        static_cast<void>(bytes_.release());
        bytes_.reset(grown);
        charges_.push_back(std::move(charge));
        capacity_ = capacity;
    }
    return bytes_.get() + std::exchange(size_, size);
}

void MemorySink::write(const void* from, std::size_t count) {
    std::memcpy(kept_.append(count * width_), from, count * width_);
    if (also_) also_->write(from, count);
}

std::span<const std::byte> MemorySink::bytes() const {
    const std::span<const std::byte> all = kept_.bytes();
    return all.first(all.size() - all.size() % (width_ * static_cast<std::size_t>(channels_)));
}

void MemoryTriggerSink::write(const TriggerRow& row) {
    if (row.asserts) std::memcpy(kept_.append(sizeof row.position), &row.position, sizeof row.position);
    if (also_) also_->write(row);
}

std::vector<std::uint32_t> MemoryTriggerSink::events() const {
    const std::span<const std::byte> bytes = kept_.bytes();
    std::vector<std::uint32_t> events(bytes.size() / sizeof(std::uint32_t));
    if (!events.empty()) std::memcpy(events.data(), bytes.data(), bytes.size());
    return events;
}

MemoryFrames::MemoryFrames(MemoryBudget& budget, std::vector<Column> columns, bool together,
                           std::unique_ptr<JointSink> also)
    : CollectingSink(std::move(also)), columns_(std::move(columns)), together_(together) {
    for (const Column& column : columns_) frame_ += column.frame;
    for (std::size_t i = 0; i < (together ? 1 : columns_.size()); ++i) kept_.emplace_back(budget);
}

void MemoryFrames::write(const void* const* columns, std::size_t frames) {
    std::byte* to = together_ ? kept_.front().append(frames * frame_) : nullptr;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        const auto* from = static_cast<const std::byte*>(columns[i]);
        const Column& column = columns_[i];
        if (!together_) {
            std::memcpy(kept_[i].append(frames * column.frame), from, frames * column.frame);
            continue;
        }
        const auto copy = column.width == 2 ? interleave<2> : column.width == 4 ? interleave<4> : interleave<8>;
        copy(from, column.frame, to, frame_, frames);
        to += column.frame;
    }
    if (also_) also_->write(columns, frames);
}

std::vector<std::span<const std::byte>> MemoryFrames::pieces() const {
    std::vector<std::span<const std::byte>> pieces;
    for (const GrowingBytes& each : kept_) pieces.push_back(each.bytes());
    return pieces;
}

}  // namespace libzepl
