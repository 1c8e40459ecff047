#pragma once

// Ctrl-C, and the signals by which others stop the program (SIGTERM) or its terminal goes (SIGHUP). The first one asks the
// program to stop; a second one of its kind, should that hang, kills it.
void InstallInterruptHandler();
bool IsInterrupted() noexcept;
