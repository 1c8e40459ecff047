#pragma once

// Ctrl-C. The first one asks the program to stop; a second one, should that hang, kills it.
void InstallInterruptHandler();
bool IsInterrupted() noexcept;
