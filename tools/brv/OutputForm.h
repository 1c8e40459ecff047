#pragma once

#include "Options.h"

#include <string>

// The result in the form that was asked for; the other two are not made.
std::string InForm(OutputFormat form, const auto& asTable, const auto& asCsv, const auto& asJson)
{
    switch (form)
    {
    case OutputFormat::Csv:
        return asCsv();
    case OutputFormat::Json:
        return asJson();
    case OutputFormat::Table:
        break;
    }
    return asTable();
}
