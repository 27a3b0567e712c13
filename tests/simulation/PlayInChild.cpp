#include "PlayInChild.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include "Player.h"
#include "Shrinker.h"

namespace simulation {

namespace {

/// Takes the files of a child that cannot take them away itself.
class FolderOfChild
{
public:
    FolderOfChild()
    {
        std::string name = (std::filesystem::temp_directory_path() / "quindal-child-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder " + name);
        m_path = name;
    }
    ~FolderOfChild()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    FolderOfChild(const FolderOfChild&) = delete;
    FolderOfChild& operator=(const FolderOfChild&) = delete;

    [[nodiscard]] const char* c_str() const { return m_path.c_str(); }

private:
    std::filesystem::path m_path;
};

} // namespace

bool ComesThrough(const Day& day, const Distortion& distortion)
{
    const FolderOfChild folder;
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("no process for a day");
    if (child == 0) {
        setenv("TMPDIR", folder.c_str(), 1);
        static_cast<void>(std::freopen("/dev/null", "w", stderr));
        Tally ignored;
        _exit(Play(day, ignored, distortion) ? 1 : 0);
    }
    int status = 0;
    if (waitpid(child, &status, 0) != child) throw std::runtime_error("the day's process is lost");
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

Day ShrunkInChildren(const Day& day, const Distortion& distortion)
{
    Day shrunk = day;
    shrunk.steps = Shrunk(day.steps, [&](const std::vector<Step>& steps) {
        Day candidate = day;
        candidate.steps = steps;
        return !ComesThrough(candidate, distortion);
    });
    return shrunk;
}

} // namespace simulation
