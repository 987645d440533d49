#include "runtime/expressions/parser.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "runtime/wording.h"

namespace libzepl {

namespace {

using Token = ProcedureToken;
using Kind = Token::Kind;
using Form = Expression::Form;
using Operation = Expression::Operation;

// Both keep a tree from being walked deeper than a stack is.
constexpr int maxNesting = 200;
constexpr int maxDepth = 2000;
constexpr std::size_t maxIndices = 2;
constexpr std::string_view operandWanted = "a number, a name or `(`";

struct OperatorRow {
    std::string_view mark;
    int level;  // of precedence, from weak to strong
    Operation operation;
};

constexpr int comparisons = 0, levels = 3;
constexpr std::array<OperatorRow, 11> operators{{
    {"<", comparisons, Operation::less},
    {"<=", comparisons, Operation::lessEqual},
    {">", comparisons, Operation::greater},
    {">=", comparisons, Operation::greaterEqual},
    {"==", comparisons, Operation::equal},
    {"!=", comparisons, Operation::unequal},
    {"+", 1, Operation::add},
    {"-", 1, Operation::subtract},
    {"*", 2, Operation::multiply},
    {"/", 2, Operation::divide},
    {"%", 2, Operation::remainder},
}};

class ExpressionParser {
 public:
    ExpressionParser(StatementCursor& cursor, std::string_view wanted) : cursor_(cursor), wanted_(wanted) {}

    Expression take() { return takeLevel(comparisons); }

 private:
    Expression takeLevel(int level);
    Expression takeSigned();
    Expression takePower(const Token* sign);
    Expression takeOperand();
    Expression takeName(const Token& name);
    Expression takeCall(const Token& name);
    Expression takeNumber(const Token* sign, const Token& number);
    std::optional<Operation> operationHere(int level) const;
    Expression nodeOf(Form form, Operation operation, const Place& place, std::vector<Expression> operands) const;
    void checkArguments(const Function& function, const Token& name, const std::vector<Expression>& arguments) const;

    [[noreturn]] void refuseDepth(const Place& place) const {
        cursor_.refuseAt(place, "the expression is nested too deeply",
                         "give parts of it names: constant NAME = EXPRESSION");
    }

    StatementCursor& cursor_;
    std::string_view wanted_;
    int nesting_ = 0;
};

std::optional<Operation> ExpressionParser::operationHere(int level) const {
    const Token& next = cursor_.peek();
    if (next.kind != Kind::mark) return std::nullopt;
    for (const OperatorRow& row : operators)
        if (row.level == level && row.mark == next.text) return row.operation;
    return std::nullopt;
}

Expression ExpressionParser::nodeOf(Form form, Operation operation, const Place& place,
                                    std::vector<Expression> operands) const {
    Expression node;
    node.form = form;
    node.operation = operation;
    node.place = place;
    for (const Expression& operand : operands) node.depth = std::max(node.depth, operand.depth + 1);
    node.operands = std::move(operands);
    if (node.depth > maxDepth) refuseDepth(place);
    return node;
}

// A list in braces would copy.
template <class... Operands>
std::vector<Expression> listOf(Operands... operands) {
    std::vector<Expression> list;
    (list.push_back(std::move(operands)), ...);
    return list;
}

Expression ExpressionParser::takeLevel(int level) {
    if (level == levels) return takeSigned();
    Expression left = takeLevel(level + 1);
    while (const std::optional<Operation> operation = operationHere(level)) {
        const Place place = cursor_.take().place;
        left = nodeOf(Form::arithmetic, *operation, place, listOf(std::move(left), takeLevel(level + 1)));
        if (level == comparisons && operationHere(level))
            cursor_.refuseAt(cursor_.peek().place, "a comparison of a comparison", "put one of the two in parentheses");
    }
    return left;
}

Expression ExpressionParser::takeSigned() {
    if (++nesting_ > maxNesting) refuseDepth(cursor_.peek().place);
    const Token& next = cursor_.peek();
    if (!next.isMark('-') && !next.isMark('+')) {
        Expression operand = takePower(nullptr);
        --nesting_;
        return operand;
    }
    const Token sign = cursor_.take();
    wanted_ = operandWanted;
    const bool isNumber = cursor_.peek().kind == Kind::number || isNumberWord(cursor_.peek().text);
    Expression operand = isNumber ? takePower(&sign) : takeSigned();
    --nesting_;
    if (isNumber) return operand;
    return nodeOf(Form::sign, sign.isMark('-') ? Operation::subtract : Operation::add, sign.place,
                  listOf(std::move(operand)));
}

// A number with a sign is one number, but for the base of a power: -2 ^ 2 is -4.
Expression ExpressionParser::takePower(const Token* sign) {
    std::optional<Token> number;
    if (sign != nullptr) number = cursor_.take();
    const bool isBase = cursor_.peek().isMark('^');
    Expression base = !number ? takeOperand() : takeNumber(isBase ? nullptr : sign, *number);
    if (!cursor_.peek().isMark('^')) return base;
    const Place place = cursor_.take().place;
    Expression power = nodeOf(Form::arithmetic, Operation::power, place, listOf(std::move(base), takeSigned()));
    if (sign == nullptr || !sign->isMark('-')) return power;
    return nodeOf(Form::sign, Operation::subtract, sign->place, listOf(std::move(power)));
}

Expression ExpressionParser::takeOperand() {
    const Token& next = cursor_.peek();
    if (next.kind != Kind::word && next.kind != Kind::number && !next.isMark('(')) cursor_.refuse(wanted_);
    wanted_ = operandWanted;
    const Token token = cursor_.take();
    if (token.kind == Kind::number) return takeNumber(nullptr, token);
    if (token.kind == Kind::word) return cursor_.peek().isMark('(') ? takeCall(token) : takeName(token);
    Expression inner = takeLevel(comparisons);
    cursor_.takeMark(')', "an operator or `)`");
    inner.inParentheses = true;
    return inner;
}

// A name with the indices after it.
Expression ExpressionParser::takeName(const Token& name) {
    std::vector<Expression> indices;
    while (cursor_.peek().isMark('[')) {
        if (indices.size() == maxIndices)
            cursor_.refuse("an operator", "the element of an array, and then a past sample of it, are indices enough");
        cursor_.take();
        indices.push_back(takeLevel(comparisons));
        cursor_.takeMark(']', "an operator or `]`");
    }
    const bool isPlain = indices.empty();
    Expression node = nodeOf(isPlain ? Form::name : Form::index, Operation::add, name.place, std::move(indices));
    if (!isPlain) node.place = cursor_.placeSince(name);
    node.name = name.text;
    return node;
}

Expression ExpressionParser::takeNumber(const Token* sign, const Token& number) {
    const std::string text = (sign == nullptr ? std::string() : std::string(sign->text)) + std::string(number.text);
    const Place place = sign == nullptr ? number.place : cursor_.placeSince(*sign);
    const std::optional<Number> value = parseNumber(text);
    if (!value) cursor_.refuseAt(place, whyNoNumber(text));
    Expression node = nodeOf(Form::number, Operation::add, place, {});
    node.number = *value;
    node.number.place = place;
    return node;
}

Expression ExpressionParser::takeCall(const Token& name) {
    const auto function = std::find_if(allFunctions().begin(), allFunctions().end(),
                                       [&](const Function& each) { return each.name == name.text; });
    if (function == allFunctions().end()) {
        const std::string near = suggestion(name.text, {functionNames().begin(), functionNames().end()});
        cursor_.refuseAt(name.place, "unknown function " + quoted(name.text),
                         near.empty()
                             ? "the functions are " + joined({functionNames().begin(), functionNames().end()}, " and ")
                             : near);
    }
    cursor_.takeMark('(', "`(`");
    std::vector<Expression> arguments;
    if (!cursor_.peek().isMark(')')) {
        do arguments.push_back(takeLevel(comparisons));
        while (cursor_.takeIf(','));
    }
    cursor_.takeMark(')', "`,` or `)`");
    checkArguments(*function, name, arguments);
    Expression call = nodeOf(Form::call, Operation::add, name.place, std::move(arguments));
    call.function = &*function;
    return call;
}

void ExpressionParser::checkArguments(const Function& function, const Token& name,
                                      const std::vector<Expression>& arguments) const {
    const std::size_t n = arguments.size();
    if (n < function.least || n > function.most) {
        const std::string least = std::to_string(function.least);
        cursor_.refuseAt(name.place, quoted(name.text) + " takes " +
                                         (function.least == function.most ? counted(function.least, "argument")
                                          : function.most == function.least + 1
                                              ? least + " or " + std::to_string(function.most) + " arguments"
                                              : "at least " + least + " arguments") +
                                         ", not " + std::to_string(n));
    }
    if (function.kind == Function::Kind::length && arguments[0].form != Form::name && arguments[0].form != Form::index)
        cursor_.refuseAt(arguments[0].place, "`length` takes the name of a pipe");
}

}  // namespace

Expression takeExpression(StatementCursor& cursor, std::string_view wanted) {
    return ExpressionParser(cursor, wanted).take();
}

Expression takeSeries(StatementCursor& cursor, Expression body) {
    const Token word = cursor.takeWord("`for`");
    Expression series;
    series.form = Form::series;
    series.place = word.place;
    series.name = cursor.takeWord("the name that counts").text;
    cursor.takeMark('=', "`=` and the first value of " + quoted(series.name));
    series.operands.push_back(std::move(body));
    series.operands.push_back(takeExpression(cursor, "a number"));
    if (cursor.peek().kind != Kind::word || cursor.peek().text != "to")
        cursor.refuse("`to` and the last value of " + quoted(series.name));
    cursor.take();
    series.operands.push_back(takeExpression(cursor, "a number"));
    return series;
}

bool isNumberWord(std::string_view name) { return name == "nan" || name == "inf"; }

}  // namespace libzepl
