// The file formats, one opener each; a file's ending chooses.
#pragma once

#include <string_view>

#include "runtime/files.h"

namespace libzepl {

enum class FileKind { sound, npy, csv, raw };

// The kind that `format` names, or where it is empty the path's ending; a Problem that lists what there is for another one.
FileKind kindOf(const std::filesystem::path& path, const std::string& format);

// The path's ending with its point, in small letters.
std::string endingOf(const std::filesystem::path& path);

// The ending of the files of that format, or where it is empty the path's own.
std::string endingOf(const std::filesystem::path& path, const std::string& format);

// Of "-.wav" the path becomes "-", and the format `wav` where none is given.
template <class Request>
Request withFormat(Request request) {
    if (!isStandardStream(request.path)) return request;
    if (request.format.empty() && request.path != "-") request.format = request.path.string().substr(2);
    request.path = "-";
    return request;
}

// Raw data has as many channels as the request says, or as elements of an array take them.
int rawChannels(const ReadRequest& request, const std::string& name);

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
