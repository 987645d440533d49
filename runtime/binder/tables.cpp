#include "runtime/binder/tables.h"

#include <utility>

#include "runtime/binder/option_names.h"

namespace libzepl {

namespace {

constexpr const char* whatColumnsAre = "a column is a pipe, or `index`, `seconds` or `hertz`, which count";

bool isCountingWord(const std::string& name) { return name == "index" || name == "seconds" || name == "hertz"; }

}  // namespace

TableBinder::TableBinder(const Procedure& procedure, const DeclaredNames& names, std::vector<Diagnostic>& diagnostics)
    : procedure_(procedure), names_(names), diagnostics_(diagnostics) {
    for (const PipeDeclaration& pipe : procedure.pipes) {
        pipesByName_.emplace(pipe.name, &pipe);
        if (pipe.array.isElement()) arrays_[pipe.array.name].push_back(&pipe);
    }
}

std::optional<BoundTable> TableBinder::bind(const TableDeclaration& declared) {
    table_.emplace();
    table_->declared = &declared;
    seen_.clear();
    isRefused_ = false;
    for (const TableColumn& column : declared.columns) addColumn(column);
    if (!isRefused_ && table_->members.empty())
        refuse(declared.place, "no column of the table is a pipe, so it would have no rows",
               "name a pipe among its columns");
    if (isRefused_) return std::nullopt;
    return std::move(table_);
}

void TableBinder::refuse(const Place& place, std::string message, std::string remedy) {
    diagnostics_.push_back({Severity::error, place, std::move(message), std::move(remedy)});
    isRefused_ = true;
}

// A declared pipe hides the word of its name.
void TableBinder::addColumn(const TableColumn& column) {
    if (column.element) return addElement(column);
    const auto array = arrays_.find(column.name);
    if (array == arrays_.end()) return addNamed(column, column.name);
    if (column.every) return refuseStep(column, "an array of pipes");
    if (!seen_.insert(column.name).second) return refuseAgain(column, column.name);
    for (const PipeDeclaration* element : array->second) addNamed(column, element->name);
}

void TableBinder::addElement(const TableColumn& column) {
    const auto array = arrays_.find(column.name);
    if (array != arrays_.end()) {
        const auto count = static_cast<std::int64_t>(array->second.size());
        if (const auto mistake = indexMistake(column.name, count, *column.element, column.place))
            return refuse(mistake->place, mistake->message, mistake->remedy);
        return addNamed(column, elementName(column.name, *column.element));
    }
    if (isRefused(column.name)) return;
    const std::string name = libzepl::quoted(column.name), kind = kindDeclared(procedure_, column.name);
    if (kind.empty() && !isCountingWord(column.name)) return refuseName(column);
    refuse(column.place, kind.empty() ? name + " counts, and has no elements" : name + " is no array of pipes",
           "write " + name + " alone");
}

// Whether the name was declared with a mistake, which has been reported. Then the table is refused, too.
bool TableBinder::isRefused(const std::string& name) {
    const auto pipe = pipesByName_.find(name);
    const bool isOfUnknownCount = pipe != pipesByName_.end() && pipe->second->array.isWhole();
    const bool was = names_.refused.contains(name) || isOfUnknownCount;
    isRefused_ |= was;
    return was;
}

void TableBinder::addNamed(const TableColumn& column, const std::string& name) {
    if (!seen_.insert(name).second) return refuseAgain(column, name);
    if (isRefused(name)) return;
    if (const auto pipe = pipesByName_.find(name); pipe != pipesByName_.end())
        addPipe(column, *pipe->second);
    else if (isCountingWord(name))
        addCounting(column);
    else
        refuseName(column);
}

void TableBinder::addPipe(const TableColumn& column, const PipeDeclaration& pipe) {
    if (column.every) return refuseStep(column, "a pipe");
    const int channels = static_cast<int>(pipe.interleaved.value_or(1));
    table_->members.push_back({names_.pipes.at(pipe.name), static_cast<std::uint64_t>(channels)});
    table_->columns.push_back({.heading = pipe.name, .type = pipe.type, .channels = channels});
}

void TableBinder::refuseAgain(const TableColumn& column, const std::string& name) {
    refuse(column.place, libzepl::quoted(name) + " is a column of this table already", "name it once");
}

void TableBinder::refuseStep(const TableColumn& column, const std::string& what) {
    refuse(column.place, libzepl::quoted(column.name) + " is " + what + ", and `every` is the step of a count",
           isCountingWord(column.name) ? "give the pipe another name, or leave `every` out"
                                       : "leave `every` out; `seconds every ...` is a column of its own");
}

void TableBinder::addCounting(const TableColumn& column) {
    if (column.name == "hertz" && !column.every)
        return refuse(column.place, "`hertz` is given no step",
                      "write `hertz every R / N` for the spectrum of N samples at the rate R");
    if (column.name == "seconds" && !column.every) table_->byRate.push_back(table_->columns.size());
    table_->columns.push_back({.heading = column.name, .counting = Counting{.step = column.every.value_or(1)}});
}

void TableBinder::refuseName(const TableColumn& column) {
    const std::string kind = kindDeclared(procedure_, column.name);
    if (kind == "trigger")
        return refuse(column.place, libzepl::quoted(column.name) + " is a trigger, and its events are no samples",
                      "give it a file of its own: trigger " + column.name + " to FILE with seconds");
    if (!kind.empty())
        return refuse(column.place, libzepl::quoted(column.name) + " is a " + kind + ", and no column", whatColumnsAre);
    std::vector<std::string> known{"index", "seconds", "hertz"};
    for (const PipeDeclaration& pipe : procedure_.pipes) known.push_back(pipe.name);
    const std::string near = suggestion(column.name, known);
    refuse(column.place, "unknown column " + libzepl::quoted(column.name), near.empty() ? whatColumnsAre : near);
}

bool BoundTable::setRate(double rate) {
    for (const std::size_t column : byRate) columns[column].counting->rate = rate;
    return !byRate.empty();
}

}  // namespace libzepl
