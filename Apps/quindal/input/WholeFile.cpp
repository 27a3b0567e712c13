#include "WholeFile.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "Errors.h"
#include "TidyUp.h"

namespace quindal {

namespace {

[[noreturn]] void Fail(const std::string& file, const std::string& reason)
{
    throw InputError(file + ": cannot be written: " + reason);
}
[[noreturn]] void Fail(const std::string& file) { Fail(file, std::generic_category().message(errno)); }

// The file that a name leads to: a rename would replace a link, a pipe or a device.
std::string TargetOf(const std::string& file)
{
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::file_status status = fs::status(file, error);
    if (status.type() == fs::file_type::none) Fail(file, error.message());
    if (status.type() == fs::file_type::directory) Fail(file, std::generic_category().message(EISDIR));
    if (status.type() != fs::file_type::regular && status.type() != fs::file_type::not_found)
        Fail(file, "it is no regular file");
    fs::path target = file; // ends: links in a circle have no status
    while (fs::is_symlink(fs::symlink_status(target, error)))
        target = target.parent_path() / fs::read_symlink(target);
    return target.string();
}

// A file with a name of its own in the directory of the target, so that the rename stays within one file system; it is
// removed unless it has replaced the target.
class FileBeside
{
public:
    FileBeside(const std::string& file, const std::string& target)
        : m_file(file),
          m_target(target),
          m_path(target + ".XXXXXX"),
          m_tidyUp(
              [this] {
                  m_descriptor = ::mkstemp(m_path.data());
                  if (m_descriptor < 0) Fail(m_file);
              },
              [this] { std::remove(m_path.c_str()); })
    {}
    ~FileBeside()
    {
        if (m_descriptor >= 0) ::close(m_descriptor);
    }
    FileBeside(const FileBeside&) = delete;
    FileBeside& operator=(const FileBeside&) = delete;

    void Write(std::string_view content) const
    {
        while (!content.empty()) {
            const ssize_t written = ::write(m_descriptor, content.data(), content.size());
            if (written < 0 && errno == EINTR) continue;
            if (written < 0) Fail(m_file);
            content.remove_prefix(static_cast<std::size_t>(written));
        }
    }
    void PutInPlace()
    {
        // The permissions of any new file.
        const mode_t mask = ::umask(0);
        ::umask(mask);
        if (::fchmod(m_descriptor, 0666 & ~mask) != 0) Fail(m_file);
        const int descriptor = m_descriptor;
        m_descriptor = -1;
        if (::close(descriptor) != 0) Fail(m_file);
        m_tidyUp.Keep([this] {
            if (std::rename(m_path.c_str(), m_target.c_str()) != 0) Fail(m_file);
        });
    }

private:
    const std::string& m_file; // as it was asked for, which the errors name
    const std::string& m_target;
    std::string m_path;
    int m_descriptor = -1;
    TidyUp m_tidyUp; // last: it needs the others
};

} // namespace

void WriteWhole(const std::string& file, std::string_view content)
{
    const std::string target = TargetOf(file);
    FileBeside beside(file, target);
    beside.Write(content);
    beside.PutInPlace();
}

} // namespace quindal
