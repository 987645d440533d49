#include "runtime/procedure/array_trees.h"

#include "runtime/expressions/evaluate.h"
#include "runtime/wording.h"

namespace libzepl {

namespace {

using Form = Expression::Form;

class ElementTree {
 public:
    ElementTree(const std::string& name, const ArrayPlace& defined, const ArrayCounts& counts)
        : name_(name), defined_(defined), counts_(counts) {}

    Expression of(Expression tree) const {
        if (tree.form == Form::name) return named(std::move(tree));
        if (tree.form == Form::index) return indexed(std::move(tree));
        for (Expression& operand : tree.operands) operand = of(std::move(operand));
        return tree;
    }

 private:
    Expression named(Expression tree) const {
        const std::int64_t count = counts_(tree.name);
        if (count != 0) tree.name = elementName(tree.name, indexIn(tree, count));
        return tree;
    }

    // Negative indices are past samples, and so is the second one.
    Expression indexed(Expression tree) const {
        const Expression& first = tree.operands.front();
        const bool isElement = first.form == Form::number && (first.number.integer > 0 || tree.operands.size() > 1);
        const std::int64_t count = counts_(tree.name);
        if (!isElement) return named(std::move(tree));
        if (count == 0)
            refuseExpression(tree.place, quoted(tree.name) + " has no elements, since it is no array",
                             "a past sample of a pipe is written with a minus, NAME[-1]");
        if (const auto mistake = indexMistake(tree.name, count, first.number.integer, tree.place))
            refuseExpression(mistake->place, mistake->message, mistake->remedy);
        tree.name = elementName(tree.name, first.number.integer);
        tree.operands.erase(tree.operands.begin());
        if (tree.operands.empty()) tree.form = Form::name;
        return tree;
    }

    std::int64_t indexIn(const Expression& tree, std::int64_t count) const {
        const auto has = [](const std::string& array, std::int64_t n) {
            return quoted(array) + " has " + counted(static_cast<std::uint64_t>(n), "element");
        };
        if (!defined_.isElement())
            refuseExpression(tree.place, has(tree.name, count) + ", and " + quoted(name_) + " is one pipe",
                             quoted(elementName(tree.name, 1)) +
                                 " is one element; an array is defined for each index, " + "pipe " + name_ + "[" +
                                 std::to_string(count) + "]");
        if (count != defined_.count)
            refuseExpression(
                tree.place,
                has(defined_.name, defined_.count) + ", and " + quoted(tree.name) + " " + std::to_string(count),
                "whole arrays in an expression are of one length; " + quoted(elementName(tree.name, 1)) +
                    " is one element");
        return defined_.index;
    }

    const std::string& name_;
    const ArrayPlace& defined_;
    const ArrayCounts& counts_;
};

}  // namespace

Expression treeOfElement(const Expression& tree, const std::string& name, const ArrayPlace& defined,
                         const ArrayCounts& counts) {
    return ElementTree(name, defined, counts).of(tree);
}

}  // namespace libzepl
