#include "runtime/binder/option_names.h"

#include <algorithm>
#include <map>
#include <string>
#include <type_traits>
#include <utility>

#include "runtime/wording.h"

namespace libzepl {

namespace {

template <class Declaration>
ArrayPlace arrayOf(const Declaration& declared) {
    if constexpr (std::is_same_v<Declaration, ConstantDeclaration>)
        return {};
    else
        return declared.array;
}

// "it declares `a`, `b`", for a name that is none of them.
std::string declaredOnes(const std::vector<std::string>& names) {
    std::string list;
    for (const std::string& name : names) list += (list.empty() ? "" : ", ") + libzepl::quoted(name);
    return list.empty() ? "it declares none" : "it declares " + list;
}

// What some of the declarations give to name: what is no array, elements, and arrays.
class KnownOptions {
 public:
    template <class... Lists>
    explicit KnownOptions(const Lists&... lists) {
        (add(lists), ...);
    }

    bool has(const std::string& name) const { return names_.contains(name) || arrays_.contains(name); }
    // In the order of declaration, arrays by their own names.
    const std::vector<std::string>& listed() const { return listed_; }
    // The elements of the array that such a name as `a[9]` is of; 0 where it is of none.
    std::int64_t countOf(const std::string& array) const {
        const auto found = arrays_.find(array);
        return found == arrays_.end() ? 0 : found->second;
    }

 private:
    void add(const std::vector<TableDeclaration>& tables) {
        for (const TableDeclaration& table : tables) {
            names_.emplace(table.to.path, 0);
            listed_.push_back(table.to.path);
        }
    }
    template <class Declarations>
    void add(const Declarations& list) {
        for (const auto& each : list) {
            const ArrayPlace array = arrayOf(each);
            names_.emplace(each.name, 0);
            if (array.isElement() && !arrays_.emplace(array.name, array.count).second) continue;
            listed_.push_back(array.isElement() ? array.name : each.name);
        }
    }

    std::map<std::string, std::int64_t> names_, arrays_;
    std::vector<std::string> listed_;
};

class OptionNames {
 public:
    OptionNames(const Procedure& procedure, std::vector<Diagnostic>& diagnostics)
        : procedure_(procedure), diagnostics_(diagnostics) {}

    // What the caller names without an option's words.
    template <class Names>
    void check(const Names& given, const std::string& what, const KnownOptions& known) {
        for (const auto& each : given) {
            if constexpr (requires { each.first; })
                checkName(each.first, what, known);
            else
                checkName(each, what, known);
        }
    }

    void check(const std::map<std::string, std::string>& given, const std::string& option, const std::string& what,
               const KnownOptions& known) {
        for (const auto& [name, value] : given) {
            const std::string start = option + " " + name + "=" + value + ": ";
            if (option != "--set" && triggers_.countOf(name) != 0)
                add(start + "a file has the events of one trigger, and " + libzepl::quoted(name) + " has " +
                        counted(static_cast<std::uint64_t>(triggers_.countOf(name)), "element"),
                    "name one of them: " + option + " " + elementName(name, 1) + "=FILE");
            else if (!known.has(name))
                refuse(start, name, what, known);
        }
    }

 private:
    void checkName(const std::string& name, const std::string& what, const KnownOptions& known) {
        if (triggers_.countOf(name) != 0)
            add(libzepl::quoted(name) + " has " +
                    counted(static_cast<std::uint64_t>(triggers_.countOf(name)), "element") +
                    ", and each trigger has events of its own",
                "name one of them: " + elementName(name, 1));
        else if (!known.has(name))
            refuse("", name, what, known);
    }

    void refuse(const std::string& start, const std::string& name, const std::string& what, const KnownOptions& known) {
        const std::string is = kindDeclared(procedure_, name), array = name.substr(0, name.find('['));
        std::string remedy = is.empty() ? suggestion(name, known.listed()) : std::string();
        if (const std::int64_t count = known.countOf(array); count != 0)
            remedy = "its elements are " + libzepl::quoted(elementName(array, 1)) + " to " +
                     libzepl::quoted(elementName(array, count));
        add(start + "the procedure declares no " + what + " " + libzepl::quoted(name) +
                (is.empty() ? "" : ", which is a " + is),
            remedy.empty() ? declaredOnes(known.listed()) : remedy);
    }

    void add(std::string message, std::string remedy) {
        diagnostics_.push_back({Severity::error, {}, std::move(message), std::move(remedy)});
    }

    const Procedure& procedure_;
    std::vector<Diagnostic>& diagnostics_;
    KnownOptions triggers_{procedure_.triggers};
};

}  // namespace

std::string kindDeclared(const Procedure& procedure, const std::string& name) {
    const auto has = [&](const auto& list) {
        return std::any_of(list.begin(), list.end(),
                           [&](const auto& each) { return each.name == name || arrayOf(each).name == name; });
    };
    return has(procedure.pipes)       ? "pipe"
           : has(procedure.triggers)  ? "trigger"
           : has(procedure.variables) ? "variable"
           : has(procedure.vectors)   ? "vector"
           : has(procedure.constants) ? "constant"
                                      : "";
}

void refuseUnknownOptions(const Procedure& procedure, const BindOptions& options,
                          std::vector<Diagnostic>& diagnostics) {
    if (options.inputs.empty() && options.outputs.empty() && options.values.empty() && options.samples.empty() &&
        options.events.empty() && options.collected.empty() && options.fed.empty())
        return;
    OptionNames names(procedure, diagnostics);
    const KnownOptions channels(procedure.pipes, procedure.triggers);
    names.check(options.inputs, "--in", "pipe or trigger", channels);
    names.check(options.outputs, "--out", procedure.tables.empty() ? "pipe or trigger" : "pipe, trigger or table",
                KnownOptions(procedure.pipes, procedure.triggers, procedure.tables));
    names.check(options.samples, "pipe or vector", KnownOptions(procedure.pipes, procedure.vectors));
    names.check(options.events, "trigger", KnownOptions(procedure.triggers));
    names.check(options.fed, "pipe", KnownOptions(procedure.pipes));
    names.check(options.collected, "pipe or trigger", channels);
    names.check(options.values, "--set", "variable or constant",
                KnownOptions(procedure.variables, procedure.constants));
}

}  // namespace libzepl
