#pragma once

#include "Failure.h"
#include "Options.h"

#include <map>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

// Pieces of the command line that several commands have.

// Adds an option whose text is a key of the map.
template <class Value>
CLI::Option* AddChoice(CLI::App& app, const char* name, Value& target, const std::map<std::string, Value>& choices,
    const std::string& description)
{
    std::vector<std::string> names;
    names.reserve(choices.size());
    for (const auto& [key, value] : choices)
        names.push_back(key);
    return app
        .add_option_function<std::string>(
            name, [&target, &choices](const std::string& text) { target = choices.at(text); }, description)
        ->check(CLI::IsMember(names))
        ->type_name(CLI::detail::join(names, "|"));
}

inline const std::map<std::string, OutputFormat> kOutputFormats = {
    {"table", OutputFormat::Table}, {"csv", OutputFormat::Csv}, {"json", OutputFormat::Json}};

// Throws UsageError for an option that is given, and given empty.
inline void CheckNotEmpty(const CLI::App& app, const std::vector<const char*>& names)
{
    for (const char* name : names)
        if (app.count(name) > 0 && app.get_option(name)->as<std::string>().empty())
            throw UsageError(std::string(name) + " must not be empty");
}
