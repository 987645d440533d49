// Raw files: elements in the pipe's type, little endian, and nothing else.

#include <array>

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

void refuseStart(InputFile& file) {
    std::array<std::byte, 12> start{};
    refuseHeader(file.name(), start.data(), file.readAt(0, start.data(), start.size()));
}

}  // namespace

int rawChannels(const ReadRequest& request, const std::string& name) {
    if ((request.channel || request.isSplit) && request.elements == 0)
        throw fileProblem(name, "raw data does not say how many channels it has",
                          "convert it to .npy of shape (frames, channels), or to .wav");
    const std::int64_t channels = request.elements != 0 ? request.elements : request.interleaved.value_or(1);
    if (channels >= 1 && channels <= maxChannels) return static_cast<int>(channels);
    throw fileProblem(name, std::to_string(channels) + " channels are not possible",
                      "a file has 1 to " + std::to_string(maxChannels) + " channels");
}

std::unique_ptr<Source> openRaw(const ReadRequest& request) {
    auto file = std::make_unique<InputFile>(request.path, request.descriptor);
    const int channels = rawChannels(request, file->name());
    Completeness complete(file->name(), request.partial);
    RecordingFacts facts;
    facts.format = formatOf(request.type);
    facts.channels = channels;
    const std::size_t frame = widthOf(request.type) * static_cast<std::size_t>(facts.channels);
    if (file->size()) {
        if (request.format.empty()) refuseStart(*file);
        if (const auto rest = *file->size() % frame; rest != 0) complete.lacks(incompleteSample(rest, facts));
        facts.frames = *file->size() / frame;
    }
    const bool mayBeOther = !file->size() && request.format.empty();
    auto recording = std::make_unique<BinaryRecording>(std::move(file), facts, false, std::move(complete));
    if (mayBeOther) recording->refuseHeaders();
    return convertedSource(std::move(recording), request);
}

std::unique_ptr<Sink> createRaw(const WriteRequest& request) { return std::make_unique<RawSink>(request); }

}  // namespace libzepl
