#pragma once

#include "Options.h"

#include <CLI/CLI.hpp>

// The command lines of the commands that speak with servers or judge their addresses.
void AddFetch(CLI::App& app, FetchOptions& options);
void AddRules(CLI::App& app, RulesOptions& options);

// Throws UsageError for what no request can carry.
void CheckFetch(FetchOptions& options, const CLI::App& app);
