#include "brvcore/foundation/TFormatString.h"

#include <cmath>
#include <cstdlib>
#include <string_view>

namespace
{

std::size_t Missing(const TString& text, int fieldWidth)
{
    const auto width = static_cast<std::size_t>(std::abs(static_cast<long long>(fieldWidth)));
    return width > text.Length() ? width - text.Length() : 0;
}

int DigitAt(std::u16string_view text, std::size_t position)
{
    return position < text.size() && text[position] >= u'0' && text[position] <= u'9' ? text[position] - u'0' : -1;
}

}   // namespace

TFormatString& TFormatString::arg(const TString& text, int fieldWidth, char16_t fill)
{
    const TString padding(Missing(text, fieldWidth), fill);
    m_args.push_back(fieldWidth < 0 ? text + padding : padding + text);
    return *this;
}

TFormatString& TFormatString::ArgNumber(const TString& digits, int fieldWidth, char16_t fill)
{
    if (fieldWidth < 0)
        return arg(digits, fieldWidth, fill == u'0' ? u' ' : fill);   // zeros behind the digits make another number
    if (fill != u'0' || !digits.StartsWith(u"-"))
        return arg(digits, fieldWidth, fill);
    m_args.push_back(TString(u"-") + TString(Missing(digits, fieldWidth), fill) + digits.View().substr(1));
    return *this;
}

TFormatString& TFormatString::arg(double value, int fieldWidth, char format, int precision, char16_t fill)
{
    const TString text = precision < 0 ? TString::FromDouble(value) : TString::FromDouble(value, format, precision);
    return std::isfinite(value) ? ArgNumber(text, fieldWidth, fill) : arg(text, fieldWidth, fill == u'0' ? u' ' : fill);
}

TString TFormatString::result() const
{
    const std::u16string_view format = m_format;
    TString text;
    std::size_t done = 0;
    for (std::size_t at = format.find(u'%'); at != std::u16string_view::npos; at = format.find(u'%', at + 1))
    {
        int number = DigitAt(format, at + 1);
        std::size_t end = at + 2;
        if (number > 0 && DigitAt(format, end) >= 0)
            number = 10 * number + DigitAt(format, end++);
        if (number <= 0 || static_cast<std::size_t>(number) > m_args.size())
            continue;
        text.Append(format.substr(done, at - done)).Append(m_args[static_cast<std::size_t>(number) - 1]);
        done = end;
        at = end - 1;
    }
    return text.Append(format.substr(done));
}
