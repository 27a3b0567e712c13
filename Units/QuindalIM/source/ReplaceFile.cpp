#include "ReplaceFile.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace QuindalIM {

namespace {

constexpr mode_t Permissions = S_IRUSR | S_IWUSR | S_IRGRP;

/// The file that the path leads to, with its present status; a mode of 0 when it does not exist yet.
struct Target
{
    std::string path;
    struct stat status = {};
};

/// The target of a path; nullopt when it is not a regular file. A rename would replace a link, so links are followed
/// first; links in a circle have no status.
[[nodiscard]] std::optional<Target> TargetOf(const std::string& path)
{
    namespace fs = std::filesystem;
    Target found{path};
    if (::stat(path.c_str(), &found.status) == 0) {
        if (!S_ISREG(found.status.st_mode)) return std::nullopt;
    } else if (errno != ENOENT) {
        return std::nullopt;
    }
    fs::path target = path;
    while (fs::is_symlink(fs::symlink_status(target)))
        target = target.parent_path() / fs::read_symlink(target);
    found.path = target.string();
    return found;
}

/// A new file next to the target, so that the rename stays within one file system. It is removed unless it has taken
/// the target's place.
class FileBeside
{
public:
    explicit FileBeside(const Target& target) : m_target(target)
    {
        for (int attempt = 0; m_descriptor < 0 && attempt < 100; ++attempt) {
            m_path = target.path + '.' + std::to_string(::getpid()) + '-' + std::to_string(attempt);
            m_descriptor = ::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, Permissions);
            if (m_descriptor < 0 && errno != EEXIST) return;
        }
    }
    ~FileBeside()
    {
        if (m_descriptor < 0) return;
        ::close(m_descriptor);
        if (!m_isInPlace) ::unlink(m_path.c_str());
    }
    FileBeside(const FileBeside&) = delete;
    FileBeside& operator=(const FileBeside&) = delete;

    [[nodiscard]] bool IsOpen() const noexcept { return m_descriptor >= 0; }

    [[nodiscard]] bool Write(std::string_view content) const
    {
        while (!content.empty()) {
            const ssize_t written = ::write(m_descriptor, content.data(), content.size());
            if (written < 0 && errno == EINTR) continue;
            if (written < 0) return false;
            content.remove_prefix(static_cast<std::size_t>(written));
        }
        return true;
    }
    [[nodiscard]] bool PutInPlace()
    {
        if (m_target.status.st_mode != 0 && !TakeOverPermissions()) return false;
        m_isInPlace = std::rename(m_path.c_str(), m_target.path.c_str()) == 0;
        return m_isInPlace;
    }

private:
    /// Gives the new file the owner and the permissions of the old one: owner first, since a change of owner takes
    /// permissions away. Only root may give a file to another owner; otherwise it belongs to the present user from now
    /// on.
    [[nodiscard]] bool TakeOverPermissions() const
    {
        const struct stat& before = m_target.status;
        if (::fchown(m_descriptor, before.st_uid, before.st_gid) != 0 && errno != EPERM) return false;
        return ::fchmod(m_descriptor, before.st_mode & Permissions) == 0;
    }

    const Target& m_target;
    std::string m_path;
    int m_descriptor = -1;
    bool m_isInPlace = false;
};

} // namespace

bool ReplaceFile(const std::string& path, std::string_view content) noexcept
{
    try {
        const std::optional<Target> target = TargetOf(path);
        if (!target) return false;
        FileBeside file(*target);
        return file.IsOpen() && file.Write(content) && file.PutInPlace();
    } catch (...) { // no memory for a name, a link that nobody may follow
        return false;
    }
}

} // namespace QuindalIM
