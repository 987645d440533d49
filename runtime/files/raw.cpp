// Raw files: elements in the pipe's type, little endian, and nothing else.

#include "runtime/files/binary_recording.h"
#include "runtime/files/formats.h"
#include "runtime/files/output_file.h"

namespace libzepl {

namespace {

class RawSink final : public FileSink<Sink> {
 public:
    explicit RawSink(const WriteRequest& request)
        : FileSink(request.path, request.output), width_(widthOf(request.type)) {}
    void write(const void* from, std::size_t count) override { file_.write(from, count * width_); }

 private:
    std::size_t width_;
};

}  // namespace

std::unique_ptr<Source> openRaw(const ReadRequest& request) {
    auto file = std::make_unique<InputFile>(request.path);
    if (request.channel)
        throw fileProblem(file->name(), "raw data does not tell how many channels it has",
                          "convert it to .npy of shape (frames, channels), or to .wav");
    const std::size_t width = widthOf(request.type);
    RecordingFacts facts;
    facts.format = formatOf(request.type);
    if (file->size()) {
        if (const auto rest = *file->size() % width; rest != 0)
            throw incompleteSample(file->name(), rest, facts.format);
        facts.frames = *file->size() / width;
    }
    return convertedSource(std::make_unique<BinaryRecording>(std::move(file), facts, false), request);
}

std::unique_ptr<Sink> createRaw(const WriteRequest& request) { return std::make_unique<RawSink>(request); }

}  // namespace libzepl
