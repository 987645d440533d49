// Recordings whose samples are read in blocks and converted to a pipe's type.
#pragma once

#include <memory>

#include "runtime/files/convert.h"

namespace libzepl {

struct RecordingFacts {
    SampleFormat format;
    int channels = 1;
    std::optional<std::uint64_t> frames;
    std::optional<double> rate;
};

class Recording {
 public:
    static constexpr std::size_t blockSize = 8192;  // samples, about

    explicit Recording(const RecordingFacts& facts) : facts_(facts) {}
    virtual ~Recording() = default;
    const RecordingFacts& facts() const { return facts_; }
    // Replaces the block by the next samples, frame by frame; by none at the end.
    virtual void read(SampleBlock& block) = 0;
    virtual std::vector<std::string> notes() const { return {}; }  // as a Source's
    // Whether read() would not wait for a live stream, and what to wait on where it would.
    virtual bool ready() const { return true; }
    virtual int descriptor() const { return -1; }

 private:
    RecordingFacts facts_;
};

// Refuses several channels (columns, as `unit` says) where neither one nor all of them are asked for, and another number of
// them than was asked for.
void checkInterleaving(const std::string& name, std::int64_t there, const ReadRequest& request,
                       const std::string& unit);

// Refuses another number of channels than an array takes, where one takes them all.
void checkElements(const std::string& name, std::int64_t there, const ReadRequest& request, const std::string& unit);

// The recording's elements as the request wants them: one channel or all, in its type.
std::unique_ptr<Source> convertedSource(std::unique_ptr<Recording> recording, const ReadRequest& request);

}  // namespace libzepl
