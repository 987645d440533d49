// The file formats, one opener each; a file's ending chooses.
#pragma once

#include <string_view>

#include "runtime/files.h"

namespace libzepl {

enum class FileKind { standardStream, sound, npy, csv, raw };

// The kind that the path's ending names; a Problem that lists the endings for another one.
FileKind kindOf(const std::filesystem::path& path);

// The path's ending with its point, in small letters.
std::string endingOf(const std::filesystem::path& path);

// Whether the sound library reads files of that ending, and all such endings for messages.
bool isSoundEnding(std::string_view ending);
std::string soundEndings();

std::unique_ptr<Source> openSound(const ReadRequest& request);
std::unique_ptr<Source> openNpy(const ReadRequest& request);
std::unique_ptr<Source> openCsv(const ReadRequest& request);
std::unique_ptr<Source> openRaw(const ReadRequest& request);

std::unique_ptr<Sink> createSound(const WriteRequest& request);
std::unique_ptr<Sink> createNpy(const WriteRequest& request);
std::unique_ptr<Sink> createCsv(const WriteRequest& request);
std::unique_ptr<Sink> createRaw(const WriteRequest& request);

}  // namespace libzepl
