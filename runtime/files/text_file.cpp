#include "runtime/files/output_file.h"
#include "runtime/output_files.h"

namespace libzepl {

TextFile::TextFile(const std::filesystem::path& path, bool sync)
    : file_(std::make_unique<OutputFile>(path, OutputOptions{.sync = sync})) {}

TextFile::~TextFile() = default;

void TextFile::write(std::string_view text) { file_->write(text); }

void TextFile::finish() { file_->finish(); }

int TextFile::descriptor() const noexcept { return file_->descriptor(); }

bool TextFile::publishFromHandler() noexcept { return file_->publishFromHandler(); }

}  // namespace libzepl
