#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "runtime/signature.h"
#include "runtime/signature/kinds.h"

namespace libzepl {

namespace {

using zepl::ParamMask;
using Arguments = std::vector<ResolvedArgument>;
using NodeForm = SignatureNode::Form;

// A signature as steps that are run with backtracking, as a regular expression can be: it makes a place in the
// signature a number, so that what was tried before can be told by comparing numbers.
struct Step {
    enum class Form { parameter, split, jump, accept };
    Form form = Form::accept;
    const SignatureParameter* parameter = nullptr;
    std::size_t slot = 0;   // of a parameter that others refer to: from 1, its place in the list of references
    std::size_t first = 0;  // where a jump goes, and a split at first
    std::size_t second = 0;
    bool secondLeaves = false;  // whether a split's second way leaves a group out or ends its repeats
};

class Program {
 public:
    explicit Program(const Signature& signature);
    const Step& step(std::size_t at) const { return steps_[at]; }
    std::size_t slots() const { return slots_.size(); }
    // What the references mean when slot s holds the kind `references[s - 1]`, 0 for none yet.
    ReferenceLookup lookup(const std::vector<ParamMask>& references) const;

 private:
    void collectReferences(const SignatureNode& node);
    void collectReferences(const SignatureType& type);
    void compile(const SignatureNode& node);
    void compileParameter(const SignatureParameter& parameter);
    void compileAlternatives(const SignatureNode& node);
    void compileGroup(const SignatureNode& node);
    std::size_t add(Step::Form form);

    std::vector<Step> steps_;
    std::map<std::string, std::size_t> slots_;
};

Program::Program(const Signature& signature) {
    collectReferences(signature.root);
    compile(signature.root);
    add(Step::Form::accept);
}

ReferenceLookup Program::lookup(const std::vector<ParamMask>& references) const {
    return [this, &references](const std::string& name) { return referredBy(references[slots_.at(name) - 1]); };
}

void Program::collectReferences(const SignatureNode& node) {
    collectReferences(node.parameter.type);
    for (const SignatureNode& child : node.children) collectReferences(child);
}

void Program::collectReferences(const SignatureType& type) {
    if (!type.reference.empty()) slots_.try_emplace(type.reference, slots_.size() + 1);
    for (const SignatureType& choice : type.choices) collectReferences(choice);
}

std::size_t Program::add(Step::Form form) {
    steps_.push_back({.form = form});
    return steps_.size() - 1;
}

void Program::compile(const SignatureNode& node) {
    switch (node.form) {
        case NodeForm::parameter:
            return compileParameter(node.parameter);
        case NodeForm::alternatives:
            return compileAlternatives(node);
        case NodeForm::sequence:
            for (const SignatureNode& child : node.children) compile(child);
            return;
        default:
            return compileGroup(node);
    }
}

void Program::compileParameter(const SignatureParameter& parameter) {
    Step& step = steps_[add(Step::Form::parameter)];
    step.parameter = &parameter;
    const auto slot = slots_.find(parameter.name);
    if (slot != slots_.end()) step.slot = slot->second;
}

void Program::compileAlternatives(const SignatureNode& node) {
    std::vector<std::size_t> ends;
    for (std::size_t i = 0; i + 1 < node.children.size(); ++i) {
        const std::size_t split = add(Step::Form::split);
        compile(node.children[i]);
        ends.push_back(add(Step::Form::jump));
        steps_[split].first = split + 1;
        steps_[split].second = steps_.size();
    }
    compile(node.children.back());
    for (std::size_t end : ends) steps_[end].first = steps_.size();
}

void Program::compileGroup(const SignatureNode& node) {
    const bool isRequired = node.form == NodeForm::oneOrMore;
    const std::size_t start = isRequired ? steps_.size() : add(Step::Form::split);
    compile(node.children.front());
    if (node.form == NodeForm::zeroOrMore) steps_[add(Step::Form::jump)].first = start;
    Step& split = steps_[isRequired ? add(Step::Form::split) : start];
    split.first = isRequired ? start : start + 1;
    split.second = steps_.size();
    split.secondLeaves = true;
}

// An argument's place in the signature, and the kind it is passed as.
struct Binding {
    std::size_t step = 0;
    ParamMask kind = 0;
};

// The search for a way through the signature, the preferred ways first. A state is where in the signature, at which
// argument, and with which kinds after the references; one that was tried before fails again, or is a group that
// repeats without taking an argument, so it is never tried twice.
class Search {
 public:
    Search(const Program& program, const Arguments& arguments);

    // Whether there is a way; it is then in path().
    bool run();
    const std::vector<Binding>& path() const { return path_; }

    // After a search in vain: the first of the ways that took the most arguments, and the steps at which the ways that
    // took as many did not continue.
    const std::vector<Binding>& furthestPath() const { return furthestPath_; }
    const std::vector<std::size_t>& stuckSteps() const { return stuckSteps_; }

 private:
    struct State {
        std::size_t step = 0;
        std::size_t argument = 0;
        std::vector<ParamMask> references;
        Binding last;  // of the argument before
    };
    bool isNew(const State& state);
    bool advance(const State& state);  // whether the end was reached
    void follow(const State& state, std::size_t step);
    void take(const State& state, const Step& step);
    void noteStuck(const State& state);

    const Program& program_;
    const Arguments& arguments_;
    std::size_t stateBudget_;
    std::vector<State> open_;
    std::set<std::vector<std::size_t>> tried_;
    std::vector<Binding> path_, furthestPath_;
    std::vector<std::size_t> stuckSteps_;
};

// The kinds of many referred literals can combine without end, so states are limited, fewer where each is larger.
constexpr std::size_t greatestSearch = 1000000;

Search::Search(const Program& program, const Arguments& arguments)
    : program_(program), arguments_(arguments), stateBudget_(greatestSearch / (program.slots() + 2)) {}

bool Search::run() {
    open_.push_back({0, 0, std::vector<ParamMask>(program_.slots()), {}});
    while (!open_.empty()) {
        const State state = std::move(open_.back());
        open_.pop_back();
        if (!isNew(state)) continue;
        if (stateBudget_-- == 0) return false;
        path_.resize(state.argument);
        if (state.argument > 0) path_.back() = state.last;
        if (advance(state)) return true;
    }
    return false;
}

bool Search::isNew(const State& state) {
    std::vector<std::size_t> key{state.step, state.argument};
    key.insert(key.end(), state.references.begin(), state.references.end());
    return tried_.insert(std::move(key)).second;
}

bool Search::advance(const State& state) {
    const Step& step = program_.step(state.step);
    switch (step.form) {
        case Step::Form::accept:
            if (state.argument == arguments_.size()) return true;
            noteStuck(state);
            break;
        case Step::Form::split:
            follow(state, step.second);
            follow(state, step.first);
            break;
        case Step::Form::jump:
            follow(state, step.first);
            break;
        case Step::Form::parameter:
            take(state, step);
            break;
    }
    return false;
}

void Search::follow(const State& state, std::size_t step) {
    open_.push_back(state);
    open_.back().step = step;
}

void Search::take(const State& state, const Step& step) {
    std::vector<ParamMask> kinds;
    if (state.argument < arguments_.size())
        kinds = kindsFor(*step.parameter, arguments_[state.argument], program_.lookup(state.references));
    if (kinds.empty()) return noteStuck(state);
    for (auto kind = kinds.rbegin(); kind != kinds.rend(); ++kind) {
        follow(state, state.step + 1);
        State& next = open_.back();
        ++next.argument;
        next.last = {state.step, *kind};
        if (step.slot != 0) next.references[step.slot - 1] = *kind;
    }
}

void Search::noteStuck(const State& state) {
    if (stuckSteps_.empty() || state.argument > furthestPath_.size()) {
        stuckSteps_.clear();
        furthestPath_ = path_;
    }
    if (state.argument < furthestPath_.size()) return;
    if (std::find(stuckSteps_.begin(), stuckSteps_.end(), state.step) == stuckSteps_.end())
        stuckSteps_.push_back(state.step);
}

std::string describeNumber(const Number& number) {
    if (!holds(ElementType::float32, number)) return "a number beyond float";
    if (!number.isInteger) return "a number with a point";
    if (holds(ElementType::int16, number)) return "a whole number";
    return holds(ElementType::int32, number) ? "a whole number beyond int16" : "a whole number beyond int32";
}

std::string describeArgument(const ResolvedArgument& argument, const std::string& name) {
    const std::string type(nameOf(argument.type));
    switch (argument.kind) {
        case ResolvedArgument::Kind::pipe:
            return quoted(name) + ", a pipe of " + type;
        case ResolvedArgument::Kind::trigger:
            return quoted(name) + ", a trigger";
        case ResolvedArgument::Kind::variable:
            return quoted(name) + ", a variable of " + type;
        case ResolvedArgument::Kind::vector:
            return quoted(name) + ", a vector of " + type;
        case ResolvedArgument::Kind::number:
            return name + ", " + (argument.typed ? "a constant of " + type : describeNumber(argument.number));
        case ResolvedArgument::Kind::text:
            return quoted(name) + ", a text";
        default:
            return quoted(name) + ", a word";
    }
}

// The explanation, written along the way that takes the most arguments.
class Explanation {
 public:
    Explanation(const Program& program, const Arguments& arguments, const std::vector<std::string>& names)
        : program_(program), arguments_(arguments), names_(names), references_(program.slots()) {}
    std::string of(const Search& search);

 private:
    void addFitting(const std::vector<Binding>& path);
    void addStuck(const std::vector<std::size_t>& steps, std::size_t position);
    void addMissing(std::size_t step, std::size_t position);
    std::string wanted(std::size_t step) const;
    std::string given(std::size_t position) const;
    void addLine(std::size_t position, const std::string& line);

    const Program& program_;
    const Arguments& arguments_;
    const std::vector<std::string>& names_;
    std::vector<ParamMask> references_;
    std::string text_;
};

std::string Explanation::of(const Search& search) {
    const std::vector<Binding>& path = search.furthestPath();
    addFitting(path);
    if (path.size() < arguments_.size())
        addStuck(search.stuckSteps(), path.size());
    else
        addMissing(path.empty() ? 0 : path.back().step + 1, path.size());
    return text_;
}

void Explanation::addFitting(const std::vector<Binding>& path) {
    for (std::size_t i = 0; i < path.size(); ++i) {
        addLine(i, wanted(path[i].step) + "; given " + given(i));
        const std::size_t slot = program_.step(path[i].step).slot;
        if (slot != 0) references_[slot - 1] = path[i].kind;
    }
}

void Explanation::addStuck(const std::vector<std::size_t>& steps, std::size_t position) {
    std::vector<std::string> wishes;
    bool mayEnd = false;
    for (std::size_t at : steps) {
        if (program_.step(at).form == Step::Form::accept) {
            mayEnd = true;
        } else if (const std::string wish = wanted(at); std::find(wishes.begin(), wishes.end(), wish) == wishes.end()) {
            wishes.push_back(wish);
        }
    }
    std::string line;
    for (const std::string& wish : wishes) line += (line.empty() ? "" : "; or ") + wish;
    if (mayEnd) line += line.empty() ? "too many parameters" : "; or no more parameters";
    addLine(position, line + "; but given " + given(position));
}

// What a list that ends too early lacks: the parameters that no shorter way leaves out.
void Explanation::addMissing(std::size_t at, std::size_t position) {
    for (const Step* step = &program_.step(at); step->form != Step::Form::accept; step = &program_.step(at)) {
        if (step->form == Step::Form::parameter) {
            addLine(position++, wanted(at) + "; missing");
            ++at;
        } else {
            at = step->secondLeaves ? step->second : step->first;
        }
    }
}

std::string Explanation::wanted(std::size_t step) const {
    const SignatureParameter& parameter = *program_.step(step).parameter;
    return parameter.name + ": " + describe(parameter, program_.lookup(references_));
}

std::string Explanation::given(std::size_t position) const {
    return describeArgument(arguments_[position], names_[position]);
}

void Explanation::addLine(std::size_t position, const std::string& line) {
    text_ += "  " + std::to_string(position + 1) + " " + line + "\n";
}

}  // namespace

std::optional<std::vector<BoundArgument>> matchSignature(const Signature& signature, const Arguments& arguments) {
    const Program program(signature);
    Search search(program, arguments);
    if (!search.run()) return std::nullopt;
    std::vector<BoundArgument> bound;
    for (const Binding& binding : search.path()) bound.push_back({binding.kind, program.step(binding.step).parameter});
    return bound;
}

std::string explainMismatch(const Signature& signature, const Arguments& arguments,
                            const std::vector<std::string>& names) {
    const Program program(signature);
    Search search(program, arguments);
    return search.run() ? std::string() : Explanation(program, arguments, names).of(search);
}

}  // namespace libzepl
