// .npy files: one array of numbers with its type and shape in front.

#include "runtime/files/binary_recording.h"
#include "runtime/files/formats.h"
#include "runtime/files/npy_header.h"
#include "runtime/files/output_file.h"

namespace libzepl {

namespace {

class NpySink final : public FileSink<Sink> {
 public:
    explicit NpySink(const WriteRequest& request) : FileSink(request.path, request.output), type_(request.type) {
        file_.write(npyHeader(type_, 0));
    }
    void write(const void* from, std::size_t count) override {
        file_.write(from, count * widthOf(type_));
        written_ += count;
    }
    void complete() override {
        file_.seek(0);
        file_.write(npyHeader(type_, written_));
        file_.complete();
    }

 private:
    ElementType type_;
    std::uint64_t written_ = 0;
};

void checkSize(const InputFile& file, const NpyHeader& header) {
    if (!file.size()) return;
    const auto width = static_cast<std::uint64_t>(header.facts.format.bits) / 8;
    const std::uint64_t told = *header.facts.frames * static_cast<std::uint64_t>(header.facts.channels);
    const std::uint64_t there = (*file.size() - header.size) / width;
    if (there < told)
        throw fileProblem(file.name(),
                          "its header tells of " + counted(told, "sample") + ", and it holds " + std::to_string(there),
                          "check that the file is whole");
}

}  // namespace

std::unique_ptr<Source> openNpy(const ReadRequest& request) {
    auto file = std::make_unique<InputFile>(request.path);
    const NpyHeader header = readNpyHeader(*file);
    checkSize(*file, header);
    return convertedSource(std::make_unique<BinaryRecording>(std::move(file), header.facts, header.bigEndian), request);
}

std::unique_ptr<Sink> createNpy(const WriteRequest& request) { return std::make_unique<NpySink>(request); }

}  // namespace libzepl
