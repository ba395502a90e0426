// velin: segments retinal OCT volumes from the shell.

#include "CliError.h"
#include "Commands.h"

#include <Velin/velin_c.h>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <string>

int main(int argc, char** argv) {
    using namespace velin::cli;

    CLI::App app("Segments retinal OCT volumes: the top of the retina and the lower boundary of the nerve-fibre "
                 "layer, with thickness maps, pictures and a report per volume.",
                 "velin");
    app.set_version_flag("-V,--version", std::string("velin ") + velin_version());
    app.require_subcommand(1);
    app.footer("Run 'velin COMMAND --help' for the options of a command. Exit status: 0 when every volume "
               "succeeded, 1 when one failed, 2 for a wrong command line.");

    int exitStatus = 0;
    addSegmentCommand(app, exitStatus);
    addPhantomCommand(app, exitStatus);
    addDemoCommand(app, exitStatus);

    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& e) {
        return app.exit(e);  // --help and --version
    } catch (const CLI::ParseError& e) {
        std::string command = "velin";
        for (const CLI::App* sub : app.get_subcommands()) command += " " + sub->get_name();
        std::fprintf(stderr, "velin: error: %s (see '%s --help')\n", e.what(), command.c_str());
        return kExitUsage;
    } catch (const CliError& e) {
        std::fprintf(stderr, "%s\n", errorLine(e.what(), e.file()).c_str());
        return kExitFailure;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", errorLine(e.what(), "").c_str());
        return kExitFailure;
    }
    return exitStatus;
}
