// quindal: the command line of the library.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <map>
#include <string>

#include <CLI/CLI.hpp>

#include "ExplainCommand.h"
#include "MarginCommand.h"
#include "QuindalIM.h"
#include "ServeCommand.h"

namespace {

/// Where a book comes from.
void AddBook(CLI::App& command, quindal::BookOptions& options)
{
    CLI::Option* const ini = command.add_option("--ini", options.iniFile, "Ini file that names a live server");
    CLI::Option* const instruments = command.add_option(
        "--instruments", options.instruments, "Market file (XML), served privately for the length of the run");
    ini->excludes(instruments);
    command.add_option("--user", options.user,
                       "User to log in as; its password comes from the environment or a prompt");
    command.add_option("--accounts", options.accounts, "Accounts (CSV)")->required();
    command.add_option("--positions", options.positions, "Positions (CSV)")->required();
    command.add_option("--password-env", options.passwordVariable, "Environment variable that holds the password")
        ->capture_default_str();
    command.callback([&options] {
        if (options.iniFile.empty() && options.instruments.empty()) throw CLI::RequiredError("--ini or --instruments");
        if (!options.iniFile.empty() && options.user.empty()) throw CLI::RequiredError("--user");
        if (options.user.empty()) options.user = "demo";
    });
}

void AddMargin(CLI::App& app, quindal::MarginOptions& options)
{
    static const std::map<std::string, quindal::ReportFormat> formats{{"table", quindal::ReportFormat::Table},
                                                                      {"csv", quindal::ReportFormat::Csv},
                                                                      {"json", quindal::ReportFormat::Json}};
    CLI::App* const margin = app.add_subcommand("margin", "Compute the margin of a book of positions");
    AddBook(*margin, options);
    margin->add_option(
        "--orders", options.orders,
        "What-ifs (CSV: what_if,client,instrument,side,quantity,price): orders whose effect on the margin is shown, "
        "as if they were sent");
    margin->add_option("--format", options.format, "table, csv or json")
        ->transform(CLI::CheckedTransformer(formats, CLI::ignore_case));
}

void AddExplain(CLI::App& app, quindal::ExplainOptions& options)
{
    static const std::map<std::string, quindal::ExplainFormat> formats{{"table", quindal::ExplainFormat::Table},
                                                                       {"json", quindal::ExplainFormat::Json}};
    CLI::App* const explain = app.add_subcommand("explain", "Say why the margin of a client is what it is");
    explain->add_option("--client", options.client, "Client, one of the accounts")->required();
    AddBook(*explain, options);
    explain->add_option("--format", options.format, "table or json")
        ->transform(CLI::CheckedTransformer(formats, CLI::ignore_case));
    explain->add_option("--svg", options.svg, "File to draw profit and loss over the price grids into (SVG)");
}

void AddServe(CLI::App& app, quindal::ServeOptions& options)
{
    CLI::App* const serve = app.add_subcommand("serve", "Answer clients until SIGINT or SIGTERM");
    serve->add_option("--instruments", options.instruments, "Market file (XML)")->required();
    serve->add_option("--users", options.users, "Users (CSV: user,part_count,login_type,password)")->required();
    serve->add_option("--router-port", options.port, "Port of a running router; without it a private one is started");
    serve->add_option("--server-user", options.serverUser, "The server's own user at the router")
        ->capture_default_str();
    serve
        ->add_option("--password-env", options.passwordVariable,
                     "Environment variable that holds the server's password at a running router")
        ->capture_default_str();
    serve->add_option("--service", options.service, "Name of the service")->capture_default_str();
    serve->add_flag("!--plain", options.compress, "Never compress replies");
}

} // namespace

int main(int argc, char** argv)
{
    try {
        CLI::App app("Client-side initial margin for derivatives", "quindal");
        app.set_version_flag("--version", std::string(GetQuindalIMLibraryVersion()));
        app.require_subcommand(1);
        quindal::MarginOptions margin;
        quindal::ExplainOptions explain;
        quindal::ServeOptions serve;
        AddMargin(app, margin);
        AddExplain(app, explain);
        AddServe(app, serve);
        CLI11_PARSE(app, argc, argv);
        if (app.got_subcommand("explain")) return quindal::RunExplain(explain);
        return app.got_subcommand("margin") ? quindal::RunMargin(margin) : quindal::RunServe(serve);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "quindal: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
