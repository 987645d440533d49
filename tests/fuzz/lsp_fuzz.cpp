// Any bytes come to the language server, cut in two: nothing may crash, what it answers are frames of messages, and where the
// bytes were cut makes no difference. What follows the first line of a file that begins with `zp` is a procedure that an
// editor has open and asks about.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>

#include "cli/lsp/server.h"

namespace {

using cli::lsp::Json;
using cli::lsp::Server;

const libzepl::CommandLibrary& library() {
    static libzepl::CommandLibrary commands;
    const char* const signature =
        "( in pipe (int16|float) src, [ const storage int16 n, ]* const keyword region where, out typeof(src) to )";
    static const bool isThere =
        commands.install("FILTER", [](zepl::ParamList) { return 0U; }, {16, 0, 0x80000000, signature});
    if (!isThere) std::abort();
    return commands;
}

std::string answersTo(const std::string& bytes, std::size_t cut) {
    Server server(library());
    std::string answers;
    for (const std::string& part : {bytes.substr(0, cut), bytes.substr(cut)}) {
        server.take(part);
        answers += server.takeOutput();
    }
    while (server.nextCheck()) {
    }
    return answers + server.takeOutput();
}

void requireFrames(const std::string& answers) {
    cli::lsp::FrameReader reader;
    reader.add(answers);
    while (const auto frame = reader.next())
        if (!frame->mistake.empty() || Json::parse(frame->content)["jsonrpc"] != "2.0") std::abort();
}

std::string framed(const Json& message) {
    return cli::lsp::framed(message.dump(-1, ' ', false, Json::error_handler_t::replace));
}

std::string request(const std::string& method, const Json& params) {
    return framed({{"jsonrpc", "2.0"}, {"id", 1}, {"method", method}, {"params", params}});
}

// A session about the text, with questions at some places of it.
std::string sessionAbout(const std::string& text) {
    const Json document{{"uri", "file:///p.zp"}, {"text", text}};
    std::string session = request("initialize", Json::object());
    session +=
        framed({{"jsonrpc", "2.0"}, {"method", "textDocument/didOpen"}, {"params", {{"textDocument", document}}}});
    const cli::lsp::Text places(text);
    constexpr std::size_t count = 12;
    for (std::size_t i = 0; i <= count; ++i) {
        const cli::lsp::Position place = places.positionOf(text.size() * i / count);
        const Json position{{"line", place.line}, {"character", place.character}};
        for (const char* method : {"hover", "completion", "references", "rename"})
            session += request(std::string("textDocument/") + method,
                               {{"textDocument", document}, {"position", position}, {"newName", "other"}});
    }
    return session + request("textDocument/documentSymbol", {{"textDocument", document}});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string bytes(reinterpret_cast<const char*>(data), size);
    const bool isProcedure = bytes.starts_with("zp\n");
    if (isProcedure) bytes = sessionAbout(bytes.substr(3));
    const std::string answers = answersTo(bytes, size == 0 ? 0 : data[size - 1] % (bytes.size() + 1));
    requireFrames(answers);
    if (!isProcedure && answers != answersTo(bytes, 0)) std::abort();
    return 0;
}
