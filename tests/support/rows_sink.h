// Takes the frames of several pipes as bytes, one element after the other.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "runtime/files.h"

namespace libzepl {

class RowsSink : public JointSink {
 public:
    // The bytes that each pipe has of a frame.
    RowsSink(std::string& rows, std::vector<std::size_t> widths) : rows_(rows), widths_(std::move(widths)) {}
    void write(const void* const* columns, std::size_t frames) override {
        for (std::size_t row = 0; row < frames; ++row)
            for (std::size_t i = 0; i < widths_.size(); ++i)
                rows_.append(static_cast<const char*>(columns[i]) + row * widths_[i], widths_[i]);
    }
    void finish() override {}

 private:
    std::string& rows_;
    std::vector<std::size_t> widths_;
};

}  // namespace libzepl
