// The parser of procedures: statements in procedure.cpp, the clauses of declarations in clauses.cpp.
#pragma once

#include <array>
#include <limits>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "runtime/procedure.h"
#include "runtime/procedure/statement_cursor.h"

namespace libzepl {

// The declarations that a clause can be in.
enum Declaration : unsigned { inPipe = 1, inTrigger = 2, inVector = 4 };

// What follows the head of a declaration, and where which clause was given.
struct Clauses {
    std::optional<std::uint64_t> capacity;
    Place capacityPlace;
    std::vector<Number> starts;
    FileClause from, to;
    std::optional<std::int64_t> interleaved;
    enum class Last { none, from, to } last = Last::none;  // the file that was named last
    std::unordered_map<std::string_view, Place> given;

    std::optional<FileClause> source() const { return given.contains("from") ? std::optional(from) : std::nullopt; }
    std::optional<FileClause> target() const { return given.contains("to") ? std::optional(to) : std::nullopt; }
};

class ProcedureParser {
 public:
    using Token = ProcedureToken;

    ProcedureParser(Procedure& procedure, Mistakes& mistakes)
        : procedure_(procedure), mistakes_(mistakes), cursor_(procedure.source.text, mistakes) {}

    void parse();

 private:
    struct ClauseRow {
        std::string_view word;
        unsigned declarations;
        std::string_view needs;     // the clause that must be in the same declaration
        std::string_view excludes;  // the clause that must not
        void (*read)(ProcedureParser&, Clauses&);
    };
    static const std::array<ClauseRow, 13> clauseRows;

    void parseStatement();
    void parseRate(const Token& first);
    void parseFeed(const Token& first);
    void parsePipe();
    void parseTrigger();
    void parseVariable();
    void parseVector();
    void parseCommand(const Token& name);
    Argument parseArgument();
    Argument parseNumberArgument();
    void hideDeclaredNumbers();
    [[noreturn]] void refuseStatement(const Token& first);

    Token takeName(std::string_view wanted);
    ElementType takeType();
    ElementType takeTypeOfDeclaration();
    bool atNumber() const;
    Token takeNumber();
    Number valueOf(const Token& token);
    Number valueOf(const Token& token, ElementType type);
    double takeRate();
    std::int64_t takeCount(const std::string& clause, std::int64_t most = std::numeric_limits<std::int64_t>::max());
    std::uint64_t takeSize(const std::string& clause) { return static_cast<std::uint64_t>(takeCount(clause)); }
    std::vector<Number> takeValues(ElementType type);

    Clauses takeClauses(Declaration declaration);
    const ClauseRow& takeClauseWord(Declaration declaration, Clauses& clauses);
    static std::vector<std::string> clauseWords(Declaration declaration);
    void checkPartners(const Clauses& clauses);
    void checkFrames(const Clauses& clauses);
    void takeCapacity(Clauses& clauses);
    void takeFile(FileClause& file);
    void takeFrom(Clauses& clauses);
    void takeTo(Clauses& clauses);
    void takeFormat(Clauses& clauses);
    void takeColumn(Clauses& clauses);
    void takeColumns(Clauses& clauses);

    Procedure& procedure_;
    Mistakes& mistakes_;
    StatementCursor cursor_;
    ElementType declaredType_ = ElementType::int16;  // of the declaration that is being read
    int lineOfRate_ = 0;
    std::unordered_map<std::string, int> lineOfName_;
};

}  // namespace libzepl
