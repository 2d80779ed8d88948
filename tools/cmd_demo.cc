// cmd_demo.cc - velnor demo.
#include "cliopts.h"

namespace vtool {

void adddemo(CLI::App& app) { app.add_subcommand("demo", "Walk through a sample customer file"); }

}  // namespace vtool
