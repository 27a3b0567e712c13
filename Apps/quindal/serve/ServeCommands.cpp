// The words that bring up a server, and their options.
#include <memory>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "ServeCommand.h"

namespace quindal {

Command AddServe(CLI::App& app)
{
    const auto options = std::make_shared<ServeOptions>();
    CLI::App* const serve = app.add_subcommand("serve", "Answer clients until SIGINT or SIGTERM");
    serve->add_option("--instruments", options->instruments, "Market file (XML)")->required();
    serve->add_option("--users", options->users, "Users (CSV: user,part_count,login_type,password)")->required();
    serve->add_option("--router-port", options->port, "Port of a running router; without it a private one is started");
    serve->add_option("--server-user", options->serverUser, "The server's own user at the router")
        ->capture_default_str();
    serve
        ->add_option("--password-env", options->passwordVariable,
                     "Environment variable that holds the server's password at a running router")
        ->capture_default_str();
    serve->add_option("--service", options->service, "Name of the service")->capture_default_str();
    serve->add_flag("!--plain", options->compress, "Never compress replies");
    return {serve, [options] { return RunServe(*options); }};
}

} // namespace quindal
