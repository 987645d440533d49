// Cautions: what a command makes of a list of parameters that its user may not expect, though the list is accepted. They
// are data, written by who documents the commands; a session that is given a table reports those that apply.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace libzepl {

// One side of a comparison.
struct CautionValue {
    enum class Form { number, word, sum, product, length, block };
    Form form = Form::word;
    double number = 0;
    std::string name,
        other;  // parameters; a word is a parameter's name, or itself where the list has no such parameter
};

// What must hold of a task.
struct CautionTerm {
    enum class Form {
        always,
        given,     // the list has the parameter
        missing,   // it has not
        repeated,  // it has several of that name
        ofKind,    // a pipe, trigger, variable, vector, number or text, as the first of `words` says
        ofType,    // its element type is the first of `words`
        odd,
        even,
        compared,  // `left` is less than, equal to or greater than `right`, as `sign` says
        contains,  // the text has the first of `words` in it, in upper or lower case
        lacks,
        unlike,    // its element type is not that of the parameter in `words`
        unsorted,  // the vector does not rise from each element to the next
        arrives,   // samples or events come to it while the session runs: it is not all there from the start
        shared,    // another task has the variable as well
        passes,  // more samples than the first of `words`, or a later position, come to it; before a run that is assumed
        bypasses,  // another command than the first of `words` reads the pipe, or reads what the others of them make of it
    };
    Form form = Form::always;
    std::string name;  // of the parameter, as the command's signature has it
    std::vector<std::string> words;
    char sign = '=';
    CautionValue left, right;
};

struct Caution {
    std::vector<std::vector<CautionTerm>> when;  // all terms of one of these must hold
    bool isArrival =
        false;           // the result depends on how the input arrives: applies only where an input reaches the task
    std::string text;    // what happens
    std::string remedy;  // the way out
};

class CautionTable {
 public:
    // Adds the cautions of a command, written as paragraphs of fields; a line that begins with a blank continues its field:
    //     when: nchans is odd and length of coeff > 1
    //     when: nchans is missing
    //     caution: what happens then
    //     remedy: the way out
    // A dependence on how the input arrives is written `arrival:` in the place of `caution:`, and needs no remedy.
    // Terms, joined by `and`, are `always`; NAME `is` given, missing, repeated, odd, even, unsorted, shared, `a` KIND or
    // TYPE; NAME `arrives`; NAME `contains` or `lacks` WORD; NAME `unlike` NAME; NAME `passes` NUMBER; NAME `bypasses` COMMAND `through`
    // COMMANDS; and comparisons by <, = and > of NAME, NAME + NAME, NAME * NAME, `length of` NAME, `default block`,
    // numbers and words. Throws a Problem that names what cannot be read.
    void add(const std::string& command, std::string_view text);

    const std::vector<Caution>& of(const std::string& command) const;

 private:
    std::map<std::string, std::vector<Caution>> cautions_;
};

}  // namespace libzepl
