#include "runtime/procedure/constants.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

#include "runtime/expressions/parser.h"
#include "runtime/files/stream_wait.h"
#include "runtime/procedure/quantities.h"

namespace libzepl {

namespace {

constexpr std::string_view rateName = "rate";
constexpr std::string_view notNamed = "an expression has numbers, constants, functions, `pi`, `inf`, `nan` and `rate`";

Number realOf(double value) {
    Number number;
    number.real = value;
    return number;
}

std::optional<Number> knownNumber(std::string_view name) {
    if (name == "pi") return realOf(std::numbers::pi);
    if (name == "inf") return realOf(std::numeric_limits<double>::infinity());
    if (name == "nan") return realOf(std::numeric_limits<double>::quiet_NaN());
    return std::nullopt;
}

// A rate that is whole counts as an integer, however it was written.
Number rateNumber(double rate) {
    Number number = realOf(rate);
    number.isInteger = std::floor(rate) == rate && rate < 0x1p53;
    if (number.isInteger) number.integer = static_cast<std::int64_t>(rate);
    return number;
}

}  // namespace

Constants::Constants(const Procedure& procedure, const EvaluationSettings& settings, Mistakes& mistakes)
    : procedure_(procedure), settings_(settings), mistakes_(mistakes) {
    const auto addKind = [&](const auto& list, const char* kind) {
        for (const auto& each : list) kindOfName_.emplace(each.name, kind);
    };
    addKind(procedure.pipes, "pipe");
    addKind(procedure.triggers, "trigger");
    addKind(procedure.variables, "variable");
    addKind(procedure.vectors, "vector");
    for (const PipeDeclaration& pipe : procedure.pipes) pipeOfName_.emplace(pipe.name, &pipe);
    for (const ConstantDeclaration& each : procedure.constants) add(each.name, each.place, each.tree);
    for (const Formula& formula : procedure.formulas) addFormula(formula);
}

// The rate and the counts of arrays are what other expressions can need.
void Constants::addFormula(const Formula& formula) {
    const bool isRate = formula.goes == Formula::Goes::rate;
    if (!isRate && formula.goes != Formula::Goes::elements) return;
    Entry entry{.name = std::string(rateName), .calledAs = "`rate`", .place = formula.place, .tree = formula.tree};
    if (isRate) {
        rateEntry_ = entries_.size();
    } else if (formula.of == Formula::Of::pipes) {
        entry.name = procedure_.pipes[formula.declaration].name;
        entry.calledAs = "the count of " + quoted(entry.name);
        countEntryOfPipe_.emplace(entry.name, entries_.size());
    } else {
        return;
    }
    entryOfFormula_.emplace(formula.tree.get(), entries_.size());
    entries_.push_back(std::move(entry));
}

void Constants::add(const std::string& name, const Place& place, ExpressionTree tree) {
    Entry entry{.name = name, .calledAs = quoted(name), .place = place, .tree = std::move(tree)};
    if (const auto given = settings_.values.find(name); given != settings_.values.end()) {
        entry.text = std::make_shared<SourceText>(SourceText{"--set " + name, given->second});
        entry.tree = parseOption(entry.text);
        entry.place = {1, 1, static_cast<int>(given->second.size())};
        if (!entry.tree) entry.state = Entry::State::done;
    }
    entryOfName_.emplace(name, entries_.size());
    entries_.push_back(std::move(entry));
}

ExpressionTree Constants::parseOption(const std::shared_ptr<const SourceText>& text) {
    std::vector<Diagnostic> found;
    ExpressionTree tree;
    Mistakes mistakes(found);
    StatementCursor cursor(text->text, mistakes, functionNames());
    try {
        tree = std::make_shared<Expression>(takeExpression(cursor, "a number"));
        if (cursor.hasStatement()) cursor.refuse("an operator or the end of the value");
    } catch (const StatementBroken&) {
        tree = nullptr;
    }
    for (Diagnostic& mistake : found) report(std::move(mistake), text);
    return found.empty() ? tree : nullptr;
}

// A mistake in an option has no place in the procedure: the option's text is shown with the message.
void Constants::report(Diagnostic mistake, const std::shared_ptr<const SourceText>& text) {
    if (text) {
        const std::string block = render({mistake.severity, mistake.place, mistake.message, {}}, *text);
        mistake.message = text->name + ": " + mistake.message;
        for (std::size_t at = block.find('\n'); at + 1 < block.size();) {
            const std::size_t end = block.find('\n', at + 1);
            mistake.message += '\n' + block.substr(at + 3, end - at - 3);
            at = end;
        }
        mistake.place = {};
    }
    mistakes_.add(std::move(mistake));
}

template <class Evaluate>
auto Constants::guarded(const std::shared_ptr<const SourceText>& text, Evaluate evaluate) -> decltype(evaluate()) {
    try {
        return evaluate();
    } catch (const ExpressionRefused& refused) {
        report(refused.mistake, text);
    } catch (const ValueMissing&) {
    }
    return {};
}

void Constants::evaluateAll() {
    for (Entry& entry : entries_)
        if (entry.tree) collectNeeds(*entry.tree, entry.needs);
    for (std::size_t i = 0; i < entries_.size(); ++i) evaluateFrom(i);
}

void Constants::collectNeeds(const Expression& tree, std::vector<std::size_t>& needs) const {
    if (tree.form == Expression::Form::name)
        if (const auto entry = entryOf(tree.name)) needs.push_back(*entry);
    // The name in `length(name[index])` stands for no number.
    const bool isLength = tree.form == Expression::Form::call && tree.function->kind == Function::Kind::length;
    if (isLength)
        if (const auto count = countEntryOfPipe_.find(tree.operands[0].name); count != countEntryOfPipe_.end())
            needs.push_back(count->second);
    for (const Expression& operand : isLength ? tree.operands[0].operands : tree.operands) collectNeeds(operand, needs);
}

std::optional<std::size_t> Constants::entryOf(const std::string& name) const {
    if (const auto found = entryOfName_.find(name); found != entryOfName_.end()) return found->second;
    return name == rateName && !kindOfName_.contains(name) ? rateEntry_ : std::nullopt;
}

// Walks what the entry needs with a path of its own, since chains of constants can be longer than a stack is deep.
void Constants::evaluateFrom(std::size_t start) {
    if (entries_[start].state != Entry::State::untouched) return;
    std::vector<std::size_t> path{start};
    entries_[start].state = Entry::State::open;
    while (!path.empty()) {
        Entry& entry = entries_[path.back()];
        if (entry.next == entry.needs.size()) {
            if (entry.state == Entry::State::open) evaluateEntry(entry);
            entry.state = Entry::State::done;
            path.pop_back();
            continue;
        }
        const std::size_t needed = entry.needs[entry.next++];
        Entry& other = entries_[needed];
        if (other.state == Entry::State::open) {
            reportCycle(path, needed);
        } else if (other.state == Entry::State::untouched) {
            other.state = Entry::State::open;
            path.push_back(needed);
        }
    }
}

void Constants::evaluateEntry(Entry& entry) {
    entry.value = guarded(entry.text, [&] { return std::optional(evaluate(*entry.tree, *this)); });
}

// All along a cycle are done with, without a value.
void Constants::reportCycle(const std::vector<std::size_t>& path, std::size_t again) {
    const auto start = std::find(path.begin(), path.end(), again);
    std::string names;
    for (auto each = start; each != path.end(); ++each) {
        names += entries_[*each].calledAs + " needs ";
        entries_[*each].state = Entry::State::done;
    }
    const Entry& first = entries_[again];
    report({Severity::error, first.place, names + first.calledAs + ": they have no value",
            "a constant is computed from others, never from itself"},
           first.text);
}

bool Constants::isNumber(const std::string& name) const {
    if (entryOfName_.contains(name)) return true;
    if (kindOfName_.contains(name)) return false;
    const bool isKnown = name == rateName || knownNumber(name);
    return isKnown && std::find(settings_.words.begin(), settings_.words.end(), name) == settings_.words.end();
}

bool Constants::standsForNumber(const std::string& name) const {
    if (entryOfName_.contains(name)) return true;
    return !kindOfName_.contains(name) && (name == rateName || knownNumber(name));
}

std::string Constants::kindOf(const std::string& name) const {
    const auto found = kindOfName_.find(name);
    return found == kindOfName_.end() ? "" : found->second;
}

Number Constants::valueOf(const Expression& name) const {
    if (name.form == Expression::Form::index) refuseIndex(name);
    if (const auto entry = entryOf(name.name)) {
        if (!entries_[*entry].value) throw ValueMissing();
        return *entries_[*entry].value;
    }
    if (kindOfName_.contains(name.name)) refuseName(name);
    if (const auto known = knownNumber(name.name)) return *known;
    if (name.name != rateName) refuseName(name);
    if (!procedure_.rate)
        refuseExpression(name.place, "`rate` is the rate that the procedure states, and it states none",
                         "add it: rate NUMBER");
    return rateNumber(*procedure_.rate);
}

void Constants::refuseName(const Expression& name) const {
    const std::string kind = kindOf(name.name), which = quoted(name.name);
    if (kind == "pipe")
        refuseExpression(name.place, which + " is a pipe, and this is computed before samples flow",
                         "commands work on pipes; `length(" + name.name + ")` is how many frames its recording has");
    if (kind == "variable")
        refuseExpression(name.place, which + " is a variable, which can change while the procedure runs",
                         "numbers that stay are declared as constant NAME = EXPRESSION");
    if (!kind.empty())
        refuseExpression(name.place, which + " is a " + kind + ", and a number is wanted", std::string(notNamed));
    refuseUnknown(name);
}

// An element or a past sample stands for no number before a procedure runs.
void Constants::refuseIndex(const Expression& name) const {
    const std::string kind = kindOf(name.name), which = quoted(name.name);
    if (kind == "pipe")
        refuseExpression(name.place,
                         "samples of " + which + " come while the procedure runs, and this is computed before",
                         "a pipe that an expression defines can use them: pipe NAME : TYPE = EXPRESSION");
    if (kind == "variable")
        refuseExpression(name.place,
                         "elements of " + which + " are variables, which can change while the procedure runs",
                         "numbers that stay are declared as constant NAME = EXPRESSION");
    if (!kind.empty())
        refuseExpression(name.place, "elements of " + which + " are " + kind + "s, and a number is wanted",
                         std::string(notNamed));
    if (isNumber(name.name))
        refuseExpression(name.place, which + " is one number, which has no elements", "write " + which + " alone");
    refuseUnknown(name);
}

void Constants::refuseUnknown(const Expression& name) const {
    const std::string which = quoted(name.name);
    std::vector<std::string> known{"pi", "inf", "nan", std::string(rateName)};
    for (const Entry& entry : entries_)
        if (entryOfName_.contains(entry.name)) known.push_back(entry.name);
    const std::string near = suggestion(name.name, known);
    refuseExpression(name.place, "unknown name " + which, near.empty() ? std::string(notNamed) : near);
}

Number Constants::lengthOf(const Expression& name) const {
    const auto declared = pipeOfName_.find(name.name);
    if (declared == pipeOfName_.end()) {
        std::vector<std::string> names;
        for (const auto& each : pipeOfName_) names.push_back(each.first);
        std::sort(names.begin(), names.end());
        refuseExpression(name.place, "`length` takes the name of a pipe, and " + quoted(name.name) + " is none",
                         suggestion(name.name, names));
    }
    const PipeDeclaration pipe = readPipe(name, *declared->second);
    if (const auto known = lengths_.find(pipe.name); known != lengths_.end()) return known->second;
    try {
        Number frames;
        frames.isInteger = true;
        frames.integer = static_cast<std::int64_t>(settings_.frames(procedure_, pipe));
        frames.real = static_cast<double>(frames.integer);
        return lengths_[pipe.name] = frames;
    } catch (const Interrupted&) {
        throw;
    } catch (const Problem& problem) {
        refuseExpression(name.place, problem.what(), problem.remedy());
    }
}

// The pipe that the argument of `length` names: an element, a whole array with its count, or a pipe that is neither.
PipeDeclaration Constants::readPipe(const Expression& name, const PipeDeclaration& declared) const {
    PipeDeclaration pipe = declared;
    if (declared.array.isWhole()) pipe.array.count = countOf(declared);
    if (name.form == Expression::Form::name) return pipe;
    if (!declared.array.isWhole())
        refuseExpression(name.place, quoted(name.name) + " is one pipe, which has no elements",
                         "write length(" + name.name + ")");
    return elementOf(pipe, indexOf(name, pipe));
}

std::int64_t Constants::countOf(const PipeDeclaration& array) const {
    const auto entry = countEntryOfPipe_.find(array.name);
    if (entry == countEntryOfPipe_.end()) return array.array.count;
    const std::optional<Number>& count = entries_[entry->second].value;
    if (!count || mistakeOf(quantityAt(Formula::Goes::elements, array.type), *count, "")) throw ValueMissing();
    return count->integer;
}

std::int64_t Constants::indexOf(const Expression& name, const PipeDeclaration& array) const {
    if (name.operands.size() > 1) refuseExpression(name.place, "`length` takes the name of a pipe");
    const Number index = evaluate(name.operands[0], *this);
    if (auto mistake = mistakeOf(quantityAt(Formula::Goes::element, array.type), index, textOf(index)))
        refuseExpression(name.operands[0].place, mistake->message);
    if (auto mistake = indexMistake(array.name, array.array.count, index.integer, name.place))
        refuseExpression(mistake->place, mistake->message, mistake->remedy);
    return index.integer;
}

std::optional<Number> Constants::valueOf(const Formula& formula, const std::shared_ptr<const SourceText>& text) {
    if (const auto entry = entryOfFormula_.find(formula.tree.get()); entry != entryOfFormula_.end())
        return entries_[entry->second].value;
    return guarded(text, [&] { return std::optional(evaluate(*formula.tree, *this)); });
}

std::vector<Number> Constants::valuesOf(const Formula& formula) {
    return guarded(nullptr, [&] { return evaluateVector(*formula.tree, *this, settings_.maxValues); });
}

}  // namespace libzepl
