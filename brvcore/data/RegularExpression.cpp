#include "brvcore/data/RegularExpression.h"

#include "brvcore/foundation/LogicException.h"
#include "brvcore/foundation/TFormatString.h"

#include <limits>
#include <new>
#include <utility>

#include <unicode/uregex.h>

namespace
{
// ICU counts in units of 10000 steps, about a millisecond each. An expression that does not backtrack takes some steps per
// code unit, so a million code units are far from the limit; one that backtracks without end passes every limit.
constexpr std::int32_t kMaxTime = 1000;
// Four times ICU's own. A group that is repeated keeps some 50 bytes per repetition.
constexpr std::int32_t kMaxStackBytes = 32'000'000;

constexpr std::size_t kMaxLength = std::numeric_limits<std::int32_t>::max();

struct Closer
{
    void operator()(URegularExpression* expression) const noexcept { uregex_close(expression); }
};
using Handle = std::unique_ptr<URegularExpression, Closer>;

TString Describe(UErrorCode status, const UParseError& where)
{
    TString name = TString::FromUTF8(u_errorName(status));
    return where.line <= 0
               ? name
               : TFormatString(u"%1, line %2, position %3").arg(name).arg(where.line).arg(where.offset).result();
}

Handle Compile(const TString& pattern)
{
    // ICU calls an empty pattern an illegal argument.
    const std::u16string_view text = pattern.IsEmpty() ? std::u16string_view(u"(?:)") : pattern.View();
    UErrorCode status = text.size() <= kMaxLength ? U_ZERO_ERROR : U_REGEX_PATTERN_TOO_BIG;
    UParseError where{};
    Handle expression(uregex_open(text.data(), static_cast<std::int32_t>(text.size()), 0, &where, &status));
    if (U_FAILURE(status))
        BRV_LOGIC_ERROR(0xB21FCE6B,
            TFormatString(u"The regular expression is not valid: %1").arg(Describe(status, where)).result());
    return expression;
}

// A clone starts with ICU's own limits, so every object sets them.
Handle Limit(Handle expression)
{
    UErrorCode status = U_ZERO_ERROR;
    uregex_setTimeLimit(expression.get(), kMaxTime, &status);
    uregex_setStackLimit(expression.get(), kMaxStackBytes, &status);
    return expression;
}

Handle Clone(const URegularExpression* expression)
{
    UErrorCode status = U_ZERO_ERROR;
    Handle clone(uregex_clone(expression, &status));
    if (U_FAILURE(status))
        throw std::bad_alloc();
    return clone;
}
}   // namespace

class RegularExpression::Impl
{
public:
    explicit Impl(Handle expression) : m_expression(Limit(std::move(expression))) {}
    URegularExpression* Get() const noexcept { return m_expression.get(); }

private:
    Handle m_expression;
};

RegularExpression::RegularExpression(const TString& pattern) : m_impl(std::make_unique<Impl>(Compile(pattern))) {}

RegularExpression::~RegularExpression() = default;

RegularExpression::RegularExpression(const RegularExpression& other)
    : m_impl(std::make_unique<Impl>(Clone(other.m_impl->Get())))
{
}

RegularExpression::RegularExpression(RegularExpression&& other) noexcept = default;

RegularExpression& RegularExpression::operator=(RegularExpression other) noexcept
{
    std::swap(m_impl, other.m_impl);
    return *this;
}

bool RegularExpression::MatchesWhole(std::u16string_view text)
{
    UErrorCode status = text.size() <= kMaxLength ? U_ZERO_ERROR : U_INDEX_OUTOFBOUNDS_ERROR;
    // A null pointer is no text to ICU, not even an empty one.
    uregex_setText(m_impl->Get(), text.empty() ? u"" : text.data(), static_cast<std::int32_t>(text.size()), &status);
    const bool isMatch = uregex_matches(m_impl->Get(), -1, &status) != 0;
    if (U_FAILURE(status))
        BRV_LOGIC_ERROR(0x33E53DA5, TFormatString(u"The regular expression costs too much on a text: %1")
                                        .arg(TString::FromUTF8(u_errorName(status)))
                                        .result());
    return isMatch;
}
