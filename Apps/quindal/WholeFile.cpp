#include "WholeFile.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "CsvTable.h"

namespace quindal {

namespace {

[[noreturn]] void Fail(const std::string& file)
{
    throw InputError(file + ": cannot be written: " + std::generic_category().message(errno));
}

// A file of its own name in the same directory, so that the rename stays within one file system; it goes unless it has
// taken its place.
class FileBeside
{
public:
    explicit FileBeside(const std::string& file) : m_file(file), m_path(file + ".XXXXXX")
    {
        m_descriptor = ::mkstemp(m_path.data());
        if (m_descriptor < 0) Fail(m_file);
    }
    ~FileBeside()
    {
        if (m_descriptor >= 0) ::close(m_descriptor);
        if (!m_inPlace) std::remove(m_path.c_str());
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
        // The permissions that any new file would have.
        const mode_t mask = ::umask(0);
        ::umask(mask);
        if (::fchmod(m_descriptor, 0666 & ~mask) != 0) Fail(m_file);
        const int descriptor = m_descriptor;
        m_descriptor = -1;
        if (::close(descriptor) != 0 || std::rename(m_path.c_str(), m_file.c_str()) != 0) Fail(m_file);
        m_inPlace = true;
    }

private:
    const std::string& m_file;
    std::string m_path;
    int m_descriptor = -1;
    bool m_inPlace = false;
};

} // namespace

void WriteWhole(const std::string& file, std::string_view content)
{
    FileBeside beside(file);
    beside.Write(content);
    beside.PutInPlace();
}

} // namespace quindal
