#pragma once

#include "Options.h"

#include <CLI/CLI.hpp>

// The command lines of the commands for files, folders and logs.
void AddPack(CLI::App& app, PackOptions& options);
void AddUnpack(CLI::App& app, UnpackOptions& options);
void AddSweep(CLI::App& app, SweepOptions& options);
void AddLog(CLI::App& app, LogOptions& options);

// Throws UsageError for a name whose files the retention could not tell from others.
void CheckLog(const LogOptions& options);
