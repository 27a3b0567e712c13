// The words of the command line. Each declares its options and gives the function that runs it once they are parsed.
#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace quindal {

/// A word of the command line and the function that runs it, whose result is the exit status. The function throws when
/// it fails, a CommandError where the reason is known; main prints it and ends with its status.
struct Command
{
    CLI::App* word;
    std::function<int()> run;
};

[[nodiscard]] Command AddMargin(CLI::App& app);
[[nodiscard]] Command AddExplain(CLI::App& app);
[[nodiscard]] Command AddWhatIf(CLI::App& app);
[[nodiscard]] Command AddReconcile(CLI::App& app);
[[nodiscard]] Command AddFit(CLI::App& app);
[[nodiscard]] Command AddRelief(CLI::App& app);
[[nodiscard]] Command AddDesk(CLI::App& app);
[[nodiscard]] Command AddCheck(CLI::App& app);
[[nodiscard]] Command AddFiles(CLI::App& app);
[[nodiscard]] Command AddServe(CLI::App& app);
[[nodiscard]] Command AddFetch(CLI::App& app);
[[nodiscard]] Command AddStatus(CLI::App& app);

} // namespace quindal
