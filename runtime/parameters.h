// What a signature says of the parameters of a list that is being written.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "signature.h"

namespace libzepl {

// Which parameters come next after these arguments, by the alternatives of the signature that they fit. Both must outlive it.
class NextParameters {
 public:
    NextParameters(const Signature& signature, const std::vector<ResolvedArgument>& before);

    const std::vector<const SignatureParameter*>& all() const { return next_; }
    // Whether any of them admits the argument.
    bool admit(const ResolvedArgument& argument) const;

 private:
    using Counts = std::vector<bool>;  // how many arguments may have been taken

    Counts after(const SignatureNode& node, const Counts& from);
    Counts afterParameter(const SignatureParameter& parameter, const Counts& from);
    bool fits(const SignatureParameter& parameter, const ResolvedArgument& argument) const;

    const std::vector<ResolvedArgument>& before_;
    std::vector<const SignatureParameter*> next_;
    std::map<std::string, std::size_t> taken_;  // the first arguments that parameters took, by their names
};

}  // namespace libzepl
