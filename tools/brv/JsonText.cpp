#include "JsonText.h"

#include "Text.h"

#include <cmath>

nlohmann::ordered_json JsonText(const std::string& bytes)
{
    return ValidUtf8(bytes);
}

nlohmann::ordered_json JsonNumber(double number)
{
    return std::isfinite(number) ? nlohmann::ordered_json(number) : nlohmann::ordered_json();
}

std::string DumpJson(const nlohmann::ordered_json& json)
{
    return json.dump(2);
}
