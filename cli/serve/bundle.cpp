#include "cli/serve/bundle.h"

#include <filesystem>

#include "runtime/diagnostics.h"
#include "runtime/files.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

fs::path folderOfBundle() {
    std::error_code unknown;
    const fs::path tool = fs::read_symlink("/proc/self/exe", unknown).parent_path();
    for (const fs::path& folder : {tool / "web", tool.parent_path() / "share" / "zepl" / "web"})
        if (fs::exists(folder / "index.html", unknown)) return folder;
    throw libzepl::Problem(
        "the page is not built: there is no " + (tool / "web").string() + "/index.html",
        "./zepl serve in the source tree builds it, with npm, and so does ninja page in the build's folder");
}

std::string replaced(std::string text, const std::string& word, const std::string& by) {
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + by.size()))
        text.replace(at, word.size(), by);
    return text;
}

}  // namespace

Bundle loadBundle(const std::string& token) {
    const fs::path folder = folderOfBundle();
    return {.page = replaced(libzepl::readTextFile(folder / "index.html"), "{{token}}", token),
            .script = libzepl::readTextFile(folder / "page.js"),
            .style = libzepl::readTextFile(folder / "page.css")};
}

}  // namespace cli
