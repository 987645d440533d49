// The language server without its streams and processes: takes messages, gives messages, and says what is to be checked.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "cli/lsp/answers.h"
#include "cli/lsp/check.h"
#include "cli/lsp/framing.h"
#include "runtime/commands.h"
#include "runtime/diagnostics.h"

namespace cli::lsp {

// The file of the document's address; the address itself where it is none of a file.
std::string pathOf(const std::string& uri);

// A message's parameters are not what its method takes.
class WrongParameters : public libzepl::Problem {
 public:
    using Problem::Problem;
};

class Server {
 public:
    // The library must outlive it.
    explicit Server(const libzepl::CommandLibrary& library) : library_(library) {}

    // Takes bytes as they come, and answers every message that is complete.
    void take(std::string_view bytes);
    // What is to be sent; taking it empties it.
    std::string takeOutput();

    // The client has ended the session, and with which status the process ends then. Without its message to do so, 1.
    bool isOver() const { return isOver_; }
    int exitStatus() const { return isOver_ && isShutDown_ ? 0 : 1; }

    // Whether a document has changed since it was last checked.
    bool hasUnchecked() const;
    // The next such document, if its text can be read; of others the mistakes are reported at once.
    std::optional<CheckRequest> nextCheck();
    // Whether the document still has the text that is being checked.
    bool isWanted(const CheckRequest& request) const;
    void finishCheck(const CheckRequest& request, const CheckResult& result);

 private:
    struct Document {
        Text text;
        std::int64_t version = 0;
        std::int64_t edition = 0;  // counts texts, also where the editor gives no versions
        bool isChecked = false;
        std::unique_ptr<Outline> outline{};  // of the text, once it is needed
        Lengths lengths{};                   // as the last check found them
    };
    using Handler = Json (Server::*)(const Json& params);
    struct Method;
    static const std::map<std::string_view, Method>& methods();

    void takeMessage(const std::string& content);
    void takeRequest(const std::optional<Json>& id, const std::string& method, const Json& params);
    void send(const Json& message);
    void sendError(const Json& id, int code, const std::string& message);
    void publish(const std::string& uri, const Json& diagnostics, std::optional<std::int64_t> version);

    Json initialize(const Json& params);
    Json shutDown(const Json& params);
    Json exit(const Json& params);
    Json open(const Json& params);
    Json change(const Json& params);
    Json save(const Json& params);
    Json close(const Json& params);
    Json hover(const Json& params);
    Json complete(const Json& params);
    Json resolveCompletion(const Json& params);
    Json definition(const Json& params);
    Json references(const Json& params);
    Json prepareRename(const Json& params);
    Json rename(const Json& params);
    Json symbols(const Json& params);
    Json ignore(const Json& params);

    Document& documentOf(const Json& params);
    const Outline& outlineOf(Document& document);
    std::size_t offsetIn(const Document& document, const Json& params) const;
    // The name that a request is about; null where its place has none.
    struct NameAt {
        const Document& document;
        const Outline& outline;
        const Word* word;
    };
    NameAt nameAt(const Json& params);

    const libzepl::CommandLibrary& library_;
    FrameReader reader_;
    std::string output_;
    ClientAbilities client_;
    bool isInitialized_ = false, isShutDown_ = false, isOver_ = false;
    std::int64_t editions_ = 0;
    std::map<std::string, Document> documents_;  // by their addresses
};

}  // namespace cli::lsp
