// Samples of a fixed width, one behind the other, as raw and .npy files hold them.
#pragma once

#include "runtime/files/input_file.h"
#include "runtime/files/recording.h"

namespace libzepl {

// The Problem of a file that ends with `rest` bytes that are no whole sample.
Problem incompleteSample(const std::string& name, std::uint64_t rest, SampleFormat format);

class BinaryRecording final : public Recording {
 public:
    // Samples from the file's place on, up to facts.frames where told, else to the end of the file.
    BinaryRecording(std::unique_ptr<InputFile> file, const RecordingFacts& facts, bool bigEndian);
    void read(SampleBlock& block) override;
    bool ready() const override { return file_->ready(); }
    int descriptor() const override { return file_->descriptor(); }

 private:
    std::size_t readBytes();

    std::unique_ptr<InputFile> file_;
    std::size_t width_;  // bytes of a sample
    bool bigEndian_;
    std::optional<std::uint64_t> left_;  // samples still to come, where known
    std::vector<std::byte> bytes_;
};

}  // namespace libzepl
