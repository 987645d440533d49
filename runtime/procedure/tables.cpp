// Tables: a file, its columns, and what may follow them.

#include <utility>

#include "runtime/expressions/parser.h"
#include "runtime/procedure/parser.h"

namespace libzepl {

using Token = ProcedureToken;

void ProcedureParser::parseTable() {
    startDeclaration(Formula::Of::tables, procedure_.tables.size());
    TableDeclaration table;
    Clauses clauses;
    table.place = clauses.given.try_emplace("to", cursor_.peek().place).first->second;
    takeTo(clauses);
    cursor_.takeMark(':', "`:` and the table's columns");
    do {
        table.columns.push_back(takeTableColumn(table.columns.size()));
    } while (cursor_.takeIf(','));
    table.to = *takeClauses(inTable, std::move(clauses)).target();
    procedure_.tables.push_back(std::move(table));
}

TableColumn ProcedureParser::takeTableColumn(std::size_t position) {
    const Token name = cursor_.takeWord("a column: a pipe, `index`, `seconds` or `hertz`");
    TableColumn column{.name = std::string(name.text), .place = name.place};
    if (cursor_.takeIf('[')) {
        const Token index = cursor_.peek();
        const auto element =
            quantityOf(takeExpression(cursor_, "an index"), index, Formula::Goes::columnElement, position);
        column.element = element ? element->integer : 1;
        cursor_.takeMark(']', "`]`");
        column.place = cursor_.placeSince(name);
    }
    if (cursor_.peek().text != "every") return column;
    cursor_.take();
    const Token first = cursor_.peek();
    const auto step = quantityOf(takeExpression(cursor_, "a number"), first, Formula::Goes::every, position);
    column.every = step ? step->real : 1;
    return column;
}

}  // namespace libzepl
