// main.cc - the velnor program: record files, their definitions and
// archives from the command line.
#include <CLI/CLI.hpp>

#include "commands.h"

int main(int argc, char** argv) {
    uint16_t major = 0, minor = 0;
    vfhgetversion(&major, &minor);
    CLI::App app{"velnor - look into, load, index, repair and archive velnor record files"};
    std::string version = "velnor " VELNOR_PROGRAM_VERSION "\nengine ";
    version.append(std::to_string(major >> 8)).append(".").append(std::to_string(major & 0xFF));
    version.append(".").append(std::to_string(minor));
    app.set_version_flag("--version", version, "Print the program's and the engine's versions");
    app.require_subcommand(1);
    app.fallthrough();
    vtool::addinfo(app);
    vtool::adddump(app);
    vtool::addget(app);
    vtool::adddelete(app);
    vtool::addload(app);
    vtool::addfid(app);
    vtool::addarchive(app);
    vtool::adddemo(app);
    vtool::addmaint(app);
    vtool::addkeyword(app);
#ifdef VELNOR_SQLITE
    vtool::addexport(app);
#endif
    try {
        vtool::Engine engine;
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        int code = app.exit(e);
        return code == 0 ? 0 : vtool::EXIT_USAGE;
    } catch (const vtool::Failure& f) {
        return f.code;
    }
    return vtool::EXIT_OK;
}
