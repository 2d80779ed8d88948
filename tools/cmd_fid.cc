// cmd_fid.cc - velnor fid compile and velnor fid show.
#include "cliopts.h"
#include "fidtools.h"

namespace vtool {

void addfid(CLI::App& app) {
    CLI::App* fid = app.add_subcommand("fid", "Compile or show a file definition");
    fid->require_subcommand(1);

    auto in = std::make_shared<std::string>();
    auto out = std::make_shared<std::string>();
    CLI::App* compile = fid->add_subcommand(
        "compile",
        "Write the binary form of a text definition; only the binary form holds threads, "
        "given in the text as lines 'Thread = LINKITEM, expression'");
    compile->add_option("IN", *in, "Text definition (TKF FID v7.0)")->required();
    compile->add_option("OUT", *out, "Binary definition to write")->required();
    compile->callback([in, out] {
        compilefid(*in, *out);
        Definition def(*out);
        const FHCB* cb = def.cb();
        std::printf("Wrote %s: %s, %s, %s.\n", out->c_str(), counted(cb->nitems, "item").c_str(),
                    counted(cb->nkeys, "key").c_str(), counted(cb->nthreads, "thread").c_str());
    });

    auto path = std::make_shared<std::string>();
    auto text = std::make_shared<bool>(false);
    CLI::App* show = fid->add_subcommand("show", "Show the items, keys and threads of a definition");
    show->add_option("FILE", *path, "Definition file, text or binary")->required();
    show->add_flag("--text", *text,
                   "Write the text form instead, with its threads as Thread lines, which fid "
                   "compile turns back into the same binary form");
    show->callback([path, text] {
        Definition def(*path);
        if (*text) {
            std::fputs(textdefinition(def.cb(), *path).c_str(), stdout);
            return;
        }
        std::printf("Definition: %s\n", path->c_str());
        printdefinition(stdout, def.cb());
    });
}

}  // namespace vtool
