// The constants of a procedure, and what else the names in its expressions stand for.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "runtime/expressions/evaluate.h"
#include "runtime/procedure.h"
#include "runtime/tokens/lexer.h"

namespace libzepl {

// Thrown where a value is missing whose own mistake has been reported.
struct ValueMissing {};

class Constants : public Scope {
 public:
    // `settings` and `procedure` must outlive it; the procedure's declarations are looked at when lengths are asked for.
    Constants(const Procedure& procedure, const EvaluationSettings& settings, Mistakes& mistakes);

    // Evaluates all, each after those that it needs.
    void evaluateAll();
    // What evaluating the formula gives; nothing where it has no value, which is reported. `text` is what it stands in, where
    // that is not the procedure.
    std::optional<Number> valueOf(const Formula& formula, const std::shared_ptr<const SourceText>& text = nullptr);
    std::vector<Number> valuesOf(const Formula& formula);
    // The expression that an option's value is; null where it is none, which is reported.
    ExpressionTree parseOption(const std::shared_ptr<const SourceText>& text);
    // Whether an argument of that name is a number.
    bool isNumber(const std::string& name) const;
    // The same in an expression, where the words of commands mean nothing.
    bool standsForNumber(const std::string& name) const;
    // "pipe", "variable" and so on; empty for what is not declared, or is a constant.
    std::string kindOf(const std::string& name) const;

    Number valueOf(const Expression& name) const override;
    Number lengthOf(const Expression& name) const override;

 private:
    struct Entry {
        std::string name;
        std::string calledAs;  // in messages
        Place place;
        ExpressionTree tree;
        std::shared_ptr<const SourceText> text{};  // where an option gives it
        enum class State { untouched, open, done } state = State::untouched;
        std::vector<std::size_t> needs{};
        std::size_t next = 0;  // among them
        std::optional<Number> value{};
    };
    void add(const std::string& name, const Place& place, ExpressionTree tree);
    void addFormula(const Formula& formula);
    void collectNeeds(const Expression& tree, std::vector<std::size_t>& needs) const;
    void evaluateFrom(std::size_t entry);
    void evaluateEntry(Entry& entry);
    void reportCycle(const std::vector<std::size_t>& path, std::size_t again);
    std::optional<std::size_t> entryOf(const std::string& name) const;
    PipeDeclaration readPipe(const Expression& name, const PipeDeclaration& declared) const;
    std::int64_t countOf(const PipeDeclaration& array) const;
    std::int64_t indexOf(const Expression& name, const PipeDeclaration& array) const;
    [[noreturn]] void refuseName(const Expression& name) const;
    [[noreturn]] void refuseUnknown(const Expression& name) const;
    [[noreturn]] void refuseIndex(const Expression& name) const;
    void report(Diagnostic mistake, const std::shared_ptr<const SourceText>& text);
    template <class Evaluate>
    auto guarded(const std::shared_ptr<const SourceText>& text, Evaluate evaluate) -> decltype(evaluate());

    const Procedure& procedure_;
    const EvaluationSettings& settings_;
    Mistakes& mistakes_;
    std::vector<Entry> entries_;
    std::unordered_map<std::string, std::size_t> entryOfName_;
    std::unordered_map<std::string, const char*> kindOfName_;
    std::unordered_map<std::string, const PipeDeclaration*> pipeOfName_;
    std::optional<std::size_t> rateEntry_;
    std::unordered_map<std::string, std::size_t> countEntryOfPipe_;      // of an array whose count is an expression
    std::unordered_map<const Expression*, std::size_t> entryOfFormula_;  // by its tree
    mutable std::map<std::string, Number> lengths_;
};

}  // namespace libzepl
