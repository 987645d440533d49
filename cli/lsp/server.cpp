#include "cli/lsp/server.h"

#include <algorithm>
#include <utility>

#include "runtime/diagnostics.h"

namespace cli::lsp {

using namespace libzepl;

namespace {

enum ErrorCode {
    parseError = -32700,
    invalidRequest = -32600,
    methodNotFound = -32601,
    invalidParams = -32602,
    internalError = -32603,
    notInitialized = -32002,
    requestFailed = -32803,
};

constexpr int maxDepth = 64;

}  // namespace

struct Server::Method {
    Handler handler;
    bool isRequest = true;
};

const std::map<std::string_view, Server::Method>& Server::methods() {
    static const std::map<std::string_view, Method> all{
        {"initialize", {&Server::initialize}},
        {"initialized", {&Server::ignore, false}},
        {"shutdown", {&Server::shutDown}},
        {"exit", {&Server::exit, false}},
        {"textDocument/didOpen", {&Server::open, false}},
        {"textDocument/didChange", {&Server::change, false}},
        {"textDocument/didSave", {&Server::save, false}},
        {"textDocument/didClose", {&Server::close, false}},
        {"textDocument/hover", {&Server::hover}},
        {"textDocument/completion", {&Server::complete}},
        {"completionItem/resolve", {&Server::resolveCompletion}},
        {"textDocument/definition", {&Server::definition}},
        {"textDocument/references", {&Server::references}},
        {"textDocument/prepareRename", {&Server::prepareRename}},
        {"textDocument/rename", {&Server::rename}},
        {"textDocument/documentSymbol", {&Server::symbols}},
    };
    return all;
}

void Server::take(std::string_view bytes) {
    reader_.add(bytes);
    while (std::optional<Frame> frame = isOver_ ? std::nullopt : reader_.next()) {
        if (frame->mistake.empty())
            takeMessage(frame->content);
        else
            sendError(nullptr, parseError, frame->mistake);
    }
}

void Server::takeMessage(const std::string& content) {
    // What is nested deeper than any message is left out, so that nobody who walks it comes to the end of the stack.
    const auto isShallow = [](int depth, Json::parse_event_t, const Json&) { return depth < maxDepth; };
    const Json message = Json::parse(content, isShallow, false);
    if (message.is_discarded()) return sendError(nullptr, parseError, "the message is no JSON");
    if (!message.is_object()) return sendError(nullptr, invalidRequest, "the message is no object");
    const auto method = message.find("method"), id = message.find("id");
    const bool isAnswer =
        method == message.end() && id != message.end() && (message.contains("result") || message.contains("error"));
    if (isAnswer) return;
    const bool hasId = id != message.end() && (id->is_string() || id->is_number_integer());
    const Json requestId = hasId ? *id : Json(nullptr);
    if (method == message.end() || !method->is_string() || (id != message.end() && !hasId))
        return sendError(requestId, invalidRequest, "the message is no request, notification or response");
    const auto params = message.find("params");
    takeRequest(hasId ? std::optional(requestId) : std::nullopt, method->get<std::string>(),
                params == message.end() ? Json(nullptr) : *params);
}

// Whoever sends a notification, which has no `id`, expects no answer, not even that something is wrong.
void Server::takeRequest(const std::optional<Json>& id, const std::string& method, const Json& params) {
    const auto refuse = [&](int code, const std::string& why) {
        if (id) sendError(*id, code, why);
    };
    const auto found = methods().find(method);
    const bool isKnown = found != methods().end() && found->second.isRequest == id.has_value();
    if (!isInitialized_ && method != "initialize" && method != "exit")
        return refuse(notInitialized, "the session begins with initialize");
    if (isShutDown_ && method != "exit") return refuse(invalidRequest, "after shutdown the session only ends");
    if (!isKnown) return refuse(methodNotFound, "there is no method " + libzepl::quoted(method));
    if (isInitialized_ && method == "initialize") return refuse(invalidRequest, "the session has begun already");
    try {
        Json result = (this->*found->second.handler)(params);
        if (id) send({{"jsonrpc", "2.0"}, {"id", *id}, {"result", std::move(result)}});
    } catch (const Json::exception&) {
        refuse(invalidParams, "the parameters of " + libzepl::quoted(method) + " are not what it takes");
    } catch (const WrongParameters& problem) {
        refuse(invalidParams, problem.what());
    } catch (const Problem& problem) {
        refuse(requestFailed, problem.what());
    } catch (const std::exception& error) {
        refuse(internalError, error.what());
    }
}

void Server::send(const Json& message) {
    output_ += framed(message.dump(-1, ' ', false, Json::error_handler_t::replace));
}

void Server::sendError(const Json& id, int code, const std::string& message) {
    send({{"jsonrpc", "2.0"}, {"id", id}, {"error", {{"code", code}, {"message", message}}}});
}

std::string Server::takeOutput() { return std::exchange(output_, {}); }

void Server::publish(const std::string& uri, const Json& diagnostics, std::optional<std::int64_t> version) {
    Json params{{"uri", uri}, {"diagnostics", diagnostics}};
    if (version) params["version"] = *version;
    send({{"jsonrpc", "2.0"}, {"method", "textDocument/publishDiagnostics"}, {"params", std::move(params)}});
}

bool Server::hasUnchecked() const {
    return std::any_of(documents_.begin(), documents_.end(), [](const auto& each) { return !each.second.isChecked; });
}

std::optional<CheckRequest> Server::nextCheck() {
    for (auto& [uri, document] : documents_) {
        if (document.isChecked) continue;
        document.isChecked = true;
        const Outline& outline = outlineOf(document);
        if (!hasErrors(outline.mistakes))
            return CheckRequest{uri, document.edition, pathOf(uri), document.text.bytes()};
        publish(uri, diagnosticsOf({outline.mistakes, {}, {}}, document.text), document.version);
    }
    return std::nullopt;
}

bool Server::isWanted(const CheckRequest& request) const {
    const auto found = documents_.find(request.uri);
    return found != documents_.end() && found->second.edition == request.edition;
}

void Server::finishCheck(const CheckRequest& request, const CheckResult& result) {
    if (!isWanted(request)) return;
    Document& document = documents_.at(request.uri);
    document.lengths = result.lengths;
    publish(request.uri, diagnosticsOf(result, document.text), document.version);
}

}  // namespace cli::lsp
