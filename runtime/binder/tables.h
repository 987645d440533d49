// The tables of a procedure: what their columns stand for.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/binder/arguments.h"
#include "runtime/files.h"
#include "runtime/procedure.h"
#include "runtime/session.h"

namespace libzepl {

struct BoundTable {
    const TableDeclaration* declared = nullptr;
    std::vector<JointMember> members;
    std::vector<ColumnRequest> columns;
    std::vector<std::size_t> byRate;  // columns of seconds that step by the rate

    // Lets seconds without a step of their own go by that rate, frames a second. False where there are none.
    bool setRate(double rate);
};

// Binds one table after the other, when all names have been declared.
class TableBinder {
 public:
    TableBinder(const Procedure& procedure, const DeclaredNames& names, std::vector<Diagnostic>& diagnostics);

    // Nothing where a column cannot be one; every mistake is added to the diagnostics.
    std::optional<BoundTable> bind(const TableDeclaration& declared);

 private:
    void refuse(const Place& place, std::string message, std::string remedy);
    void addColumn(const TableColumn& column);
    void addNamed(const TableColumn& column, const std::string& name);
    void addElement(const TableColumn& column);
    void addPipe(const TableColumn& column, const PipeDeclaration& pipe);
    bool isRefused(const std::string& name);
    void addCounting(const TableColumn& column);
    void refuseAgain(const TableColumn& column, const std::string& name);
    void refuseStep(const TableColumn& column, const std::string& what);
    void refuseName(const TableColumn& column);

    const Procedure& procedure_;
    const DeclaredNames& names_;
    std::vector<Diagnostic>& diagnostics_;
    std::map<std::string_view, const PipeDeclaration*> pipesByName_;
    std::map<std::string_view, std::vector<const PipeDeclaration*>> arrays_;  // their elements
    std::optional<BoundTable> table_;                                         // that is being bound
    std::set<std::string> seen_;                                              // its columns
    bool isRefused_ = false;
};

}  // namespace libzepl
