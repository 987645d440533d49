// The methods of the server: what they take of a message, and what they answer.

#include <algorithm>
#include <cctype>

#include "cli/lsp/hover.h"
#include "cli/lsp/rename.h"
#include "cli/lsp/server.h"
#include "runtime/commands.h"

namespace cli::lsp {

using namespace libzepl;

namespace {

Position positionIn(const Json& json) {
    const auto number = [&](const char* name) {
        const Json& value = json.at(name);
        if (!value.is_number_unsigned())
            throw WrongParameters("the " + std::string(name) + " of a position is a whole number from 0");
        return value.get<std::size_t>();
    };
    return {number("line"), number("character")};
}

std::int64_t versionIn(const Json& document) {
    const auto found = document.find("version");
    return found != document.end() && found->is_number_integer() ? found->get<std::int64_t>() : 0;
}

Range rangeIn(const Json& json) { return {positionIn(json.at("start")), positionIn(json.at("end"))}; }

// What the client's abilities say at a path; nothing where they do not go that far.
const Json* abilityAt(const Json& params, std::initializer_list<const char*> path) {
    const Json* at = &params;
    for (const char* name : path) {
        if (!at->is_object()) return nullptr;
        const auto found = at->find(name);
        if (found == at->end()) return nullptr;
        at = &*found;
    }
    return at;
}

bool isTrue(const Json* json) { return json != nullptr && json->is_boolean() && json->get<bool>(); }

const Json serverAbilities{
    {"positionEncoding", "utf-16"},
    {"textDocumentSync", {{"openClose", true}, {"change", 2}, {"save", {{"includeText", false}}}}},
    {"hoverProvider", true},
    {"completionProvider", {{"triggerCharacters", {"(", ",", ":"}}, {"resolveProvider", true}}},
    {"definitionProvider", true},
    {"referencesProvider", true},
    {"renameProvider", {{"prepareProvider", true}}},
    {"documentSymbolProvider", true},
};

}  // namespace

std::string pathOf(const std::string& uri) {
    constexpr std::string_view scheme = "file://";
    if (!uri.starts_with(scheme)) return uri;
    const std::size_t start = std::min(uri.find('/', scheme.size()), uri.size());
    std::string path;
    const auto digit = [&](std::size_t at) {
        return at < uri.size() && std::isxdigit(static_cast<unsigned char>(uri[at]));
    };
    for (std::size_t i = start; i < uri.size(); ++i) {
        const bool isEscape = uri[i] == '%' && digit(i + 1) && digit(i + 2);
        path += isEscape ? static_cast<char>(std::stoi(uri.substr(i + 1, 2), nullptr, 16)) : uri[i];
        if (isEscape) i += 2;
    }
    return path;
}

Server::Document& Server::documentOf(const Json& params) {
    const auto found = documents_.find(params.at("textDocument").at("uri").get<std::string>());
    if (found == documents_.end()) throw WrongParameters("the document is not open");
    return found->second;
}

const Outline& Server::outlineOf(Document& document) {
    if (document.outline == nullptr) document.outline = std::make_unique<Outline>(document.text.bytes());
    return *document.outline;
}

std::size_t Server::offsetIn(const Document& document, const Json& params) const {
    return document.text.offsetOf(positionIn(params.at("position")));
}

Json Server::initialize(const Json& params) {
    const auto has = [&](std::initializer_list<const char*> path) { return abilityAt(params, path); };
    client_.snippets = isTrue(has({"capabilities", "textDocument", "completion", "completionItem", "snippetSupport"}));
    client_.nestedSymbols =
        isTrue(has({"capabilities", "textDocument", "documentSymbol", "hierarchicalDocumentSymbolSupport"}));
    const Json* formats = has({"capabilities", "textDocument", "hover", "contentFormat"});
    client_.markdown = formats == nullptr || std::find(formats->begin(), formats->end(), "markdown") != formats->end();
    isInitialized_ = true;
    return {{"capabilities", serverAbilities},
            {"serverInfo", {{"name", "zepl"}, {"version", versionText(hostBuildVersion)}}}};
}

Json Server::shutDown(const Json&) {
    isShutDown_ = true;
    return nullptr;
}

Json Server::exit(const Json&) {
    isOver_ = true;
    return nullptr;
}

Json Server::ignore(const Json&) { return nullptr; }

Json Server::open(const Json& params) {
    const Json& given = params.at("textDocument");
    Document document{Text(given.at("text").get<std::string>()), versionIn(given), ++editions_};
    documents_.insert_or_assign(given.at("uri").get<std::string>(), std::move(document));
    return nullptr;
}

// Changes come one after the other, each to what the one before left.
Json Server::change(const Json& params) {
    Document& document = documentOf(params);
    Text changed = document.text;
    for (const Json& each : params.at("contentChanges")) {
        std::string text = each.at("text").get<std::string>();
        if (each.contains("range"))
            changed.replace(rangeIn(each["range"]), text);
        else
            changed = Text(std::move(text));
    }
    document.version = versionIn(params.at("textDocument"));
    document.text = std::move(changed);
    document.edition = ++editions_;
    document.isChecked = false;
    document.outline.reset();
    return nullptr;
}

// Files that procedures read may have come about: whatever is open is checked again.
Json Server::save(const Json&) {
    for (auto& [uri, document] : documents_) {
        document.isChecked = false;
        document.edition = ++editions_;
    }
    return nullptr;
}

Json Server::close(const Json& params) {
    documentOf(params);
    const std::string uri = params.at("textDocument").at("uri").get<std::string>();
    documents_.erase(uri);
    publish(uri, Json::array(), std::nullopt);
    return nullptr;
}

Json Server::hover(const Json& params) {
    Document& document = documentOf(params);
    const std::optional<Hover> found =
        hoverAt(outlineOf(document), offsetIn(document, params), library_, document.lengths);
    return found ? hoverOf(*found, document.text, client_) : Json(nullptr);
}

Json Server::complete(const Json& params) {
    Document& document = documentOf(params);
    return completionOf(completionsAt(outlineOf(document), offsetIn(document, params), library_), client_);
}

// The page of a command, which the list of all commands does without.
Json Server::resolveCompletion(const Json& params) {
    Json item;
    for (const char* field : {"label", "kind", "detail", "sortText", "insertText", "insertTextFormat"})
        if (params.contains(field)) item[field] = params[field];
    const Command* command = library_.find(params.at("label").get<std::string>());
    if (command != nullptr)
        item["documentation"] = {{"kind", client_.markdown ? "markdown" : "plaintext"},
                                 {"value", pageInMarkdown(*command)}};
    return item;
}

Server::NameAt Server::nameAt(const Json& params) {
    Document& document = documentOf(params);
    const Outline& outline = outlineOf(document);
    return {document, outline, renamableAt(outline, offsetIn(document, params))};
}

Json Server::definition(const Json& params) {
    const auto [document, outline, word] = nameAt(params);
    if (word == nullptr) return nullptr;
    const std::vector<const Word*> all = outline.names.allOf(*word);
    // What counts in a formula is introduced after it was used.
    const Word* declared = word->role == Role::series ? all.back() : all.front();
    return {{"uri", params.at("textDocument").at("uri")}, {"range", rangeOf(*declared, outline, document.text)}};
}

Json Server::references(const Json& params) {
    const auto [document, outline, word] = nameAt(params);
    const Json* declaration = abilityAt(params, {"context", "includeDeclaration"});
    const bool withDeclaration = declaration == nullptr || isTrue(declaration);
    Json all = Json::array();
    if (word == nullptr) return all;
    for (const Word* each : outline.names.allOf(*word))
        if (withDeclaration || each->role != Role::declaration)
            all.push_back(
                {{"uri", params.at("textDocument").at("uri")}, {"range", rangeOf(*each, outline, document.text)}});
    return all;
}

Json Server::prepareRename(const Json& params) {
    const auto [document, outline, word] = nameAt(params);
    if (word == nullptr) return nullptr;
    return {{"range", rangeOf(*word, outline, document.text)}, {"placeholder", std::string(word->text)}};
}

Json Server::rename(const Json& params) {
    Document& document = documentOf(params);
    const Outline& outline = outlineOf(document);
    const std::string name = params.at("newName").get<std::string>();
    const Word* word = renamableAt(outline, offsetIn(document, params));
    if (word == nullptr) throw Problem("there is no name of the procedure here");
    Json edits = Json::array();
    for (const Word* each : renamed(outline, *word, name))
        edits.push_back({{"range", rangeOf(*each, outline, document.text)}, {"newText", name}});
    return {{"changes", {{params.at("textDocument").at("uri").get<std::string>(), std::move(edits)}}}};
}

Json Server::symbols(const Json& params) {
    Document& document = documentOf(params);
    return symbolsOf(params.at("textDocument").at("uri").get<std::string>(), outlineOf(document), document.text,
                     client_);
}

}  // namespace cli::lsp
