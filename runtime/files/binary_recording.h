// Samples of a fixed width, one after the other, as raw and .npy files hold them.
#pragma once

#include "runtime/files/input_file.h"
#include "runtime/files/recording.h"

namespace libzepl {

// "it ends with 3 bytes of an incomplete double sample", for `rest` bytes that are no whole sample, or of several channels no
// whole frame.
std::string incompleteSample(std::uint64_t rest, const RecordingFacts& facts);

// Refuses what starts as a file of another format does, where raw samples are expected.
void refuseHeader(const std::string& name, const std::byte* start, std::size_t count);

class BinaryRecording final : public Recording {
 public:
    // Samples from the file's place on, up to facts.frames where told, else to the end of the file.
    BinaryRecording(std::unique_ptr<InputFile> file, const RecordingFacts& facts, bool bigEndian,
                    Completeness complete);
    void read(SampleBlock& block) override;
    std::vector<std::string> notes() const override { return complete_.notes(); }
    // Refuses what starts as a file of another format does.
    void refuseHeaders() { refusesHeaders_ = true; }
    bool ready() const override { return file_->ready(); }
    int descriptor() const override { return file_->waitDescriptor(); }

 private:
    std::size_t restOfStart(std::size_t got);
    std::size_t readBytes();

    std::unique_ptr<InputFile> file_;
    std::size_t width_;                 // bytes of a sample
    std::size_t unit_;                  // bytes that are delivered together: a frame, where that is not too long
    std::size_t given_ = 0, rest_ = 0;  // bytes of whole frames that were given, and those of the next frame after them
    bool ended_ = false;
    bool bigEndian_;
    Completeness complete_;
    bool refusesHeaders_ = false;        // what is read next is the start of the file
    std::optional<std::uint64_t> left_;  // samples still to come, where known
    std::vector<std::byte> bytes_;
};

}  // namespace libzepl
