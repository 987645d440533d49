// The parser of procedures: statements in procedure.cpp, the clauses of declarations in clauses.cpp.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "runtime/expressions/expression.h"
#include "runtime/procedure.h"
#include "runtime/tokens/statement_cursor.h"

namespace libzepl {

// The declarations that a clause can be in.
enum Declaration : unsigned { inPipe = 1, inTrigger = 2, inVector = 4, inTable = 8, inDefinition = 16 };

// What follows the head of a declaration, and where which clause was given.
struct Clauses {
    std::optional<std::uint64_t> capacity;
    Place capacityPlace;
    std::vector<Number> starts;
    FileClause from, to;
    std::optional<std::int64_t> interleaved;
    enum class Last { none, from, to } last = Last::none;  // the file that was named last
    std::unordered_map<std::string_view, Place> given;
    Place sourceRatePlace{}, targetRatePlace{};  // of the number

    std::optional<FileClause> source() const { return given.contains("from") ? std::optional(from) : std::nullopt; }
    std::optional<FileClause> target() const { return given.contains("to") ? std::optional(to) : std::nullopt; }
};

class ProcedureParser {
 public:
    using Token = ProcedureToken;

    ProcedureParser(Procedure& procedure, Mistakes& mistakes)
        : procedure_(procedure), mistakes_(mistakes), cursor_(procedure.source.text, mistakes, functionNames()) {}

    void parse();

    static std::vector<std::string> clauseWords(Declaration declaration);

 private:
    struct ClauseRow {
        std::string_view word;
        unsigned declarations;
        std::string_view needs;     // the clause that must be in the same declaration
        std::string_view excludes;  // the clause that must not
        void (*read)(ProcedureParser&, Clauses&);
    };
    static const std::array<ClauseRow, 15> clauseRows;

    void parseStatement();
    void parseRate(const Token& first);
    void parseFeed(const Token& first);
    void parseConstant();
    void parsePipe();
    void takeDefinition(PipeDeclaration& pipe);
    void parseTrigger();
    void parseVariable();
    void parseVector();
    void parseTable();
    TableColumn takeTableColumn(std::size_t position);
    void parseCommand(const Token& name);
    Argument parseArgument(std::size_t position);
    Argument parseExpressionArgument(const Token& first, std::size_t position);
    Argument elementArgument(Argument argument, const Expression& tree, std::size_t position);
    void parseVectorValues(VectorDeclaration& vector);
    void hideDeclaredNumbers();
    [[noreturn]] void refuseStatement(const Token& first);

    Token takeName(std::string_view wanted);
    ArrayPlace takeArray();
    ElementType takeType();
    ElementType takeTypeOfDeclaration();
    void startDeclaration(Formula::Of of, std::size_t declaration);
    void addFormula(Formula::Goes goes, Expression tree, const Token& first, std::size_t position = 0);
    std::optional<Number> literalOf(const Expression& tree) const;
    // Take the number that goes there; nothing where an expression will give it.
    std::optional<Number> takeQuantity(Formula::Goes goes, std::string_view wanted = "a number");
    std::optional<Number> quantityOf(Expression tree, const Token& first, Formula::Goes goes, std::size_t position);
    std::optional<double> takeRate(Formula::Goes goes);
    std::optional<std::int64_t> takeCount(Formula::Goes goes, std::string_view wanted = "a number");
    std::optional<std::uint64_t> takeSize(Formula::Goes goes);
    std::vector<Number> takeValues(Formula::Goes goes);

    Clauses takeClauses(Declaration declaration, Clauses clauses = {});
    const ClauseRow& takeClauseWord(Declaration declaration, Clauses& clauses);
    void checkPartners(const Clauses& clauses);
    void checkFrames(const Clauses& clauses);
    void takeCapacity(Clauses& clauses);
    void takeFile(FileClause& file);
    void takeFrom(Clauses& clauses);
    void takeTo(Clauses& clauses);
    FileClause& lastFile(Clauses& clauses, std::string_view clause, const Place& place);
    void refuseTwice(bool isGiven, std::string_view clause, const Place& place);
    void takeFormat(Clauses& clauses);
    void takeFileRate(Clauses& clauses);
    void takeTimeout(Clauses& clauses);
    void takeFill(Clauses& clauses);
    void takeChannel(Clauses& clauses);
    void takeColumn(Clauses& clauses);
    void takeColumns(Clauses& clauses);

    Procedure& procedure_;
    Mistakes& mistakes_;
    StatementCursor cursor_;
    ElementType declaredType_ = ElementType::int16;  // of the declaration that is being read
    Formula::Of declaredIn_ = Formula::Of::pipes;    // its list, and its place there
    std::size_t declaration_ = 0;
    int lineOfRate_ = 0;
    std::unordered_map<std::string, int> lineOfName_;
};

}  // namespace libzepl
