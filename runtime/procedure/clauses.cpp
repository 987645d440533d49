// What may follow the head of a declaration.

#include <algorithm>
#include <utility>

#include "runtime/files.h"
#include "runtime/procedure/parser.h"
#include "runtime/procedure/quantities.h"

namespace libzepl {

namespace {

using Token = ProcedureToken;
using Kind = Token::Kind;

constexpr std::string_view formatClause = "format", rateClause = "rate", timeoutClause = "timeout";

// Each file of a declaration can have these.
bool isOfEachFile(std::string_view word) { return word == formatClause || word == rateClause || word == timeoutClause; }

}  // namespace

const std::array<ProcedureParser::ClauseRow, 15> ProcedureParser::clauseRows{{
    {"capacity", inPipe | inDefinition, "", "", [](ProcedureParser& p, Clauses& to) { p.takeCapacity(to); }},
    {"starts", inPipe | inDefinition, "", "",
     [](ProcedureParser& p, Clauses& to) { to.starts = p.takeValues(Formula::Goes::start); }},
    {"interleaved", inPipe | inVector | inDefinition, "", "channel",
     [](ProcedureParser& p, Clauses& to) { to.interleaved = p.takeCount(Formula::Goes::interleaved); }},
    {"from", inPipe | inTrigger | inVector, "", "", [](ProcedureParser& p, Clauses& to) { p.takeFrom(to); }},
    {"channel", inPipe | inVector, "from", "column", [](ProcedureParser& p, Clauses& to) { p.takeChannel(to); }},
    {"column", inPipe | inVector, "from", "interleaved", [](ProcedureParser& p, Clauses& to) { p.takeColumn(to); }},
    {"convert", inPipe | inVector, "from", "",
     [](ProcedureParser& p, Clauses& to) { to.from.conversion = p.cursor_.takeWord("the name of a conversion").text; }},
    {"partial", inPipe | inVector, "from", "", [](ProcedureParser&, Clauses& to) { to.from.partial = true; }},
    {"to", inPipe | inTrigger | inDefinition, "", "", [](ProcedureParser& p, Clauses& to) { p.takeTo(to); }},
    {"limit", inPipe | inTrigger | inTable | inDefinition, "to", "",
     [](ProcedureParser& p, Clauses& to) { to.to.limit = p.takeSize(Formula::Goes::limit); }},
    {rateClause, inPipe | inTable | inDefinition, "", "", [](ProcedureParser& p, Clauses& to) { p.takeFileRate(to); }},
    {"with", inTrigger, "to", "", [](ProcedureParser& p, Clauses& to) { p.takeColumns(to); }},
    {formatClause, inPipe | inTrigger | inVector | inTable | inDefinition, "", "",
     [](ProcedureParser& p, Clauses& to) { p.takeFormat(to); }},
    {timeoutClause, inPipe | inTrigger | inTable | inDefinition, "", "",
     [](ProcedureParser& p, Clauses& to) { p.takeTimeout(to); }},
    {"fill", inPipe, "from", "", [](ProcedureParser& p, Clauses& to) { p.takeFill(to); }},
}};

Clauses ProcedureParser::takeClauses(Declaration declaration, Clauses clauses) {
    while (cursor_.peek().kind != Kind::end) takeClauseWord(declaration, clauses).read(*this, clauses);
    checkPartners(clauses);
    checkFrames(clauses);
    return clauses;
}

const ProcedureParser::ClauseRow& ProcedureParser::takeClauseWord(Declaration declaration, Clauses& clauses) {
    std::string allowed = declaration == inPipe         ? "a pipe takes"
                          : declaration == inDefinition ? "after its expression a pipe takes"
                          : declaration == inTrigger    ? "a trigger takes"
                          : declaration == inVector     ? "a vector takes"
                                                    : "a comma goes before another column; after them a table takes";
    const std::vector<std::string> words = clauseWords(declaration);
    for (const std::string& word : words) allowed += (word == words.front() ? " " : ", ") + word;
    if (cursor_.peek().kind != Kind::word) cursor_.refuse("a clause or the end of the line", allowed);
    const Token token = cursor_.take();
    for (const ClauseRow& row : clauseRows) {
        if (row.word != token.text || (row.declarations & declaration) == 0) continue;
        if (!clauses.given.try_emplace(row.word, token.place).second && !isOfEachFile(row.word))
            cursor_.refuseAt(token.place, quoted(token.text) + " is given twice", "give it once");
        return row;
    }
    const std::vector<std::string> ofPipes = clauseWords(inPipe);
    if (declaration == inDefinition && std::find(ofPipes.begin(), ofPipes.end(), token.text) != ofPipes.end())
        cursor_.refuseAt(token.place, quoted(token.text) + " and `=` exclude each other",
                         "a pipe is read from a file, or an expression defines it");
    const std::string meant = suggestion(token.text, words);
    cursor_.refuseAt(token.place, "unknown clause " + quoted(token.text), meant.empty() ? allowed : meant);
}

std::vector<std::string> ProcedureParser::clauseWords(Declaration declaration) {
    std::vector<std::string> words;
    for (const ClauseRow& row : clauseRows)
        if ((row.declarations & declaration) != 0) words.emplace_back(row.word);
    return words;
}

void ProcedureParser::checkPartners(const Clauses& clauses) {
    if (clauses.targetRatePlace.line != 0 && !clauses.given.contains("to"))
        cursor_.refuseAt(clauses.given.at(rateClause), "`rate` without `to` and a file");
    for (const ClauseRow& row : clauseRows) {
        const auto found = clauses.given.find(row.word);
        if (found == clauses.given.end()) continue;
        if (!row.needs.empty() && !clauses.given.contains(row.needs))
            cursor_.refuseAt(found->second, quoted(row.word) + " without " + quoted(row.needs) + " and a file");
        if (clauses.given.contains(row.excludes))
            cursor_.refuseAt(found->second, quoted(row.word) + " and " + quoted(row.excludes) + " exclude each other");
    }
}

void ProcedureParser::checkFrames(const Clauses& clauses) {
    if (!clauses.interleaved || !clauses.to.limit) return;
    if (const auto mistake = frameMistake(*clauses.interleaved, *clauses.to.limit, clauses.given.at("limit")))
        cursor_.refuseAt(mistake->place, mistake->message, mistake->remedy);
}

void ProcedureParser::takeFrom(Clauses& clauses) {
    takeFile(clauses.from);
    clauses.last = Clauses::Last::from;
}

void ProcedureParser::takeTo(Clauses& clauses) {
    takeFile(clauses.to);
    clauses.last = Clauses::Last::to;
}

// The file before the clause, which goes with it.
FileClause& ProcedureParser::lastFile(Clauses& clauses, std::string_view clause, const Place& place) {
    if (clauses.last == Clauses::Last::none)
        cursor_.refuseAt(place, libzepl::quoted(clause) + " goes after the file that it is of");
    return clauses.last == Clauses::Last::from ? clauses.from : clauses.to;
}

void ProcedureParser::refuseTwice(bool isGiven, std::string_view clause, const Place& place) {
    if (isGiven) cursor_.refuseAt(place, libzepl::quoted(clause) + " is given twice for one file");
}

void ProcedureParser::takeFormat(Clauses& clauses) {
    const Token word = cursor_.takeWord("the name of a format");
    std::string& format = lastFile(clauses, formatClause, word.place).format;
    refuseTwice(!format.empty(), formatClause, word.place);
    format = word.text;
}

// It goes with the address before it, else with the file of `to`, which it can come before.
void ProcedureParser::takeFileRate(Clauses& clauses) {
    const bool isSource = clauses.last == Clauses::Last::from && isAddress(clauses.from.path);
    Place& place = isSource ? clauses.sourceRatePlace : clauses.targetRatePlace;
    refuseTwice(place.line != 0, rateClause, clauses.given.at(rateClause));
    place = cursor_.peek().place;
    (isSource ? clauses.from : clauses.to).rate =
        takeRate(isSource ? Formula::Goes::sourceRate : Formula::Goes::fileRate);
}

void ProcedureParser::takeTimeout(Clauses& clauses) {
    const Place place = cursor_.peek().place;
    FileClause& file = lastFile(clauses, timeoutClause, place);
    const bool isSource = clauses.last == Clauses::Last::from;
    if (!isAddress(file.path))
        cursor_.refuseAt(place, libzepl::quoted(timeoutClause) + " goes after an address, as \"tcp://localhost:5000\"");
    refuseTwice(file.timeout.has_value(), timeoutClause, place);
    file.timeout = takeRate(isSource ? Formula::Goes::sourceTimeout : Formula::Goes::fileTimeout);
}

void ProcedureParser::takeFill(Clauses& clauses) {
    if (!isAddress(clauses.from.path))
        cursor_.refuseAt(clauses.given.at("fill"), "`fill` goes after an address that is read: a file loses nothing");
    clauses.from.fill = true;
}

void ProcedureParser::takeCapacity(Clauses& clauses) {
    clauses.capacityPlace = cursor_.peek().place;
    clauses.capacity = takeSize(Formula::Goes::capacity);
}

void ProcedureParser::takeFile(FileClause& file) {
    const Token& next = cursor_.peek();
    if (next.kind != Kind::text && !next.isMark('-')) cursor_.refuse("a file's name in double quotes, or `-`");
    const Token token = cursor_.take();
    file.path = token.kind == Kind::text ? unquoted(token.text) : std::string(token.text);
    file.place = token.place;
    if (file.path.empty()) cursor_.refuseAt(token.place, "the file's name is empty");
}

void ProcedureParser::takeColumns(Clauses& clauses) {
    const Token what = cursor_.takeWord("`seconds`");
    if (what.text != "seconds")
        cursor_.refuseAt(what.place, "a trigger's file has no column " + quoted(what.text), "write with seconds");
    clauses.to.withSeconds = true;
}

void ProcedureParser::takeChannel(Clauses& clauses) {
    FileClause& from = clauses.from;
    from.channelPlace = cursor_.peek().place;
    from.channel = takeCount(Formula::Goes::channel).value_or(1);
    if (cursor_.takeIf("..")) from.lastChannel = takeCount(Formula::Goes::lastChannel).value_or(1);
}

void ProcedureParser::takeColumn(Clauses& clauses) {
    FileClause& from = clauses.from;
    from.channelPlace = cursor_.peek().place;
    if (cursor_.peek().kind == Kind::text) {
        from.column = unquoted(cursor_.take().text);
        return;
    }
    from.column = takeCount(Formula::Goes::column, "a column's number, or its heading in double quotes").value_or(1);
    if (cursor_.takeIf("..")) from.lastColumn = takeCount(Formula::Goes::lastColumn).value_or(1);
}

}  // namespace libzepl
