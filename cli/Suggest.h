// `tavric help [COMMAND]`, and suggestions for mistyped subcommands and
// options ("did you mean `calibrate`?").
#pragma once

#include <string>
#include <vector>

#include "Commands.h"

namespace tavric::cli {

// The candidate closest to `word` when it is close enough to be a typing
// slip (at most a third of its letters wrong, and at least one right), or
// an empty text.
std::string Closest(const std::string& word, const std::vector<std::string>& candidates);

// Registers `tavric help [COMMAND]`: the tool's help, or a subcommand's.
Command AddHelp(CLI::App& app);

// False, after writing the reason (and a suggestion) on standard error, when
// the command line names a subcommand the tool does not have.
bool CommandNameKnown(const CLI::App& app, int argc, const char* const* argv);

// After a parse error: for each option of the command line that the
// subcommand does not have, writes "did you mean `--json`?" when one of its
// options is close.
void SuggestOptions(const CLI::App& app, int argc, const char* const* argv);

}  // namespace tavric::cli
