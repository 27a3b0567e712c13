// quindal: the command line of the library.
#include <exception>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "Errors.h"
#include "Output.h"
#include "QuindalIM.h"

int main(int argc, char** argv)
{
    try {
        CLI::App app("Client-side initial margin for derivatives", "quindal");
        app.set_version_flag("--version", std::string(GetQuindalIMLibraryVersion()));
        app.require_subcommand(1);
        const std::vector<quindal::Command> commands{quindal::AddMargin(app), quindal::AddExplain(app),
                                                     quindal::AddCheck(app), quindal::AddFiles(app),
                                                     quindal::AddServe(app)};
        CLI11_PARSE(app, argc, argv);
        for (const quindal::Command& command : commands) {
            if (!app.got_subcommand(command.word)) continue;
            const int status = command.run();
            quindal::FinishOutput();
            return status;
        }
        return quindal::StatusUsage;
    } catch (const quindal::CommandError& error) {
        quindal::PrintMessage(error.what());
        return error.Status();
    } catch (const std::exception& error) {
        quindal::PrintMessage(error.what());
        return quindal::StatusInternal;
    }
}
