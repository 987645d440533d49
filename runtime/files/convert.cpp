#include "runtime/files/convert.h"

#include <algorithm>

#include "runtime/diagnostics.h"

namespace libzepl {

namespace {

constexpr SampleFormat float32Format{SampleFormat::Kind::real, 32}, float64Format{SampleFormat::Kind::real, 64};

template <class Element>
bool holdsEveryValue(SampleFormat format) {
    const int digits = std::numeric_limits<Element>::digits;
    if (format.kind != SampleFormat::Kind::real) return magnitudeBits(format) <= digits;
    return !std::is_integral_v<Element> && format.bits <= static_cast<int>(sizeof(Element)) * 8;
}

}  // namespace

SampleFormat formatOf(ElementType type) {
    if (type == ElementType::float32) return float32Format;
    if (type == ElementType::float64) return float64Format;
    return {SampleFormat::Kind::signedInteger, type == ElementType::int16 ? 16 : 32};
}

std::string describe(SampleFormat format) {
    if (format.kind == SampleFormat::Kind::real) return format.bits == 32 ? "float" : "double";
    return (format.kind == SampleFormat::Kind::unsignedInteger ? "unsigned " : "") + std::to_string(format.bits) +
           "-bit integer";
}

bool fits(SampleFormat format, ElementType type) {
    return withElementType(type, [&]<class Element>() { return holdsEveryValue<Element>(format); });
}

const std::vector<ConversionName>& conversionNames() {
    static const std::vector<ConversionName> names{
        {"rounded", "to the nearest value, ties to even, saturating"},
        {"truncated", "toward zero, saturating"},
        {"scaled", "full scale to full scale, float and double from -1 to 1, rounded, saturating"},
    };
    return names;
}

Conversion conversionOf(const ReadRequest& request) {
    const std::string& word = request.conversion;
    if (word.empty()) return Conversion::none;
    std::vector<std::string> known;
    for (const ConversionName& row : conversionNames()) known.push_back(row.name);
    const auto found = std::find(known.begin(), known.end(), word);
    if (found != known.end()) return static_cast<Conversion>(1 + (found - known.begin()));
    const std::string near = suggestion(word, known);
    throw Problem(request.path.string() + ": there is no conversion " + libzepl::quoted(word) +
                      "; the conversions are `rounded`, `truncated` and `scaled`",
                  near);
}

std::string fitRemedy(SampleFormat format) {
    std::string types;
    for (ElementType type : allElementTypes)
        if (fits(format, type)) types += (types.empty() ? "declare `" : " or `") + std::string(nameOf(type)) + "`";
    return types + (types.empty() ? "" : ", or ") +
           "ask for `convert rounded`, `convert truncated` or `convert scaled`";
}

}  // namespace libzepl
