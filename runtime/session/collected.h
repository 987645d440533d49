// Outputs that are kept in a session's memory, and go to a sink of the caller's as well where there is one.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "runtime/base/memory.h"
#include "runtime/files.h"

namespace libzepl {

// Bytes that grow, within a budget. Large ones grow without being copied.
class GrowingBytes {
 public:
    explicit GrowingBytes(MemoryBudget& budget) : budget_(budget) {}
    // Room for `count` more bytes, which are thereby part of it. A Problem where there is none.
    std::byte* append(std::size_t count);
    std::span<const std::byte> bytes() const { return {bytes_.get(), size_}; }

 private:
    MemoryBudget& budget_;
    std::vector<Charge> charges_;
    std::unique_ptr<std::byte[], FreeDeleter> bytes_;
    std::size_t size_ = 0, capacity_ = 0;
};

// What collecting sinks have in common: at the end they are what the other sink is.
template <class Base>
class CollectingSink : public Base {
 public:
    explicit CollectingSink(std::unique_ptr<Base> also) : also_(std::move(also)) {}
    void finish() override {
        if (also_) also_->finish();
    }
    void complete() override {
        if (also_) also_->complete();
    }
    OutputFile* file() override { return also_ ? also_->file() : nullptr; }

 protected:
    std::unique_ptr<Base> also_;
};

class MemorySink final : public CollectingSink<Sink> {
 public:
    MemorySink(MemoryBudget& budget, std::size_t width, int channels, std::unique_ptr<Sink> also)
        : CollectingSink(std::move(also)), width_(width), channels_(channels), kept_(budget) {}
    void write(const void* from, std::size_t count) override;
    int channels() const override { return channels_; }
    // Of whole frames.
    std::span<const std::byte> bytes() const;

 private:
    std::size_t width_;
    int channels_;
    GrowingBytes kept_;
};

class MemoryTriggerSink final : public CollectingSink<TriggerSink> {
 public:
    MemoryTriggerSink(MemoryBudget& budget, std::unique_ptr<TriggerSink> also)
        : CollectingSink(std::move(also)), kept_(budget) {}
    void write(const TriggerRow& row) override;
    std::vector<std::uint32_t> events() const;

 private:
    GrowingBytes kept_;
};

// Keeps frames of several pipes: each pipe's elements by themselves, or all together, frame by frame.
class MemoryFrames final : public CollectingSink<JointSink> {
 public:
    // A pipe's bytes in a frame, and of what width its elements are.
    struct Column {
        std::size_t frame = 0, width = 0;
    };
    MemoryFrames(MemoryBudget& budget, std::vector<Column> columns, bool together, std::unique_ptr<JointSink> also);
    void write(const void* const* columns, std::size_t frames) override;
    std::vector<std::span<const std::byte>> pieces() const;

 private:
    std::vector<Column> columns_;
    bool together_;
    std::size_t frame_ = 0;  // bytes of all
    std::vector<GrowingBytes> kept_;
};

}  // namespace libzepl
