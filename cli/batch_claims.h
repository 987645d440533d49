// Which files a batch reads and writes, however they are named.
#pragma once

#include <filesystem>
#include <map>
#include <string>

namespace cli {

// One text for each file, by whatever links and folders it is named, also where it is not there yet. Folders are looked at once.
class FileIdentities {
 public:
    std::string of(const std::string& file);
    // The path that the file is written to, absolute and without links.
    std::filesystem::path placeOf(const std::string& file);

 private:
    std::map<std::filesystem::path, std::filesystem::path> folders_;
};

class FileClaims {
 public:
    explicit FileClaims(FileIdentities& identities) : identities_(identities) {}

    // `use` says what the file is, such as "is a recording".
    void noteRead(const std::string& file, const std::string& use);
    // Claims the file for what is written for `whose`. Says why it cannot be: it is read, or claimed already.
    std::string write(const std::string& file, const std::string& whose);

 private:
    FileIdentities& identities_;
    std::map<std::string, std::string> read_, written_;
};

}  // namespace cli
