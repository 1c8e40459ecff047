#pragma once

#include <string>

#include <nlohmann/json.hpp>

// JSON with the keys in the order in which they are written. Bytes that are not UTF-8 become U+FFFD.
nlohmann::ordered_json JsonText(const std::string& bytes);
// Null for a number that JSON does not know.
nlohmann::ordered_json JsonNumber(double number);
// Indented by two, without a line end.
std::string DumpJson(const nlohmann::ordered_json& json);
