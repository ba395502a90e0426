// velin: segments retinal OCT volumes from the shell.

#include "CliError.h"
#include "Commands.h"

#include <Velin/velin_c.h>

#include <CLI/CLI.hpp>

#include <cctype>
#include <cstdio>
#include <exception>
#include <string>

namespace {

// The parser's own wording, in the program's voice: a mistyped command is named as such (the parser only
// says that a subcommand is missing), and messages start in lower case like every other error line.
std::string usageMessage(const CLI::App& app, const CLI::ParseError& error, const std::string& firstArgument) {
    std::string text = error.what();
    if (app.get_subcommands().empty() && text.find("ubcommand") != std::string::npos) {
        if (!firstArgument.empty() && firstArgument[0] != '-')
            return "unknown command '" + firstArgument + "'; the commands are segment, phantom and demo";
        return "a command is needed: segment, phantom or demo";
    }
    if (text.size() > 1 && std::isupper(static_cast<unsigned char>(text[0])) &&
        std::islower(static_cast<unsigned char>(text[1])))
        text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
    return text;
}

}  // namespace

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

    if (argc < 2) {
        // A bare "velin" asks what the program can do.
        std::fprintf(stderr, "%s", app.help().c_str());
        return kExitUsage;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& e) {
        return app.exit(e);  // --help and --version
    } catch (const CLI::ParseError& e) {
        std::string command = "velin";
        for (const CLI::App* sub : app.get_subcommands()) command += " " + sub->get_name();
        std::fprintf(stderr, "velin: error: %s (see '%s --help')\n", usageMessage(app, e, argv[1]).c_str(),
                     command.c_str());
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
