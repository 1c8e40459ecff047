#include "brvcore/string/CustomFormat.h"

#include "brvcore/foundation/LogicException.h"
#include "brvcore/string/CustomFormatBool.h"
#include "brvcore/string/CustomFormatCompiler.h"
#include "brvcore/string/CustomFormatDateTime.h"
#include "brvcore/string/CustomFormatNumber.h"
#include "brvcore/string/CustomFormatNumberResources.h"
#include "brvcore/string/NamedFormats.h"

#include <limits>
#include <optional>
#include <string>
#include <utility>

namespace
{

constexpr int kCompiled = 0;
constexpr int kNotCompiled = -1;
constexpr int kUnknownPowerOfTen = std::numeric_limits<int>::max();

// What a value of the data type is formatted as when the format does not say; nothing for a type without formats.
std::optional<DataType> KindOfDataType(DataType type)
{
    switch (type)
    {
    case DataType::Integer:
    case DataType::Real:
        return DataType::Real;
    case DataType::DateTime:
    case DataType::Date:
        return DataType::DateTime;
    case DataType::Boolean:
        return DataType::Boolean;
    default:
        return std::nullopt;
    }
}

TString WithYearLetter(const TString& pattern, char16_t letter)
{
    std::u16string result(pattern);
    bool isQuoted = false;
    for (char16_t& c : result)
    {
        if (c == u'\'')
            isQuoted = !isQuoted;
        else if (!isQuoted && (c == u'y' || c == u'Y'))
            c = letter;
    }
    return result;
}

}   // namespace

CustomFormat::CustomFormat(DataType dataType) : m_dataType(dataType), m_kind(dataType) {}

int CustomFormat::Parse(const TString& format, unsigned locale, SOWValue startOfWeek, FirstWeekBehaviour firstWeek)
{
    m_isValid = m_dropsTrailingSeparator = m_keepsSignOfZero = m_hasExtremeSection = false;
    m_booleanKind = BooleanKind::None;
    m_resources.reset();
    m_dateTime.reset();
    m_locale = IsUserLocale(locale) ? kUserDefaultLocale : locale;
    m_format = format;
    m_startOfWeek = startOfWeek;
    m_firstWeek = firstWeek;

    std::optional<DataType> kind;
    if (std::optional<NamedFormat> named = FindNamedFormat(format, m_locale))
    {
        kind = named->kind;
        m_booleanKind = named->booleanKind;
        if (named->kind != DataType::Boolean)
            m_format = std::move(named->format);
        m_dropsTrailingSeparator = m_keepsSignOfZero = m_hasExtremeSection = named->isGeneralNumber;
    }
    else
    {
        kind = FindFormatKind(format);
    }
    if (!kind)
        kind = KindOfDataType(m_dataType);
    if (!kind)
        BRV_LOGIC_ERROR(0xA5F86AD5, u"Invalid type encountered");
    m_kind = *kind;
    m_isValid = Compile();
    return m_isValid ? kCompiled : kNotCompiled;
}

bool CustomFormat::Compile()
{
    static_assert(kStreamSize == NumberStream::kSize);
    if (m_kind == DataType::Boolean)
    {
        m_booleanWords = &FindBooleanWords(m_locale);
        return true;
    }
    if (m_kind == DataType::DateTime)
    {
        const TString text = m_format.IsEmpty() ? TString(kGeneralDateTime) : m_format;
        m_dateTime =
            std::make_shared<const CustomFormatDateTime>(text, m_locale, m_startOfWeek, m_firstWeek, m_fiscalYearStart);
        return true;
    }
    if (m_format.IsEmpty())
        m_dropsTrailingSeparator = m_keepsSignOfZero = m_hasExtremeSection = true;
    if (!CompileNumberFormat(m_format.IsEmpty() ? kGeneralNumberOfEmptyFormat : m_format.View(), m_stream))
        return false;
    m_resources = CustomFormatNumberResources::GetPooled(m_locale);
    return true;
}

std::unique_ptr<CustomFormat> CustomFormat::CreateNumberFormatter(const TString& format, unsigned locale)
{
    auto result = std::make_unique<CustomFormat>(DataType::Real);
    result->Parse(format, locale);
    return result;
}

std::unique_ptr<CustomFormat> CustomFormat::CreateBooleanFormatter(const TString& format, unsigned locale)
{
    auto result = std::make_unique<CustomFormat>(DataType::Boolean);
    result->Parse(format, locale);
    return result;
}

std::unique_ptr<CustomFormat> CustomFormat::CreateDateTimeFormatter(const TString& format, unsigned locale,
    SOWValue startOfWeek, FirstWeekBehaviour firstWeek, FYSValues fiscalYearStart)
{
    auto result = std::make_unique<CustomFormat>(DataType::DateTime);
    result->m_fiscalYearStart = fiscalYearStart;
    result->Parse(format, locale, startOfWeek, firstWeek);
    return result;
}

TString CustomFormat::Format(const bool& value) const
{
    if (!m_isValid)
        return {};
    if (m_kind == DataType::Boolean)
        return FormatBool(m_booleanKind, value, *m_booleanWords);
    if (m_kind == DataType::DateTime)
        return Format(DateTime::FromSerial(value ? 1.0 : 0.0));
    return Format(static_cast<long long>(value));
}

TString CustomFormat::Format(const long long& value) const
{
    return m_isValid && m_kind == DataType::Real ? CustomFormatNumber(*this).Format(value) : TString();
}

TString CustomFormat::Format(const double& value) const
{
    return m_isValid && m_kind == DataType::Real ? CustomFormatNumber(*this).Format(value) : TString();
}

TString CustomFormat::Format(const DateTime& value) const
{
    return m_isValid && m_kind == DataType::DateTime ? m_dateTime->Format(value) : TString();
}

int CustomFormat::GetSmallestVisiblePowerOfTen() const noexcept
{
    if (!m_isValid || m_kind != DataType::Real || m_format.IsEmpty())
        return kUnknownPowerOfTen;
    const SectionHeader header = NumberStream::ReadHeader(m_stream, NumberStream::kFirstHeader);
    if (header.Has(SectionHeader::kExponent) || header.integerDigits + header.fractionDigits == 0)
        return kUnknownPowerOfTen;
    const int percent = header.Has(SectionHeader::kPercent) ? NumberStream::kPercentPower : 0;
    return NumberStream::kThousandPower * header.thousands - header.fractionDigits - percent;
}

bool CustomFormat::IsKoreanLocale() const
{
    constexpr unsigned kLanguageBits = 0x3FF;   // of a locale identifier; above them stands the region
    constexpr unsigned kKorean = 0x12;
    const unsigned locale = m_locale == kUserDefaultLocale
                                ? LocaleIdentifierFromTag(GetUserLocaleSettings().localeTag).value_or(0)
                                : m_locale;
    return (locale & kLanguageBits) == kKorean;
}

TString CustomFormat::UpdateToYear(const TString& pattern)
{
    return WithYearLetter(pattern, u'y');
}

TString CustomFormat::UpdateToYearOfWeek(const TString& pattern)
{
    return WithYearLetter(pattern, u'Y');
}
