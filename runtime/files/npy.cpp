// .npy files: one array of numbers with its type and shape in front.

#include "runtime/files/binary_recording.h"
#include "runtime/files/formats.h"
#include "runtime/files/npy_header.h"
#include "runtime/files/output_file.h"

namespace libzepl {

namespace {

class NpySink final : public FileSink<Sink> {
 public:
    explicit NpySink(const WriteRequest& request)
        : FileSink(request.path, request.output),
          type_(request.type),
          channels_(static_cast<std::uint64_t>(request.channels)) {
        file_.write(npyHeader(type_, 0, channels_));
    }
    void write(const void* from, std::size_t count) override {
        file_.write(from, count * widthOf(type_));
        written_ += count;
    }
    void complete() override {
        file_.seek(0);
        file_.write(npyHeader(type_, written_ / channels_, channels_));
        file_.complete();
    }

 private:
    ElementType type_;
    std::uint64_t channels_;
    std::uint64_t written_ = 0;  // elements
};

// With `partial`, the frames become those that are there.
void checkSize(const InputFile& file, NpyHeader& header, Completeness& complete) {
    if (!file.size()) return;
    const auto frame =
        static_cast<std::uint64_t>(header.facts.format.bits) / 8 * static_cast<std::uint64_t>(header.facts.channels);
    const std::uint64_t there = (*file.size() - header.size) / frame;
    if (there >= *header.facts.frames) return;
    complete.lacks("its header announces " + counted(*header.facts.frames, "frame") + ", but it holds " +
                   std::to_string(there));
    header.facts.frames = there;
}

}  // namespace

std::unique_ptr<Source> openNpy(const ReadRequest& request) {
    auto file = std::make_unique<InputFile>(request.path, request.descriptor);
    Completeness complete(file->name(), request.partial);
    NpyHeader header = readNpyHeader(*file);
    checkSize(*file, header, complete);
    return convertedSource(
        std::make_unique<BinaryRecording>(std::move(file), header.facts, header.bigEndian, std::move(complete)),
        request);
}

std::unique_ptr<Sink> createNpy(const WriteRequest& request) {
    if (isStream(request.path))
        throw fileProblem(request.path == "-" ? "standard output" : request.path.string(),
                          "NPY states its length before its samples, and a stream's is not known by then",
                          "write WAV, AU, FLAC, CSV or raw samples");
    return std::make_unique<NpySink>(request);
}

}  // namespace libzepl
