// cliopts.h - command-line options shared by the subcommands that open
// record files.
#ifndef VELNOR_TOOLS_CLIOPTS_H
#define VELNOR_TOOLS_CLIOPTS_H

#include <CLI/CLI.hpp>

#include "commands.h"

namespace vtool {

// FILE, --fid, --index and --network, filling target.
void fileoptions(CLI::App* sub, OpenSpec& target);
// --format text|csv|json (and sql where withsql) into format.
void formatoption(CLI::App* sub, Format& format, bool withsql = false);

// --encoding: the code page of record text that is not UTF-8.
void encodingoption(CLI::App* sub, Encoding& enc);

// --items A,B,C: the items to show.
void itemsoption(CLI::App* sub, std::vector<std::string>& items);

}  // namespace vtool

#endif
